#include "HttpAnswer.h"

namespace {

const QMap<int, QByteArray> kReasons = {
    {200, "OK"},
    {201, "Created"},
    {204, "No Content"},
    {206, "Partial Content"},
    {207, "Multi-Status"},
    {301, "Moved Permanently"},
    {302, "Found"},
    {304, "Not Modified"},
    {400, "Bad Request"},
    {401, "Unauthorized"},
    {403, "Forbidden"},
    {404, "Not Found"},
    {405, "Method Not Allowed"},
    {407, "Proxy Authentication Required"},
    {409, "Conflict"},
    {412, "Precondition Failed"},
    {413, "Request Entity Too Large"},
    {415, "Unsupported Media Type"},
    {416, "Requested Range Not Satisfiable"},
    {423, "Locked"},
    {424, "Failed Dependency"},
    {500, "Internal Server Error"},
    {502, "Bad Gateway"},
    {503, "Service Unavailable"},
    {507, "Insufficient Storage"},
};

}  // namespace

QByteArray HttpAnswer::statusLine() const {
    const QByteArray text = reason.isNull() ? kReasons.value(status, "Status") : reason;
    return "HTTP/1.1 " + QByteArray::number(status) + ' ' + text + "\r\n";
}

HttpAnswer HttpAnswer::text(int status, const QByteArray &body, const QByteArray &contentType) {
    HttpAnswer answer{.status = status};
    answer.body.data = body;
    if (!contentType.isEmpty())
        answer.add("Content-Type", contentType);
    return answer;
}
