#pragma once

#include <mutex>

#include <QSet>
#include <QString>

// The local folder tree in which files of a mount live while they are created or written.
class VirtualStoreControler {
  public:
    // Empties and makes the tree of this mount, for the user alone; one that lies in or around the
    // tree of another mount of this process gets another place. Doesn't return before there is one.
    explicit VirtualStoreControler(const QString &mountPath);
    ~VirtualStoreControler();
    VirtualStoreControler(const VirtualStoreControler &) = delete;
    VirtualStoreControler &operator=(const VirtualStoreControler &) = delete;

    // Where a path of the mount lies in the tree; never outside it.
    QString getVirtualPath(const QString &path) const;
    // Whether the path is below one of the top folders; false unless enabled.
    bool isVirtualPath(const QString &path) const;

    // The root of the tree.
    QString storePath() const { return root; }
    // Deletes the tree, and the folders above that only led to it.
    void removeStore();

    bool enable = false;
    mutable std::mutex syncRoot;  // guards topFolders
    QSet<QString> topFolders;

  private:
    bool makeStore();

    QString root;
    bool holdsRoot = false;  // the tree is this object's
};
