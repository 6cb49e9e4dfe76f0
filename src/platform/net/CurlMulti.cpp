#include "platform/net/CurlMulti.h"

#include <utility>

#include "platform/net/HttpReadStream.h"

namespace {

constexpr size_t kMostIdle = 4;

CURLM *makeMulti() {
    static const CURLcode ready = curl_global_init(CURL_GLOBAL_DEFAULT);
    return ready == CURLE_OK ? curl_multi_init() : nullptr;
}

}  // namespace

CurlMulti::CurlMulti() : multi(makeMulti()) {
    timer.setSingleShot(true);
    timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer, &QTimer::timeout, &timer, [this] { act(CURL_SOCKET_TIMEOUT, 0); });

    curl_multi_setopt(multi, CURLMOPT_SOCKETFUNCTION, &CurlMulti::onSocket);
    curl_multi_setopt(multi, CURLMOPT_SOCKETDATA, this);
    curl_multi_setopt(multi, CURLMOPT_TIMERFUNCTION, &CurlMulti::onTimer);
    curl_multi_setopt(multi, CURLMOPT_TIMERDATA, this);
}

CurlMulti::~CurlMulti() {
    const QList<std::shared_ptr<HttpReadStream>> left = streams.values();
    for (const std::shared_ptr<HttpReadStream> &stream : left)
        stream->close();
    curl_multi_setopt(multi, CURLMOPT_SOCKETFUNCTION, nullptr);
    curl_multi_setopt(multi, CURLMOPT_TIMERFUNCTION, nullptr);
    for (CURL *handle : idle)
        curl_easy_cleanup(handle);
    curl_multi_cleanup(multi);
}

CURL *CurlMulti::take() {
    if (idle.empty())
        return curl_easy_init();
    CURL *handle = idle.back();
    idle.pop_back();
    return handle;
}

void CurlMulti::giveBack(HttpReadStream &stream) {
    CURL *handle = stream.handle;
    stream.leaveHandle();
    if (idle.size() >= kMostIdle)
        return curl_easy_cleanup(handle);
    // The settings point into the stream.
    curl_easy_reset(handle);
    idle.push_back(handle);
}

bool CurlMulti::add(const std::shared_ptr<HttpReadStream> &stream) {
    CURL *handle = stream->handle;
    if (insideCurl || curl_multi_add_handle(multi, handle) != CURLM_OK) {
        giveBack(*stream);
        return false;
    }
    streams.insert(handle, stream);
    return true;
}

void CurlMulti::remove(CURL *handle) {
    if (insideCurl)
        leaving.push_back(handle);
    else
        removeNow(handle);
}

void CurlMulti::removeNow(CURL *handle) {
    const std::shared_ptr<HttpReadStream> stream = streams.take(handle);
    if (!stream)
        return;
    curl_multi_remove_handle(multi, handle);
    giveBack(*stream);
}

int CurlMulti::onSocket(CURL *, curl_socket_t socket, int what, CurlMulti *self, void *) {
    Watch &watch = self->watches[socket];
    const bool reading = what == CURL_POLL_IN || what == CURL_POLL_INOUT;
    const bool writing = what == CURL_POLL_OUT || what == CURL_POLL_INOUT;
    if (reading && !watch.read)
        watch.read = self->makeNotifier(socket, false);
    if (writing && !watch.write)
        watch.write = self->makeNotifier(socket, true);
    if (watch.read)
        watch.read->setEnabled(reading);
    if (watch.write)
        watch.write->setEnabled(writing);
    return 0;
}

std::unique_ptr<QSocketNotifier> CurlMulti::makeNotifier(curl_socket_t socket, bool forWriting) {
    auto notifier = std::make_unique<QSocketNotifier>(
        socket, forWriting ? QSocketNotifier::Write : QSocketNotifier::Read);
    const int events = forWriting ? CURL_CSELECT_OUT : CURL_CSELECT_IN;
    QObject::connect(notifier.get(), &QSocketNotifier::activated, &timer,
                     [this, socket, events] { act(socket, events); });
    return notifier;
}

int CurlMulti::onTimer(CURLM *, long milliseconds, CurlMulti *self) {
    if (milliseconds < 0)
        self->timer.stop();
    else
        self->timer.start(static_cast<int>(milliseconds));
    return 0;
}

void CurlMulti::act(curl_socket_t socket, int events) {
    int running = 0;
    insideCurl = true;
    curl_multi_socket_action(multi, socket, events, &running);
    insideCurl = false;
    for (CURL *handle : std::exchange(leaving, {}))
        removeNow(handle);
    deliver();
}

void CurlMulti::deliver() {
    int waiting = 0;
    while (const CURLMsg *message = curl_multi_info_read(multi, &waiting)) {
        if (message->msg != CURLMSG_DONE)
            continue;
        CURL *handle = message->easy_handle;
        const CURLcode result = message->data.result;
        const std::shared_ptr<HttpReadStream> stream = streams.take(handle);
        if (!stream)
            continue;
        curl_multi_remove_handle(multi, handle);
        giveBack(*stream);
        // May run the loop again, and this function with it.
        stream->finished(result);
    }
}
