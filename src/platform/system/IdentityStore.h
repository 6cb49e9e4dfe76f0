#pragma once

#include <optional>
#include <utility>

#include <QList>
#include <QString>

// A certificate with its private key that the person may show to a server.
struct StoredIdentity {
    // One part of a name: the attribute's object identifier in digits, and its text.
    using NamePart = std::pair<QString, QString>;

    QString label;
    // In the certificate's order; empty where the certificate can't be read, as in a PKCS#12 file
    // under a passphrase.
    QList<NamePart> issuer;
    // The files, or one PKCS#11 URI for both; a PKCS#12 file holds both.
    QString certificate;
    QString privateKey;
    QString type;                  // "PEM", "P12" or "ENG"
    bool needsPassphrase = false;  // a passphrase, or a token's PIN
};

// Where the person keeps identities: *.p12, *.pfx and *.pem files in a folder, and PKCS#11 tokens.
// A .pem file holds certificate and key, or has a .key file of the same name beside it.
// Certificates that aren't valid today are left out. Any thread; may wait for a token.
class IdentityStore {
  public:
    enum class Opening { Opened, WrongPassphrase, Failed };

    virtual ~IdentityStore() = default;
    // Nothing when no place could be looked into.
    virtual std::optional<QList<StoredIdentity>> copyMatching() const;
    // Whether the passphrase gives the private key.
    virtual Opening open(const StoredIdentity &identity, const QString &passphrase) const;

    // ~/.local/share/velmoradisk/identities
    static QString folder();
};
