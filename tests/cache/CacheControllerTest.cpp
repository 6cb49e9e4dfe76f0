#include <csignal>
#include <sys/resource.h>
#include <thread>

#include <QFileInfo>
#include <QTemporaryDir>

#include "cache/CacheController.h"
#include "webdav/ContentSource.h"

namespace {

constexpr qint64 KiB = 1024;
constexpr qint64 MiB = KiB * KiB;
constexpr qint64 kBlock = 64 * KiB;
const QDateTime kMonday = QDateTime::fromSecsSinceEpoch(1'700'000'000, Qt::UTC);

// Different at every place and for every seed.
QByteArray bytes(qint64 size, quint32 seed = 1) {
    QByteArray data(size, Qt::Uninitialized);
    quint32 state = seed * 2654435761U + 1;
    for (char &byte : data) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<char>(state >> 24);
    }
    return data;
}

struct ServerFile {
    QByteArray content;
    QDateTime modified = kMonday;
    QString etag;
};

class FakeSource : public ContentSource {
  public:
    struct Request {
        QString path;
        qint64 start;
        qint64 end;
        bool operator==(const Request &) const = default;
    };

    QMap<QString, ServerFile> files;
    QList<Request> requests;
    bool down = false;
    bool tellsVersion = true;
    qint64 cutTo = -1;  // bytes of a body that arrive
    std::function<QString(int, ErrorOut)> folderType;
    int folderTypeRequests = 0;

    QByteArray filePartDownloadWithSrcpath(const QString &path, qint64 startBytes, qint64 endBytes,
                                           ErrorOut error, RangeAnswer *answer) override {
        requests.append({path, startBytes, endBytes});
        if (down || !files.contains(path)) {
            setError(error, {kConnectErrorDomain, 12, {}});
            return {};
        }
        const ServerFile &file = files[path];
        if (tellsVersion)
            *answer = {file.content.size(), file.modified, file.etag};
        const qint64 wanted = endBytes < 0 ? -1 : endBytes - startBytes + 1;
        const QByteArray part = file.content.mid(startBytes, wanted);
        return cutTo < 0 ? part : part.left(cutTo);
    }

    QString getItemProperty(const QString &, const QString &, const QString &,
                            ErrorOut error) override {
        return folderType(folderTypeRequests++, error);
    }
};

FileIdentifier byTime(qint64 size, const QDateTime &modified = kMonday) {
    return {QString(), size, modified};
}

FileIdentifier byDigest(const QString &md5) {
    FileIdentifier identifier = FileIdentifier::Enpty();
    identifier.md5 = md5;
    return identifier;
}

class CacheControllerTest : public testing::Test {
  protected:
    QTemporaryDir folder;
    const QString file = folder.filePath("deep/down/content");
    std::shared_ptr<FakeSource> source = std::make_shared<FakeSource>();
    std::unique_ptr<CacheController> cache = std::make_unique<CacheController>(source, file);

    void withSlots(qint32 count) {
        cache.reset();
        cache = std::make_unique<CacheController>(source, file, count);
    }
    void serve(const QString &path, const QByteArray &content,
               const QDateTime &modified = kMonday) {
        source->files[path] = {content, modified, QString()};
    }
    // What the cache answers; a negative answer comes as its decimal text.
    QByteArray read(const QString &path, qint64 offset, quint64 size,
                    std::optional<FileIdentifier> identifier = {}) {
        const ServerFile current = source->files.value(path);
        return readVersion(path, offset, size, current.content.size(),
                           identifier.value_or(byTime(current.content.size(), current.modified)));
    }
    QByteArray readVersion(const QString &path, qint64 offset, quint64 size, qint64 fileSize,
                           const FileIdentifier &identifier) {
        QByteArray buffer(static_cast<qsizetype>(size), '?');
        const qint32 count = cache->read(path, buffer.data(), offset, size, fileSize, identifier);
        return count < 0 ? QByteArray::number(count) : buffer.left(count);
    }
};

const QByteArray kFailed = "-1";
const QByteArray kChanged = QByteArray::number(CacheController::kVersionChanged);

}  // namespace

