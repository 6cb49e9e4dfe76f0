#include <gtest/gtest.h>

#include "connection/VDDataSource.h"

TEST(VDDataSource, NamesKeepTheOrderOfTheTable) {
    VDDataSource source;
    for (const char *name : {"a", "b", "c"})
        source.addName(name);
    source.updateName("B", 1);
    EXPECT_EQ(source.connectNames(), QStringList({"a", "B", "c"}));
    EXPECT_EQ(source.tableView("any column", 2), "c");

    for (const int outside : {-1, 3}) {
        source.removeConnectNameAtIndex(outside);
        source.updateName("x", outside);
        EXPECT_TRUE(source.tableView({}, outside).isNull());
    }
    EXPECT_EQ(source.numberOfRowsInTableView(), 3);

    source.removeConnectNameAtIndex(0);
    EXPECT_EQ(source.connectNames(), QStringList({"B", "c"}));
}
