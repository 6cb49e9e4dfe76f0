#pragma once

#include <memory>

#include <QByteArray>
#include <QString>

#include "common/Error.h"

class ASXMLDomNode;

// The client's copy of one server lock.
struct LockDiscovery {
    bool isLock = false;  // made from an "activelock" element
    QString locktype;     // stays empty in a parsed record, see createFromXmlNode
    QString lockscope;
    QString depth;
    QString owner;
    QString timeOut;
    QString locktoken;
    // Not part of the lock's XML: carried in properties of their own.
    qint64 lockFileAccess = 0;
    qint64 lockFileShare = 0;

    // The last "activelock" directly below the node; null, with no error, where there is none.
    static std::shared_ptr<LockDiscovery> createFromXmlNode(const ASXMLDomNode &node,
                                                            ErrorOut error);
    // From the body of a LOCK answer, or of a PROPFIND answer. Null with no error where it tells no
    // lock; a broken body is read as far as it goes. Code 15 is for a parser that refuses a body,
    // which ours never does.
    static std::shared_ptr<LockDiscovery> createFromXmlFromLockbody(const QByteArray &body,
                                                                    ErrorOut error);
    static std::shared_ptr<LockDiscovery> createFromXmlFromPropfindbody(const QByteArray &body,
                                                                        ErrorOut error);
};
