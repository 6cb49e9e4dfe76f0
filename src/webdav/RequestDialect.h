#pragma once

#include <QDateTime>
#include <QList>
#include <QMap>
#include <QString>
#include <QUrl>

struct HeldLock {
    QUrl resource;
    QString token;
};

// The places where requests and answers differ between the vendor's server, which gets the forms it
// was built with to the letter, and any other, which gets those of RFC 4918 and RFC 9110: to some
// of the former, standard servers answer with an error, or worse, with other bytes.
//
// URLs go into header fields percent-encoded, lock tokens come without their angle brackets.
class RequestDialect {
  public:
    explicit RequestDialect(bool velmora) : velmora(velmora) {}

    // The value of "Range", both ends inclusive; an end below 0 means to the end of the file.
    QString range(qint64 start, qint64 end) const;
    // "Destination" where the form that the command makes itself won't do.
    void describeDestination(QMap<QString, QString> &headers, const QUrl &destination) const;

    // The values of "If". A move or a removal names each held lock with the resource it is on; the
    // vendor's server reads none at a removal.
    QString ifOfMove(const QList<HeldLock> &locks) const;
    QString ifOfDelete(const QList<HeldLock> &locks) const;
    QString ifOfCopy(const QUrl &source, const QString &token) const;
    QString ifOfPut(const QUrl &mountUrl, const QUrl &item, const QString &token) const;
    QString ifOfPropPatch(const QUrl &item, const QString &token) const;
    QString ifOfLockRefresh(const QUrl &item, const QString &token) const;

    // The body of a request for a new lock.
    QString lockBody(const QString &owner, bool shared) const;
    // The statuses by which a change is done, from those of the vendor's server. Standard servers
    // choose freely: a MOVE is also answered with 200, a PROPPATCH with 204, the LOCK of a missing
    // item, which makes it, with 201.
    QList<int> successOf(const QList<int> &statuses) const;
    // Whether the answer to an UNLOCK means that there is no such lock any more.
    bool isLockGone(int unlockStatus) const;
    // The date of a file that is sent. No standard has a field for it; several servers read this
    // one, in seconds, and the others ignore it.
    void describeModification(QMap<QString, QString> &headers, const QDateTime &modified) const;
    // The fields that a request with an XML body needs besides its own.
    void describeXmlBody(QMap<QString, QString> &headers) const;

    // Percent-encoded text of an answer, decoded. Null where the bytes are no UTF-8.
    QString decoded(const QString &encoded) const;
    // The URL text, encoded, with the variables ${primary} and ${user} replaced.
    QString withVariables(const QString &url, const QString &primary, const QString &user) const;
    // Whether an answer whose XML breaks off is read as far as it goes.
    bool toleratesBrokenXml() const { return velmora; }

    // The URL that a person typed, in which percent escapes are taken as such and every other
    // character as itself.
    static QUrl typedUrl(const QString &text);

  private:
    const bool velmora;
};