TEST(FileIdentifier, MatchesByDigestElseBySizeAndTime) {
    const QDateTime later = kMonday.addSecs(1);
    const struct {
        FileIdentifier one, other;
        bool match;
    } cases[] = {
        {{"d", 1, kMonday}, {"d", 2, later}, true},
        {{"d", 1, kMonday}, {"e", 1, kMonday}, false},
        {{"d", 1, kMonday}, {"", 1, kMonday}, false},
        {{QString(), 1, kMonday}, {"d", 1, kMonday}, false},
        {{"", 1, kMonday}, {QString(), 1, kMonday}, true},
        {{"", 1, kMonday}, {"", 2, kMonday}, false},
        {{"", 1, kMonday}, {"", 1, later}, false},
    };
    for (const auto &[one, other, match] : cases)
        EXPECT_EQ(one.match(other), match) << qPrintable(one.printstring() + other.printstring());
    EXPECT_TRUE(FileIdentifier::Enpty().isEmpty());
    EXPECT_FALSE(byDigest("").isEmpty());
    EXPECT_EQ(byDigest("d").printstring(), "MD5: d");
}

TEST_F(CacheControllerTest, ReadsAnyRange) {
    for (const qint64 size : {qint64(1), kBlock - 1, kBlock, kBlock + 1, 2 * MiB + 5}) {
        const QString path = QString("/f%1").arg(size);
        const QByteArray content = bytes(size, size);
        serve(path, content);
        const struct {
            qint64 offset;
            quint64 length;
        } cases[] = {{0, 10},         {0, 128 * KiB},         {65530, 12},   {kBlock - 1, 1},
                     {kBlock, 1},     {100, 2 * kBlock},      {size - 1, 5}, {size, 5},
                     {size + 70, 10}, {(1LL << 47) + 3, 100}, {3, 0},        {0, quint64(4 * MiB)}};
        for (const auto &[offset, length] : cases)
            EXPECT_EQ(read(path, offset, length), content.mid(offset, qint64(length)))
                << size << " bytes, " << length << " from " << offset;
        EXPECT_EQ(read(path, 0, size), content);
        EXPECT_EQ(source->requests.size(), 1) << "a second read must not ask the server";
        source->requests.clear();
    }
    EXPECT_EQ(read("/f1", -1, 1), kFailed);
}

TEST_F(CacheControllerTest, FetchesAShortRunFirstThenLongOnes) {
    using Requests = QList<FakeSource::Request>;
    const struct {
        qint64 size;
        qint64 offset;
        QList<std::pair<qint64, qint64>> ranges;
    } cases[] = {
        {8 * MiB, 0, {{0, -1}}},
        {8 * MiB + 1, 0, {{0, MiB - 1}}},
        {9 * MiB, MiB, {{0, MiB - 1}, {MiB, -1}}},
        {20 * MiB, 5 * MiB + 3, {{0, MiB - 1}, {5 * MiB, 13 * MiB - 1}}},
    };
    for (const auto &[size, offset, ranges] : cases) {
        const QString path = QString("/%1").arg(size);
        serve(path, QByteArray(size, 'x'));
        source->requests.clear();
        EXPECT_EQ(read(path, offset, 1), "x");
        Requests expected;
        for (const auto &[start, end] : ranges)
            expected.append({path, start, end});
        EXPECT_EQ(source->requests, expected) << size;
    }
}

TEST_F(CacheControllerTest, EmptyFileAnswersNothing) {
    serve("/empty", "");
    EXPECT_EQ(read("/empty", 0, 100), "");
    EXPECT_EQ(read("/empty", 70000, 100), "");
}

TEST_F(CacheControllerTest, AbsurdSizeCostsNoMemory) {
    serve("/huge", bytes(MiB));
    source->tellsVersion = false;
    const qint64 announced = std::numeric_limits<qint64>::max();
    EXPECT_EQ(readVersion("/huge", 0, 10, announced, byTime(announced)), bytes(MiB).left(10));
    EXPECT_EQ(readVersion("/huge", announced - 5, 10, announced, byTime(announced)), "");
}

TEST_F(CacheControllerTest, NewIdentifierDropsTheOldVersion) {
    const QByteArray oldContent = bytes(20 * MiB, 1), newContent = bytes(20 * MiB, 2);
    serve("/a", oldContent);
    EXPECT_EQ(read("/a", 0, 100), oldContent.left(100));
    EXPECT_EQ(read("/a", 10 * MiB, 100), oldContent.mid(10 * MiB, 100));
    serve("/a", newContent, kMonday.addSecs(1));
    source->requests.clear();
    EXPECT_EQ(read("/a", 10 * MiB, 100), newContent.mid(10 * MiB, 100));
    EXPECT_EQ(read("/a", 0, 100), newContent.left(100));
    EXPECT_EQ(source->requests.size(), 2);

    EXPECT_EQ(read("/a", 0, 10, byDigest("d1")), newContent.left(10));
    EXPECT_EQ(source->requests.size(), 3) << "a digest against none is another version";
}

