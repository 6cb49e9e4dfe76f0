// "ls -l" asks for the attributes of a folder's items one by one, and over a slow line each
// question costs a round trip. Once it shows that this is going on, all of them are read at once.
// The vendor's server is asked item by item all the same: only there does each answer also tell
// what may be written.

#include "cache/CachePaths.h"
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

VelmoraDisk::EntryPtr VelmoraDisk::lookAhead(const QString &path) {
    const QString key = cacheKey(path);
    const QString wanted = VDCommonUtils::lastPathComponent(key);
    // A name counts once: a program that comes back to the same few items, or tries names that
    // aren't there, gives no reason to read all the others.
    if (DAVConnection->isVelmora() || lastListing.unasked.size() < kFewestNames ||
        VDCommonUtils::getParentName(key) != lastListing.folder ||
        !lastListing.unasked.remove(wanted) || ++lastListing.questions < kQuestionsBefore)
        return nullptr;
    lastListing.questions = 0;

    const auto resources = WebDavResource::createWebDAVItemsOfFolder(
        *DAVConnection, DAVConnection->serverUrl, VDCommonUtils::getParentName(path));
    // A server that doesn't answer such a question isn't asked it again and again.
    if (resources.isEmpty())
        lastListing.unasked.clear();
    EntryPtr found;
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
        if (item.key() == wanted)
            found = entry;
    }
    return found;
}
