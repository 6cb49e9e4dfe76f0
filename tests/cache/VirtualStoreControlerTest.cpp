#include <memory>
#include <sys/stat.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include "cache/UnsentFiles.h"
#include "cache/VirtualStoreControler.h"
#include "platform/system/FileLock.h"

namespace {

QString home(const QString &below) {
    return QDir::homePath() + below;
}

void write(const QString &path, const QByteArray &content) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    ASSERT_TRUE(file.open(QFile::WriteOnly)) << path.toStdString();
    file.write(content);
}

void writeUnsent(const QString &path, const QByteArray &content) {
    write(path, content);
    UnsentFiles::mark(path);
}

QByteArray content(const QString &path) {
    QFile file(path);
    return file.open(QFile::ReadOnly) ? file.readAll() : QByteArray();
}

// "path>where it was saved", in order.
QStringList saved(VirtualStoreControler &store) {
    QStringList all;
    for (const SavedCopy &copy : store.takeSavedCopies())
        all += copy.path + '>' + copy.savedAs;
    all.sort();
    return all;
}

// What file permissions mean something to, in a home of their own.
class OrdinaryUser {
  public:
    OrdinaryUser() : homeBefore(qgetenv("HOME")) {
        qputenv("HOME", place.path().toUtf8());
        if (isRoot &&
            (chown(place.path().toUtf8().constData(), 65534, 65534) != 0 || seteuid(65534) != 0))
            ADD_FAILURE();
    }
    ~OrdinaryUser() {
        if (isRoot && seteuid(0) != 0)
            ADD_FAILURE();
        qputenv("HOME", homeBefore);
    }

  private:
    const bool isRoot = geteuid() == 0;
    QTemporaryDir place;
    const QByteArray homeBefore;
};

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

TEST(VirtualStoreControler, NoDecomposedNameIsTooLongForTheDisk) {
    const VirtualStoreControler store("/m");
    const QString longest = QString(85, QChar(0x304c));  // 255 bytes, decomposed twice as many
    const QString decomposed = longest.normalized(QString::NormalizationForm_D);
    for (const QString &name : {longest, decomposed}) {
        const QString path = store.getVirtualPath("/e\u0301/" + name);
        EXPECT_EQ(path, store.storePath() + "/e\u0301/" + longest);
        write(path, "fits");
    }
}

TEST(VirtualStoreControler, UnsentCopiesOfACrashAreSavedAndTheRestGoes) {
    QDir(home("/.VelmoraDisk_Store")).removeRecursively();
    const QString plain = home("/.VelmoraDisk_Store/V/One"), numbered = "/.VelmoraDisk_Store_3";
    const QString other = home(numbered + "/V/Other/unsent");
    writeUnsent(plain + "/folder/a.txt", "first");
    writeUnsent(plain + "/empty", "");
    write(plain + "/sent", "sent");
    write(plain + ".VelmoraDiskcache", "cached");
    writeUnsent(home(numbered + "/V/One/a.txt"), "second");
    write(home(numbered + "/V/One.VelmoraDiskcache"), "cached");
    writeUnsent(other, "of another mount");

    VirtualStoreControler store("/V/One");
    EXPECT_EQ(store.storePath(), plain);
    EXPECT_EQ(saved(store),
              QStringList({"/a.txt>" + home("/a 2.txt"), "/folder/a.txt>" + home("/a.txt")}));
    EXPECT_EQ(saved(store), QStringList());
    EXPECT_EQ(content(home("/a.txt")), "first");
    EXPECT_EQ(content(home("/a 2.txt")), "second");
    EXPECT_TRUE(QDir(plain).isEmpty());
    EXPECT_FALSE(QFileInfo::exists(plain + ".VelmoraDiskcache"));
    EXPECT_EQ(QDir(home(numbered + "/V")).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
              QStringList("Other"));
    EXPECT_EQ(content(other), "of another mount");

    writeUnsent(store.getVirtualPath("/late"), "at the unmount");
    store.removeStore();
    EXPECT_EQ(saved(store), QStringList("/late>" + home("/late")));
    EXPECT_FALSE(QFileInfo::exists(home("/.VelmoraDisk_Store")));
    EXPECT_FALSE(QFileInfo::exists(home("/.VelmoraDisk_Store.lock")));

    // At the start of the program, whatever was mounted.
    const QList<SavedCopy> rest = VirtualStoreControler::removeDeadStores("");
    ASSERT_EQ(rest.size(), 1);
    EXPECT_EQ(rest[0].path, "/V/Other/unsent");
    EXPECT_EQ(content(rest[0].savedAs), "of another mount");
    EXPECT_FALSE(QFileInfo::exists(home(numbered)));
}

TEST(VirtualStoreControler, TheStoresOfAnotherProcessAreLeftAlone) {
    const QString used = home("/.VelmoraDisk_Store/V/Used/written");
    {
        FileLock otherProcess(home("/.VelmoraDisk_Store.lock"));
        ASSERT_EQ(otherProcess.take(0), 0);
        writeUnsent(used, "being written");
        for (const char *mountPath : {"/V/Used", "/V"}) {
            VirtualStoreControler store(mountPath);
            EXPECT_TRUE(store.storePath().startsWith(home("/.VelmoraDisk_Store_0/V")));
            store.removeStore();
            EXPECT_EQ(saved(store), QStringList());
        }
        EXPECT_EQ(content(used), "being written");
    }
    VirtualStoreControler store("/V/Used");  // that process is gone
    EXPECT_EQ(saved(store), QStringList("/written>" + home("/written")));
    store.removeStore();
}

TEST(VirtualStoreControler, ACopyThatNothingTakesStaysWhereItIs) {
    const OrdinaryUser user;
    const QString stuck = home("/.VelmoraDisk_Store/V/folder");
    writeUnsent(stuck + "/a", "unsent");
    chmod(stuck.toUtf8().constData(), 0500);
    {
        VirtualStoreControler store("/V");
        EXPECT_EQ(store.storePath(), home("/.VelmoraDisk_Store_0/V"));
        EXPECT_EQ(saved(store), QStringList("/folder/a>" + stuck + "/a"));
        store.removeStore();
        EXPECT_EQ(content(stuck + "/a"), "unsent");
    }
    chmod(stuck.toUtf8().constData(), 0700);
    VirtualStoreControler store("/V");
    EXPECT_EQ(store.storePath(), home("/.VelmoraDisk_Store/V"));
    EXPECT_EQ(saved(store), QStringList("/folder/a>" + home("/a")));
    store.removeStore();
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