// The caller knows version one; the server has moved on.
TEST_F(CacheControllerTest, AnswerOfAnotherVersionIsNeverKept) {
    const QByteArray content = bytes(12 * MiB);
    const struct {
        const char *name;
        std::function<void(ServerFile &)> change;
    } cases[] = {
        {"grown", [](ServerFile &file) { file.content += "more"; }},
        {"shrunk", [](ServerFile &file) { file.content.chop(3); }},
        {"later", [](ServerFile &file) { file.modified = file.modified.addSecs(1); }},
    };
    for (const auto &[name, change] : cases) {
        serve("/a", content);
        const FileIdentifier known = byTime(content.size());
        change(source->files["/a"]);
        EXPECT_EQ(readVersion("/a", 0, 10, content.size(), known), kChanged) << name;

        serve("/a", content);
        EXPECT_EQ(readVersion("/a", 0, 10, content.size(), known), content.left(10)) << name;
        change(source->files["/a"]);
        EXPECT_EQ(readVersion("/a", 2 * MiB, 10, content.size(), known), kChanged) << name;
        source->requests.clear();
        const ServerFile now = source->files["/a"];
        EXPECT_EQ(read("/a", 2 * MiB, 10), now.content.mid(2 * MiB, 10)) << name;
        EXPECT_EQ(source->requests.size(), 2) << name << ": nothing of the old may have stayed";
        cache->remove("/a");
    }
}

TEST_F(CacheControllerTest, LongerBodyThanAnnouncedIsAnotherVersion) {
    source->tellsVersion = false;
    serve("/a", bytes(MiB));
    EXPECT_EQ(readVersion("/a", 0, 10, MiB - 1, byTime(MiB - 1)), kChanged);
}

// With a digest nothing else is known of the version: what the first answer told must hold.
TEST_F(CacheControllerTest, OneMapHoldsOneVersionOnly) {
    const struct {
        const char *name;
        QDateTime modified;
        QString etag;
        bool changed;
    } cases[] = {
        {"same second", kMonday.addMSecs(300), "e1", false},
        {"other second", kMonday.addSecs(1), "e1", true},
        {"other etag", kMonday, "e2", true},
        {"time not told", {}, {}, false},
    };
    const QByteArray content = bytes(12 * MiB);
    for (const auto &[name, modified, etag, changed] : cases) {
        source->files["/a"] = {content, kMonday, "e1"};
        EXPECT_EQ(read("/a", 0, 4, byDigest("d")), content.left(4));
        source->files["/a"].modified = modified;
        source->files["/a"].etag = etag;
        EXPECT_EQ(read("/a", 2 * MiB, 4, byDigest("d")),
                  changed ? kChanged : content.mid(2 * MiB, 4))
            << name;
        cache->remove("/a");
    }
}

TEST_F(CacheControllerTest, FailedFirstFetchStaysUntilRemoved) {
    for (const bool down : {true, false}) {
        const QByteArray content = bytes(100 * KiB);
        serve("/a", content);
        source->down = down;
        source->cutTo = down ? -1 : 50 * KiB;
        EXPECT_EQ(read("/a", 0, 10), "");
        source->down = false;
        source->cutTo = -1;
        source->requests.clear();
        EXPECT_EQ(read("/a", 0, 10), "");
        EXPECT_TRUE(source->requests.isEmpty());
        cache->remove("/a");
        EXPECT_EQ(read("/a", 0, 10), content.left(10));
        cache->remove("/a");
    }
}

TEST_F(CacheControllerTest, FailureInTheMiddleIsTriedAgain) {
    const QByteArray content = bytes(12 * MiB);
    serve("/a", content);
    EXPECT_EQ(read("/a", MiB - 10, 5), content.mid(MiB - 10, 5));
    source->cutTo = 5 * MiB;
    EXPECT_EQ(read("/a", MiB - 10, 20), kFailed);
    EXPECT_EQ(read("/a", MiB, 20), kFailed);
    EXPECT_EQ(read("/a", MiB - 10, 10), content.mid(MiB - 10, 10));
    source->cutTo = -1;
    EXPECT_EQ(read("/a", MiB - 10, 20), content.mid(MiB - 10, 20));
}

