#pragma once

#include "HttpAnswer.h"
#include "ServerState.h"

// Answers one request from the state. Everything runs with the state's mutex held.
class DavHandler {
  public:
    DavHandler(ServerState &state, const RecordedRequest &request);

    HttpAnswer handle();
    // For a GET: as if no range had been asked for.
    void ignoreRange() { rangesIgnored = true; }

  private:
    HttpAnswer dispatch();
    HttpAnswer options();
    HttpAnswer get();
    HttpAnswer put();
    HttpAnswer makeCollection();
    HttpAnswer remove();
    HttpAnswer copyOrMove(bool move);
    HttpAnswer propfind();
    HttpAnswer proppatch();
    HttpAnswer lock();
    HttpAnswer refreshLock();
    HttpAnswer unlock();
    HttpAnswer post();
    HttpAnswer report();
    HttpAnswer acl();

    struct ByteRange {
        qint64 first = 0;
        qint64 last = -1;
        bool refuse = false;
    };
    std::optional<ByteRange> askedRange(qint64 size) const;
    void addEntityHeaders(HttpAnswer &answer, const DavNode &node) const;
    void addVendorHeaders(HttpAnswer &answer) const;
    void setDatesFromHeaders(DavNode &node) const;
    bool refusedByExtension(HttpAnswer &answer, const DavPlace &of) const;

    QByteArray responseElement(const QByteArray &href, const DavNode &node,
                               const QList<PropertyName> &asked, bool all, bool namesOnly) const;
    QString liveProperty(const DavNode &node, const PropertyName &name) const;
    QByteArray hrefOf(const QByteArray &rawPath, bool folder) const;
    QByteArray lockXml(const DavNode &node) const;

    // The status that a change of these places fails with for want of a lock token; 0 if none.
    int lockRefusal(const QList<DavPlace> &places);
    bool ifHeaderHolds(bool needsTags) const;
    QList<QByteArray> submittedTokens() const;

    ServerState &state;
    const RecordedRequest &request;
    DavPlace place;
    bool rangesIgnored = false;
};

// "Mon, 05 Jan 2015 10:00:00 GMT"
QByteArray httpDate(const QDateTime &time);
