#include "platform/system/SidebarBookmarks.h"

#include <algorithm>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>
#include <QStringList>
#include <QUrl>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

namespace {

const QString kFolderIcon = QStringLiteral("folder-remote");

QByteArray read(const QString &path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool write(const QString &path, const QByteArray &bytes) {
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit();
}

QString urlOf(const QByteArray &line) {
    return QString::fromUtf8(line).section(QLatin1Char(' '), 0, 0);
}

// One line an entry: its URL, a blank, its label.
bool addToGtk(const QString &file, const QString &url, const QString &label) {
    QByteArray bytes = read(file);
    const QList<QByteArray> lines = bytes.split('\n');
    const auto isTheSame = [&url](const QByteArray &line) { return urlOf(line) == url; };
    if (std::any_of(lines.begin(), lines.end(), isTheSame))
        return false;
    if (!bytes.isEmpty() && !bytes.endsWith('\n'))
        bytes += '\n';
    return write(file, bytes + (url + QLatin1Char(' ') + label.simplified()).toUtf8() + '\n');
}

void removeFromGtk(const QString &file, const QString &url) {
    const QByteArray bytes = read(file);
    QList<QByteArray> lines = bytes.split('\n');
    lines.removeIf([&url](const QByteArray &line) { return urlOf(line) == url; });
    const QByteArray rest = lines.join('\n');
    if (rest != bytes)
        write(file, rest);
}

bool isBookmarkOf(const QXmlStreamReader &reader, const QString &url) {
    return reader.isStartElement() && reader.name() == QLatin1String("bookmark") &&
           reader.attributes().value(QLatin1String("href")) == url;
}

void writeBookmark(QXmlStreamWriter &writer, const QString &url, const QString &label) {
    const QString desktops =
        QStringLiteral("http://www.freedesktop.org/standards/desktop-bookmarks");
    writer.writeStartElement(QStringLiteral("bookmark"));
    writer.writeAttribute(QStringLiteral("href"), url);
    writer.writeTextElement(QStringLiteral("title"), label);
    writer.writeStartElement(QStringLiteral("info"));
    writer.writeStartElement(QStringLiteral("metadata"));
    writer.writeAttribute(QStringLiteral("owner"), QStringLiteral("http://freedesktop.org"));
    writer.writeEmptyElement(desktops, QStringLiteral("icon"));
    writer.writeAttribute(QStringLiteral("name"), kFolderIcon);
    writer.writeEndElement();
    writer.writeEndElement();
    writer.writeEndElement();
    writer.writeCharacters(QStringLiteral("\n"));
}

// The list without the places of that URL and, for a label that isn't null, with a new one at its
// end. Null where the list isn't one, or has a place of that URL where a new one is wanted.
QByteArray edited(const QByteArray &list, const QString &url, const QString &newLabel) {
    QByteArray result;
    QXmlStreamReader reader(list);
    QXmlStreamWriter writer(&result);
    while (!reader.atEnd()) {
        reader.readNext();
        if (isBookmarkOf(reader, url)) {
            if (!newLabel.isNull())
                return {};
            reader.skipCurrentElement();
            continue;
        }
        const bool isEnd = reader.isEndElement() && reader.name() == QLatin1String("xbel");
        if (isEnd && !newLabel.isNull())
            writeBookmark(writer, url, newLabel);
        if (reader.tokenType() != QXmlStreamReader::Invalid)
            writer.writeCurrentToken(reader);
    }
    return reader.hasError() ? QByteArray() : result;
}

bool addToKde(const QString &file, const QString &url, const QString &label) {
    const QByteArray list = edited(read(file), url, label);
    return !list.isNull() && write(file, list);
}

void removeFromKde(const QString &file, const QString &url) {
    const QByteArray list = read(file);
    const QByteArray rest = edited(list, url, {});
    if (!rest.isNull() && list.contains(url.toUtf8()))
        write(file, rest);
}

}  // namespace

std::shared_ptr<FavoritesList> SidebarBookmarks::ofThisDesktop() {
    if (qEnvironmentVariableIsEmpty("XDG_CURRENT_DESKTOP"))
        return nullptr;
    const auto place = [](QStandardPaths::StandardLocation location) {
        return QStandardPaths::writableLocation(location);
    };
    return std::make_shared<SidebarBookmarks>(
        place(QStandardPaths::GenericConfigLocation) + QStringLiteral("/gtk-3.0/bookmarks"),
        place(QStandardPaths::GenericDataLocation) + QStringLiteral("/user-places.xbel"));
}

QString SidebarBookmarks::insertItem(const QString &label, const QString &path) {
    const std::lock_guard lock(mutex);
    const QString url = QUrl::fromLocalFile(path).toString(QUrl::FullyEncoded);
    const bool hasGtk = QDir().mkpath(QFileInfo(gtkFile).path()) && addToGtk(gtkFile, url, label);
    const bool hasKde = addToKde(kdeFile, url, label.isNull() ? QStringLiteral("") : label);
    return hasGtk || hasKde ? url : QString();
}

void SidebarBookmarks::removeItem(const QString &item) {
    const std::lock_guard lock(mutex);
    removeFromGtk(gtkFile, item);
    removeFromKde(kdeFile, item);
}
