#include <csignal>
#include <random>
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
        {{"", 1, kMonday, "a"}, {"", 1, kMonday, "b"}, false},
        {{"", 1, kMonday, "a"}, {"", 1, kMonday}, true},
    };
    for (const auto &[one, other, match] : cases)
        EXPECT_EQ(one.match(other), match) << qPrintable(one.printstring() + other.printstring());
}

TEST_F(CacheControllerTest, ReadsAnyRange) {
    for (const qint64 size : {qint64(1), kBlock - 1, kBlock, kBlock + 1, 2 * MiB + 5}) {
        const QString path = QString("/f%1").arg(size);
        const QByteArray content = bytes(size, size);
        serve(path, content);
        const std::pair<qint64, quint64> cases[] = {
            {0, 10},           {0, 128 * KiB}, {65530, 12},     {kBlock - 1, 1},        {kBlock, 1},
            {100, 2 * kBlock}, {size - 1, 5},  {size + 70, 10}, {(1LL << 47) + 3, 100}, {3, 0}};
        for (const auto &[offset, length] : cases)
            EXPECT_EQ(read(path, offset, length), content.mid(offset, qint64(length)))
                << size << " bytes, " << length << " from " << offset;
        EXPECT_EQ(read(path, 0, size), content);
        EXPECT_EQ(source->requests.size(), 1) << "a second read must not ask the server";
        source->requests.clear();
    }
    EXPECT_EQ(read("/f1", -1, 1), kFailed);
    serve("/empty", "");
    EXPECT_EQ(read("/empty", 0, 100), "");
    EXPECT_EQ(read("/empty", 70000, 100), "");
}

TEST_F(CacheControllerTest, FetchesAShortRunFirstThenLongOnes) {
    const struct {
        qint64 size;
        qint64 offset;
        QList<std::pair<qint64, qint64>> ranges;
    } cases[] = {{8 * MiB, 0, {{0, -1}}},
                 {8 * MiB + 1, 0, {{0, MiB - 1}}},
                 {9 * MiB, MiB, {{0, MiB - 1}, {MiB, -1}}},
                 {20 * MiB, 5 * MiB + 3, {{0, MiB - 1}, {5 * MiB, 13 * MiB - 1}}}};
    for (const auto &[size, offset, ranges] : cases) {
        const QString path = QString("/%1").arg(size);
        serve(path, QByteArray(size, 'x'));
        source->requests.clear();
        EXPECT_EQ(read(path, offset, 1), "x");
        QList<std::pair<qint64, qint64>> asked;
        for (const auto &request : source->requests)
            asked.append({request.start, request.end});
        EXPECT_EQ(asked, ranges) << size;
    }
}

TEST_F(CacheControllerTest, AbsurdSizeCostsNoMemory) {
    serve("/huge", bytes(MiB));
    source->tellsVersion = false;
    const qint64 announced = std::numeric_limits<qint64>::max();
    EXPECT_EQ(readVersion("/huge", 0, 10, announced, byTime(announced)), bytes(MiB).left(10));
    EXPECT_EQ(readVersion("/huge", announced - 5, 10, announced, byTime(announced)), "");
}

// The caller knows version one; the server has moved on.
TEST_F(CacheControllerTest, AnswerOfAnotherVersionIsNeverKept) {
    const QByteArray content = bytes(12 * MiB);
    const struct {
        const char *name;
        qint64 growth;
        qint64 seconds;
    } cases[] = {{"grown", 4, 0}, {"shrunk", -3, 0}, {"later", 0, 1}};
    for (const auto &[name, growth, seconds] : cases) {
        const QByteArray changed = bytes(content.size() + growth, 2);
        for (const bool startsBefore : {false, true}) {
            serve("/a", content);
            const FileIdentifier known = byTime(content.size());
            if (startsBefore) {
                EXPECT_EQ(readVersion("/a", 0, 10, content.size(), known), content.left(10));
            }
            serve("/a", changed, kMonday.addSecs(seconds));
            EXPECT_EQ(readVersion("/a", 2 * MiB, 10, content.size(), known), kChanged) << name;
            source->requests.clear();
            EXPECT_EQ(read("/a", 2 * MiB, 10), changed.mid(2 * MiB, 10)) << name;
            EXPECT_EQ(source->requests.size(), 2) << name << ": nothing of the old may have stayed";
            cache->remove("/a");
        }
    }

    source->tellsVersion = false;
    serve("/longer", bytes(MiB));
    EXPECT_EQ(readVersion("/longer", 0, 10, MiB - 1, byTime(MiB - 1)), kChanged);
}

// With a digest nothing else is known of the version: what the first answer told must hold.
TEST_F(CacheControllerTest, OneMapHoldsOneVersionOnly) {
    const struct {
        QDateTime modified;
        QString etag;
        bool changed;
    } cases[] = {{kMonday.addMSecs(300), "e1", false},
                 {kMonday.addSecs(1), "e1", true},
                 {kMonday, "e2", true},
                 {{}, {}, false}};
    const QByteArray content = bytes(12 * MiB);
    for (const auto &[modified, etag, changed] : cases) {
        source->files["/a"] = {content, kMonday, "e1"};
        EXPECT_EQ(read("/a", 0, 4, byDigest("d")), content.left(4));
        source->files["/a"] = {content, modified, etag};
        EXPECT_EQ(read("/a", 2 * MiB, 4, byDigest("d")),
                  changed ? kChanged : content.mid(2 * MiB, 4))
            << qPrintable(modified.toString() + etag);
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

// Random reads of files that together are far larger than the pool, with everything that moves or
// drops maps in between: whatever happens to the slots, the bytes are right.
TEST_F(CacheControllerTest, CrowdedPoolNeverMixesFiles) {
    withSlots(24);
    std::mt19937 generator(7);
    const auto random = [&](quint32 below) { return quint32(generator() % below); };
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
                serve(path, bytes(current.content.size(), step + 100), current.modified.addSecs(1));
                break;
            default:
                const qint64 offset = random(current.content.size());
                const qint64 length = random(3 * kBlock);
                ASSERT_EQ(read(path, offset, length), current.content.mid(offset, length))
                    << "step " << step;
        }
    }
    EXPECT_LE(QFileInfo(file).size(), 24 * kBlock);
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

    // After the folder's move "/e/x/e" is another file than the one that was "/d/x/d".
    serve("/d/x/d", bytes(100, 1));
    serve("/e/x/e", bytes(100, 2));
    read("/d/x/d", 0, 100);
    cache->renameFrom("/d", "/e");
    EXPECT_EQ(read("/e/x/e", 0, 100), bytes(100, 2));
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
    const auto failure = [](int code) {
        return std::pair(QString(), std::optional(Error{kConnectErrorDomain, code, {}}));
    };
    const std::pair<QString, std::optional<Error>> posix{"", Error::errorWithPOSIXCode(EIO)};
    const struct {
        const char *name;
        QList<std::pair<QString, std::optional<Error>>> answers;
        QString result;
        int requests;
        int requestsAgain;  // of a second call
    } cases[] = {{"good", {{"1", {}}, {"2", {}}, {"3", {}}}, "3", 3, 0},
                 {"passing", {failure(12), posix, {"3", {}}}, "3", 3, 0},
                 {"lasting", {failure(6)}, "", 1, 1},
                 {"passing too often", {failure(0), failure(11), failure(16)}, "", 3, 3}};
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
