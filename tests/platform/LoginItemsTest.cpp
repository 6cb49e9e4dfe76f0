#include <gtest/gtest.h>

#include <QDir>
#include <QFile>

#include "common/Text.h"
#include "platform/system/LoginItems.h"

namespace {

QString folder() {
    return QDir::homePath() + "/.config/autostart/";
}

void writeItem(const QString &name, const QString &text) {
    QDir().mkpath(folder());
    QFile file(folder() + name);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(text.toUtf8());
}

}  // namespace

TEST(LoginItems, ComeAndGoWhateverThePathHolds) {
    for (const char *path : {"/usr/bin/velmoradisk-desktop", "/opt/my \"$disk\" 100%\\é/vd"}) {
        const auto items = LoginItems::autostartFolder(path);
        QString problem;
        EXPECT_FALSE(items->hasItem());
        EXPECT_TRUE(items->insertItem(&problem));
        EXPECT_TRUE(items->hasItem()) << path;
        EXPECT_FALSE(LoginItems::autostartFolder("/usr/bin/other")->hasItem());
        EXPECT_TRUE(items->removeItem(&problem));
        EXPECT_FALSE(items->hasItem());
        EXPECT_TRUE(problem.isNull());
    }
}

TEST(LoginItems, AreReadAsOthersWriteThem) {
    const auto items = LoginItems::autostartFolder("/usr/bin/velmoradisk-desktop");
    const std::pair<const char *, bool> cases[] = {
        {"[Desktop Entry]\nExec=/usr/bin/velmoradisk-desktop %U\n", true},
        {"[Desktop Entry]\nExec=/usr/bin/velmoradisk-desktop\nHidden=true\n", false},
        {"[Desktop Entry]\nX-GNOME-Autostart-enabled=false\nExec=/usr/bin/velmoradisk-desktop\n",
         false},
        {"[Desktop Entry]\nExec=/usr/bin/editor /usr/bin/velmoradisk-desktop\n", false},
    };
    for (const auto &[text, isItem] : cases) {
        writeItem("renamed.desktop", text);
        EXPECT_EQ(items->hasItem(), isItem) << text;
    }
    QFile::remove(folder() + "renamed.desktop");
}

TEST(LoginItems, AFolderThatCannotBeMadeIsTold) {
    ASSERT_TRUE(installTexts(QLocale("en")));
    writeItem("x", "");
    QDir(folder()).removeRecursively();
    QFile file(QDir::homePath() + "/.config/autostart");
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    QString problem;
    EXPECT_FALSE(LoginItems::autostartFolder("/usr/bin/vd")->insertItem(&problem));
    EXPECT_TRUE(problem.contains("velmoradisk.desktop")) << qPrintable(problem);
    file.remove();
}
