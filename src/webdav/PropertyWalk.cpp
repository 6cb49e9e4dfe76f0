#include "webdav/PropertyWalk.h"

void forEachProperty(const ASXMLDomParser &parser,
                     const std::function<void(const ASXMLDomNode &)> &visit) {
    if (!parser.rootElement)
        return;
    for (const auto &response : parser.rootElement->findName(QStringLiteral("response"))) {
        for (const auto &propstat : response->findName(QStringLiteral("propstat"))) {
            for (const auto &prop : propstat->findName(QStringLiteral("prop"))) {
                for (const auto &property : prop->children)
                    visit(*property);
            }
        }
    }
}
