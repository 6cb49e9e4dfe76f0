// Listing a folder. Names come from the server's hrefs, so this is where names that could lead out
// of the volume are stopped.

#include <QRegularExpression>

#include "common/Log.h"
#include "webdav/ASWDCmd.h"
#include "webdav/StatusTable.h"
#include "webdav/VDWebDAVConnect.h"
#include "xml/ASXMLDomParser.h"

namespace {

// The kernel refuses a whole folder for one longer name.
constexpr qsizetype kLongestNameInBytes = 1024;

// One "response" of a listing, as its href tells it. The root of a server has no name.
struct ListedItem {
    QStringList folder;  // components, decoded and decomposed
    QString rawName;     // as it came
    QString name;        // decoded; null where it is no text
    QString key;         // decomposed
    bool endsInSlash = false;
    ASXMLDomNodePtr response;

    bool isSameAs(const ListedItem &other) const {
        return key == other.key && folder == other.folder;
    }
    QStringList components() const { return key.isEmpty() ? folder : folder + QStringList{key}; }
};

// Reads hrefs, which are absolute paths or full URLs.
class HrefReader {
  public:
    explicit HrefReader(const RequestDialect &dialect) : dialect(dialect) {}

    ListedItem read(const QString &href, const ASXMLDomNodePtr &response = nullptr) {
        const QString path = withoutOrigin(href.trimmed());
        QStringView item(path);
        while (item.endsWith(QLatin1Char('/')))
            item.chop(1);
        const qsizetype nameAt = item.lastIndexOf(QLatin1Char('/')) + 1;

        ListedItem result;
        result.response = response;
        result.endsInSlash = item.size() < path.size();
        result.folder = folderOf(item.first(nameAt).toString());
        result.rawName = item.sliced(nameAt).toString();
        // Where that character stands unescaped, it stands for bytes that were none.
        if (!result.rawName.contains(QChar::ReplacementCharacter))
            result.name = dialect.decoded(result.rawName);
        result.key = decomposed(result.name.isNull() ? result.rawName : result.name);
        return result;
    }

  private:
    static QString decomposed(const QString &text) {
        return text.normalized(QString::NormalizationForm_D);
    }

    static QString withoutOrigin(const QString &href) {
        static const QRegularExpression origin(QStringLiteral("^[A-Za-z][A-Za-z0-9+.-]*://[^/]*"));
        return href.startsWith(QLatin1Char('/')) ? href : QString(href).remove(origin);
    }

    // Nearly all the hrefs of a listing share it.
    QStringList folderOf(const QString &encoded) {
        if (encoded == lastEncoded)
            return lastFolder;
        lastEncoded = encoded;
        lastFolder.clear();
        for (const QString &component : encoded.split(QLatin1Char('/'), Qt::SkipEmptyParts))
            lastFolder += decomposed(dialect.decoded(component));
        return lastFolder;
    }

    const RequestDialect &dialect;
    QString lastEncoded;
    QStringList lastFolder;
};

bool isUsable(const QString &name) {
    return !name.isEmpty() && name != QLatin1String(".") && name != QLatin1String("..") &&
           !name.contains(QLatin1Char('/')) && !name.contains(QChar(u'\0')) &&
           (name.size() <= kLongestNameInBytes / 4 || name.toUtf8().size() <= kLongestNameInBytes);
}

bool isComposed(const QString &name) {
    return name == name.normalized(QString::NormalizationForm_C);
}

// The entries of an answer with the folder's own apart. By position it is the first, and on the
// vendor's server that is the rule; others are known to put it elsewhere or to leave it out.
class Listing {
  public:
    Listing(const ASXMLDomNode &root, const QUrl &asked, bool ownIsFirst,
            const RequestDialect &dialect) {
        HrefReader reader(dialect);
        for (const ASXMLDomNodePtr &child : root.children) {
            if (child->elementName != QLatin1String("response"))
                continue;
            const QList<ASXMLDomNodePtr> hrefs = child->findName(QStringLiteral("href"));
            const bool isOwn = ownIsFirst && child == root.children.first();
            if (isOwn)
                own = hrefs.isEmpty() ? ListedItem() : reader.read(hrefs.last()->elementValue);
            else if (!hrefs.isEmpty())
                items += reader.read(hrefs.last()->elementValue, child);
        }
        if (!ownIsFirst)
            takeOwn(reader.read(asked.path(QUrl::FullyEncoded)));
    }