TEST_F(CacheControllerTest, FullPoolEvictsWhatWasWrittenLongestAgo) {
    withSlots(4);
    for (const char *path : {"/a", "/b"})
        serve(path, bytes(2 * kBlock, path[1]));
    serve("/c", bytes(kBlock, 'c'));
    read("/a", 0, 2 * kBlock);
    read("/b", 0, 2 * kBlock);
    EXPECT_EQ(read("/a", 5, 10), bytes(2 * kBlock, 'a').mid(5, 10));
    source->requests.clear();
    EXPECT_EQ(read("/c", 0, kBlock), bytes(kBlock, 'c'));
    EXPECT_EQ(read("/b", 0, 2 * kBlock), bytes(2 * kBlock, 'b'));
    EXPECT_EQ(source->requests.size(), 1);
    // Its first block is gone though it was read last.
    EXPECT_EQ(read("/a", 0, 2 * kBlock), bytes(2 * kBlock, 'a'));
    EXPECT_EQ(source->requests.last(), (FakeSource::Request{"/a", 0, -1}));
    EXPECT_LE(QFileInfo(file).size(), 4 * kBlock);
}

// Random reads of files that together are far larger than the pool, with everything that moves or
// drops maps in between: whatever happens to the slots, the bytes are right.
TEST_F(CacheControllerTest, CrowdedPoolNeverMixesFiles) {
    withSlots(24);
    QMap<QString, QByteArray> contents;
    quint32 state = 7;
    const auto random = [&](quint32 below) {
        state = state * 1664525U + 1013904223U;
        return (state >> 8) % below;
    };
    const auto pathOf = [](quint32 number) {
        return QString("/d%1/f%2").arg(number % 3).arg(number);
    };
    for (quint32 number = 0; number < 9; ++number)
        serve(pathOf(number), bytes(kBlock * (1 + number) + number * 100, number));
    for (int step = 0; step < 3000; ++step) {
        const QString path = pathOf(random(9));
        ServerFile &current = source->files[path];
        switch (random(20)) {
            case 0:
                cache->remove(path);
                break;
            case 1:
                cache->remove(path.left(3));
                break;
            case 2: {
                const QString other = pathOf(random(9));
                cache->renameFrom(path, other);
                source->files[other] = current;
                break;
            }
            case 3:
                current = {bytes(current.content.size(), step + 100), current.modified.addSecs(1),
                           QString()};
                break;
            default:
                const qint64 offset = random(current.content.size());
                const qint64 length = random(3 * kBlock);
                ASSERT_EQ(read(path, offset, length), current.content.mid(offset, length))
                    << "step " << step;
        }
    }
}

TEST_F(CacheControllerTest, RemovedFolderLeavesNoWayToOtherFilesBytes) {
    withSlots(3);
    const QByteArray inside = bytes(2 * kBlock, 1), other = bytes(2 * kBlock, 2);
    serve("/d/in", inside);
    serve("/other", other);
    read("/d/in", 10, 10);
    cache->remove("/d");
    read("/other", 0, 2 * kBlock);
    EXPECT_EQ(read("/d/in", 0, 2 * kBlock), inside);
    EXPECT_EQ(read("/d/in", 10, 10), inside.mid(10, 10));
    EXPECT_EQ(read("/other", 0, 2 * kBlock), other);
}

TEST_F(CacheControllerTest, RemovalAndRenameKeepToTheirTree) {
    for (const char *path : {"/ab", "/a/f", "/b/f"})
        serve(path, bytes(100, qHash(QString(path))));
    for (const char *path : {"/ab", "/a/f", "/b/f"})
        read(path, 0, 100);
    const auto requestsOf = [&](const QString &path, const QByteArray &content) {
        source->requests.clear();
        EXPECT_EQ(readVersion(path, 0, 100, 100, byTime(100)), content) << qPrintable(path);
        return source->requests.size();
    };
    const QByteArray moved = source->files["/a/f"].content;
    cache->renameFrom("/a", "/b");
    EXPECT_EQ(requestsOf("/b/f", moved), 0);
    EXPECT_EQ(requestsOf("/ab", source->files["/ab"].content), 0);
    EXPECT_EQ(requestsOf("/a/f", moved), 1);
    cache->remove("/a");
    EXPECT_EQ(requestsOf("/ab", source->files["/ab"].content), 0);
}

TEST_F(CacheControllerTest, RenameNeverGivesAFileAnothersBytes) {
    // After the folder's move "/b/x/b" is another file than the one that was "/a/x/a".
    serve("/a/x/a", bytes(100, 1));
    serve("/b/x/b", bytes(100, 2));
    read("/a/x/a", 0, 100);
    cache->renameFrom("/a", "/b");
    EXPECT_EQ(read("/b/x/b", 0, 100), bytes(100, 2));
}

