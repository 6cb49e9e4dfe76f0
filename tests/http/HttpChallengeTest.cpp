#include "platform/net/HttpChallenge.h"

TEST(HttpChallenge, PicksTheBestOfAField) {
    struct Case {
        const char *field;
        const char *scheme;
        const char *realm;
        const char *nonce;
    };
    const Case cases[] = {
        {"Basic realm=\"a, b\"", "Basic", "a, b", ""},
        {"Digest realm=\"r\", nonce=\"n==\", qop=\"auth\"", "Digest", "r", "n=="},
        {"digest  nonce=n ,realm=\"a \\\"q\\\" \\\\\",qop=\"auth-int, AUTH\"", "Digest",
         "a \"q\" \\", "n"},
        {"Basic realm=\"Digest nonce=x\", Digest realm=\"d\", nonce=\"n\"", "Digest", "d", "n"},
        {"Negotiate YII+/a==, NTLM, Basic realm=\"b\"", "Basic", "b", ""},
        {"Digest realm=\"s\", nonce=\"1\", algorithm=SHA-256, qop=\"auth\", "
         "Digest realm=\"m\", nonce=\"2\", algorithm=MD5, qop=\"auth\"",
         "Digest", "s", "1"},
        {"Digest realm=\"x\", nonce=\"1\", algorithm=SHA-512-256, Digest realm=\"m\", nonce=\"2\"",
         "Digest", "m", "2"},
        {"Digest realm=\"x\", nonce=\"1\", qop=\"auth-int\", Basic realm=\"b\"", "Basic", "b", ""},
        {"Digest realm=\"without nonce\"", "", "", ""},
        {"\"\",,= =\"", "", "", ""},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.field);
        const HttpChallenge best = HttpChallenge::best(c.field);
        EXPECT_EQ(best.scheme, c.scheme);
        if (best.scheme.isNull())
            continue;
        EXPECT_EQ(best.realm, c.realm);
        EXPECT_EQ(best.nonce, c.nonce);
    }
}

// The examples of RFC 7616 (3.9.1) and RFC 2069 (2.4, with the response of its erratum).
TEST(HttpChallenge, AnswersAsTheStandardsShow) {
    const HttpCredentials mufasa{"Digest", "Mufasa", "Circle of Life"};
    const QByteArray clientNonce = "f2/wE4q74E6zIJEtWaHKaf5wv/H5QzzpXusqGemxURZJ";
    const char *common =
        "Digest realm=\"http-auth@example.org\", qop=\"auth, auth-int\", algorithm=%1, "
        "nonce=\"7ypf/xlj9XXwfDPEoM4URrv/xwf94BcCAzFZH4GiTo0v\", "
        "opaque=\"FQhe/qaU925kfnzjCev0ciny7QMkPqMAFRtzCUYo5tdS\"";
    struct Case {
        const char *algorithm;
        const char *response;
    };
    for (const Case &c :
         {Case{"MD5", "8ca523f5e9506fed4657c9700eebdbec"},
          Case{"SHA-256", "753927fa0e85d155564e2e272a28d1802ca10daf4496794697cf8db5856cb6c1"}}) {
        const auto challenge = HttpChallenge::best(QString::fromLatin1(common).arg(c.algorithm));
        const QByteArray answer =
            challenge.answer(mufasa, "GET", "/dir/index.html", 1, clientNonce);
        EXPECT_TRUE(answer.contains(QByteArray("response=\"") + c.response + '"'))
            << answer.constData();
        EXPECT_TRUE(answer.contains("nc=00000001") && answer.contains("qop=auth,"));
    }
    const auto old = HttpChallenge::best(
        "Digest realm=\"testrealm@host.com\", nonce=\"dcd98b7102dd2f0e8b11d0f600bfb0c093\"");
    EXPECT_TRUE(old.answer({"Digest", "Mufasa", "CircleOfLife"}, "GET", "/dir/index.html", 1)
                    .contains("response=\"1949323746fe6a43ef61f9606e7febea\""));
    EXPECT_FALSE(old.answer({"Digest", "a\r\nX-Injected: b", "c"}, "GET", "/", 1).contains('\n'));
}
