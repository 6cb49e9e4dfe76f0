// "ls -l" asks for the attributes of a folder's items one by one, and over a slow line each
// question costs a round trip. Once it shows that this is going on, all of them are read at once.
// The vendor's server is asked item by item all the same: only there does each answer also tell
// what may be written.

#include "cache/MetaDataCache.h"
#include "common/VDCommonUtils.h"
#include "fs/VelmoraDisk.h"
#include "model/WebDavResource.h"
#include "webdav/VDWebDAVConnect.h"

namespace {

// So many questions about a folder just listed make the others likely.
constexpr int kQuestionsBefore = 2;
constexpr qsizetype kFewestNames = 4;

}  // namespace

bool VelmoraDisk::lookAhead(const QString &path) {
    const QString folder = VDCommonUtils::getParentName(path);
    if (DAVConnection->isVelmora() || lastListing.count < kFewestNames ||
        folder.normalized(QString::NormalizationForm_D) != lastListing.folder ||
        ++lastListing.asked < kQuestionsBefore)
        return false;
    lastListing.asked = 0;

    const auto resources =
        WebDavResource::createWebDAVItemsOfFolder(*DAVConnection, DAVConnection->serverUrl, folder);
    bool found = false;
    const QString wanted =
        VDCommonUtils::lastPathComponent(path).normalized(QString::NormalizationForm_D);
    for (auto item = resources.begin(); item != resources.end(); ++item) {
        const QString itemPath = item.value()->relativePath;
        // What is known already may be newer than the answer: a file being written, or one just
        // removed.
        if (metaDataCache->getMetaData(itemPath))
            continue;
        const auto entry = std::make_shared<WebDavResourceCache>();
        entry->setWebDavResource(item.value());
        entry->place = WebDavResourceCache::kOnServer;
        metaDataCache->insertMetaData(itemPath, entry);
        found = found || item.key() == wanted;
    }
    return found;
}
