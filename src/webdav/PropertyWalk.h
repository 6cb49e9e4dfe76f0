#pragma once

#include <functional>

#include "xml/ASXMLDomParser.h"

// Visits every property of a multi-status answer in document order: the children of each "prop" in
// each "propstat" in each "response". Status lines aren't looked at: a server lists properties it
// hasn't got without a value.
void forEachProperty(const ASXMLDomParser &parser,
                     const std::function<void(const ASXMLDomNode &)> &visit);
// The same of one "response".
void forEachProperty(const ASXMLDomNode &response,
                     const std::function<void(const ASXMLDomNode &)> &visit);
