#include "platform/net/HttpChallenge.h"

#include <array>
#include <optional>

#include <QCryptographicHash>
#include <QRandomGenerator>
#include <QRegularExpression>

namespace {

const QByteArray kSession = "-sess";

std::optional<QCryptographicHash::Algorithm> hashOf(const QByteArray &algorithm) {
    QByteArray name = algorithm.toLower();
    if (name.endsWith(kSession))
        name.chop(kSession.size());
    if (name.isEmpty() || name == "md5")
        return QCryptographicHash::Md5;
    if (name == "sha-256")
        return QCryptographicHash::Sha256;
    return std::nullopt;
}

QByteArray quoted(QByteArray text) {
    // A line break would end the field.
    text.replace('\r', "").replace('\n', "");
    return '"' + text.replace('\\', "\\\\").replace('"', "\\\"") + '"';
}

QByteArray randomNonce() {
    std::array<quint32, 4> words;
    QRandomGenerator::system()->fillRange(words.data(), words.size());
    return QByteArray(reinterpret_cast<const char *>(words.data()), sizeof words).toHex();
}

QByteArray unquoted(const QRegularExpressionMatch &match) {
    static const QRegularExpression escaped(QStringLiteral("\\\\(.)"));
    if (match.hasCaptured(QStringLiteral("plain")))
        return match.captured(QStringLiteral("plain")).toUtf8();
    return match.captured(QStringLiteral("quoted"))
        .replace(escaped, QStringLiteral("\\1"))
        .toUtf8();
}

}  // namespace

HttpChallenge HttpChallenge::best(const QString &field) {
    // A parameter, or else the name of a scheme with the opaque token some schemes add.
    static const QRegularExpression part(QStringLiteral(
        R"re((?<name>[\w!#$%&'*+.^`|~-]+)\s*=\s*(?:"(?<quoted>(?:[^"\\]|\\.)*)"|(?<plain>[^\s,="]+))(?=\s*(?:,|$)))re"
        R"re(|(?<scheme>[\w-]+)(?:\s+[\w.~+/-]+=*(?=\s*(?:,|$)))?)re"));
    HttpChallenge found;
    QByteArray scheme;
    Parameters parameters;
    const auto finish = [&] {
        HttpChallenge candidate = from(scheme, parameters);
        const bool isBetter = candidate.scheme == QLatin1String("Digest") || found.scheme.isNull();
        if (!candidate.scheme.isNull() && isBetter && found.scheme != QLatin1String("Digest"))
            found = std::move(candidate);
        parameters.clear();
    };
    for (const QRegularExpressionMatch &match : part.globalMatch(field)) {
        if (match.hasCaptured(QStringLiteral("name"))) {
            parameters.insert(match.captured(QStringLiteral("name")).toLower().toUtf8(),
                              unquoted(match));
            continue;
        }
        finish();
        scheme = match.captured(QStringLiteral("scheme")).toLower().toUtf8();
    }
    finish();
    return found;
}

HttpChallenge HttpChallenge::from(const QByteArray &scheme, const Parameters &parameters) {
    HttpChallenge challenge;
    challenge.realm = parameters.value("realm");
    if (scheme == "basic")
        challenge.scheme = QStringLiteral("Basic");
    if (scheme != "digest")
        return challenge;

    challenge.nonce = parameters.value("nonce");
    challenge.opaque = parameters.value("opaque");
    challenge.algorithm = parameters.value("algorithm");
    bool offersAuth = false;
    for (const QByteArray &quality : parameters.value("qop").split(','))
        offersAuth |= quality.trimmed().toLower() == "auth";
    challenge.hasQuality = parameters.contains("qop");
    const bool isUsable = !challenge.nonce.isNull() && hashOf(challenge.algorithm) &&
                          (offersAuth || !challenge.hasQuality);
    if (isUsable)
        challenge.scheme = QStringLiteral("Digest");
    return challenge;
}

QByteArray HttpChallenge::answer(const HttpCredentials &credentials, const QByteArray &method,
                                 const QByteArray &target, quint32 use,
                                 const QByteArray &givenNonce) const {
    const auto algorithmOfHash = hashOf(algorithm).value_or(QCryptographicHash::Md5);
    const auto hash = [algorithmOfHash](const QByteArrayList &parts) {
        return QCryptographicHash::hash(parts.join(':'), algorithmOfHash).toHex();
    };
    const QByteArray user = credentials.username.toUtf8();
    const QByteArray clientNonce = givenNonce.isNull() ? randomNonce() : givenNonce;
    const QByteArray count = QByteArray::number(use, 16).rightJustified(8, '0');

    QByteArray secret = hash({user, realm, credentials.password.toUtf8()});
    if (algorithm.toLower().endsWith(kSession))
        secret = hash({secret, nonce, clientNonce});
    const QByteArray request = hash({method, target});
    const QByteArray response = hasQuality
                                    ? hash({secret, nonce, count, clientNonce, "auth", request})
                                    : hash({secret, nonce, request});

    QByteArray value = "Digest username=" + quoted(user) + ", realm=" + quoted(realm) +
                       ", nonce=" + quoted(nonce) + ", uri=" + quoted(target) + ", response=\"" +
                       response + '"';
    if (!algorithm.isNull())
        value += ", algorithm=" + algorithm;
    if (!opaque.isNull())
        value += ", opaque=" + quoted(opaque);
    if (hasQuality)
        value += ", qop=auth, nc=" + count + ", cnonce=\"" + clientNonce + '"';
    return value;
}
