#include <chrono>
#include <thread>

#include "VolumeFixture.h"

using Reading = VolumeFixture;

namespace {
constexpr qint64 kMiB = 1 << 20;
}

TEST_F(Reading, WhatCannotBeOpened) {
    server.addFile("/file", "x");
    server.addFile("/forbidden", "x");
    connect();
    server.fault(
        {.method = "PROPFIND", .path = "/forbidden", .times = Fault::kAlways, .status = 403});
    const QString longest(247, 'n');
    server.addFile("/" + longest, "x");
    const struct {
        QString path;
        int mode;
        int expected;
    } cases[] = {
        {"/file", O_RDONLY, 0},
        {"/missing", O_RDONLY, ENOENT},
        {"/forbidden", O_RDONLY, EACCES},
        {"/" + longest, O_RDONLY, 0},
        {"/" + longest + "n", O_RDONLY, ENAMETOOLONG},
        {"/" + QString(82, QChar(0x3042)) + "n", O_RDONLY, ENOENT},
        {"/" + QString(82, QChar(0x3042)) + "nn", O_RDONLY, ENAMETOOLONG},
    };
    for (const auto &one : cases) {
        const HandlePtr handle = open(one.path, one.mode);
        EXPECT_EQ(bool(handle), one.expected == 0) << one.path.toStdString();
        EXPECT_EQ(failure ? failure->code : 0, one.expected) << one.path.toStdString();
    }
    server.clearRequests();
    EXPECT_FALSE(open("/forbidden"));
    EXPECT_EQ(server.requests().size(), 0) << "what is known to be forbidden isn't asked for again";
    EXPECT_EQ(server.countOf("LOCK"), 0);
}

TEST_F(Reading, ReadsAnyPlaceOfAFile) {
    server.addGeneratedFile("/big", 20 * kMiB + 5);
    server.addFile("/empty", "");
    connect();
    const HandlePtr handle = open("/big");
    ASSERT_TRUE(handle);
    const struct {
        qint64 offset;
        int size;
    } cases[] = {{0, 10},          {65530, 12},          {kMiB - 1, 2},    {12 * kMiB, 131072},
                 {20 * kMiB, 100}, {20 * kMiB + 5, 100}, {25 * kMiB, 100}, {3 * kMiB + 7, 65536}};
    for (const auto &one : cases) {
        const qint64 there = std::clamp<qint64>(20 * kMiB + 5 - one.offset, 0, one.size);
        EXPECT_EQ(read("/big", handle, one.offset, one.size),
                  TestServer::generatedBytes(one.offset, there))
            << one.offset;
    }
    disk->releaseFileAtPath("/big", handle);
    EXPECT_EQ(read("/empty", open("/empty"), 0, 10), QByteArray(""));
}

TEST_F(Reading, ARefusalToReadKeepsItsReason) {
    server.addFile("/file", "x");
    connect();
    EXPECT_TRUE(read("/file", nullptr, 0, 1).isNull());
    EXPECT_EQ(failure->code, EIO);
    const HandlePtr handle = open("/file", 3);
    ASSERT_TRUE(handle);
    EXPECT_TRUE(read("/file", handle, 0, 1).isNull());
    EXPECT_EQ(failure->code, EACCES);
}

// One failed fetch must neither look like an empty file nor spoil the file for later.
TEST_F(Reading, AFailedFetchIsAnErrorAndLaterReadsRecover) {
    server.addGeneratedFile("/a", 100000);
    const Fault faults[] = {
        {.method = "GET", .times = Fault::kAlways, .status = 500},
        {.method = "GET", .times = Fault::kAlways, .status = 404},
        {.method = "GET", .times = Fault::kAlways, .close = true},
        {.method = "GET", .times = Fault::kAlways, .cutAfter = 70000},
        {.method = "GET", .times = Fault::kAlways, .lengthDelta = -10},
        {.method = "GET", .times = Fault::kAlways, .status = 200, .body = "another file"},
    };
    connect();
    int number = 0;
    for (const Fault &fault : faults) {
        const QString path = QStringLiteral("/file%1").arg(number++);
        server.addGeneratedFile(path, 100000);
        server.fault(fault);
        const HandlePtr handle = open(path);
        ASSERT_TRUE(handle);
        EXPECT_TRUE(read(path, handle, 0, 100000).isNull()) << path.toStdString();
        EXPECT_EQ(failure ? failure->code : 0, EIO) << path.toStdString();
        server.clearFaults();
        EXPECT_EQ(read(path, handle, 0, 100000), TestServer::generatedBytes(0, 100000))
            << path.toStdString();
    }
}

