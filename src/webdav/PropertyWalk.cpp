#include "webdav/PropertyWalk.h"

void forEachProperty(const ASXMLDomParser &parser,
                     const std::function<void(const ASXMLDomNode &)> &visit) {
    if (!parser.rootElement)
        return;
    for (const auto &response : parser.rootElement->findName(QStringLiteral("response")))
        forEachProperty(*response, visit);
}

void forEachProperty(const ASXMLDomNode &response,
                     const std::function<void(const ASXMLDomNode &)> &visit) {
    for (const auto &propstat : response.findName(QStringLiteral("propstat"))) {
        for (const auto &prop : propstat->findName(QStringLiteral("prop"))) {
            for (const auto &property : prop->children)
                visit(*property);
        }
    }
}
