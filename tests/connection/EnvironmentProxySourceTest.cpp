#include <gtest/gtest.h>

#include "connection/EnvironmentProxySource.h"

namespace {

constexpr const char *kVariables[] = {"http_proxy", "HTTP_PROXY", "https_proxy", "HTTPS_PROXY",
                                      "all_proxy",  "ALL_PROXY",  "no_proxy",    "NO_PROXY"};

// "user:password@host:port", or nothing for no proxy.
QString proxyOf(const QString &url) {
    const std::optional<ProxyConf> proxy = EnvironmentProxySource().getProxy(url);
    if (!proxy)
        return {};
    EXPECT_EQ(proxy->isHTTPS, url.startsWith("https")) << qPrintable(url);
    QString login = proxy->userid;
    if (!proxy->password.isNull())
        login += u':' + proxy->password;
    if (!proxy->userid.isNull())
        login += u'@';
    return login + proxy->host + u':' + QString::number(proxy->port.value_or(0));
}

}  // namespace

TEST(EnvironmentProxy, NamesTheProxyOfTheUrl) {
    const struct {
        const char *environment;  // NAME=value;NAME=value
        const char *url;
        const char *proxy;
    } cases[] = {
        {"", "http://h/", ""},
        {"http_proxy=http://p:81/;https_proxy=http://s:82", "http://h/", "p:81"},
        {"http_proxy=http://p:81/;https_proxy=http://s:82", "https://h/", "s:82"},
        {"http_proxy=http://p:81/", "https://h/", ""},
        {"HTTPS_PROXY=s:82", "https://h/", "s:82"},
        {"HTTP_PROXY=s:82", "http://h/", ""},  // what a client's field "Proxy" becomes
        {"all_proxy=http://a", "http://h/", "a:1080"},
        {"all_proxy=http://us%40er:p%3Aw@a:83", "http://h/", "us@er:p:w@a:83"},
        {"all_proxy=http://user@a:83", "http://h/", "user@a:83"},
        {"all_proxy=socks5://a:83", "http://h/", ""},
        {"all_proxy=a:83", "ftp://h/", ""},
        {"all_proxy=a:83;no_proxy=*", "http://h/", ""},
        {"all_proxy=a:83;no_proxy=x, H.example", "http://h.example/", ""},
        {"all_proxy=a:83;NO_PROXY=.example.org", "http://a.b.example.org/", ""},
        {"all_proxy=a:83;no_proxy=example.org", "http://badexample.org/", "a:83"},
        {"all_proxy=a:83;no_proxy=10.1.0.0/16", "http://10.1.2.3/", ""},
        {"all_proxy=a:83;no_proxy=10.1.2.30", "http://10.1.2.3/", "a:83"},
    };
    const auto clear = [] {
        for (const char *variable : kVariables)
            qunsetenv(variable);
    };
    for (const auto &[environment, url, proxy] : cases) {
        clear();
        for (const QByteArray &setting : QByteArray(environment).split(';')) {
            if (const auto equals = setting.indexOf('='); equals > 0)
                qputenv(setting.left(equals).constData(), setting.mid(equals + 1));
        }
        EXPECT_EQ(proxyOf(url), proxy) << environment << ' ' << url;
    }
    clear();
}
