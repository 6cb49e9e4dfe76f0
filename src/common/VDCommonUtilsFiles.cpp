#include <memory>
#include <openssl/evp.h>

#include <QFile>
#include <QSet>

#include "common/AdditionCrypto.h"
#include "common/VDCommonUtils.h"

namespace VDCommonUtils {

namespace {

constexpr qint64 kBlockSize = 1048576;

QString canonicalName(const QString &name) {
    return name.normalized(QString::NormalizationForm_D);
}

}  // namespace

QStringList margeArrayFileList(const QStringList &first, const QStringList &second) {
    QStringList names;
    QSet<QString> seen;
    for (const QStringList &list : {first, second}) {
        for (const QString &name : list) {
            const QString canonical = canonicalName(name);
            if (seen.contains(canonical))
                continue;
            seen.insert(canonical);
            names.append(canonical);
        }
    }
    return names;
}

void marge(QStringList &array, const QString &name) {
    const QString canonical = canonicalName(name);
    if (!array.contains(canonical))
        array.append(canonical);
}

QString getMD5FromLocalFile(const QString &path) {
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                          &EVP_MD_CTX_free);
    QFile file(path);
    if (!context || !EVP_DigestInit_ex(context.get(), EVP_md5(), nullptr) ||
        !file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return {};
    QByteArray block(kBlockSize, Qt::Uninitialized);
    qint64 length = 0;
    while ((length = file.read(block.data(), kBlockSize)) > 0)
        EVP_DigestUpdate(context.get(), block.constData(), size_t(length));
    QByteArray digest(EVP_MD_size(EVP_md5()), Qt::Uninitialized);
    auto *const out = reinterpret_cast<unsigned char *>(digest.data());
    if (length < 0 || !EVP_DigestFinal_ex(context.get(), out, nullptr))
        return {};
    return QString::fromLatin1(digest.toHex());
}

QByteArray encryptoPassword(const QString &password) {
    return AES256EncryptWithKeyVelmora(password.toUtf8());
}

QString decryptoPassword(const QByteArray &data) {
    const QByteArray clear = AES256DecryptWithKeyVelmora(data);
    if (clear.isNull() || !clear.isValidUtf8())
        return {};
    return clear.isEmpty() ? QStringLiteral("") : QString::fromUtf8(clear);
}

}  // namespace VDCommonUtils
