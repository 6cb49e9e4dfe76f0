#pragma once

#include <mutex>
#include <optional>

#include <QString>

#include "platform/system/FavoritesList.h"

// The places in the sidebars of the file managers: GTK's bookmarks file, and KDE's list of places
// where there is one. An entry of the user's for the same folder stays his. Any thread.
class SidebarBookmarks : public FavoritesList {
  public:
    // Below $XDG_CONFIG_HOME and $XDG_DATA_HOME. Null without a desktop, whose files nobody would
    // look at.
    static std::shared_ptr<FavoritesList> ofThisDesktop();
    SidebarBookmarks(const QString &gtkFile, const QString &kdeFile)
        : gtkFile(gtkFile), kdeFile(kdeFile) {}

    // The item is the folder's URL.
    QString insertItem(const QString &label, const QString &path) override;
    void removeItem(const QString &item) override;

  private:
    const QString gtkFile;
    const QString kdeFile;
    std::mutex mutex;  // guards the files against threads of this process
};
