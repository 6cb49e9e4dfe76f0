#include <gtest/gtest.h>

#include "webdav/RequestDialect.h"

namespace {

const RequestDialect kVelmora(true);
const RequestDialect kStandard(false);
const QUrl kItem(QStringLiteral("http://h/dav/a%20b"));
const QUrl kOther(QStringLiteral("http://h/dav/c"));
const QUrl kMount(QStringLiteral("http://h/dav"));

TEST(RequestDialectTest, FieldsForEachKindOfServer) {
    const QList<HeldLock> one = {{kItem, "t1"}};
    const QList<HeldLock> two = {{kItem, "t1"}, {kOther, "t2"}};
    const auto both = [](const auto &form) { return QPair(form(kVelmora), form(kStandard)); };
    const QList<std::tuple<QPair<QString, QString>, const char *, const char *>> cases = {
        {both([](auto &d) { return d.range(0, 9); }), "bytes 0-9", "bytes=0-9"},
        {both([](auto &d) { return d.range(6'000'000'000, -1); }), "bytes 6000000000-",
         "bytes=6000000000-"},
        {both([&](auto &d) { return d.ifOfMove(one); }), "(<t1>)", "<http://h/dav/a%20b> (<t1>)"},
        {both([&](auto &d) { return d.ifOfMove(two); }), "(<t1>)(<t2>)",
         "<http://h/dav/a%20b> (<t1>) <http://h/dav/c> (<t2>)"},
        {both([](auto &d) { return d.ifOfCopy(kItem, "t"); }), "<http://h/dav/a%20b>(<t>)",
         "<http://h/dav/a%20b> (<t>)"},
        {both([](auto &d) { return d.ifOfPut(kMount, kItem, "t"); }), "<http://h/dav> (<t>)",
         "<http://h/dav/a%20b> (<t>)"},
        {both([](auto &d) { return d.ifOfPropPatch(kItem, "t"); }), "<http://h/dav/a%20b>(<t>)",
         "<http://h/dav/a%20b> (<t>)"},
        {both([](auto &d) { return d.ifOfLockRefresh(kItem, "t"); }), "<http://h/dav/a%20b>(<t>)",
         "(<t>)"},
    };
    for (const auto &[made, velmora, standard] : cases) {
        EXPECT_EQ(made.first.toStdString(), velmora);
        EXPECT_EQ(made.second.toStdString(), standard);
    }
}

TEST(RequestDialectTest, DecodesNames) {
    struct Case {
        const char *encoded;
        const char *velmora;
        const char *standard;
    };
    for (const auto &[encoded, velmora, standard] : {
             Case{"a+b", "a b", "a+b"},
             Case{"a%2Bb%2b", "a+b+", "a+b+"},
             Case{"100%", "100%", "100%"},
             Case{"%zz%2", "%zz%2", "%zz%2"},
             Case{"%2525", "%25", "%25"},
             Case{"%EF%BB%BFa", "\uFEFFa", "\uFEFFa"},
             Case{"\u00e9%C3%A9", "\u00e9\u00e9", "\u00e9\u00e9"},
         }) {
        EXPECT_EQ(kVelmora.decoded(QString::fromUtf8(encoded)).toUtf8().toStdString(), velmora);
        EXPECT_EQ(kStandard.decoded(QString::fromUtf8(encoded)).toUtf8().toStdString(), standard);
    }
    for (const char *bad : {"%FF", "a%C3", "%ED%A0%80", "%C0%AF"})
        EXPECT_TRUE(kStandard.decoded(bad).isNull()) << bad;
}

}  // namespace
