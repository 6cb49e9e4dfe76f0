#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include "platform/system/SidebarBookmarks.h"

namespace {

const QByteArray kPlaces = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE xbel><xbel xmlns:bookmark="http://www.freedesktop.org/standards/desktop-bookmarks" xmlns:kdepriv="http://www.kde.org/kdepriv" version="1.0">
 <info><metadata owner="http://www.kde.org"><kde_places_version>4</kde_places_version></metadata></info>
 <bookmark href="file:///home/anna">
  <title>Home</title>
  <info><metadata owner="http://freedesktop.org"><bookmark:icon name="user-home"/></metadata></info>
 </bookmark>
</xbel>
)";
const QByteArray kBookmarks = "file:///srv Server\nsftp://host/ Far";

struct SidebarBookmarksTest : testing::Test {
    QTemporaryDir folder;
    const QString gtk = folder.filePath(QStringLiteral("gtk-3.0/bookmarks"));
    const QString kde = folder.filePath(QStringLiteral("user-places.xbel"));
    SidebarBookmarks bookmarks{gtk, kde};

    static QByteArray read(const QString &path) {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    static void write(const QString &path, const QByteArray &bytes) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }
};

TEST_F(SidebarBookmarksTest, EntriesComeAndGoBesideThoseOfTheUser) {
    ASSERT_TRUE(QDir(folder.path()).mkdir(QStringLiteral("gtk-3.0")));
    write(gtk, kBookmarks);
    write(kde, kPlaces);
    const QString item =
        bookmarks.insertItem(QStringLiteral("Büro & <Co>"), QStringLiteral("/Volumes/Büro #1"));
    EXPECT_EQ(item, QStringLiteral("file:///Volumes/B%C3%BCro%20%231"));
    EXPECT_EQ(read(gtk), kBookmarks + "\n" + item.toUtf8() + " Büro & <Co>\n");
    EXPECT_TRUE(read(kde).contains("<title>Büro &amp; &lt;Co&gt;</title>")) << read(kde).data();
    EXPECT_TRUE(read(kde).contains("<bookmark:icon name=\"folder-remote\"/>")) << read(kde).data();
    EXPECT_TRUE(read(kde).contains("<bookmark:icon name=\"user-home\"/>")) << read(kde).data();
    // One that lies there already isn't ours to remove.
    EXPECT_TRUE(
        bookmarks.insertItem(QStringLiteral("Twice"), QStringLiteral("/Volumes/Büro #1")).isNull());
    bookmarks.removeItem(item);
    EXPECT_EQ(read(gtk), kBookmarks + "\n");
    EXPECT_EQ(QString::fromUtf8(read(kde)).simplified(), QString::fromUtf8(kPlaces).simplified());
}

TEST_F(SidebarBookmarksTest, WhatIsNoListOfPlacesStaysAsItIs) {
    write(kde, "<xbel><bookmark");
    const QString item = bookmarks.insertItem(QStringLiteral("A"), QStringLiteral("/Volumes/A"));
    EXPECT_EQ(read(gtk), "file:///Volumes/A A\n");
    bookmarks.removeItem(item);
    EXPECT_EQ(read(gtk), "");
    EXPECT_EQ(read(kde), "<xbel><bookmark");
}

}  // namespace
