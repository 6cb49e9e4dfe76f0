#pragma once

#include <optional>

#include <QByteArray>
#include <QList>

#include "common/Error.h"
#include "xml/ASXMLDomNode.h"

class ASXMLDomParser;

// Hears of the parsing as it goes; everything is optional.
class ASXMLDomParserDelegate {
  public:
    virtual ~ASXMLDomParserDelegate() = default;
    virtual void didStartNode(ASXMLDomParser &, const ASXMLDomNodePtr &) {}
    virtual void didEndNode(ASXMLDomParser &, const ASXMLDomNodePtr &) {}
    virtual void parserDidFinishDocument(ASXMLDomParser &) {}
    virtual void parserError(ASXMLDomParser &) {}
};

// Builds the tree of a server's answer.
class ASXMLDomParser {
  public:
    // What was read up to the end, or to the failure; null where nothing was.
    ASXMLDomNodePtr rootElement;
    // Set when the text isn't well-formed, goes beyond a limit below or expands entities beyond
    // reason.
    std::optional<Error> error;
    // Not owned; may be null.
    ASXMLDomParserDelegate *delegate = nullptr;

    // True whatever the text holds: a truncated answer is read as far as it goes, and only a caller
    // that looks at `error` knows.
    bool parse(const QByteArray &data);

    static constexpr int kMaxDepth = 512;
    // As many as a listing of half a million items has.
    static constexpr int kMaxElements = 5'000'000;

  private:
    void startElement(QStringView qualifiedName);
    void characters(QStringView text);
    void endElement();
    void fail(int code, const QString &description);

    QList<ASXMLDomNodePtr> stack;
    ASXMLDomNodePtr currentElement;
    int elementCount = 0;
};
