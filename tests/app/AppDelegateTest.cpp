#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include "app/AppDelegate.h"
#include "common/Text.h"
#include "connection/VDAutoProxySetting.h"
#include "connection/VDConnectionInfo.h"
#include "fs/VelmoraDisk.h"
#include "platform/system/Preferences.h"
#include "support/NoClientIdentity.h"
#include "support/RecordingInterface.h"
#include "support/WaitFor.h"

namespace {

class Application : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(installTexts(QLocale("en"))); }

    // A saved connection that is marked as mounted.
    std::shared_ptr<VDConnectionInfo> addMarked(const QString &name) {
        const auto record = std::make_shared<VDConnectionInfo>();
        record->connectionName = name;
        record->isMount = true;
        application->conInfoList = {{name, record}};
        return record;
    }

    VDAutoProxySetting proxies;
    NoClientIdentity identities;
    RecordingInterface interface;
    std::shared_ptr<AppDelegate> application = AppDelegate::create(proxies, identities);
};

// The log with standard error put back, and the setting forgotten, afterwards.
class Log : public Application {
  protected:
    void TearDown() override {
        dup2(standardError, STDERR_FILENO);
        close(standardError);
        Preferences::standard().remove("log_prace");
        Preferences::standard().synchronize(nullptr);
        QDir(QDir::homePath() + "/VelmoraDiskLog").removeRecursively();
    }

    static void makeFile(const QString &path, qint64 size) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.resize(size));
    }
    static void logTo(const QString &path) { Preferences::standard().setValue("log_prace", path); }

    QTemporaryDir folder;
    const int standardError = dup(STDERR_FILENO);
};

}  // namespace

TEST_F(Application, MountPoints) {
    const struct {
        QString name;
        bool isChosen;
        QString mountPoint;
        QString expected;
    } cases[] = {
        {"Office", false, "/mnt/ignored", "/Volumes/Office"},
        {"e\u0301", false, "", "/Volumes/\u00e9"},
        {"Office", true, "/mnt/${user}/\u00e9/${user}", "/mnt/anna/\u00e9/anna"},
    };
    for (const auto &each : cases) {
        VDConnectionInfo record;
        record.connectionName = each.name;
        record.chengeMountPoint = each.isChosen;
        record.mountPoint = each.mountPoint;
        EXPECT_EQ(AppDelegate::mountPointOf(record, "anna"), each.expected);
    }
}

TEST_F(Application, AnEndedMountIsFoundUnderEveryFormOfItsName) {
    for (const auto form : {QString::NormalizationForm_C, QString::NormalizationForm_D}) {
        const QString saved = QString("Bürö").normalized(form);
        const auto record = addMarked(saved);
        application->mountedSince = {{saved, QDateTime::currentDateTimeUtc()}};
        application->fsList[saved] = nullptr;
        application->pffsList[saved] = nullptr;
        EXPECT_TRUE(application->isMount());
        application->umount(QString("Bürö").normalized(QString::NormalizationForm_D));
        EXPECT_TRUE(waitFor([&] { return !record->isMount; }));
        EXPECT_FALSE(application->isMount());
        EXPECT_TRUE(application->fsList.isEmpty());
        EXPECT_TRUE(application->pffsList.isEmpty());
        EXPECT_TRUE(application->mountedSince.isEmpty());
    }
}

TEST_F(Application, AMarkWithoutAMountIsOnlyCleared) {
    const auto record = addMarked("Office");
    EXPECT_TRUE(application->connectVelmora("Office"));
    EXPECT_FALSE(record->isMount);
    EXPECT_TRUE(interface.alerts.isEmpty());
    EXPECT_FALSE(application->connectVelmora("Elsewhere"));
    ASSERT_EQ(interface.alerts.size(), 1);
    EXPECT_EQ(interface.alerts[0].text, localizedText("AppDelegate_51"));
}

TEST_F(Log, IsSetAsideWhenItHasGrownTooLong) {
    const qint64 most = 10'485'760;
    for (const qint64 size : {most, most + 1}) {
        const QString path = folder.filePath(QString::number(size));
        makeFile(path, size);
        logTo(path);
        EXPECT_TRUE(application->logSetup());
        const auto names = QDir(folder.path()).entryList({QString::number(size) + "*"});
        EXPECT_EQ(names.size(), size > most ? 2 : 1);
        EXPECT_EQ(QFileInfo(path).size(), size > most ? 0 : size);
    }
}

TEST_F(Log, AChosenFileStartsEmptyAndAnImpossibleOneIsRefused) {
    const QString path = folder.filePath("chosen.log");
    const QString impossible = "/dev/null/below/velmoradisk.log";
    makeFile(path, 100);
    EXPECT_TRUE(application->logSetup(path));
    EXPECT_EQ(QFileInfo(path).size(), 0);
    ASSERT_EQ(write(STDERR_FILENO, "line\n", 5), 5);
    EXPECT_EQ(QFileInfo(path).size(), 5);
    EXPECT_FALSE(application->logSetup(impossible));
    EXPECT_EQ(AppDelegate::logPath(), path);

    logTo(impossible);
    EXPECT_TRUE(application->logSetup());
    EXPECT_NE(fcntl(STDERR_FILENO, F_GETFD), -1);
    EXPECT_EQ(AppDelegate::logPath(), impossible);
}
