#include <gtest/gtest.h>
#include <thread>

#include <QCoreApplication>

#include "common/Text.h"
#include "platform/ui/VDLoginForm.h"
#include "platform/ui/VDModelessMessage.h"
#include "support/RecordingInterface.h"

namespace {

class Messages : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(installTexts(QLocale("en"))); }

    static QStringList texts(const QList<Alert> &alerts) {
        QStringList texts;
        for (const Alert &alert : alerts)
            texts.append(alert.text);
        return texts;
    }

    RecordingInterface interface;
};

}  // namespace

TEST_F(Messages, AtMostSixPendingAndTheRestIsDropped) {
    std::thread worker([] {
        for (int i = 0; i < 8; ++i)
            VDModelessMessage::ShowMessageModeless(QString::number(i));
    });
    worker.join();
    EXPECT_TRUE(interface.alerts.isEmpty()) << "the caller doesn't wait";

    QCoreApplication::processEvents();
    EXPECT_EQ(texts(interface.alerts), QStringList({"0", "1", "2", "3", "4", "5"}));
    EXPECT_EQ(interface.alerts.first().title, localizedText("Common_Error_Title"));
    EXPECT_EQ(interface.alerts.first().buttons, QStringList("OK"));

    VDModelessMessage::ShowMessageModeless("again", "Title");
    QCoreApplication::processEvents();
    EXPECT_EQ(interface.alerts.last().text, "again");
    EXPECT_EQ(interface.alerts.last().title, "Title");
}

TEST_F(Messages, ComeOneAfterTheOther) {
    int depth = 0;
    int deepest = 0;
    interface.onAlert = [&](const Alert &) {
        deepest = std::max(deepest, ++depth);
        QCoreApplication::processEvents();  // as a modal window does
        --depth;
        return 0;
    };
    for (const char *text : {"a", "b", "c"})
        VDModelessMessage::ShowMessageModeless(text);
    QCoreApplication::processEvents();
    EXPECT_EQ(texts(interface.alerts), QStringList({"a", "b", "c"}));
    EXPECT_EQ(deepest, 1);
}

TEST_F(Messages, LoginFormHandsBackWhatWasTyped) {
    VDLoginForm form("Proxy");
    form.setUsername("old");
    form.setPassword("secret");

    EXPECT_FALSE(form.showForm());
    EXPECT_EQ(form.username(), "old");
    ASSERT_EQ(interface.logins.size(), 1);
    EXPECT_EQ(interface.logins.first().title, "Proxy");
    EXPECT_EQ(interface.logins.first().username, "old");
    EXPECT_EQ(interface.logins.first().password, "secret");

    interface.loginAnswers = {{"new", "other"}};
    EXPECT_TRUE(form.showForm());
    EXPECT_EQ(form.username(), "new");
    EXPECT_EQ(form.password(), "other");
}
