#include <fcntl.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>

#include "app/AppDelegate.h"
#include "common/Text.h"
#include "connection/ClientIdentitySource.h"
#include "connection/EnvironmentProxySource.h"
#include "connection/VDConnectionInfo.h"
#include "fs/VelmoraDisk.h"
#include "platform/system/Preferences.h"
#include "support/RecordingInterface.h"
#include "support/WaitFor.h"

namespace {

std::shared_ptr<VDConnectionInfo> connection(const QString &name) {
    const auto record = std::make_shared<VDConnectionInfo>();
    record->connectionName = name;
    return record;
}

QString localUserName() {
    const passwd *const entry = getpwuid(getuid());
    const QString full = QString::fromLocal8Bit(entry->pw_gecos).section(',', 0, 0);
    return full.isEmpty() ? QString::fromLocal8Bit(entry->pw_name) : full;
}

class Application : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(installTexts(QLocale("en"))); }

    EnvironmentProxySource proxies;
    NoClientIdentity identities;
    RecordingInterface interface;
    std::shared_ptr<AppDelegate> application = AppDelegate::create(proxies, identities);
};

// The log with standard error put back, and the setting forgotten, afterwards.
class Log : public Application {
  protected:
    void SetUp() override {
        Application::SetUp();
        standardError = dup(STDERR_FILENO);
    }
    void TearDown() override {
        dup2(standardError, STDERR_FILENO);
        close(standardError);
        Preferences::standard().remove("log_prace");
        Preferences::standard().synchronize(nullptr);
        QDir(QDir::homePath() + "/VelmoraDiskLog").removeRecursively();
    }

    static void makeFile(const QString &path, qint64 size) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        ASSERT_TRUE(file.resize(size));
    }
    static void logTo(const QString &path) { Preferences::standard().setValue("log_prace", path); }
    static qint64 sizeOf(const QString &path) { return QFileInfo(path).size(); }

    QTemporaryDir folder;
    int standardError = -1;
};

}  // namespace

TEST_F(Application, MountPoints) {
    const QString decomposed = QStringLiteral("é").normalized(QString::NormalizationForm_D);
    const struct {
        QString name;
        bool isChosen;
        QString mountPoint;
        QString expected;
    } cases[] = {
        {"Office", false, "", "/Volumes/Office"},
        {"Office", false, "/mnt/ignored", "/Volumes/Office"},
        {decomposed, false, "", QStringLiteral("/Volumes/é")},
        {"é", true, "/mnt/é", QStringLiteral("/mnt/é")},
        {"Office", true, "/mnt/${user}/${mac_user}/${user}",
         QString("/mnt/anna/%1/anna").arg(localUserName())},
    };
    for (const auto &each : cases) {
        const auto record = connection(each.name);
        record->chengeMountPoint = each.isChosen;
        record->mountPoint = each.mountPoint;
        EXPECT_EQ(AppDelegate::mountPointOf(*record, "anna"), each.expected);
    }
}

TEST_F(Application, UploadsOfAMountAreNeverDivided) {
    for (const std::optional<int> index :
         {std::optional<int>(), std::optional(0), std::optional(7)})
        EXPECT_EQ(AppDelegate::getSizeOfIndex(index), 0);
}

TEST_F(Application, AnEndedMountIsFoundUnderEveryFormOfItsName) {
    for (const auto form : {QString::NormalizationForm_C, QString::NormalizationForm_D}) {
        const QString saved = QStringLiteral("Bürö").normalized(form);
        const auto record = connection(saved);
        record->isMount = true;
        application->conInfoList = {{saved, record}};
        application->mountedSince = {{saved, QDateTime::currentDateTimeUtc()}};
        application->fsList[saved] = nullptr;
        application->pffsList[saved] = nullptr;
        EXPECT_TRUE(application->isMount());
        application->umount(QStringLiteral("Bürö").normalized(QString::NormalizationForm_D));
        EXPECT_TRUE(waitFor([&] { return !record->isMount; }));
        EXPECT_FALSE(application->isMount());
        EXPECT_TRUE(application->fsList.isEmpty());
        EXPECT_TRUE(application->pffsList.isEmpty());
        EXPECT_TRUE(application->mountedSince.isEmpty());
    }
}

