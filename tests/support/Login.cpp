#include "Login.h"

#include <QCryptographicHash>
#include <QMap>
#include <QRandomGenerator>
#include <QRegularExpression>

namespace {

QByteArray md5(const QByteArray &text) {
    return QCryptographicHash::hash(text, QCryptographicHash::Md5).toHex();
}

QMap<QString, QByteArray> digestFields(const QByteArray &credentials) {
    static const QRegularExpression pattern(
        QStringLiteral(R"re((\w+)\s*=\s*(?:"((?:[^"\\]|\\.)*)"|([^\s,]+)))re"));
    QMap<QString, QByteArray> fields;
    auto matches = pattern.globalMatch(QString::fromUtf8(credentials));
    while (matches.hasNext()) {
        const auto match = matches.next();
        const QString value = match.hasCaptured(3) ? match.captured(3) : match.captured(2);
        fields[match.captured(1).toLower()] = value.toUtf8();
    }
    return fields;
}

}  // namespace

void Login::require(TestServer::Scheme newScheme, const QString &newUser,
                    const QString &newPassword, const QString &newRealm) {
    scheme = newScheme;
    user = newUser.toUtf8();
    password = newPassword.toUtf8();
    realm = newRealm.toUtf8();
    expireNonce();
    stale = false;
}

void Login::expireNonce() {
    previousNonce = nonce;
    nonce = QByteArray::number(QRandomGenerator::global()->generate64(), 16);
}

bool Login::accepts(const RecordedRequest &request, const char *field) {
    stale = false;
    if (scheme == TestServer::NoLogin)
        return true;
    const QByteArray value = request.header(field);
    if (scheme == TestServer::Basic)
        return value == "Basic " + (user + ':' + password).toBase64();
    return value.startsWith("Digest ") && acceptsDigest(request, value.mid(7));
}

bool Login::acceptsDigest(const RecordedRequest &request, const QByteArray &credentials) {
    const auto fields = digestFields(credentials);
    if (fields["username"] != user || fields["realm"] != realm || fields["qop"] != "auth" ||
        fields["uri"] != request.target)
        return false;
    const QByteArray a1 = md5(user + ':' + realm + ':' + password);
    const QByteArray a2 = md5(request.method + ':' + fields["uri"]);
    const QByteArray expected = md5(a1 + ':' + fields["nonce"] + ':' + fields["nc"] + ':' +
                                    fields["cnonce"] + ":auth:" + a2);
    if (fields["response"] != expected)
        return false;
    stale = fields["nonce"] == previousNonce;
    return fields["nonce"] == nonce;
}

QByteArray Login::challenge() {
    if (scheme == TestServer::Basic)
        return "Basic realm=\"" + realm + '"';
    return "Digest realm=\"" + realm + "\", nonce=\"" + nonce + "\", qop=\"auth\", algorithm=MD5" +
           (stale ? ", stale=true" : "");
}
