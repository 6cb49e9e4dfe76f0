#include <memory>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include "cache/VirtualStoreControler.h"

namespace {

QString home(const QString &below) {
    return QDir::homePath() + below;
}

}  // namespace

TEST(VirtualStoreControler, WipesItsTreeAndKeepsItPrivate) {
    const QString expected = home("/.VelmoraDisk_Store/Volumes/Demo");
    QDir().mkpath(expected + "/old/deep");
    QDir().mkpath(home("/kept"));
    QFile::link(home("/kept"), expected + "/link");
    const VirtualStoreControler store("/Volumes/Demo//");
    EXPECT_EQ(store.storePath(), expected);
    EXPECT_EQ(QDir(expected).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList());
    EXPECT_TRUE(QFileInfo::exists(home("/kept")));
    EXPECT_EQ(QFileInfo(expected).permissions() & (QFile::ReadGroup | QFile::ReadOther),
              QFile::Permissions());
}

TEST(VirtualStoreControler, TakesANumberedNameWhereItMust) {
    QDir(home("/.VelmoraDisk_Store")).removeRecursively();
    QFile blocking(home("/.VelmoraDisk_Store"));
    ASSERT_TRUE(blocking.open(QFile::WriteOnly));
    QFile blockingToo(home("/.VelmoraDisk_Store_0"));
    ASSERT_TRUE(blockingToo.open(QFile::WriteOnly));
    const VirtualStoreControler store("/m");
    EXPECT_EQ(store.storePath(), home("/.VelmoraDisk_Store_1/m"));
    blocking.remove();
    blockingToo.remove();
}

TEST(VirtualStoreControler, RemovalTakesTheFoldersThatOnlyLedToIt) {
    VirtualStoreControler one("/Volumes/deep/One"), other("/Volumes/Other");
    QDir().mkpath(one.getVirtualPath("/folder"));
    one.removeStore();
    EXPECT_FALSE(QFileInfo::exists(home("/.VelmoraDisk_Store/Volumes/deep")));
    EXPECT_TRUE(QFileInfo::exists(other.storePath()));
    other.removeStore();
    EXPECT_FALSE(QFileInfo::exists(home("/.VelmoraDisk_Store")));

    // A store of the same name that came later isn't this one's to take.
    const VirtualStoreControler later("/Volumes/deep/One");
    one.removeStore();
    EXPECT_TRUE(QFileInfo::exists(later.storePath()));
}

// What a mount is writing must survive the attempt to mount another one at its place.
TEST(VirtualStoreControler, NoStoreTouchesOneInUse) {
    auto used = std::make_unique<VirtualStoreControler>("/Volumes/a/b");
    const QString written = used->getVirtualPath("/written");
    QDir().mkpath(written);
    for (const char *mountPath : {"/Volumes/a/b", "/Volumes/a/b/written", "/Volumes/a", "/", ""}) {
        VirtualStoreControler store(mountPath);
        EXPECT_TRUE(store.storePath().startsWith(home("/.VelmoraDisk_Store_0"))) << mountPath;
        store.removeStore();
        EXPECT_TRUE(QFileInfo::exists(written)) << mountPath;
    }
    const VirtualStoreControler sibling("/Volumes/a/bc");
    EXPECT_EQ(sibling.storePath(), home("/.VelmoraDisk_Store/Volumes/a/bc"));
    used.reset();
    EXPECT_EQ(VirtualStoreControler("/Volumes/a/b").storePath(),
              home("/.VelmoraDisk_Store/Volumes/a/b"));
}

TEST(VirtualStoreControler, NoPathLeavesTheStore) {
    QDir().mkpath(home("/precious"));
    const VirtualStoreControler climbing("/../..");
    EXPECT_TRUE(QFileInfo::exists(home("/precious")));
    const VirtualStoreControler store("/m");
    const QString root = store.storePath();
    const std::pair<QString, QString> cases[] = {
        {"/", ""},       {"a/b/", "/a/b"}, {"/caf\u00e9", "/cafe\u0301"}, {"/../../x", "/x"},
        {"/a/..", "/a"}, {"..", "/"},      {"/./a..b/.c", "/a..b/.c"}};
    for (const auto &[path, below] : cases)
        EXPECT_EQ(store.getVirtualPath(path), root + below);
}

TEST(VirtualStoreControler, VirtualPathsNeedEnabling) {
    VirtualStoreControler store("/m");
    store.topFolders.insert("top");
    EXPECT_FALSE(store.isVirtualPath("/top/a"));
    store.enable = true;
    EXPECT_TRUE(store.isVirtualPath("/top/a"));
    EXPECT_FALSE(store.isVirtualPath("/other"));
    EXPECT_FALSE(store.isVirtualPath("top"));
}