TEST_F(CacheControllerTest, NamesMeetInAnyComposition) {
    const QString composed = QStringLiteral("/caf\u00e9"),
                  decomposed = QStringLiteral("/cafe\u0301");
    serve(composed, bytes(100, 1));
    serve(decomposed, bytes(100, 2));
    EXPECT_EQ(read(composed, 0, 100), bytes(100, 1));
    EXPECT_EQ(read(decomposed, 0, 100), bytes(100, 1));
    EXPECT_EQ(source->requests, QList<FakeSource::Request>({{composed, 0, -1}}));
}

// A limit on the size of files stands in for a full disk.
TEST_F(CacheControllerTest, FullDiskFailsWithoutWrongBytes) {
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{static_cast<rlim_t>(3 * kBlock + 100), before.rlim_max};
    const QByteArray content = bytes(MiB);
    serve("/a", content);
    setrlimit(RLIMIT_FSIZE, &limit);
    const QByteArray held = read("/a", 0, 3 * kBlock);
    const QByteArray beyond = read("/a", 3 * kBlock, 10);
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, oldHandler);
    EXPECT_EQ(held, content.left(3 * kBlock));
    EXPECT_EQ(beyond, kFailed);
    EXPECT_EQ(read("/a", 0, MiB), content);
}

TEST_F(CacheControllerTest, CacheFileIsPrivateAndGoesWithTheCache) {
    const auto others = QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther | QFile::WriteOther;
    EXPECT_FALSE(QFileInfo(file).permissions() & others);
    EXPECT_FALSE(QFileInfo(QFileInfo(file).path()).permissions() & others);
    serve("/a", bytes(100));
    read("/a", 0, 100);
    cache->disposeCache();
    EXPECT_FALSE(QFileInfo::exists(file));
    EXPECT_EQ(read("/a", 0, 100), kFailed);
    cache->remove("/a");
    EXPECT_EQ(read("/a", 0, 100), "");
}

TEST_F(CacheControllerTest, ReadersOnSeveralThreadsShareOneFetch) {
    const QByteArray content = bytes(4 * MiB);
    serve("/a", content);
    std::vector<std::jthread> readers;
    for (int reader = 0; reader < 4; ++reader) {
        readers.emplace_back([&, reader] {
            for (qint64 offset = reader * 1000; offset < content.size(); offset += 100'000) {
                QByteArray buffer(128 * KiB, '?');
                const qint32 count = cache->read("/a", buffer.data(), offset, buffer.size(),
                                                 content.size(), byTime(content.size()));
                ASSERT_EQ(buffer.left(count), content.mid(offset, buffer.size()));
            }
        });
    }
    readers.clear();
    EXPECT_EQ(source->requests.size(), 1);
}

TEST_F(CacheControllerTest, FolderTypeIsTheThirdAnswer) {
    const struct {
        const char *name;
        QList<std::pair<QString, std::optional<Error>>> answers;
        QString result;
        int requests;
        int requestsAgain;  // of a second call
    } cases[] = {
        {"good", {{"1", {}}, {"2", {}}, {"3", {}}}, "3", 3, 0},
        {"passing",
         {{"", Error{kConnectErrorDomain, 12, {}}},
          {"", Error::errorWithPOSIXCode(EIO)},
          {"3", {}}},
         "3",
         3,
         0},
        {"lasting", {{"", Error{kConnectErrorDomain, 6, {}}}}, "", 1, 1},
        {"passing too often",
         {{"", Error{kConnectErrorDomain, 0, {}}},
          {"", Error{kConnectErrorDomain, 11, {}}},
          {"", Error{kConnectErrorDomain, 16, {}}}},
         "",
         3,
         3},
    };
    for (const auto &[name, answers, result, requests, requestsAgain] : cases) {
        source->folderType = [&answers = answers](int number, ErrorOut error) {
            const auto &[value, failure] = answers[number % answers.size()];
            *error = failure;
            return value;
        };
        source->folderTypeRequests = 0;
        EXPECT_EQ(cache->getFolderType(name), result) << name;
        EXPECT_EQ(source->folderTypeRequests, requests) << name;
        cache->getFolderType(name);
        EXPECT_EQ(source->folderTypeRequests, requests + requestsAgain) << name;
    }
}
