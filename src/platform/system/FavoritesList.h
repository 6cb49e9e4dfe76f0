#pragma once

#include <memory>

#include <QString>

// The sidebar favourites of the user's file managers. Without a desktop there is none.
class FavoritesList {
  public:
    virtual ~FavoritesList() = default;
    // Adds an entry at the end; its handle for remove(), null where it could not be added.
    virtual QString insertItem(const QString &label, const QString &path) = 0;
    virtual void removeItem(const QString &item) = 0;

    // The list of this process's desktop, null where there is none.
    static std::shared_ptr<FavoritesList> current();
    static void install(std::shared_ptr<FavoritesList> list);
};