TEST_F(Application, MarkingAMountTakesItOutOfTheTables) {
    const auto record = connection("Office");
    application->conInfoList = {{"Office", record}};
    application->fsList["Office"] = nullptr;
    application->pffsList["Office"] = nullptr;
    application->mount("Office");
    EXPECT_TRUE(record->isMount);
    EXPECT_TRUE(application->fsList.isEmpty());
    EXPECT_TRUE(application->pffsList.isEmpty());
}

TEST_F(Application, AMarkWithoutAMountIsOnlyCleared) {
    const auto record = connection("Office");
    record->isMount = true;
    application->conInfoList = {{"Office", record}};
    EXPECT_TRUE(application->connectVelmora("Office"));
    EXPECT_FALSE(record->isMount);
    EXPECT_TRUE(interface.alerts.isEmpty());
    EXPECT_FALSE(application->connectVelmora("Elsewhere"));
    ASSERT_EQ(interface.alerts.size(), 1);
    EXPECT_EQ(interface.alerts[0].text, localizedText("AppDelegate_51"));
}

TEST_F(Application, TerminationDeletesTheStoreAndMountsNothingMore) {
    const QString store = QDir::homePath() + "/.VelmoraDisk_Store";
    QDir().mkpath(store + "/Volumes/Office");
    bool isEnded = false;
    application->applicationShouldTerminate([&] { isEnded = true; });
    EXPECT_TRUE(waitFor([&] { return isEnded; }));
    EXPECT_FALSE(QFile::exists(store));
}

TEST_F(Log, IsSetAsideWhenItHasGrownTooLong) {
    const struct {
        qint64 size;
        bool isSetAside;
    } cases[] = {{10'485'760, false}, {10'485'761, true}};
    for (const auto &each : cases) {
        const QString path = folder.filePath(QString::number(each.size));
        makeFile(path, each.size);
        logTo(path);
        EXPECT_TRUE(application->logSetup());
        const QStringList names = QDir(folder.path()).entryList({QString::number(each.size) + "*"});
        EXPECT_EQ(names.size(), each.isSetAside ? 2 : 1);
        EXPECT_TRUE(QRegularExpression(each.isSetAside ? "^\\d+(\\d{14})$" : "^\\d+$")
                        .match(names.last())
                        .hasMatch());
        EXPECT_EQ(sizeOf(path), each.isSetAside ? 0 : each.size);
    }
}

TEST_F(Log, TakesWhatIsWrittenToStandardErrorAndIsTheUsersAlone) {
    EXPECT_TRUE(application->logSetup());
    ASSERT_EQ(write(STDERR_FILENO, "line\n", 5), 5);
    const QString path = QDir::homePath() + "/VelmoraDiskLog/velmoradisk.log";
    EXPECT_EQ(AppDelegate::logPath(), path);
    EXPECT_EQ(Preferences::standard().value("log_prace").toString(),
              "~/VelmoraDiskLog/velmoradisk.log");
    EXPECT_EQ(sizeOf(path), 5);
    struct stat status;
    ASSERT_EQ(stat(QFile::encodeName(path).constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
}

TEST_F(Log, AChosenFileStartsEmptyAndAnImpossibleOneIsRefused) {
    const QString path = folder.filePath("below/chosen.log");
    QDir().mkpath(folder.filePath("below"));
    makeFile(path, 100);
    EXPECT_TRUE(application->logSetup(path));
    EXPECT_EQ(sizeOf(path), 0);
    EXPECT_EQ(AppDelegate::logPath(), path);
    EXPECT_FALSE(application->logSetup("/dev/null/below/velmoradisk.log"));
    EXPECT_EQ(AppDelegate::logPath(), path);
}

TEST_F(Log, ASettingThatCannotBeUsedLeavesStandardErrorOpen) {
    logTo("/dev/null/below/velmoradisk.log");
    EXPECT_TRUE(application->logSetup());
    EXPECT_NE(fcntl(STDERR_FILENO, F_GETFD), -1);
    EXPECT_EQ(AppDelegate::logPath(), "/dev/null/below/velmoradisk.log");
}
