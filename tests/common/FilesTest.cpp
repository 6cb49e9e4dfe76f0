#include <QCryptographicHash>
#include <QTemporaryFile>

#include "common/AdditionCrypto.h"
#include "common/VDCommonUtils.h"

namespace {

using namespace VDCommonUtils;

TEST(Passwords, ComeBackAsTheyWere) {
    for (const QString text : {"", "secret", "sixteen letters!", "パスワード", "a\nb"}) {
        const QString back = decryptoPassword(encryptoPassword(text));
        EXPECT_EQ(back, text);
        EXPECT_FALSE(back.isNull());
    }
    const QByteArray notUtf8 = AES256EncryptWithKeyVelmora(QByteArray("\xff\xfe"));
    for (const QByteArray &data : {QByteArray(), QByteArray("short"), QByteArray(16, 'x'), notUtf8})
        EXPECT_TRUE(decryptoPassword(data).isNull()) << data.toHex().constData();
}

// Values stored by an earlier build must stay readable; made with
// openssl enc -aes-128-ecb -K 5155494c5445442d484152424f522d53
TEST(Passwords, StoredFormIsFixed) {
    EXPECT_EQ(encryptoPassword("secret").toHex(), "8b17c07ab57a4db1953f47972a487a04");
    EXPECT_EQ(encryptoPassword("").toHex(), "7501bed7edc252407b95cbee173e23ae");
}

TEST(Passwords, SixteenBytesOfTheKeyCount) {
    const QByteArray data = AES256EncryptWithKey("a", "0123456789abcdefX");
    EXPECT_EQ(data, AES256EncryptWithKey("a", "0123456789abcdefYZ"));
    EXPECT_NE(data, AES256EncryptWithKey("a", "0123456789abcdeF"));
    EXPECT_EQ(AES256DecryptWithKey(AES256EncryptWithKey("a", "short"), "short"), "a");
}

TEST(Files, MD5OfEverySizeAroundABlock) {
    for (const qsizetype size : {0, 1, 1048575, 1048576, 1048577}) {
        QTemporaryFile file;
        ASSERT_TRUE(file.open());
        const QByteArray data(size, 'v');
        file.write(data);
        file.flush();
        EXPECT_EQ(getMD5FromLocalFile(file.fileName()),
                  QCryptographicHash::hash(data, QCryptographicHash::Md5).toHex())
            << size;
    }
    EXPECT_TRUE(getMD5FromLocalFile("/nowhere").isNull());
    EXPECT_TRUE(getMD5FromLocalFile("/").isNull());
}

TEST(Files, ListsHoldEveryNameOnceDecomposed) {
    EXPECT_EQ(margeArrayFileList({"b", "caf\u00e9"}, {"cafe\u0301", "a", "b"}),
              QStringList({"b", "cafe\u0301", "a"}));
    QStringList names{"cafe\u0301"};
    marge(names, "caf\u00e9");
    marge(names, "x");
    EXPECT_EQ(names, QStringList({"cafe\u0301", "x"}));
}

}  // namespace
