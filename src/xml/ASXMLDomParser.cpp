#include "xml/ASXMLDomParser.h"

#include <QXmlStreamReader>

#include "xml/ReadableXml.h"

namespace {

const QString kParserErrorDomain = QStringLiteral("NSXMLParserErrorDomain");

QString localName(QStringView qualifiedName) {
    return qualifiedName.mid(qualifiedName.lastIndexOf(u':') + 1).toString().toLower();
}

}  // namespace

bool ASXMLDomParser::parse(const QByteArray &data) {
    stack.clear();
    currentElement.reset();
    rootElement.reset();
    error.reset();
    elementCount = 0;

    QXmlStreamReader reader(readableXml(data));
    reader.setNamespaceProcessing(false);
    while (!reader.atEnd() && !error) {
        switch (reader.readNext()) {
            case QXmlStreamReader::StartElement:
                startElement(reader.qualifiedName());
                break;
            case QXmlStreamReader::Characters:
                characters(reader.text());
                break;
            case QXmlStreamReader::EndElement:
                endElement();
                break;
            default:
                break;
        }
    }
    if (reader.hasError())
        fail(reader.error(), QStringLiteral("%1, line %2, column %3")
                                 .arg(reader.errorString())
                                 .arg(reader.lineNumber())
                                 .arg(reader.columnNumber()));
    stack.clear();
    currentElement.reset();
    if (!error && delegate)
        delegate->parserDidFinishDocument(*this);
    return true;
}

void ASXMLDomParser::startElement(QStringView qualifiedName) {
    const qsizetype ancestors = stack.size() + (currentElement ? 1 : 0);
    if (ancestors >= kMaxDepth || ++elementCount > kMaxElements)
        return fail(QXmlStreamReader::CustomError, QStringLiteral("Too many elements"));
    const auto node = std::make_shared<ASXMLDomNode>();
    node->elementName = localName(qualifiedName);
    node->parent = currentElement;
    if (currentElement) {
        stack.append(currentElement);
        currentElement->appendChild(node);
    } else {
        rootElement = node;
    }
    currentElement = node;
    if (delegate)
        delegate->didStartNode(*this, node);
}

void ASXMLDomParser::characters(QStringView text) {
    if (currentElement)
        currentElement->elementValue.append(text);
}

void ASXMLDomParser::endElement() {
    if (delegate)
        delegate->didEndNode(*this, currentElement);
    currentElement = stack.isEmpty() ? nullptr : stack.takeLast();
}

void ASXMLDomParser::fail(int code, const QString &description) {
    error = Error{kParserErrorDomain, code, {{QStringLiteral("OUTPUT"), description}}};
    if (delegate)
        delegate->parserError(*this);
}
