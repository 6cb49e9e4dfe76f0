#include "common/VDCommonUtils.h"

namespace {

using namespace VDCommonUtils;

QString repeated(char letter, int count) {
    return QString(count, QLatin1Char(letter));
}

TEST(Validators, Servers) {
    struct Case {
        QString text;
        bool isHost, isDomain, isServer;
    };
    const Case cases[] = {
        {"", false, false, true},
        {"localhost", true, false, true},
        {"a_b-c1", true, false, true},
        {"-a", false, false, false},
        {"a-", false, false, false},
        {"é", false, false, false},
        {"a\n", false, false, false},
        {repeated('a', 63), true, false, true},
        {repeated('a', 64), false, false, false},
        {"example.com", false, true, true},
        {"a_b.com", false, false, false},
        {"example.c", false, false, false},
        {"example..com", false, false, false},
        {repeated('a', 63) + ".com", false, true, true},
        {repeated('a', 64) + ".com", false, false, false},
        {"10.0.0.1", false, true, true},
        {"999.0.0.1", false, true, true},
        {"1.2.3", false, false, false},
        {"::1", false, false, false},
        {QString("abcdefg.").repeated(31) + "abc.com", false, true, true},
        {QString("abcdefg.").repeated(31) + "abcd.com", false, false, false},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(isHostName(c.text), c.isHost) << c.text.toStdString();
        EXPECT_EQ(isDomainName(c.text), c.isDomain) << c.text.toStdString();
        EXPECT_EQ(isServer(c.text), c.isServer) << c.text.toStdString();
    }
    EXPECT_FALSE(isIPv6("::1"));
}

TEST(Validators, MailAddresses) {
    struct Case {
        QString text;
        bool isValid;
    };
    const Case cases[] = {
        {"", true},
        {"a@example.com", true},
        {"a.b+c/d@host", true},
        {"a@", true},
        {"a", false},
        {"a@b@c", false},
        {"\"a b\"@example.com", false},
        {"@example.com", false},
        {".a@example.com", false},
        {"a.@example.com", false},
        {"a..b@example.com", false},
        {"\"a@b\"@example.com", true},
        {R"("a\ b"@example.com)", true},
        {R"("a\"b"@example.com)", true},
        {"\"\"@example.com", false},
        {"\"@example.com", false},
        {"a@[10.0.0.1]", false},
        {"a@[localhost]", true},
        {"a@10.0.0.1", true},
        {"ä@example.com", false},
        {repeated('a', 244) + "@example.com", true},
        {repeated('a', 245) + "@example.com", false},
    };
    for (const Case &c : cases)
        EXPECT_EQ(checkEMail(c.text), c.isValid) << c.text.toStdString();
}

TEST(Validators, NamesForWindows) {
    struct Case {
        const char *path;
        bool isInvalid, symbolError;
    };
    for (const Case &c : {Case{"/a/b.txt", false, false},
                          {"/a?/b.txt", false, false},
                          {"/a/b?", true, true},
                          {"/a/b\u00a5", true, true},
                          {"/a/b:.", true, true},
                          {"/a/b.", true, false},
                          {"/a/b ", true, false}}) {
        bool symbolError = !c.symbolError;  // untouched by a valid name
        EXPECT_EQ(invalidFilenameForWindows(c.path, &symbolError), c.isInvalid) << c.path;
        EXPECT_EQ(invalidFilenameForWindows(c.path), c.isInvalid) << c.path;
        EXPECT_EQ(symbolError, c.isInvalid ? c.symbolError : !c.symbolError) << c.path;
    }
}

TEST(Validators, BlanksWithoutTheIdeographicOne) {
    const QString blanks = harfSpaceCharacterSet();
    for (unsigned code = 0; code < 0x10000; ++code) {
        const QChar character{char16_t(code)};
        const bool isBlank = character.category() == QChar::Separator_Space || code == '\t';
        EXPECT_EQ(blanks.contains(character), isBlank && code != 0x3000) << std::hex << code;
    }
}

}  // namespace
