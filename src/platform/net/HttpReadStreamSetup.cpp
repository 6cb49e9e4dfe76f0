#include <algorithm>
#include <array>
#include <curl/curl.h>
#include <utility>

#include "platform/net/HttpReadStream.h"
#include "platform/net/HttpSession.h"

namespace {

constexpr long kReceiveBuffer = 512 * 1024;
constexpr long kSendBuffer = 512 * 1024;

// Fields that curl would add by itself.
constexpr std::array kUnwantedFields = {"Accept", "Expect"};
// Fields that are meant for one server alone.
constexpr std::array kConfidentialFields = {"Authorization", "Cookie", "If", "Lock-Token"};

template <size_t size>
bool contains(const std::array<const char *, size> &names, const QString &name) {
    return std::any_of(names.begin(), names.end(), [&name](const char *candidate) {
        return name.compare(QLatin1String(candidate), Qt::CaseInsensitive) == 0;
    });
}

bool isContentLength(const QString &name) {
    return name.compare(QLatin1String("Content-Length"), Qt::CaseInsensitive) == 0;
}

// An empty value needs a form of its own: "Name:" alone tells curl to leave the field out.
QByteArray line(const HttpMessage::Field &field) {
    const QByteArray name = field.name.toLatin1();
    return field.value.isEmpty() ? name + ';' : name + ": " + field.value.toUtf8();
}

void setText(CURL *handle, CURLoption option, const QString &text) {
    if (!text.isEmpty())
        curl_easy_setopt(handle, option, text.toUtf8().constData());
}

constexpr QUrl::FormattingOptions kWholeUrl =
    QUrl::FormattingOptions(QUrl::FullyEncoded) | QUrl::RemoveUserInfo | QUrl::RemoveFragment;

// The request line's middle part, as curl makes it of the same URL.
QByteArray requestTarget(const QUrl &url) {
    const QByteArray target = url.toEncoded(kWholeUrl | QUrl::RemoveScheme | QUrl::RemoveAuthority);
    return target.startsWith('/') ? target : '/' + target;
}

int portOf(const QUrl &url) {
    return url.port(url.scheme() == QLatin1String("https") ? 443 : 80);
}

}  // namespace

bool HttpReadStream::hasBody() const {
    return bodyStream || !message.body.isNull();
}

qint64 HttpReadStream::bodySize() const {
    if (!bodyStream)
        return message.body.size();
    const QString announced = message.headerField(QStringLiteral("Content-Length"));
    return announced.isEmpty() ? -1 : announced.toLongLong();
}

void HttpReadStream::applyGround() {
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
    // Break off a name lookup instead of waiting for it when a request is cancelled.
    curl_easy_setopt(handle, CURLOPT_QUICK_EXIT, 1L);
    curl_easy_setopt(handle, CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_1_1);
    curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(handle, CURLOPT_PATH_AS_IS, 1L);
    curl_easy_setopt(handle, CURLOPT_TCP_NODELAY, 1L);
    curl_easy_setopt(handle, CURLOPT_TCP_KEEPALIVE, 1L);
    curl_easy_setopt(handle, CURLOPT_BUFFERSIZE, kReceiveBuffer);
    curl_easy_setopt(handle, CURLOPT_UPLOAD_BUFFERSIZE, kSendBuffer);
    curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, errorBuffer);
    errorBuffer[0] = '\0';
}

void HttpReadStream::applyTarget() {
    curl_easy_setopt(handle, CURLOPT_URL, message.url.toEncoded(kWholeUrl).constData());
    // Empty texts keep curl from looking into the environment.
    curl_easy_setopt(handle, CURLOPT_NOPROXY, "");
    QByteArray proxy("");
    if (hasProxy()) {
        QUrl url;
        url.setScheme(QStringLiteral("http"));
        url.setHost(settings.proxyHost);
        url.setPort(settings.proxyPort);
        proxy = url.toEncoded();
    }
    curl_easy_setopt(handle, CURLOPT_PROXY, proxy.constData());
}

void HttpReadStream::applyMethod() {
    if (hasBody()) {
        curl_easy_setopt(handle, CURLOPT_UPLOAD, 1L);
        curl_easy_setopt(handle, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(bodySize()));
    } else if (message.method == "HEAD") {
        curl_easy_setopt(handle, CURLOPT_NOBODY, 1L);
    }
    curl_easy_setopt(handle, CURLOPT_CUSTOMREQUEST, message.method.constData());
}

