#include "common/VDCommonUtils.h"

namespace {

using namespace VDCommonUtils;

QString letters(int count) {
    return QString(count, u'a');
}

TEST(Validators, Servers) {
    const QString longName = QStringLiteral("abcdefg.").repeated(31);
    const QStringList hosts{"localhost", "a_b-c1", letters(63)};
    const QStringList domains{"example.com", letters(63) + ".com", "10.0.0.1", "999.0.0.1",
                              longName + "abc.com"};
    const QStringList neither{"-a",        "a-",           "é",
                              "a\n",       letters(64),    "a_b.com",
                              "example.c", "example..com", letters(64) + ".com",
                              "1.2.3",     "::1",          longName + "abcd.com"};
    for (const QString &text : hosts + domains + neither) {
        EXPECT_EQ(isHostName(text), hosts.contains(text)) << text.toStdString();
        EXPECT_EQ(isDomainName(text), domains.contains(text)) << text.toStdString();
        EXPECT_EQ(isServer(text), !neither.contains(text)) << text.toStdString();
    }
    EXPECT_TRUE(isServer(""));
}

TEST(Validators, MailAddresses) {
    for (const char *text : {"", "a@example.com", "a.b+c/d@host", "a@", "\"a@b\"@example.com",
                             R"("a\"b"@example.com)", "a@[localhost]", "a@10.0.0.1"})
        EXPECT_TRUE(checkEMail(text)) << text;
    for (const char *text : {"a", "a@b@c", "\"a b\"@example.com", "@example.com", ".a@example.com",
                             "a.@example.com", "a..b@example.com", "\"\"@example.com",
                             "\"@example.com", "a@[10.0.0.1]", "ä@example.com"})
        EXPECT_FALSE(checkEMail(text)) << text;
    EXPECT_TRUE(checkEMail(letters(244) + "@example.com"));
    EXPECT_FALSE(checkEMail(letters(245) + "@example.com"));
}

TEST(Validators, NamesForWindows) {
    const struct {
        const char *path;
        bool isInvalid, symbolError;
    } cases[] = {{"/a?/b.txt", false, false}, {"/a/b?", true, true},  {"/a/b\u00a5", true, true},
                 {"/a/b:.", true, true},      {"/a/b.", true, false}, {"/a/b ", true, false}};
    for (const auto &c : cases) {
        bool symbolError = !c.symbolError;  // untouched by a valid name
        EXPECT_EQ(invalidFilenameForWindows(c.path, &symbolError), c.isInvalid) << c.path;
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
