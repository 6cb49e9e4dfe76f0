#include "platform/net/ProxyScript.h"

#include <algorithm>
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
#include <spawn.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QDeadlineTimer>
#include <QFile>
#include <QUrl>

namespace {

constexpr long kFetchLimitMs = 5'000;
constexpr auto kEvaluateLimit = std::chrono::seconds(5);
constexpr qsizetype kMaxSize = 1024 * 1024;
constexpr long kMaxRedirects = 5;
constexpr size_t kMaxAnswer = 4096;
// What stands in place of the program's name where it is to evaluate a script.
constexpr char kChildName[] = "velmoradisk-proxy-script";

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

// The child's part. It ends by itself even when nobody is left to end it, and a crash there is
// nobody's but the script's.
[[noreturn]] void findAndExit() {
    const rlimit noCore{0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    const rlimit processorTime{kEvaluateLimit.count(), kEvaluateLimit.count()};
    setrlimit(RLIMIT_CPU, &processorTime);
    QFile input;
    const bool isOpen = input.open(STDIN_FILENO, QIODevice::ReadOnly | QIODevice::Unbuffered);
    const QList<QByteArray> question = input.readAll().split('\0');
    if (!isOpen || question.size() != 3)
        _exit(1);
    pacparser_set_error_printer(ignoreComplaint);
    if (!pacparser_init() || !pacparser_parse_pac_string(question[2].constData()))
        _exit(1);
    const char *const found =
        pacparser_find_proxy(question[0].constData(), question[1].constData());
    const bool isWritten = found && write(STDOUT_FILENO, found, strnlen(found, kMaxAnswer)) >= 0;
    _exit(isWritten ? 0 : 1);
}

// This program again, under the child's name. A mere fork would have the locks of the other threads
// as they stood, and the descriptors of the volumes. Not positive on failure.
pid_t startChild(int question, int answer) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, question, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, answer, STDOUT_FILENO);
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    char name[sizeof kChildName];
    std::copy(std::begin(kChildName), std::end(kChildName), name);
    char *const arguments[] = {name, nullptr};
    pid_t child = -1;
    if (posix_spawn(&child, "/proc/self/exe", &actions, nullptr, arguments, environ) != 0)
        child = -1;
    posix_spawn_file_actions_destroy(&actions);
    return child;
}

// The file that holds the child's question, to be read from its start; -1 on failure. It has no
// name, and the URL stands on no command line.
int makeQuestion(const QByteArray &content) {
    const int descriptor = memfd_create(kChildName, MFD_CLOEXEC);
    QFile file;
    if (descriptor < 0 ||
        (file.open(descriptor, QIODevice::WriteOnly | QIODevice::Unbuffered) &&
         file.write(content) == content.size() && lseek(descriptor, 0, SEEK_SET) == 0))
        return descriptor;
    close(descriptor);
    return -1;
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
    const int question = makeQuestion(urlForScript(url) + '\0' +
                                      url.host(QUrl::FullyEncoded).toLatin1() + '\0' + script);
    int ends[2];
    if (question < 0 || pipe2(ends, O_CLOEXEC) != 0) {
        close(question);
        return {};
    }
    const pid_t child = startChild(question, ends[1]);
    close(question);
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

void ProxyScript::endIfChild(int argc, char **argv) {
    if (argc == 1 && std::strcmp(argv[0], kChildName) == 0)
        findAndExit();
}