    // Whether a "/" at the end of an href tells a folder from a file here. The root of a server
    // always ends in one, so that it takes another to show the habit.
    bool marksFolders() const {
        if (!own || !own->endsInSlash)
            return false;
        return !own->key.isEmpty() ||
               std::any_of(items.begin(), items.end(),
                           [](const ListedItem &item) { return item.endsInSlash; });
    }

    std::optional<ListedItem> own;
    QList<ListedItem> items;

  private:
    void takeOwn(const ListedItem &asked) {
        items.removeIf([&](const ListedItem &item) {
            const bool isOwn = item.isSameAs(asked);
            if (isOwn)
                own = item;
            return isOwn;
        });
        // Behind a relay the hrefs may begin otherwise than the URL that was asked. Still the first
        // is the folder itself, unless it is plainly a child of what was asked.
        if (!own && !items.isEmpty() && items.first().folder != asked.components())
            own = items.takeFirst();
    }
};

}  // namespace

QMap<QString, QString> VDWebDAVConnect::getFileList(const QString &path, ErrorOut error) {
    return getFileList(path, nullptr, error);
}

QMap<QString, QString> VDWebDAVConnect::getFileList(const QString &path, Writable *writable,
                                                    ErrorOut error, ListingTypes *types) {
    return withRetries(kRetrySetB, error, [&](ErrorOut failure) {
        return getFileListInternal(path, writable, failure, types);
    });
}

QMap<QString, QString> VDWebDAVConnect::getFileListInternal(const QString &path, Writable *writable,
                                                            ErrorOut error, ListingTypes *types) {
    std::optional<Error> failure;
    const CommandPtr command = getCollectionPropertyInternal(path, &failure);
    if (failure || !command) {
        if (failure)
            setError(error, *failure);
        return {};
    }
    // The value means the opposite of its name, and nobody reads it yet.
    const QVariant check = command->responseHeader().value(QStringLiteral("X-KQ-CHECK-WRITABLE"));
    if (writable)
        writable->writable = check.toString() == QLatin1String("false");

    const auto parser = parsedBody(*command, QStringLiteral("Failure XML PARSE"), error);
    if (!parser || !parser->rootElement)
        return {};
    const Listing listing(*parser->rootElement, command->remoteURL, velmora, dialect());

    QMap<QString, QString> names;
    QMap<QString, QString> spellings;
    if (types)
        *types = {listing.marksFolders(), {}};
    bool leftOut = false;
    for (const ListedItem &item : listing.items) {
        if (!isUsable(item.name)) {
            leftOut = true;
            continue;
        }
        // Of two spellings of one name the composed one is meant, since that is what is typed.
        if (names.contains(item.key) && !isComposed(item.name))
            continue;
        names[item.key] = item.rawName;
        spellings[item.key] = item.name;
        if (types && item.endsInSlash)
            types->collections += item.key;
        else if (types)
            types->collections -= item.key;
    }
    serverNames.learnListing(path, spellings.values());
    if (leftOut)
        warnOfLeftOutNames(path);
    return names;
}

QMap<QString, ASXMLDomNodePtr> VDWebDAVConnect::getItemsOfFolder(const QString &path,
                                                                 const QStringList &propNames,
                                                                 const QStringList &nameSpaces,
                                                                 ErrorOut error) {
    std::optional<Error> failure;
    const CommandPtr command = getItemsOfFolderInternal(path, propNames, nameSpaces, &failure);
    if (failure || !command) {
        if (failure)
            setError(error, *failure);
        return {};
    }
    const auto parser = parsedBody(*command, QStringLiteral("Failure XML PARSE"), error);
    if (!parser || !parser->rootElement)
        return {};
    QMap<QString, ASXMLDomNodePtr> items;
    const Listing listing(*parser->rootElement, command->remoteURL, velmora, dialect());
    for (const ListedItem &item : listing.items) {
        if (isUsable(item.name) && !(items.contains(item.key) && !isComposed(item.name)))
            items[item.key] = item.response;
    }
    return items;
}

void VDWebDAVConnect::warnOfLeftOutNames(const QString &folder) {
    {
        const std::lock_guard guard(leftOutMutex);
        if (leftOutFolders.contains(folder))
            return;
        leftOutFolders += folder;
    }
    VDLog(
        QStringLiteral("Names that cannot be used were left out of the listing of %1").arg(folder));
}
