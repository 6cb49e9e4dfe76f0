#include <gtest/gtest.h>

#include "webdav/RequestDialect.h"

namespace {

const RequestDialect kVelmora(true);
const RequestDialect kStandard(false);

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
