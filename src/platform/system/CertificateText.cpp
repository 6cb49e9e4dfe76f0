#include "platform/system/CertificateText.h"

#include <array>

namespace {

QString objectText(const ASN1_OBJECT *object) {
    std::array<char, 128> digits;
    OBJ_obj2txt(digits.data(), digits.size(), object, 1);
    return QString::fromLatin1(digits.data());
}

QString valueText(const ASN1_STRING *value) {
    unsigned char *bytes = nullptr;
    const int size = ASN1_STRING_to_UTF8(&bytes, value);
    const QString text = QString::fromUtf8(reinterpret_cast<const char *>(bytes), qMax(0, size));
    OPENSSL_free(bytes);
    return text;
}

QList<StoredIdentity::NamePart> partsOf(const X509_NAME *name) {
    QList<StoredIdentity::NamePart> parts;
    for (int i = 0; i < X509_NAME_entry_count(name); ++i) {
        const X509_NAME_ENTRY *const entry = X509_NAME_get_entry(name, i);
        parts.append({objectText(X509_NAME_ENTRY_get_object(entry)),
                      valueText(X509_NAME_ENTRY_get_data(entry))});
    }
    return parts;
}

}  // namespace

QString CertificateText::label(X509 *certificate, const QString &fallback) {
    int size = 0;
    const unsigned char *const alias = X509_alias_get0(certificate, &size);
    if (alias && size > 0)
        return QString::fromUtf8(reinterpret_cast<const char *>(alias), size);
    for (const auto &[object, text] : partsOf(X509_get_subject_name(certificate))) {
        if (object == QLatin1String("2.5.4.3") && !text.isEmpty())
            return text;
    }
    return fallback;
}

QList<StoredIdentity::NamePart> CertificateText::issuer(X509 *certificate) {
    return partsOf(X509_get_issuer_name(certificate));
}

bool CertificateText::isValidToday(const X509 *certificate) {
    return X509_cmp_current_time(X509_get0_notBefore(certificate)) < 0 &&
           X509_cmp_current_time(X509_get0_notAfter(certificate)) > 0;
}
