#include <random>

#include "common/UrlText.h"
#include "common/VDCommonUtils.h"

namespace {

using namespace VDCommonUtils;

TEST(Paths, ParentAndLastComponent) {
    const struct {
        const char *path, *parent, *last;
    } cases[] = {{"/a/b", "/a", "b"},  {"/a", "/", "a"}, {"/", "/", "/"},   {"/a/b/", "/a", "b"},
                 {"/a//b", "/a", "b"}, {"a", "", "a"},   {"a/b", "a", "b"}, {"", "", ""}};
    for (const auto &[path, parent, last] : cases) {
        EXPECT_EQ(getParentName(path), parent) << path;
        EXPECT_EQ(lastPathComponent(path), last) << path;
    }
}

TEST(Paths, BelowOrEqual) {
    // A base that ends in "/" shrinks to "".
    const struct {
        const char *path, *base;
        bool isEqualOrBelow, isBelow;
    } cases[] = {{"/a", "/a", true, false},   {"/a/b", "/a", true, true},
                 {"/ab", "/a", false, false}, {"/a", "/a/b", false, false},
                 {"/a", "", true, true},      {"/a", "/b/", true, true},
                 {"/a/", "/a", false, false}, {"/", "/", true, false}};
    for (const auto &[path, base, isEqualOrBelow, isBelow] : cases) {
        EXPECT_EQ(isEqualPathOrSubPath(path, base), isEqualOrBelow) << path << ' ' << base;
        EXPECT_EQ(isSubPath(path, base), isBelow) << path << ' ' << base;
    }
}

TEST(Paths, FirstComponents) {
    EXPECT_EQ(partPath("/a/b/c", 2), "/a/b");
    EXPECT_EQ(partPath("/a/b/", 2), "/a/b/");
    EXPECT_EQ(partPath("a/b/c/", 1), "/a");
    EXPECT_EQ(partPath("/", 2), "/");
    EXPECT_EQ(partPath("/a", 0), "");
}

TEST(Paths, AppendsToUrls) {
    const struct {
        const char *url, *path, *expected;
    } cases[] = {
        {"http://h/dav//", "//a/", "http://h/dav/a/"},
        {"http://h", "a", "http://h/a"},
        {"http://h/", "/", "http://h"},
        {"http://h/dav/", "", "http://h/dav"},
        {"http://u@h:81/a%20b%2Fc%25", "/x y", "http://u@h:81/a%20b%2Fc%25/x%20y"},
        {"http://h/d", "/100%41 50%#?+;&'\"", "http://h/d/100%2541%2050%25%23%3F+%3B&'%22"},
        {"http://[::1]:8/d", "/[x]", "http://[::1]:8/d/%5Bx%5D"},
        {"http://h/d", "/é", "http://h/d/%C3%A9"}};
    for (const auto &[url, path, expected] : cases)
        EXPECT_STREQ(urlAppendPath(QUrl(url), path).toEncoded().constData(), expected) << path;
}

// A name of characters that URLs, QUrl or Unicode treat specially.
QString randomName(std::mt19937 &random) {
    static const QStringList pieces{
        "%", "%41", "%2F", "%zz",     "#",  "?", "+",  ";",  "&",      "'",      "\"",  " ",
        "a", "Z",   "é",   "e\u0301", "漢", "😀", "\\", "|",  "^",      "`",      "<",   "[",
        "]", "{",   "@",   ":",       "=",  "~", "..", "\t", "\u00a0", "\ufffd", "\x7f"};
    QString name;
    for (int length = 1 + int(random() % 12); length > 0; --length)
        name += pieces[qsizetype(random() % size_t(pieces.size()))];
    return name;
}

TEST(Paths, EveryNameArrivesExactly) {
    std::mt19937 random(4711);
    const QByteArray root = "http://h/m%20n%25/";
    for (int i = 0; i < 5000; ++i) {
        const QString path = u'/' + randomName(random) + u'/' + randomName(random);
        const QByteArray encoded = urlAppendPath(QUrl::fromEncoded(root), path).toEncoded();
        const QByteArray sent = encoded.mid(root.size() - 1);
        ASSERT_EQ(QByteArray::fromPercentEncoding(sent), path.toUtf8()) << encoded.constData();
        ASSERT_FALSE(sent.contains('#') || sent.contains('?') || sent.contains(' '));
        // The next one to take it for a URL again must not change it.
        ASSERT_EQ(QUrl::fromEncoded(encoded).toEncoded(), encoded);
        ASSERT_EQ(QUrl(QString::fromLatin1(encoded)).toEncoded(), encoded);
    }
}

TEST(UrlText, DecodesEscapesAndPlus) {
    EXPECT_EQ(stringByDecodingURLFormat("a+b%20c%2B%C3%A9"), "a b c+é");
    EXPECT_EQ(stringByDecodingURLFormat("50% %zz %4"), "50% %zz %4");
    EXPECT_TRUE(stringByDecodingURLFormat("a%FF").isNull());
    EXPECT_FALSE(stringByDecodingURLFormat("").isNull());
    EXPECT_TRUE(stringByDecodingURLFormat(QString()).isNull());
}

TEST(UrlText, EncodingIsUndoneByDecoding) {
    EXPECT_EQ(stringByEncodingURLFormat("http://h:8/a b%#é+?x=1&y~"),
              "http://h:8/a%20b%25%23%C3%A9+?x=1&y~");
    EXPECT_EQ(stringByEncodingURLFormatAll("http://h:8/a", true), "http%3A//h%3A8/a");
    std::mt19937 random(42);
    for (int i = 0; i < 2000; ++i) {
        const QString name = randomName(random).remove(u'+');
        ASSERT_EQ(stringByDecodingURLFormat(stringByEncodingURLFormat(name)), name);
    }
}

}  // namespace
