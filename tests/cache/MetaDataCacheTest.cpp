#include <atomic>

#include "cache/MetaDataCache.h"
#include "model/WebDavResource.h"

namespace {

using namespace std::chrono_literals;
using Record = std::shared_ptr<WebDavResourceCache>;

class FakeUpload : public UploadTask {
  public:
    QList<std::optional<bool>> cancels;
    QStringList calls;

    void uploadCancel(std::optional<bool> deleteFinal) override { cancels << deleteFinal; }
    bool isCanceled() const override { return !cancels.isEmpty(); }
    void setDestPath(const QString &path) override { calls << "dest " + path; }
    void setMoveLock(bool hold) override { calls << (hold ? "hold" : "free"); }
    void setSettingAttributes(const QMap<QString, QString> &) override {}
};

Record record(const std::shared_ptr<UploadTask> &upload = nullptr) {
    const auto made = std::make_shared<WebDavResourceCache>();
    made->place = WebDavResourceCache::kOnServer;
    made->setWebDavResource(std::make_shared<WebDavResource>());
    made->setUploadThread(upload);
    return made;
}

class MetaDataCacheTest : public testing::Test {
  protected:
    // Read by the cache's thread as well.
    std::shared_ptr<std::atomic<qint64>> seconds = std::make_shared<std::atomic<qint64>>(0);
    MetaDataCache cache{{[seconds = seconds] { return CacheTime(std::chrono::seconds(*seconds)); },
                         std::chrono::hours(1)}};
    std::shared_ptr<FakeUpload> upload = std::make_shared<FakeUpload>();

    ~MetaDataCacheTest() override { cache.dispose(); }

    QStringList keys() const {
        QStringList all = cache.KeySet();
        all.sort();
        return all;
    }
};

}  // namespace

TEST_F(MetaDataCacheTest, RecordLastsThreeSecondsButAnUploadAsLongAsItRuns) {
    cache.insertMetaData(QStringLiteral("/caf\u00e9"), record());
    const Record uploading = record(upload);
    cache.insertMetaData("/up", uploading);
    *seconds = 2;
    EXPECT_TRUE(cache.getMetaData(QStringLiteral("/cafe\u0301")));
    *seconds = 3;
    EXPECT_FALSE(cache.getMetaData(QStringLiteral("/cafe\u0301")));
    *seconds = 1000;
    EXPECT_EQ(cache.getMetaData("/up"), uploading);
    EXPECT_EQ(cache.getExpire("/up"), CacheTime(3s)) << "not renewed";
}

TEST_F(MetaDataCacheTest, RemovalAndAnotherUploadStopTheUpload) {
    const QList<std::optional<bool>> once{false};
    const Record uploading = record(upload);
    uploading->setUploadThread(upload);
    cache.insertMetaData("/a", uploading);
    cache.removeMetaDataStopUpload("/a", false);
    EXPECT_TRUE(upload->cancels.isEmpty());
    const auto another = std::make_shared<FakeUpload>();
    uploading->setUploadThread(another);
    EXPECT_EQ(upload->cancels, once);
    cache.insertMetaData("/a", uploading);
    cache.removeMetaData("/a");
    EXPECT_EQ(another->cancels, once);
    EXPECT_TRUE(keys().isEmpty());
}

TEST_F(MetaDataCacheTest, DeletionLeavesAbsentRecordsOfWhatWasCached) {
    for (const char *path : {"/a", "/a/b", "/ab"})
        cache.insertMetaData(path, record());
    cache.insertMetaData("/a/up", record(upload));
    cache.removeMetaDataFromDelete("/a", true);
    EXPECT_EQ(keys(), (QStringList{"/a", "/a/b", "/a/up", "/ab"}));
    for (const char *path : {"/a", "/a/b"}) {
        const Record absent = cache.getMetaData(path);
        ASSERT_TRUE(absent) << path;
        EXPECT_EQ(absent->place, 0);
        EXPECT_FALSE(absent->webDavResource());
        EXPECT_FALSE(absent->children);
    }
    EXPECT_TRUE(upload->isCanceled());
    EXPECT_EQ(cache.getMetaData("/ab")->place, 1);

    cache.removeMetaDataFromDelete("/a", false);
    EXPECT_EQ(keys(), QStringList{"/ab"});
}

TEST_F(MetaDataCacheTest, RenameMovesTheSubtreeAndTellsUploads) {
    const Record folder = record();
    folder->extendAttribute = QVariantMap{{"x", 1}};
    cache.insertMetaData("/a", folder);
    cache.insertMetaData("/a/x/a/f", record());
    cache.insertMetaData("/a/up", record(upload));
    cache.insertMetaData("/ab", record());
    cache.setMoveLock("/a");
    cache.renameFrom("/a", "/new");
    EXPECT_EQ(keys(), (QStringList{"/ab", "/new", "/new/up", "/new/x/a/f"}));
    EXPECT_EQ(cache.getMetaData("/new"), folder);
    EXPECT_FALSE(folder->extendAttribute);
    EXPECT_EQ(upload->calls, (QStringList{"hold", "dest /new/up", "free"}));
    EXPECT_FALSE(upload->isCanceled());
}

TEST_F(MetaDataCacheTest, RenameOfAnExpiredRecordClearsTheTarget) {
    cache.insertMetaData("/a", record());
    *seconds = 5;
    cache.insertMetaData("/b", record(upload));
    cache.renameFrom("/a", "/b");
    EXPECT_TRUE(keys().isEmpty());
    EXPECT_TRUE(upload->isCanceled());
}

TEST(WebDavResourceCache, ChildrenChangeOnlyWhereTheListingIsKnown) {
    WebDavResourceCache entry;
    entry.insertChilds(QStringList{"a"});
    entry.removeChild("a");
    EXPECT_FALSE(entry.children);
    entry.children.emplace();
    entry.insertChilds(QStringLiteral("caf\u00e9"));
    entry.insertChilds(QMap<QString, QString>{{"b", "ignored"}});
    EXPECT_EQ(entry.children->keys(), (QStringList{"b", QStringLiteral("cafe\u0301")}));
    EXPECT_EQ(entry.children->value("b"), "b");
    entry.removeChild(QStringLiteral("caf\u00e9"));
    EXPECT_EQ(entry.children->keys(), QStringList{"b"});
}

TEST(WebDavResourceCache, ExtendedAttributesSurviveARefresh) {
    const auto withAttributes = [](const AttributeMap &map) {
        const auto resource = std::make_shared<WebDavResource>();
        resource->extendAttrs = std::make_shared<AttributeMap>(map);
        return resource;
    };
    WebDavResourceCache entry;
    entry.setWebDavResource(withAttributes({{"both", "local"}, {"mine", 1}}));
    entry.setWebDavResource(withAttributes({{"both", "server"}, {"theirs", 2}}));
    const AttributeMap merged{{"both", "local"}, {"mine", 1}, {"theirs", 2}};
    EXPECT_EQ(*entry.webDavResource()->extendAttrs, merged);
    entry.setWebDavResource(std::make_shared<WebDavResource>());
    EXPECT_EQ(*entry.webDavResource()->extendAttrs, merged);
}
