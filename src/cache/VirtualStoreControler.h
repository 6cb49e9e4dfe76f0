#pragma once

#include <memory>
#include <mutex>

#include <QList>
#include <QSet>
#include <QString>

// An unsent copy that a store was left with.
struct SavedCopy {
    QString path;  // below the mount point of the store that was looked through
    QString savedAs;
};

// The local folder tree in which files of a mount live while they are created or written. No unsent
// copy goes with a tree: it is saved first, and where nothing takes it the tree stays.
class VirtualStoreControler {
  public:
    // Deletes what a crash left of this mount's trees, and makes a new one, for the user alone. One
    // that lies in or around the tree of another mount of this process, or among those of another
    // running process, gets another place. Doesn't return before there is one.
    explicit VirtualStoreControler(const QString &mountPath);
    ~VirtualStoreControler();
    VirtualStoreControler(const VirtualStoreControler &) = delete;
    VirtualStoreControler &operator=(const VirtualStoreControler &) = delete;

    // Where a path of the mount lies in the tree; never outside it.
    QString getVirtualPath(const QString &path) const;
    // Deletes what a crash left of the trees of a mount point, of all of them for "", and answers
    // the unsent copies that were there. Nothing of a running process is touched.
    static QList<SavedCopy> removeDeadStores(const QString &mountPath);

    // Whether the path is below one of the top folders; false unless enabled.
    bool isVirtualPath(const QString &path) const;

    // The root of the tree.
    QString storePath() const { return root; }
    // Where the mount's content cache lies: beside the tree, so that two mounts never share it.
    QString contentCachePath() const;
    // Whether the disk that the tree lies on is nearly full.
    bool isTight() const;
    // Deletes the copies that the server has, but for the one that is being worked on. Whether
    // there were any.
    bool dropSentCopies(const QString &except) const;
    // Deletes the tree, and the folders above that only led to it.
    void removeStore();
    // The copies saved since the last call. One that nothing could take is told with its place in
    // the tree that stays.
    QList<SavedCopy> takeSavedCopies();

    bool enable = false;
    mutable std::mutex syncRoot;  // guards topFolders
    QSet<QString> topFolders;

  private:
    // This process's hold on one of the home's folders of trees.
    struct TopLock;

    static std::shared_ptr<TopLock> lockTop(const QString &top);
    bool makeStore(const QString &top, const QString &below);
    static bool saveAndRemove(const QString &tree, QList<SavedCopy> &saved);

    QString root;
    std::shared_ptr<TopLock> topLock;  // null while the tree isn't this object's
    QList<SavedCopy> savedCopies;
};
