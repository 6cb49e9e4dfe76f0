#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include "fs/VelmoraDisk.h"
#include "http/ASHttpConnectInfo.h"
#include "platform/system/FavoritesList.h"
#include "webdav/VDWebDAVConnect.h"

namespace {

struct Owner : MountOwner {
    QStringList gone;
    void umount(const QString &connectionName) override { gone.append(connectionName); }
};

struct Favorites : FavoritesList {
    QStringList entries;
    QString insertItem(const QString &label, const QString &path) override {
        entries.append(label + QLatin1Char(' ') + path);
        return entries.last();
    }
    void removeItem(const QString &item) override { entries.removeOne(item); }
};

QString stores() {
    return QDir::homePath() + "/.VelmoraDisk_Store";
}

// Volumes that nobody asks anything; their server doesn't exist.
class MountLife : public testing::Test {
  protected:
    std::shared_ptr<VelmoraDisk> volume(const QString &mountPath, const QString &name) {
        return std::make_shared<VelmoraDisk>(
            std::make_shared<VDWebDAVConnect>(std::make_shared<ASHttpConnectInfo>(),
                                              QStringLiteral("http://127.0.0.1:9/")),
            owner, mountPath, name);
    }
    void SetUp() override { FavoritesList::install(favorites); }
    void TearDown() override { FavoritesList::install(nullptr); }

    const std::shared_ptr<Owner> owner = std::make_shared<Owner>();
    const std::shared_ptr<Favorites> favorites = std::make_shared<Favorites>();
};

}  // namespace

TEST_F(MountLife, AnEndLeavesNothingBehind) {
    const struct {
        bool wasMounted;
        const char *mountPathAfter;
    } cases[] = {{false, "/Volumes/deep/Disk"}, {true, ""}};
    for (const auto &[wasMounted, mountPathAfter] : cases) {
        const auto disk = volume("/Volumes/deep/Disk", "Disk");
        EXPECT_TRUE(QFileInfo(stores() + "/Volumes/deep/Disk").isDir());
        EXPECT_TRUE(QFileInfo(stores() + "/Volumes/deep/Disk.VelmoraDiskcache").isFile());
        if (wasMounted) {
            disk->didMount();
            EXPECT_EQ(favorites->entries, QStringList{"Disk /Volumes/deep/Disk"});
            disk->didUnmount();
        } else {
            disk->mountError();
        }
        EXPECT_FALSE(QFileInfo::exists(stores())) << wasMounted;
        EXPECT_EQ(favorites->entries, QStringList());
        EXPECT_EQ(owner->gone, QStringList{"Disk"});
        EXPECT_EQ(disk->mountPath(), mountPathAfter);
        owner->gone.clear();
    }
}

TEST_F(MountLife, ASecondVolumeAtOnePlaceTakesNothingFromTheFirst) {
    const auto first = volume("/Volumes/Disk", "First");
    QDir().mkpath(stores() + "/Volumes/Disk/written");
    volume("/Volumes/Disk", "Second")->mountError();
    EXPECT_TRUE(QFileInfo::exists(stores() + "/Volumes/Disk/written"));
    EXPECT_TRUE(QFileInfo::exists(stores() + "/Volumes/Disk.VelmoraDiskcache"));
    EXPECT_FALSE(QFileInfo::exists(stores() + "_0"));
    first->mountError();
    EXPECT_FALSE(QFileInfo::exists(stores()));
}

// Every mount of the process is told to every volume that waits for its own.
TEST_F(MountLife, AFailedMountEndsItsOwnVolumeOnly) {
    QFile file(QDir::homePath() + "/file");
    ASSERT_TRUE(file.open(QFile::WriteOnly));
    const auto waiting = volume("/Volumes/Waiting", "Waiting");
    waiting->willMount();
    const auto failing = volume(file.fileName(), "Failing");
    GMUserFileSystem host(failing, false);
    host.mountAtPath(file.fileName(), {}, true, false);
    EXPECT_EQ(owner->gone, QStringList{"Failing"});
    EXPECT_TRUE(QFileInfo::exists(stores() + "/Volumes/Waiting"));
    waiting->mountError();
    EXPECT_FALSE(QFileInfo::exists(stores()));
}
