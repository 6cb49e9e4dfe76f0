#include "Certificate.h"

#include <memory>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>

#include <QHostAddress>

#include "common/Deleter.h"

namespace {

using Key = std::unique_ptr<EVP_PKEY, Deleter<EVP_PKEY_free>>;
using X509Ptr = std::unique_ptr<X509, Deleter<X509_free>>;
using Bio = std::unique_ptr<BIO, Deleter<BIO_free_all>>;

void addExtension(X509 *certificate, int nid, const QByteArray &value) {
    std::unique_ptr<X509_EXTENSION, Deleter<X509_EXTENSION_free>> extension(
        X509V3_EXT_conf_nid(nullptr, nullptr, nid, value.constData()));
    X509_add_ext(certificate, extension.get(), -1);
}

QByteArray alternativeNames(const QStringList &names) {
    QByteArrayList entries;
    for (const QString &name : names)
        entries.append((QHostAddress(name).isNull() ? "DNS:" : "IP:") + name.toUtf8());
    return entries.join(',');
}

QByteArray contentOf(const Bio &bio) {
    char *data = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &data);
    return QByteArray(data, size);
}

}  // namespace

Certificate Certificate::make(const Options &options) {
    const Key key(EVP_EC_gen("P-256"));
    const X509Ptr certificate(X509_new());
    X509_set_version(certificate.get(), X509_VERSION_3);
    quint64 serial = 0;
    RAND_bytes(reinterpret_cast<unsigned char *>(&serial), sizeof serial);
    ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate.get()), serial >> 1);
    X509_time_adj_ex(X509_getm_notBefore(certificate.get()), options.validFromDays, 0, nullptr);
    X509_time_adj_ex(X509_getm_notAfter(certificate.get()), options.validToDays, 0, nullptr);
    X509_set_pubkey(certificate.get(), key.get());

    X509_NAME *name = X509_get_subject_name(certificate.get());
    const QByteArray commonName = options.commonName.toUtf8();
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8,
                               reinterpret_cast<const unsigned char *>(commonName.constData()), -1,
                               -1, 0);
    X509_set_issuer_name(certificate.get(), name);
    addExtension(certificate.get(), NID_basic_constraints, "critical,CA:TRUE");
    if (!options.names.isEmpty())
        addExtension(certificate.get(), NID_subject_alt_name, alternativeNames(options.names));
    X509_sign(certificate.get(), key.get(), EVP_sha256());

    const Bio certificateBio(BIO_new(BIO_s_mem()));
    const Bio keyBio(BIO_new(BIO_s_mem()));
    PEM_write_bio_X509(certificateBio.get(), certificate.get());
    PEM_write_bio_PrivateKey(keyBio.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr);
    return {contentOf(certificateBio), contentOf(keyBio)};
}
