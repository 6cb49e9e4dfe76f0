#pragma once

#include <curl/curl.h>
#include <map>
#include <memory>
#include <vector>

#include <QHash>
#include <QSocketNotifier>
#include <QTimer>

class HttpReadStream;

// A thread's curl multi handle, driven by the thread's Qt event loop: curl says which sockets it
// waits for and when it wants to be called, Qt watches them.
class CurlMulti {
  public:
    CurlMulti();
    ~CurlMulti();
    CurlMulti(const CurlMulti &) = delete;
    CurlMulti &operator=(const CurlMulti &) = delete;

    // A curl handle without settings. It comes back after the stream's end.
    CURL *take();
    // Starts the stream's handle; its end comes as HttpReadStream::finished. On failure the handle
    // is gone.
    bool add(const std::shared_ptr<HttpReadStream> &stream);
    // Breaks it off, without a word to the stream.
    void remove(CURL *handle);

  private:
    struct Watch {
        std::unique_ptr<QSocketNotifier> read;
        std::unique_ptr<QSocketNotifier> write;
    };

    static int onSocket(CURL *handle, curl_socket_t socket, int what, CurlMulti *self, void *);
    static int onTimer(CURLM *multi, long milliseconds, CurlMulti *self);
    std::unique_ptr<QSocketNotifier> makeNotifier(curl_socket_t socket, bool forWriting);
    void act(curl_socket_t socket, int events);
    void removeNow(CURL *handle);
    void giveBack(HttpReadStream &stream);
    void deliver();

    CURLM *const multi;
    QTimer timer;
    // Kept for their socket numbers, disabled while curl doesn't wait for them: a notifier must not
    // be destroyed while it calls.
    std::map<curl_socket_t, Watch> watches;
    QHash<CURL *, std::shared_ptr<HttpReadStream>> streams;
    std::vector<CURL *> idle;
    bool insideCurl = false;
    std::vector<CURL *> leaving;  // removed from within a callback of curl
};
