#pragma once

#include <curl/curl.h>
#include <memory>
#include <mutex>
#include <vector>

// A curl handle outside of its use. Between requests it keeps the last Digest challenges of server
// and proxy, with the count of their uses, so that the next request answers them at once.
struct CurlEasy {
    CurlEasy();
    ~CurlEasy();
    CurlEasy(const CurlEasy &) = delete;
    CurlEasy &operator=(const CurlEasy &) = delete;

    CURL *const handle;
    bool hasServerChallenge = false;
    bool hasProxyChallenge = false;
};

// The idle curl handles of a session with one server, shared by all its threads. The connections
// themselves belong to the threads' run loops.
class HttpSession : public std::enable_shared_from_this<HttpSession> {
  public:
    // A handle for one request, the last used first. Comes back by itself.
    std::shared_ptr<CurlEasy> take();

  private:
    void giveBack(std::unique_ptr<CurlEasy> easy);

    std::mutex mutex;  // guards idle
    std::vector<std::unique_ptr<CurlEasy>> idle;
};
