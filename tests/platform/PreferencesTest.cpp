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

// A process that runs a function; killed with the object.
class Child {
  public:
    explicit Child(const std::function<void()> &function) : process(fork()) {
        if (process != 0)
            return;
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        function();
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    ~Child() {
        if (process <= 0)
            return;
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
    }
    Child(const Child &) = delete;
    Child &operator=(const Child &) = delete;

    // Waits for its end.
    bool succeeded() {
        int status = 0;
        const bool ended = waitpid(process, &status, 0) == process;
        process = -1;
        return ended && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }

  private:
    pid_t process;
};

class PreferencesTest : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(installTexts(QLocale("en")));
        ASSERT_TRUE(folder.isValid());
    }

    QByteArray bytes() const {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    void fill(const QByteArray &content) const {
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
    }

    // Without the lock, which stays.
    QStringList files() const {
        QStringList names =
            QDir(QFileInfo(path).path()).entryList(QDir::Files | QDir::System | QDir::Hidden);
        names.removeOne("preferences.json.lock");
        return names;
    }

    QTemporaryDir folder;
    const QString path = folder.filePath("config/preferences.json");
};

}  // namespace

TEST_F(PreferencesTest, ValuesKeepTheirTypeAcrossProcesses) {
    const QVariantMap values{
        {"text", QString::fromUtf8("ünï \"quoted\" 日本")},
        {"empty", QStringLiteral("")},
        {"list", QStringList{"b", "a", ""}},
        {"number", 8080},
        {"large", Q_INT64_C(9007199254740993)},
        {"fraction", 1.5},
        {"flag", true},
        {"bytes", QByteArray::fromHex("00ff80220a")},
        {"no bytes", QByteArray("")},
    };
    Preferences writer(path);
    for (auto value = values.cbegin(); value != values.cend(); ++value)
        writer.setValue(value.key(), *value);
    ASSERT_TRUE(writer.synchronize(nullptr));

    for (Preferences *reader : {&writer, new Preferences(path)}) {
        const std::unique_ptr<Preferences> owned(reader == &writer ? nullptr : reader);
        for (auto value = values.cbegin(); value != values.cend(); ++value) {
            const QVariant found = reader->value(value.key());
            ASSERT_TRUE(found.isValid()) << qPrintable(value.key());
            EXPECT_EQ(found.typeId() == QMetaType::QByteArray,
                      value->typeId() == QMetaType::QByteArray);
            EXPECT_EQ(found.typeId() == QMetaType::Bool, value->typeId() == QMetaType::Bool);
            EXPECT_TRUE(found.canConvert(value->metaType()));
            QVariant converted = found;
            converted.convert(value->metaType());
            EXPECT_EQ(converted, *value) << qPrintable(value.key());
        }
    }
    EXPECT_FALSE(writer.value("unknown").isValid());
}

TEST_F(PreferencesTest, EmptyValuesRemoveTheKey) {
    Preferences preferences(path);
    for (const QVariant &nothing : {QVariant(), QVariant(QString()), QVariant(QByteArray())}) {
        preferences.setValue("key", "value");
        ASSERT_TRUE(preferences.synchronize(nullptr));
        preferences.setValue("key", nothing);
        EXPECT_FALSE(preferences.value("key").isValid());
        ASSERT_TRUE(preferences.synchronize(nullptr));
        EXPECT_FALSE(Preferences(path).value("key").isValid());
    }
}

TEST_F(PreferencesTest, OnlyTheUserCanReadTheFile) {
    fill("{}");
    ASSERT_TRUE(QFile::setPermissions(path, QFile::Permissions(0x6644)));
    Preferences preferences(path);
    preferences.setValue("key", "value");
    ASSERT_TRUE(preferences.synchronize(nullptr));
    const auto others = QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther | QFile::WriteOther;
    EXPECT_FALSE(QFile::permissions(path) & others);

    const QString fresh = folder.filePath("a/b/preferences.json");
    Preferences inNewFolder(fresh);
    inNewFolder.setValue("key", "value");
    ASSERT_TRUE(inNewFolder.synchronize(nullptr));
    EXPECT_FALSE(QFile::permissions(fresh) & others);
    EXPECT_FALSE(QFile::permissions(folder.filePath("a/b")) &
                 (others | QFile::ExeGroup | QFile::ExeOther));
}

TEST_F(PreferencesTest, ProcessesKeepEachOthersKeys) {
    constexpr int kRounds = 40;
    const auto write = [this](const char *prefix) {
        Preferences preferences(path);
        for (int i = 0; i < kRounds; ++i) {
            preferences.setValue(QStringLiteral("%1%2").arg(prefix).arg(i), i);
            EXPECT_TRUE(preferences.synchronize(nullptr));
        }
    };
    Child first([&] { write("a"); });
    Child second([&] { write("b"); });
    EXPECT_TRUE(first.succeeded());
    EXPECT_TRUE(second.succeeded());

    Preferences preferences(path);
    for (int i = 0; i < kRounds; ++i) {
        for (const char *prefix : {"a", "b"})
            EXPECT_EQ(preferences.value(QStringLiteral("%1%2").arg(prefix).arg(i)).toInt(), i);
    }
    EXPECT_EQ(files(), QStringList("preferences.json"));
}

