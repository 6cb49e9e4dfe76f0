#include "common/AdditionCrypto.h"

#include <algorithm>
#include <array>
#include <limits>
#include <memory>
#include <openssl/crypto.h>
#include <openssl/evp.h>

namespace {

constexpr int kKeyLength = 16;
constexpr int kBlockLength = 16;
const QString kVelmoraKey = QStringLiteral("QUILTED-HARBOR-SEAL-MAPLE-77");

using Key = std::array<unsigned char, kKeyLength>;
using Context = std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>;

Key keyBytes(const QString &text) {
    Key key{};
    const QByteArray bytes = text.toUtf8();
    std::copy_n(bytes.begin(), std::min<qsizetype>(bytes.size(), kKeyLength), key.begin());
    return key;
}

QByteArray cipher(const QByteArray &data, const QString &key, bool encrypt) {
    const Context context(EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free);
    if (!context || data.size() > std::numeric_limits<int>::max() - kBlockLength)
        return {};
    QByteArray output(data.size() + kBlockLength, Qt::Uninitialized);
    auto *const out = reinterpret_cast<unsigned char *>(output.data());
    const auto *const in = reinterpret_cast<const unsigned char *>(data.constData());
    int body = 0;
    int rest = 0;
    if (!EVP_CipherInit_ex(context.get(), EVP_aes_128_ecb(), nullptr, keyBytes(key).data(), nullptr,
                           encrypt) ||
        !EVP_CipherUpdate(context.get(), out, &body, in, int(data.size())) ||
        !EVP_CipherFinal_ex(context.get(), out + body, &rest)) {
        OPENSSL_cleanse(out, size_t(output.size()));
        return {};
    }
    output.resize(body + rest);
    return output;
}

}  // namespace

QByteArray AES256EncryptWithKey(const QByteArray &data, const QString &key) {
    return cipher(data, key, true);
}

QByteArray AES256DecryptWithKey(const QByteArray &data, const QString &key) {
    return cipher(data, key, false);
}

QByteArray AES256EncryptWithKeyVelmora(const QByteArray &data) {
    return AES256EncryptWithKey(data, kVelmoraKey);
}

QByteArray AES256DecryptWithKeyVelmora(const QByteArray &data) {
    return AES256DecryptWithKey(data, kVelmoraKey);
}