void HttpReadStream::applyCallbacks() {
    curl_easy_setopt(handle, CURLOPT_HEADERFUNCTION, &HttpReadStream::onHeader);
    curl_easy_setopt(handle, CURLOPT_HEADERDATA, this);
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &HttpReadStream::onBody);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, this);
    if (!hasBody())
        return;
    curl_easy_setopt(handle, CURLOPT_READFUNCTION, &HttpReadStream::onReadBody);
    curl_easy_setopt(handle, CURLOPT_READDATA, this);
    curl_easy_setopt(handle, CURLOPT_SEEKFUNCTION, &HttpReadStream::onSeekBody);
    curl_easy_setopt(handle, CURLOPT_SEEKDATA, this);
    curl_easy_setopt(handle, CURLOPT_XFERINFOFUNCTION, &HttpReadStream::onProgress);
    curl_easy_setopt(handle, CURLOPT_XFERINFODATA, this);
    curl_easy_setopt(handle, CURLOPT_NOPROGRESS, 0L);
}

void HttpReadStream::applyFields() {
    curl_slist *lines = nullptr;
    for (const HttpMessage::Field &field : message.fields) {
        const bool isCurls = hasBody() && isContentLength(field.name);
        const bool isSecret = amongStrangers && contains(kConfidentialFields, field.name);
        if (!isCurls && !isSecret)
            lines = curl_slist_append(lines, line(field).constData());
    }
    if (message.credentials && !amongStrangers) {
        const QByteArray login = settings.session->authorization(
            false, *message.credentials, message.method, requestTarget(message.url));
        if (!login.isNull())
            lines = curl_slist_append(lines, ("Authorization: " + login).constData());
    }
    for (const char *name : kUnwantedFields)
        if (message.headerField(QLatin1String(name)).isNull())
            lines = curl_slist_append(lines, QByteArray(name).append(':').constData());
    curl_easy_setopt(handle, CURLOPT_HTTPHEADER, lines);
    curl_slist_free_all(std::exchange(headerList, lines));
}

// What goes to the proxy alone, with the request or, for https, with the opening of the tunnel.
void HttpReadStream::applyProxyFields() {
    if (!hasProxy())
        return;
    curl_slist *lines = curl_slist_append(nullptr, "Proxy-Connection:");
    if (message.proxyCredentials) {
        const bool isTunnel = message.url.scheme() == QLatin1String("https");
        const QByteArray target = isTunnel ? message.url.host(QUrl::FullyEncoded).toUtf8() + ':' +
                                                 QByteArray::number(portOf(message.url))
                                           : message.url.toEncoded(kWholeUrl);
        const QByteArray login = settings.session->authorization(
            true, *message.proxyCredentials, isTunnel ? "CONNECT" : message.method, target);
        if (!login.isNull())
            lines = curl_slist_append(lines, ("Proxy-Authorization: " + login).constData());
    }
    curl_easy_setopt(handle, CURLOPT_HEADEROPT, static_cast<long>(CURLHEADER_SEPARATE));
    curl_easy_setopt(handle, CURLOPT_PROXYHEADER, lines);
    curl_slist_free_all(std::exchange(proxyHeaderList, lines));
}

void HttpReadStream::applySecurity() {
    if (message.url.scheme() != QLatin1String("https"))
        return;
    const bool validates = settings.validatesSecureCertificate;
    curl_easy_setopt(handle, CURLOPT_SSL_VERIFYPEER, validates ? 1L : 0L);
    curl_easy_setopt(handle, CURLOPT_SSL_VERIFYHOST, validates ? 2L : 0L);
    // The library, unlike the curl program, doesn't look at these by itself.
    setText(handle, CURLOPT_CAINFO, qEnvironmentVariable("SSL_CERT_FILE"));
    setText(handle, CURLOPT_CAPATH, qEnvironmentVariable("SSL_CERT_DIR"));
    if (amongStrangers || settings.clientCertificate.isEmpty())
        return;
    setText(handle, CURLOPT_SSLCERT, settings.clientCertificate);
    setText(handle, CURLOPT_SSLCERTTYPE, settings.clientCertificateType);
    setText(handle, CURLOPT_SSLKEY, settings.clientKey);
    setText(handle, CURLOPT_SSLKEYTYPE, settings.clientCertificateType);
    // Even an empty one, since OpenSSL asks on the terminal where it has none to try.
    curl_easy_setopt(handle, CURLOPT_KEYPASSWD, settings.clientKeyPassphrase.toUtf8().constData());
}