TEST_F(PreferencesTest, SynchronizeTakesInChangesOfOthers) {
    Preferences mine(path);
    mine.setValue("mine", 1);
    ASSERT_TRUE(mine.synchronize(nullptr));
    Preferences other(path);
    other.setValue("theirs", 2);
    other.remove("mine");
    ASSERT_TRUE(other.synchronize(nullptr));

    ASSERT_TRUE(mine.synchronize(nullptr));
    EXPECT_EQ(mine.value("theirs").toInt(), 2);
    EXPECT_FALSE(mine.value("mine").isValid());
}

TEST_F(PreferencesTest, WriterKilledInTheMiddleLeavesAWholeFile) {
    Preferences before(path);
    before.setValue("kept", "value");
    ASSERT_TRUE(before.synchronize(nullptr));

    for (int round = 0; round < 8; ++round) {
        {
            const Child child([&] {
                Preferences writer(path);
                for (char c = 'a';; c = c == 'z' ? 'a' : static_cast<char>(c + 1)) {
                    writer.setValue("large", QByteArray(1 << 18, c));
                    writer.synchronize(nullptr);
                }
            });
            const QDeadlineTimer limit(5000);
            while (bytes().size() < 1 << 18 && !limit.hasExpired())
                std::this_thread::yield();
            // Whoever looks while it is being written sees a whole file too.
            for (int look = 0; look <= 20 * round; ++look)
                ASSERT_TRUE(QJsonDocument::fromJson(bytes()).isObject());
        }

        Preferences after(path);
        std::optional<Error> error;
        EXPECT_TRUE(after.synchronize(&error));
        EXPECT_FALSE(error);
        EXPECT_EQ(after.value("kept").toString(), "value");
        const QByteArray large = after.value("large").toByteArray();
        EXPECT_EQ(large.size(), 1 << 18);
        EXPECT_EQ(large.count(large.at(0)), large.size());
        // The dead writer's lock doesn't hold anybody up.
        after.setValue("round", round);
        EXPECT_TRUE(after.synchronize(nullptr));
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

        EXPECT_EQ(Preferences(path).value("new").toInt(), 1);
        QStringList others = files();
        others.removeOne("preferences.json");
        ASSERT_EQ(others.size(), 1);
        const QString other = QFileInfo(path).path() + "/" + others.first();
        QFile aside(other);
        ASSERT_TRUE(aside.open(QIODevice::ReadOnly));
        EXPECT_EQ(aside.readAll(), damage);
        aside.remove();
    }
}

TEST_F(PreferencesTest, FileThatCannotBeReadIsLeftAlone) {
    QDir().mkpath(path);  // a folder in its place, which even root can't read as a file
    Preferences preferences(path);
    EXPECT_FALSE(preferences.value("key").isValid());
    preferences.setValue("key", "value");
    std::optional<Error> error;
    EXPECT_FALSE(preferences.synchronize(&error));
    ASSERT_TRUE(error);
    EXPECT_TRUE(error->isPosix());
    EXPECT_TRUE(error->userInfo.value("OUTPUT").toString().contains(path));

    ASSERT_TRUE(QDir().rmdir(path));
    EXPECT_TRUE(preferences.synchronize(nullptr)) << "the change is still there";
    EXPECT_EQ(Preferences(path).value("key").toString(), "value");
}

TEST_F(PreferencesTest, FolderThatCannotBeWrittenIsAnError) {
    QFile inTheWay(folder.filePath("config"));
    ASSERT_TRUE(inTheWay.open(QIODevice::WriteOnly));
    Preferences preferences(path);
    preferences.setValue("key", "value");
    std::optional<Error> error;
    EXPECT_FALSE(preferences.synchronize(&error));
    ASSERT_TRUE(error);
    EXPECT_TRUE(error->isPosix());
    EXPECT_FALSE(error->userInfo.value("OUTPUT").toString().isEmpty());
}

TEST_F(PreferencesTest, WithoutSpaceTheOldFileStays) {
    Preferences before(path);
    before.setValue("kept", "value");
    ASSERT_TRUE(before.synchronize(nullptr));

    Child writer([&] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit none{0, 0};
        setrlimit(RLIMIT_FSIZE, &none);
        Preferences preferences(path);
        preferences.setValue("key", "value");
        std::optional<Error> error;
        EXPECT_FALSE(preferences.synchronize(&error));
        ASSERT_TRUE(error);
        EXPECT_TRUE(error->userInfo.value("OUTPUT").toString().contains(path));
    });
    EXPECT_TRUE(writer.succeeded());
    EXPECT_EQ(Preferences(path).value("kept").toString(), "value");
    EXPECT_EQ(files(), QStringList("preferences.json"));
}

TEST_F(PreferencesTest, LinkIsWrittenThrough) {
    const QString target = folder.filePath("elsewhere.json");
    QDir().mkpath(QFileInfo(path).path());
    ASSERT_TRUE(QFile::link("../elsewhere.json", path));
    for (const int value : {1, 2}) {
        Preferences preferences(path);
        preferences.setValue("key", value);
        ASSERT_TRUE(preferences.synchronize(nullptr));
        EXPECT_TRUE(QFileInfo(path).isSymLink());
        EXPECT_EQ(Preferences(target).value("key").toInt(), value);
    }
    EXPECT_TRUE(bytes().contains("key"));
}

TEST_F(PreferencesTest, StandardFileFollowsTheEnvironment) {
    Preferences &standard = Preferences::standard();
    standard.setValue("key", "value");
    ASSERT_TRUE(standard.synchronize(nullptr));
    EXPECT_TRUE(QFile::exists(QDir::homePath() + "/.config/velmoradisk/preferences.json"));
    standard.remove("key");
    EXPECT_TRUE(standard.synchronize(nullptr));
}
