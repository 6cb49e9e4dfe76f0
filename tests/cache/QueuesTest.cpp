#include <memory>

#include "cache/LRUQueue.h"
#include "cache/VDQueue.h"
#include "cache/VDSequencedMutableDictionary.h"

namespace {

using Dictionary = VDSequencedMutableDictionary<QString>;

std::shared_ptr<QString> text(const char *value) {
    return std::make_shared<QString>(QString::fromUtf8(value));
}

}  // namespace

TEST(VDQueue, LosesItsOldestWhenFull) {
    VDQueue queue(2);
    EXPECT_FALSE(queue.peek());
    EXPECT_FALSE(queue.dequeue());
    queue.enqueue(std::nullopt);
    EXPECT_EQ(queue.count(), 0);
    for (const int number : {1, 2, 3})
        queue.enqueue(number);
    EXPECT_EQ(queue.count(), 2);
    EXPECT_EQ(queue.peek(), 2);
    EXPECT_EQ(queue.dequeue(), 2);
    EXPECT_EQ(queue.dequeue(), 3);
}

TEST(VDSequencedMutableDictionary, OrderIsThatOfWriting) {
    Dictionary dictionary(3);
    for (const int key : {0, 1, 2, 3})
        dictionary.setObject(text("old"), key);
    EXPECT_FALSE(dictionary.containsForKey(0)) << "beyond its capacity";
    dictionary.objectForKey(1);
    EXPECT_EQ(dictionary.firstKey(), 1) << "reading must not reorder";

    dictionary.setObject(text("new"), 1);
    EXPECT_EQ(dictionary.firstKey(), 2);
    EXPECT_EQ(dictionary.lastKey(), 1);
    EXPECT_EQ(*dictionary.lastValue(), "new");

    dictionary.removeObjectForKey(3);
    dictionary.removeObjectForKey(2);
    EXPECT_EQ(dictionary.first(), dictionary.last());
    const quint64 changes = dictionary.modCount;
    dictionary.removeObjectForKey(2);
    EXPECT_EQ(dictionary.modCount, changes);
    dictionary.removeAllObjects();
    EXPECT_FALSE(dictionary.first() || dictionary.last());
    EXPECT_FALSE(dictionary.firstKey() || dictionary.lastValue());
}

TEST(LRUQueue, EvictsTheSlotWrittenLongestAgo) {
    LRUQueue<QString> pool(2);
    QStringList pushedOut;
    pool.setDelegate_pushout([&](const auto &value) { pushedOut << *value; });
    EXPECT_EQ(pool.addQueue(text("a")), 0);
    EXPECT_EQ(pool.addQueue(text("b")), 1);
    pool.hit(0);
    EXPECT_EQ(pool.addQueue(text("c")), 0);
    EXPECT_EQ(pushedOut, QStringList{"a"});
    pool.removeQueue(1);
    EXPECT_EQ(pool.addQueue(text("d")), 1);
    EXPECT_EQ(pushedOut, QStringList{"a"});
    EXPECT_EQ(pool.addQueue(text("e")), 0);
    EXPECT_EQ(pushedOut, (QStringList{"a", "c"}));
}

TEST(LRUQueue, FreedSlotsWaitForThePoolToFill) {
    LRUQueue<QString> pool(2);
    pool.addQueue(text("a"));
    pool.removeQueue(0);
    EXPECT_EQ(pool.addQueue(text("b")), 1);
    EXPECT_EQ(pool.addQueue(text("c")), 0);
    EXPECT_EQ(pool.addQueue(text("d")), 1) << "overwritten silently without a delegate";
}
