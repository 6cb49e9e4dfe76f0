#include <csignal>
#include <functional>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QTemporaryDir>

#include "common/Text.h"
#include "platform/system/Preferences.h"

namespace {

// A process that runs a function, and ends with this one.
pid_t startProcess(const std::function<void()> &function) {
    const pid_t process = fork();
    if (process != 0)
        return process;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    function();
    _exit(testing::Test::HasFailure() ? 1 : 0);
}

int statusAtEndOf(pid_t process) {
    int status = -1;
    waitpid(process, &status, 0);
    return status;
}

class PreferencesTest : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(installTexts(QLocale("en")));
        QDir(folder.path()).mkdir("config");
    }

    QByteArray bytes() const {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    void fill(const QByteArray &content) const {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
    }
    static bool set(const QString &file, const QString &key, const QVariant &value) {
        Preferences preferences(file);
        preferences.setValue(key, value);
        return preferences.synchronize(nullptr);
    }
    // Without the lock, which stays.
    QStringList otherFiles() const {
        QStringList names = QDir(folder.filePath("config")).entryList(QDir::Files | QDir::Hidden);
        names.removeOne("preferences.json");
        names.removeOne("preferences.json.lock");
        return names;
    }

    QTemporaryDir folder;
    const QString path = folder.filePath("config/preferences.json");
};

}  // namespace

TEST_F(PreferencesTest, ValuesKeepTheirType) {
    const QVariantMap values{
        {"text", QString("ünï \"quoted\" 日本")},
        {"empty", QString("")},
        {"list", QStringList{"b", "a", ""}},
        {"large", Q_INT64_C(9007199254740993)},
        {"fraction", 1.5},
        {"flag", true},
        {"bytes", QByteArray::fromHex("00ff80220a")},
        {"no bytes", QByteArray("")},
    };
    for (const QString &key : values.keys())
        ASSERT_TRUE(set(path, key, values[key]));
    for (const QString &key : values.keys()) {
        SCOPED_TRACE(key.toStdString());
        QVariant found = Preferences(path).value(key);
        for (const int type : {QMetaType::QByteArray, QMetaType::Bool})
            EXPECT_EQ(found.typeId() == type, values[key].typeId() == type);
        EXPECT_TRUE(found.convert(values[key].metaType()));
        EXPECT_EQ(found, values[key]);
    }
    for (const QVariant &nothing : {QVariant(), QVariant(QString()), QVariant(QByteArray())}) {
        ASSERT_TRUE(set(path, "key", "value") && set(path, "key", nothing));
        EXPECT_FALSE(Preferences(path).value("key").isValid());
    }
}

TEST_F(PreferencesTest, OnlyTheUserCanReadTheFile) {
    fill("{}");
    ASSERT_TRUE(QFile::setPermissions(path, QFile::Permissions(0x6644)));
    ASSERT_TRUE(set(path, "key", "value"));
    ASSERT_TRUE(set(folder.filePath("a/b/preferences.json"), "key", "value"));
    for (const QString &each :
         {path, folder.filePath("a/b/preferences.json"), folder.filePath("a/b")})
        EXPECT_FALSE(QFile::permissions(each) & QFile::Permissions(0x77)) << qPrintable(each);
}

TEST_F(PreferencesTest, ProcessesKeepEachOthersKeys) {
    constexpr int kRounds = 40;
    const auto write = [this](const QString &prefix) {
        Preferences preferences(path);
        for (int i = 0; i < kRounds; ++i) {
            preferences.setValue(prefix + QString::number(i), i);
            EXPECT_TRUE(preferences.synchronize(nullptr));
        }
    };
    const pid_t first = startProcess([&] { write("a"); });
    const pid_t second = startProcess([&] { write("b"); });
    EXPECT_EQ(statusAtEndOf(first), 0);
    EXPECT_EQ(statusAtEndOf(second), 0);
    Preferences preferences(path);
    for (int i = 0; i < kRounds; ++i) {
        for (const char *prefix : {"a", "b"})
            EXPECT_EQ(preferences.value(prefix + QString::number(i)), i);
    }
    EXPECT_EQ(otherFiles(), QStringList());

    Preferences other(path);
    other.remove("a0");
    ASSERT_TRUE(other.synchronize(nullptr));
    ASSERT_TRUE(preferences.synchronize(nullptr));
    EXPECT_FALSE(preferences.value("a0").isValid());
}

