#include "platform/net/HttpMessage.h"

#include <algorithm>

#include <QRegularExpression>

namespace {

bool isSupported(const QString &scheme) {
    return scheme == QLatin1String("Basic") || scheme == QLatin1String("Digest");
}

bool isToken(const QString &text) {
    static const QRegularExpression token(QStringLiteral("\\A[!#$%&'*+.^_`|~0-9A-Za-z-]+\\z"));
    return token.match(text).hasMatch();
}

QString withoutLineBreaks(QString text) {
    return text.remove(QLatin1Char('\r')).remove(QLatin1Char('\n')).remove(QChar::Null).trimmed();
}

template <typename Fields>
auto findField(Fields &fields, const QString &name) {
    return std::find_if(fields.begin(), fields.end(), [&name](const HttpMessage::Field &field) {
        return field.name.compare(name, Qt::CaseInsensitive) == 0;
    });
}

QString valueOf(const QList<HttpMessage::Field> &fields, const QString &name) {
    const auto field = findField(fields, name);
    return field == fields.end() ? QString() : field->value;
}

}  // namespace

std::unique_ptr<HttpMessage> HttpMessage::createRequest(const QString &method, const QUrl &url) {
    const QString scheme = url.scheme();
    const bool isHttp = scheme == QLatin1String("http") || scheme == QLatin1String("https");
    if (!isHttp || url.host().isEmpty() || !isToken(method))
        return nullptr;
    auto message = std::make_unique<HttpMessage>();
    message->method = method.toLatin1();
    message->url = url;
    return message;
}

void HttpMessage::setHeaderField(const QString &name, const QString &value) {
    const auto field = findField(fields, name);
    if (value.isNull()) {
        if (field != fields.end())
            fields.erase(field);
        return;
    }
    if (!isToken(name))
        return;
    QString clean = withoutLineBreaks(value);
    if (field != fields.end())
        field->value = std::move(clean);
    else
        fields.append({name, std::move(clean)});
}

QString HttpMessage::headerField(const QString &name) const {
    return valueOf(fields, name);
}

bool HttpMessage::addAuthentication(const QString &username, const QString &password,
                                    const QString &scheme, bool isProxy) {
    if (!isSupported(scheme))
        return false;
    (isProxy ? proxyCredentials : credentials) = HttpCredentials{scheme, username, password};
    return true;
}

void HttpResponse::addField(const QString &name, const QString &value) {
    const auto field = findField(fields, name);
    if (field == fields.end()) {
        fields.append({name, value});
        return;
    }
    const bool isCookie = name.compare(QLatin1String("Set-Cookie"), Qt::CaseInsensitive) == 0;
    field->value += (isCookie ? QStringLiteral("\n") : QStringLiteral(", ")) + value;
}

QString HttpResponse::headerField(const QString &name) const {
    return valueOf(fields, name);
}
