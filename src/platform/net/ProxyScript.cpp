#include "platform/net/ProxyScript.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <curl/curl.h>
#include <fcntl.h>
#include <memory>
#include <pacparser.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QDeadlineTimer>
#include <QUrl>

namespace {

constexpr long kFetchLimitMs = 5'000;
constexpr auto kEvaluateLimit = std::chrono::seconds(5);
constexpr qsizetype kMaxSize = 1024 * 1024;
constexpr long kMaxRedirects = 5;
constexpr size_t kMaxAnswer = 4096;

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

constexpr int kCrashSignals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT};

// The child's part. A crash there is nobody's but the script's.
[[noreturn]] void findAndExit(const char *script, const char *url, const char *host, int answer) {
    for (const int signal : kCrashSignals)
        std::signal(signal, SIG_DFL);
    const rlimit noCore{0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    pacparser_set_error_printer(ignoreComplaint);
    if (!pacparser_init() || !pacparser_parse_pac_string(script))
        _exit(1);
    const char *const found = pacparser_find_proxy(url, host);
    const bool isWritten = found && write(answer, found, strnlen(found, kMaxAnswer)) >= 0;
    _exit(isWritten ? 0 : 1);
}

// All that comes until the other end is closed or the limit passes.
QByteArray readAnswer(int descriptor) {
    const QDeadlineTimer limit(kEvaluateLimit);
    QByteArray answer;
    std::array<char, kMaxAnswer> block;
    while (!limit.hasExpired()) {
        pollfd wanted{descriptor, POLLIN, 0};
        if (poll(&wanted, 1, int(limit.remainingTime())) <= 0)
            continue;
        const ssize_t size = read(descriptor, block.data(), block.size());
        if (size <= 0)
            break;
        answer.append(block.data(), size);
    }
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

// In a process of its own, since the engine can't be interrupted, and a script that brings it down
// must not take the volumes along.
QString ProxyScript::evaluate(const QByteArray &script, const QUrl &url) {
    if (script.contains('\0'))
        return {};
    const QByteArray text = urlForScript(url);
    const QByteArray host = url.host(QUrl::FullyEncoded).toLatin1();
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return {};
    const pid_t child = fork();
    if (child == 0)
        findAndExit(script.constData(), text.constData(), host.constData(), ends[1]);
    close(ends[1]);
    QByteArray answer;
    if (child > 0) {
        answer = readAnswer(ends[0]);
        kill(child, SIGKILL);
        while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
    close(ends[0]);
    return QString::fromLatin1(answer);
}
