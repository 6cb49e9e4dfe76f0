#include "xml/ReadableXml.h"

#include <utility>

#include <QRegularExpression>
#include <QString>

namespace {

// What lies outside of elements, or holds text that must stay as it is.
const std::pair<QByteArray, QByteArray> kSkipped[] = {
    {"<!--", "-->"},
    {"<![CDATA[", "]]>"},
    {"<?", "?>"},
};

bool isUtf8(const QByteArray &xml) {
    // UTF-16 and UTF-32 begin with a mark or have zeros around "<".
    const QByteArray start = xml.left(4);
    if (start.contains('\0') || start.startsWith("\xfe\xff") || start.startsWith("\xff\xfe"))
        return false;
    static const QRegularExpression declaration(
        QStringLiteral("^[^<]*<\\?xml[^>]*\\sencoding\\s*=\\s*[\"']([^\"']*)"));
    const auto declared = declaration.match(QString::fromLatin1(xml.left(256)));
    return !declared.hasMatch() ||
           declared.capturedView(1).compare(QLatin1String("utf-8"), Qt::CaseInsensitive) == 0;
}

bool isNameEnd(char c) {
    return QByteArrayView(" \t\r\n</>='\"").contains(c);
}

// Goes from tag to tag and drops all but the last prefix of the names in them.
class PrefixDropper {
  public:
    explicit PrefixDropper(const QByteArray &xml) : xml(xml) {}

    QByteArray dropped() {
        while (at < xml.size()) {
            at = xml.indexOf('<', at);
            // A document type has a syntax of its own.
            if (at < 0 || isAt("<!DOCTYPE"))
                break;
            if (!skipWhole())
                readTag();
        }
        return copied == 0 ? xml : result + xml.sliced(copied);
    }

  private:
    bool isAt(QByteArrayView text) const { return QByteArrayView(xml).sliced(at).startsWith(text); }

    void skipPast(const QByteArray &end, qsizetype from) {
        const qsizetype found = xml.indexOf(end, from);
        at = found < 0 ? xml.size() : found + end.size();
    }

    bool skipWhole() {
        for (const auto &[begin, end] : kSkipped) {
            if (!isAt(begin))
                continue;
            skipPast(end, at + begin.size());
            return true;
        }
        return false;
    }

    void readTag() {
        while (at < xml.size() && xml[at] != '>') {
            const char c = xml[at];
            if (c == '"' || c == '\'')
                skipPast(QByteArray(1, c), at + 1);
            else if (isNameEnd(c))
                ++at;
            else
                readName();
        }
    }

    void readName() {
        const qsizetype begin = at;
        qsizetype lastPrefix = begin;  // begins there
        qsizetype local = begin;
        for (; at < xml.size() && !isNameEnd(xml[at]); ++at) {
            if (xml[at] == ':')
                lastPrefix = std::exchange(local, at + 1);
        }
        if (lastPrefix == begin)
            return;
        result += QByteArrayView(xml).sliced(copied, begin - copied);
        copied = lastPrefix;
    }

    const QByteArray &xml;
    qsizetype at = 0;
    QByteArray result;
    qsizetype copied = 0;  // as far as result reaches
};

}  // namespace

QByteArray readableXml(const QByteArray &xml) {
    if (!isUtf8(xml))
        return xml;
    if (xml.isValidUtf8())
        return PrefixDropper(xml).dropped();
    return PrefixDropper(QString::fromUtf8(xml).toUtf8()).dropped();
}
