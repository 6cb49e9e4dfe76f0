#include "platform/system/IdentityFiles.h"

#include <memory>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>
#include <openssl/provider.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include "common/Deleter.h"
#include "platform/system/CertificateText.h"

namespace {

using Opening = IdentityStore::Opening;

using Key = std::unique_ptr<EVP_PKEY, Deleter<EVP_PKEY_free>>;
using Bio = std::unique_ptr<BIO, Deleter<BIO_free_all>>;
using Pkcs12 = std::unique_ptr<PKCS12, Deleter<PKCS12_free>>;
using Provider = std::unique_ptr<OSSL_PROVIDER, Deleter<OSSL_PROVIDER_unload>>;
using CertificateText::Certificate;

constexpr qint64 kMaxSize = 1024 * 1024;

const QString kPem = QStringLiteral("PEM");
const QString kP12 = QStringLiteral("P12");

QByteArray contentOf(const QString &path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.read(kMaxSize) : QByteArray();
}

Bio reader(const QByteArray &content) {
    return Bio(BIO_new_mem_buf(content.constData(), int(content.size())));
}

// Many files are still made with ciphers that OpenSSL keeps apart. Loading any provider by name
// takes the default one away unless that is named as well. They stay, since the connection reads
// the file again.
void allowOldCiphers() {
    static const Provider standard(OSSL_PROVIDER_load(nullptr, "default"));
    static const Provider old(OSSL_PROVIDER_load(nullptr, "legacy"));
}

// --- PKCS#12

struct Pkcs12Content {
    Key key;
    Certificate certificate;
};

std::optional<Pkcs12Content> parse(PKCS12 *file, const QByteArray &passphrase) {
    EVP_PKEY *key = nullptr;
    X509 *certificate = nullptr;
    const bool isParsed =
        PKCS12_parse(file, passphrase.constData(), &key, &certificate, nullptr) == 1;
    Pkcs12Content content{Key(key), Certificate(certificate)};
    ERR_clear_error();
    if (!isParsed)
        return std::nullopt;
    return content;
}

Pkcs12 pkcs12At(const QString &path) {
    allowOldCiphers();
    Pkcs12 file(d2i_PKCS12_bio(reader(contentOf(path)).get(), nullptr));
    ERR_clear_error();
    return file;
}

std::optional<StoredIdentity> pkcs12Identity(const QFileInfo &info) {
    const Pkcs12 file = pkcs12At(info.filePath());
    if (!file)
        return std::nullopt;
    StoredIdentity identity;
    identity.type = kP12;
    identity.certificate = identity.privateKey = info.filePath();
    identity.label = info.completeBaseName();
    const auto content = parse(file.get(), {});
    identity.needsPassphrase = !content;
    if (!content)
        return identity;
    X509 *const certificate = content->certificate.get();
    if (!content->key || !certificate || !CertificateText::isValidToday(certificate))
        return std::nullopt;
    identity.label = CertificateText::label(certificate, identity.label);
    identity.issuer = CertificateText::issuer(certificate);
    return identity;
}

// --- PEM

struct Passphrase {
    const QByteArray text;
    bool isAsked = false;
};

int givePassphrase(char *buffer, int size, int, void *user) {
    auto *const passphrase = static_cast<Passphrase *>(user);
    passphrase->isAsked = true;
    if (passphrase->text.isEmpty() || passphrase->text.size() > size)
        return -1;
    std::copy(passphrase->text.begin(), passphrase->text.end(), buffer);
    return int(passphrase->text.size());
}

Key pemKey(const QString &path, Passphrase *passphrase) {
    Key key(PEM_read_bio_PrivateKey(reader(contentOf(path)).get(), nullptr, givePassphrase,
                                    passphrase));
    ERR_clear_error();
    return key;
}

// The certificate's own file, or the one beside it.
QString keyFileOf(const QFileInfo &info) {
    const QString beside =
        info.path() + QLatin1Char('/') + info.completeBaseName() + QStringLiteral(".key");
    return QFileInfo::exists(beside) ? beside : info.filePath();
}

std::optional<StoredIdentity> pemIdentity(const QFileInfo &info) {
    const Certificate certificate(
        PEM_read_bio_X509(reader(contentOf(info.filePath())).get(), nullptr, nullptr, nullptr));
    ERR_clear_error();
    Passphrase none;
    const QString keyFile = keyFileOf(info);
    const bool isOpen = pemKey(keyFile, &none) != nullptr;
    if (!certificate || !CertificateText::isValidToday(certificate.get()) ||
        !(isOpen || none.isAsked))
        return std::nullopt;
    StoredIdentity identity;
    identity.type = kPem;
    identity.certificate = info.filePath();
    identity.privateKey = keyFile;
    identity.label = CertificateText::label(certificate.get(), info.completeBaseName());
    identity.issuer = CertificateText::issuer(certificate.get());
    identity.needsPassphrase = !isOpen;
    return identity;
}

}  // namespace

QList<StoredIdentity> IdentityFiles::find(const QString &folder) {
    QList<StoredIdentity> identities;
    const QFileInfoList files = QDir(folder).entryInfoList(
        {QStringLiteral("*.p12"), QStringLiteral("*.pfx"), QStringLiteral("*.pem")}, QDir::Files,
        QDir::Name | QDir::IgnoreCase);
    for (const QFileInfo &info : files) {
        const bool isPem = info.suffix().compare(QLatin1String("pem"), Qt::CaseInsensitive) == 0;
        if (const auto identity = isPem ? pemIdentity(info) : pkcs12Identity(info))
            identities.append(*identity);
    }
    return identities;
}

Opening IdentityFiles::open(const StoredIdentity &identity, const QString &passphrase) {
    bool isOpened = false;
    if (identity.type == kP12) {
        const Pkcs12 file = pkcs12At(identity.certificate);
        if (!file)
            return Opening::Failed;
        const auto content = parse(file.get(), passphrase.toUtf8());
        isOpened = content && content->key && content->certificate;
    } else {
        Passphrase given{passphrase.toUtf8()};
        isOpened = pemKey(identity.privateKey, &given) != nullptr;
    }
    return isOpened ? Opening::Opened : Opening::WrongPassphrase;
}