TEST_F(PreferencesTest, WriterKilledInTheMiddleLeavesAWholeFile) {
    constexpr qsizetype kSize = 1 << 18;
    ASSERT_TRUE(set(path, "kept", "value"));
    for (int round = 0; round < 8; ++round) {
        const pid_t writing = startProcess([&] {
            for (char c = 'a';; c = c == 'z' ? 'a' : static_cast<char>(c + 1))
                set(path, "large", QByteArray(kSize, c));
        });
        const QDeadlineTimer limit(5000);
        while (bytes().size() < kSize && !limit.hasExpired())
            std::this_thread::yield();
        // Whoever looks while it is being written sees a whole file too.
        for (int look = 0; look <= 20 * round; ++look)
            EXPECT_TRUE(QJsonDocument::fromJson(bytes()).isObject());
        kill(writing, SIGKILL);
        statusAtEndOf(writing);

        Preferences after(path);
        std::optional<Error> error;
        EXPECT_TRUE(after.synchronize(&error));
        EXPECT_FALSE(error);
        EXPECT_EQ(after.value("kept"), "value");
        const QByteArray large = after.value("large").toByteArray();
        ASSERT_EQ(large.size(), kSize);
        EXPECT_EQ(large.count(large.at(0)), kSize);
        EXPECT_TRUE(set(path, "round", round)) << "the dead writer's lock holds nobody up";
    }
}

TEST_F(PreferencesTest, DamagedFileIsSetAsideOnce) {
    for (const QByteArray &damage : {QByteArray("{\"a\": 1,"), QByteArray(), QByteArray("[1]")}) {
        SCOPED_TRACE(damage.constData());
        fill(damage);
        Preferences preferences(path);
        EXPECT_FALSE(preferences.value("a").isValid());
        preferences.setValue("new", 1);
        std::optional<Error> error;
        EXPECT_TRUE(preferences.synchronize(&error));
        ASSERT_TRUE(error);
        EXPECT_TRUE(error->is(Preferences::kErrorDomain, Preferences::kDamagedFileSetAside));
        EXPECT_TRUE(error->userInfo.value("OUTPUT").toString().contains(path + ".damaged-"));
        EXPECT_TRUE(preferences.synchronize(&error));
        EXPECT_FALSE(error);

        EXPECT_EQ(Preferences(path).value("new"), 1);
        ASSERT_EQ(otherFiles().size(), 1);
        QFile aside(folder.filePath("config/" + otherFiles().first()));
        ASSERT_TRUE(aside.open(QIODevice::ReadOnly));
        EXPECT_EQ(aside.readAll(), damage);
        aside.remove();
    }
}

TEST_F(PreferencesTest, WhatCannotBeReadOrWrittenIsAnErrorAndLeftAlone) {
    QFile file(folder.filePath("file"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    QDir().mkdir(path);  // a folder in its place, which even root can't read as a file
    for (const QString &each : {path, folder.filePath("file/preferences.json")}) {
        Preferences preferences(each);
        preferences.setValue("key", "value");
        std::optional<Error> error;
        EXPECT_FALSE(preferences.synchronize(&error));
        ASSERT_TRUE(error);
        EXPECT_TRUE(error->isPosix());
        EXPECT_FALSE(error->userInfo.value("OUTPUT").toString().isEmpty());
    }
    EXPECT_TRUE(QFileInfo(path).isDir());
}

TEST_F(PreferencesTest, WithoutSpaceTheOldFileStays) {
    ASSERT_TRUE(set(path, "kept", "value"));
    const pid_t writing = startProcess([&] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit none{0, 0};
        setrlimit(RLIMIT_FSIZE, &none);
        EXPECT_FALSE(set(path, "key", "value"));
    });
    EXPECT_EQ(statusAtEndOf(writing), 0);
    EXPECT_EQ(Preferences(path).value("kept"), "value");
    EXPECT_EQ(otherFiles(), QStringList());
}

TEST_F(PreferencesTest, LinkIsWrittenThrough) {
    const QString target = folder.filePath("elsewhere.json");
    ASSERT_TRUE(QFile::link("../elsewhere.json", path));
    for (const int value : {1, 2}) {
        ASSERT_TRUE(set(path, "key", value));
        EXPECT_TRUE(QFileInfo(path).isSymLink());
        EXPECT_EQ(Preferences(target).value("key"), value);
    }
}
