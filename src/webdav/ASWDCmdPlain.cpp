#include "webdav/ASWDCmdPlain.h"

#include "common/UrlText.h"

bool ASWDCmdDestinationBase::makeRequest() {
    const QString field = QStringLiteral("Destination");
    const bool made = ASWDCmdBase::makeRequest();
    if (!requestHeader.contains(field))
        connection()->setHeaderField(
            field, stringByEncodingURLFormatAll(destinationURL.path(QUrl::FullyDecoded), true));
    return made;
}
