#pragma once

#include <cerrno>
#include <optional>

#include <QString>
#include <QVariantMap>

// A failure as a value: which layer it comes from, its code there, and what else is known of it.
// Domains: "HTTPConnection" 4000..4006, "ASWDCmd" 32768..32770, "VDWebDAVConnectError" 0..23,
// "UploadThread" 0..1, and kPosixDomain with errno values.
struct Error {
    QString domain;
    int code = 0;
    // Keys: "OUTPUT" (text to log), "CertificateError"; for a refusal by extension the whole
    // response header.
    QVariantMap userInfo;

    bool isPosix() const;
    bool is(const QString &ofDomain, int ofCode) const {
        return domain == ofDomain && code == ofCode;
    }

    static Error errorWithPOSIXCode(int code);
    static Error errorWithPOSIXCode(int code, const QVariantMap &userInfo);
};

inline const QString kPosixDomain = QStringLiteral("NSPOSIXErrorDomain");
inline const QString kConnectErrorDomain = QStringLiteral("VDWebDAVConnectError");

// Where an operation puts its error. May be null: some operations behave differently with nowhere
// to put one. An operation may succeed and set an error all the same.
using ErrorOut = std::optional<Error> *;

// Stores the error if there is somewhere to store it.
void setError(ErrorOut out, Error error);
