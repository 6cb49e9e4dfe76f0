#include <gtest/gtest.h>

#include "connection/EnvironmentProxySource.h"

namespace {

struct Case {
    const char *name;
    QList<QPair<const char *, const char *>> environment;
    const char *url;
    const char *host;  // null: no proxy
    int port = 0;
    const char *user = nullptr;
    const char *password = nullptr;
};

constexpr const char *kVariables[] = {"http_proxy", "HTTP_PROXY", "https_proxy", "HTTPS_PROXY",
                                      "all_proxy",  "ALL_PROXY",  "no_proxy",    "NO_PROXY"};

class EnvironmentProxy : public testing::TestWithParam<Case> {
  protected:
    void SetUp() override {
        for (const char *variable : kVariables)
            qunsetenv(variable);
    }
    void TearDown() override { SetUp(); }
};

TEST_P(EnvironmentProxy, NamesTheProxyOfTheUrl) {
    const Case &c = GetParam();
    for (const auto &[variable, value] : c.environment)
        qputenv(variable, value);
    const QUrl url{QString::fromUtf8(c.url)};
    const std::optional<ProxyConf> proxy = EnvironmentProxySource().getProxy(url);
    ASSERT_EQ(proxy.has_value(), c.host != nullptr);
    if (!proxy)
        return;
    EXPECT_EQ(proxy->host, c.host);
    EXPECT_EQ(proxy->port, c.port);
    EXPECT_EQ(proxy->isHTTPS, url.scheme() == "https");
    EXPECT_EQ(proxy->userid.isNull(), c.user == nullptr);
    EXPECT_EQ(proxy->userid, QString::fromUtf8(c.user));
    EXPECT_EQ(proxy->password.isNull(), c.password == nullptr);
    EXPECT_EQ(proxy->password, QString::fromUtf8(c.password));
}

INSTANTIATE_TEST_SUITE_P(
    Table, EnvironmentProxy,
    testing::Values(
        Case{"nothing", {}, "http://h/", nullptr},
        Case{"byScheme",
             {{"http_proxy", "http://p:81/"}, {"https_proxy", "http://s:82"}},
             "http://h/",
             "p",
             81},
        Case{"https",
             {{"http_proxy", "http://p:81/"}, {"https_proxy", "http://s:82"}},
             "https://h/",
             "s",
             82},
        Case{"otherSchemeOnly", {{"http_proxy", "http://p:81/"}}, "https://h/", nullptr},
        Case{"capitals", {{"HTTPS_PROXY", "s:82"}}, "https://h/", "s", 82},
        Case{"httpInCapitalsIsAClientsField", {{"HTTP_PROXY", "s:82"}}, "http://h/", nullptr},
        Case{"all", {{"all_proxy", "a:83"}}, "http://h/", "a", 83},
        Case{"defaultPort", {{"all_proxy", "http://a"}}, "http://h/", "a", 1080},
        Case{"login",
             {{"all_proxy", "http://us%40er:p%3Aw@a:83"}},
             "http://h/",
             "a",
             83,
             "us@er",
             "p:w"},
        Case{"loginWithoutPassword",
             {{"all_proxy", "http://user@a:83"}},
             "http://h/",
             "a",
             83,
             "user"},
        Case{"socksIsNoHttpProxy", {{"all_proxy", "socks5://a:83"}}, "http://h/", nullptr},
        Case{"otherUrl", {{"all_proxy", "a:83"}}, "ftp://h/", nullptr},
        Case{"exceptAll", {{"all_proxy", "a:83"}, {"no_proxy", "*"}}, "http://h/", nullptr},
        Case{"exceptHost",
             {{"all_proxy", "a:83"}, {"no_proxy", "x, H.example"}},
             "http://h.example/",
             nullptr},
        Case{"exceptDomain",
             {{"all_proxy", "a:83"}, {"NO_PROXY", ".example.org"}},
             "http://a.b.example.org/",
             nullptr},
        Case{"notThatDomain",
             {{"all_proxy", "a:83"}, {"no_proxy", "example.org"}},
             "http://badexample.org/",
             "a",
             83},
        Case{"exceptSubnet",
             {{"all_proxy", "a:83"}, {"no_proxy", "10.1.0.0/16"}},
             "http://10.1.2.3/",
             nullptr},
        Case{"notThatAddress",
             {{"all_proxy", "a:83"}, {"no_proxy", "10.1.2.30"}},
             "http://10.1.2.3/",
             "a",
             83}),
    [](const auto &info) { return std::string(info.param.name); });

}  // namespace
