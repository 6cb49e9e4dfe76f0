#include <sys/stat.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include "cache/UnsentFiles.h"

namespace {

class UnsentFilesTest : public testing::Test {
  protected:
    UnsentFilesTest() : homeBefore(qgetenv("HOME")) { qputenv("HOME", home.path().toUtf8()); }
    ~UnsentFilesTest() override { qputenv("HOME", homeBefore); }

    static void write(const QString &path, const QByteArray &content) {
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        ASSERT_TRUE(file.open(QFile::WriteOnly)) << path.toStdString();
        file.write(content);
    }
    static QByteArray content(const QString &path) {
        QFile file(path);
        return file.open(QFile::ReadOnly) ? file.readAll() : QByteArray();
    }
    static mode_t modeOf(const QString &path) {
        struct stat status {};
        stat(QFile::encodeName(path).constData(), &status);
        return status.st_mode & 07777;
    }
    // A marked copy with a mode and a date of its own.
    QString makeCopy(const QString &name) const {
        const QString path = home.path() + "/.VelmoraDisk_Store/m/" + name;
        write(path, "unsent");
        chmod(QFile::encodeName(path).constData(), 0640);
        QFile file(path);
        EXPECT_TRUE(file.open(QFile::ReadWrite));
        file.setFileTime(date, QFile::FileModificationTime);
        UnsentFiles::mark(file.handle());
        return path;
    }
    // Saves such a copy, and answers where it lies.
    QString save(const QString &name) const {
        const QString copy = makeCopy(name);
        const auto place = UnsentFiles::saveAtHome(copy, "/folder/" + name);
        if (!place)
            return {};
        EXPECT_FALSE(QFileInfo::exists(copy));
        EXPECT_EQ(content(*place), "unsent");
        EXPECT_EQ(modeOf(*place), 0640u);
        EXPECT_EQ(QFileInfo(*place).lastModified(), date);
        return *place;
    }

    const QDateTime date{{2020, 2, 2}, {2, 2}, Qt::UTC};
    QTemporaryDir home;
    const QByteArray homeBefore;
};

}  // namespace

TEST_F(UnsentFilesTest, TheMarkIsOfTheFileAndChangesNothingElse) {
    const QString path = makeCopy("a");
    EXPECT_TRUE(UnsentFiles::isMarked(path));
    QFile::rename(path, path + "b");
    EXPECT_TRUE(UnsentFiles::isMarked(path + "b"));
    UnsentFiles::clearMark(path + "b");
    EXPECT_FALSE(UnsentFiles::isMarked(path + "b"));
    EXPECT_EQ(modeOf(path + "b"), 0640u);
    UnsentFiles::mark(path + "b");
    EXPECT_TRUE(UnsentFiles::isMarked(path + "b"));
    UnsentFiles::mark(home.path());
    EXPECT_FALSE(UnsentFiles::isMarked(home.path()));
}

TEST_F(UnsentFilesTest, SavedUnderAFreeNameAndNothingIsReplaced) {
    const QString longest = QString(251, 'x') + ".txt";
    const struct {
        QString name;
        QStringList places;  // of one copy after the other
    } cases[] = {
        {"report.txt", {"report.txt", "report 2.txt", "report 3.txt"}},
        {"a.tar.gz", {"a.tar.gz", "a.tar 2.gz"}},
        {".profile", {".VelmoraDisk_Saved/.profile", ".VelmoraDisk_Saved/.profile 2"}},
        {"cafe\u0301", {"caf\u00e9", "caf\u00e9 2"}},
        {longest, {longest, QString(249, 'x') + " 2.txt"}},
    };
    for (const auto &[name, places] : cases) {
        for (const QString &place : places)
            EXPECT_EQ(save(name), home.filePath(place));
    }
    QFile::link("/nowhere", home.filePath("dangling"));
    EXPECT_EQ(save("dangling"), home.filePath("dangling 2"));
    EXPECT_EQ(QFileInfo(home.filePath("dangling")).symLinkTarget(), "/nowhere");
}

TEST_F(UnsentFilesTest, CopiedToAHomeOnAnotherFileSystem) {
    const QTemporaryDir other("/dev/shm/velmora-XXXXXX");
    struct stat here {
    }, there{};
    stat(home.path().toUtf8().constData(), &here);
    if (!other.isValid() || stat(other.path().toUtf8().constData(), &there) != 0 ||
        here.st_dev == there.st_dev)
        GTEST_SKIP() << "no other file system to write to";
    qputenv("HOME", other.path().toUtf8());
    write(other.filePath("a.txt"), "kept");
    EXPECT_EQ(save("a.txt"), other.filePath("a 2.txt"));
    EXPECT_EQ(content(other.filePath("a.txt")), "kept");
}

TEST_F(UnsentFilesTest, BesideTheStoresWhereTheHomeTakesNothing) {
    qputenv("HOME", "/dev/null/home");
    EXPECT_EQ(save("a.txt"), home.filePath(".VelmoraDisk_Saved/a.txt"));
    EXPECT_EQ(save("a.txt"), home.filePath(".VelmoraDisk_Saved/a 2.txt"));
    EXPECT_EQ(modeOf(home.filePath(".VelmoraDisk_Saved")), 0700u);
}