TEST_F(Reading, AFailureThatClearsUpAtOnceIsNotSeen) {
    server.addGeneratedFile("/a", 100000);
    connect();
    server.fault({.method = "GET", .path = "/a", .times = 1, .status = 503});
    server.fault({.method = "PROPFIND", .path = "/a", .times = 2, .status = 500});
    EXPECT_EQ(read("/a", open("/a"), 0, 100000), TestServer::generatedBytes(0, 100000));
}

TEST_F(Reading, AWholeFileInPlaceOfARangeGivesTheRightBytes) {
    server.addGeneratedFile("/big", 30 * kMiB);
    connect();
    const HandlePtr handle = open("/big");
    ASSERT_TRUE(handle);
    server.fault({.method = "GET", .path = "/big", .times = Fault::kAlways, .ignoreRange = true});
    for (const qint64 offset : {qint64(0), 5 * kMiB, 29 * kMiB})
        EXPECT_EQ(read("/big", handle, offset, 70000), TestServer::generatedBytes(offset, 70000))
            << offset;
}

// The file is replaced between two fetches: a read gives the one or the other version, never both.
TEST_F(Reading, TwoVersionsNeverMix) {
    const QDateTime first = QDateTime::fromSecsSinceEpoch(1500000000, Qt::UTC);
    server.addFile("/file", QByteArray(12 * kMiB, 'A'), first);
    connect();
    const HandlePtr handle = open("/file");
    ASSERT_TRUE(handle);
    ASSERT_EQ(read("/file", handle, 0, 4), "AAAA");

    server.addFile("/file", QByteArray(12 * kMiB, 'B'), first.addSecs(60));
    EXPECT_EQ(read("/file", handle, 2 * kMiB, 4), "BBBB");
    EXPECT_EQ(read("/file", handle, 0, 4), "BBBB") << "nothing of the old version is left";

    server.addFile("/file", QByteArray(11 * kMiB, 'C'), first.addSecs(120));
    EXPECT_EQ(read("/file", handle, 10 * kMiB, 4), "CCCC");
    EXPECT_EQ(read("/file", handle, 11 * kMiB, 4), QByteArray(""));
}

TEST_F(Reading, TheFileGoesAwayUnderAnOpenHandle) {
    server.addGeneratedFile("/file", 12 * kMiB);
    connect();
    const HandlePtr handle = open("/file");
    ASSERT_TRUE(handle);
    EXPECT_EQ(read("/file", handle, 0, 4), TestServer::generatedBytes(0, 4));
    server.remove("/file");
    EXPECT_TRUE(read("/file", handle, 5 * kMiB, 4).isNull());
    EXPECT_EQ(failure->code, EIO);
    disk->releaseFileAtPath("/file", handle);
}

// A program that looks every moment must see a change as soon as one that comes back later.
TEST_F(Reading, LookingAgainAndAgainDoesNotKeepAnOldAnswerAlive) {
    server.addFile("/file", "old");
    connect();
    const auto start = std::chrono::steady_clock::now();
    const auto seen = [&] {
        const HandlePtr handle = open("/file");
        disk->releaseFileAtPath("/file", handle);
        return disk->attributesOfItemAtPath("/file", nullptr, nullptr)->value(NSFileSize).toInt();
    };
    ASSERT_EQ(seen(), 3);
    server.addFile("/file", "newer");
    while (seen() != 5) {
        ASSERT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
}

// A detached volume doesn't wait for a server that keeps silent.
TEST_F(Reading, StoppedReadingEndsWhatIsUnderWayAndWhatComes) {
    server.addGeneratedFile("/a", 100000);
    server.addFile("/b", "x");
    connect();
    const HandlePtr handle = open("/a");
    ASSERT_TRUE(handle);
    server.fault({.method = "GET", .path = "/a", .times = Fault::kAlways, .stall = true});
    const auto start = std::chrono::steady_clock::now();
    std::jthread stopper([&] {
        server.waitForRequests("GET", "/a", 1);
        disk->stopReading();
    });
    EXPECT_TRUE(read("/a", handle, 0, 10).isNull());
    EXPECT_EQ(failure->code, EIO);
    EXPECT_NE(attributesErrno("/b"), 0);
    EXPECT_EQ(server.countOf("PROPFIND", "/b"), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
}
