#include "http/ASHttpConnectInfo.h"

TEST(ASHttpConnectInfo, KeepsOneCookieOfAName) {
    struct Case {
        const char *name;
        QList<QVariantMap> answers;
        const char *sent;
    };
    const Case cases[] = {
        {"one", {{{"Set-Cookie", "a=1; Path=/x; Domain=other.example"}}}, "a=1"},
        {"any case of the field, later wins", {{{"set-cookie", "a=1\na=2"}}}, "a=2"},
        {"later answer wins", {{{"Set-Cookie", "a=1"}}, {{"Set-Cookie", "a=3"}}}, "a=3"},
        {"several", {{{"Set-Cookie", "a=1\nb=2; Secure; HttpOnly"}}}, "a=1; b=2"},
        {"expired", {{{"Set-Cookie", "a=1; Expires=Thu, 01 Jan 1970 00:00:00 GMT"}}}, "a=1"},
        {"nonsense", {{{"Set-Cookie", "=;;\n"}}}, ""},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        ASHttpConnectInfo info;
        for (const QVariantMap &answer : c.answers)
            info.setCookie(answer, QUrl("http://host/"));
        EXPECT_EQ(info.cookieValue(), c.sent);
        EXPECT_EQ(info.cookieValue().isNull(), QByteArray(c.sent).isEmpty());
    }
}
