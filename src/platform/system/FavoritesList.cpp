#include "platform/system/FavoritesList.h"

#include <mutex>

namespace {
std::mutex mutex;
std::shared_ptr<FavoritesList> installed;
}  // namespace

std::shared_ptr<FavoritesList> FavoritesList::current() {
    const std::lock_guard lock(mutex);
    return installed;
}

void FavoritesList::install(std::shared_ptr<FavoritesList> list) {
    const std::lock_guard lock(mutex);
    installed = std::move(list);
}
