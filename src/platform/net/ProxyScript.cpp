#include "platform/net/ProxyScript.h"

#include <chrono>
#include <curl/curl.h>
#include <future>
#include <memory>
#include <mutex>
#include <pacparser.h>
#include <thread>

#include <QUrl>

namespace {

constexpr long kFetchLimitMs = 5'000;
constexpr auto kEvaluateLimit = std::chrono::seconds(5);
constexpr qsizetype kMaxSize = 1024 * 1024;
constexpr long kMaxRedirects = 5;

size_t append(char *data, size_t, size_t size, void *target) {
    auto *const script = static_cast<QByteArray *>(target);
    if (script->size() + qsizetype(size) > kMaxSize)
        return 0;
    script->append(data, qsizetype(size));
    return size;
}

int ignoreComplaint(const char *, va_list) {
    return 0;
}

QByteArray urlForScript(QUrl url) {
    url.setUserInfo({});
    url.setFragment({});
    if (url.scheme() == QLatin1String("https")) {
        url.setPath(QStringLiteral("/"));
        url.setQuery(QString());
    }
    return url.toEncoded().replace('\'', "%27");
}

QString find(const QByteArray &script, const QByteArray &url, const QByteArray &host) {
    // The engine's state is the process's.
    static std::timed_mutex engine;
    const std::unique_lock lock(engine, kEvaluateLimit);
    if (!lock.owns_lock())
        return {};
    pacparser_set_error_printer(ignoreComplaint);
    QString answer;
    if (pacparser_init() && pacparser_parse_pac_string(script.constData())) {
        // The engine's own, until the clean-up.
        if (const char *const found = pacparser_find_proxy(url.constData(), host.constData()))
            answer = QString::fromLatin1(found);
    }
    pacparser_cleanup();
    return answer;
}

}  // namespace

QByteArray ProxyScript::fetch(const QUrl &url) {
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> handle(curl_easy_init(),
                                                                     curl_easy_cleanup);
    QByteArray script("");
    curl_easy_setopt(handle.get(), CURLOPT_URL, url.toEncoded(QUrl::RemoveFragment).constData());
    curl_easy_setopt(handle.get(), CURLOPT_PROTOCOLS_STR, "http,https,file");
    curl_easy_setopt(handle.get(), CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(handle.get(), CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(handle.get(), CURLOPT_MAXREDIRS, kMaxRedirects);
    curl_easy_setopt(handle.get(), CURLOPT_FAILONERROR, 1L);
    curl_easy_setopt(handle.get(), CURLOPT_PROXY, "");
    curl_easy_setopt(handle.get(), CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle.get(), CURLOPT_QUICK_EXIT, 1L);
    curl_easy_setopt(handle.get(), CURLOPT_TIMEOUT_MS, kFetchLimitMs);
    curl_easy_setopt(handle.get(), CURLOPT_WRITEFUNCTION, append);
    curl_easy_setopt(handle.get(), CURLOPT_WRITEDATA, &script);
    // The library, unlike the curl program, doesn't look at these by itself.
    if (const QByteArray file = qgetenv("SSL_CERT_FILE"); !file.isEmpty())
        curl_easy_setopt(handle.get(), CURLOPT_CAINFO, file.constData());
    if (const QByteArray folder = qgetenv("SSL_CERT_DIR"); !folder.isEmpty())
        curl_easy_setopt(handle.get(), CURLOPT_CAPATH, folder.constData());
    return curl_easy_perform(handle.get()) == CURLE_OK ? script : QByteArray();
}

QString ProxyScript::evaluate(const QByteArray &script, const QUrl &url) {
    if (script.contains('\0'))
        return {};
    // The engine can't be interrupted: a script without an end keeps its thread, not this one.
    std::packaged_task<QString()> task(
        [script, text = urlForScript(url), host = url.host(QUrl::FullyEncoded).toLatin1()] {
            return find(script, text, host);
        });
    std::future<QString> answer = task.get_future();
    std::thread(std::move(task)).detach();
    return answer.wait_for(kEvaluateLimit) == std::future_status::ready ? answer.get() : QString();
}
