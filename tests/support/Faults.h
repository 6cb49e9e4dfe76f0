#pragma once

#include <chrono>
#include <optional>
#include <vector>

#include <QByteArray>
#include <QList>
#include <QString>

#include "RecordedRequest.h"

// Something that goes wrong on command. The first fault that matches a request applies to it; write
// the members in this order: server.fault({.method = "GET", .path = "/a", .status = 500}).
struct Fault {
    static constexpr int kAlways = -1;
    enum class Xml { asIs, garbled, truncated, endless };

    // Which requests. Empty means any; the path is decoded and has no trailing "/".
    QByteArray method = {};
    QString path = {};
    int times = 1;  // kAlways until clearFaults
    int after = 0;  // as many matching requests are let through first

    // What happens. Members combine where that makes sense (a delay and a status).
    std::chrono::milliseconds delay{0};  // before the answer
    bool stall = false;                  // no answer until releaseStalled or the server's end
    bool close = false;                  // closed in place of an answer
    bool reset = false;         // with close or cutAfter: by RST; alone: in place of an answer
    qint64 cutAfter = -1;       // closed after as many bytes of body
    qint64 stallAfter = -1;     // silent after as many bytes of body
    qint64 bytesPerSecond = 0;  // of the body; 0 unlimited
    // The answer is this status and the request has no effect. The body is as given, and so are
    // the headers, after a Content-Length.
    int status = 0;
    QByteArray reason = {};
    QList<HeaderLine> headers = {};  // without a status: added to the ordinary answer
    QByteArray body = {};
    QByteArray redirect = {};  // Location of a 302, or of the status given
    bool process = false;      // with stall, close or status: the request takes effect all the same
    bool ignoreRange = false;  // the whole file with 200
    // The body is this many bytes longer (above 0) or shorter than its Content-Length says; after
    // a shorter one the connection is closed.
    qint64 lengthDelta = 0;
    bool endlessBody = false;  // no Content-Length, and the body never ends
    // Closed (by RST with reset) as soon as so many bytes of the request's body arrived. With
    // process the request takes effect as far as it came, as servers do that write in place.
    qint64 cutRequestAfter = -1;
    bool early = false;   // with a status: answered before the request's body is read, then closed
    Xml xml = Xml::asIs;  // what becomes of an XML body
};

// The faults set and not yet used up.
class Faults {
  public:
    void add(const Fault &fault) { faults.push_back(fault); }
    void clear() { faults.clear(); }
    // The fault for this request, if any, counted as used.
    std::optional<Fault> take(const QByteArray &method, const QString &path);

  private:
    std::vector<Fault> faults;
};
