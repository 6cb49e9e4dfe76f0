#include <gtest/gtest.h>

#include "connection/ConnectionUrl.h"

TEST(ConnectionUrl, BecomesReadableTextAndAName) {
    const struct {
        const char *typed;
        const char *readable;
        const char *name;
    } cases[] = {
        {" http://host/a%20b/ ", "http://host/a b/", "a b"},
        {"https://host:8443/", "https://host:8443/", "host"},
        {"http://[::1]:80/", "http://[::1]:80/", "::1"},
        {"http://h/100%25%20%23/", "http://h/100% #/", "100% #"},
        {"http://h/a%2520b", "http://h/a%20b", "a%20b"},
        {"http://h/1+1", "http://h/1+1", "1+1"},
        {"http://h/${user}", "http://h/${user}", "h"},
        {"http://h/..", "http://h/..", "h"},
        {"HTTPS://H/X", "https://H/X", "X"},
        {"http://h:/", "http://h:/", "h"},
    };
    for (const auto &each : cases) {
        SCOPED_TRACE(each.typed);
        EXPECT_EQ(ConnectionUrl::problemOf(each.typed), nullptr);
        const QString readable = ConnectionUrl::readableUrl(each.typed);
        EXPECT_EQ(readable, QString(each.readable));
        EXPECT_EQ(ConnectionUrl::nameFor(readable), QString(each.name));
    }
}

TEST(ConnectionUrl, WhatCannotBeReachedIsNotTaken) {
    for (const char *typed :
         {"", "h", "http:/h", "xhttp://h/", "http://", "http:///x", "http://h:99999/",
          "http://h:0/", "http://h:abc/", "http://[::1", "http://[x]/", "http://a b/",
          "http://a%20b/", "http://h/a?b=c", "http://h/a#f"})
        EXPECT_NE(ConnectionUrl::problemOf(typed), nullptr) << typed;
}
