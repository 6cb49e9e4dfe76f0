#include <gtest/gtest.h>
#include <thread>

#include <QCoreApplication>

#include "common/Text.h"
#include "platform/ui/VDModelessMessage.h"
#include "support/RecordingInterface.h"

TEST(Messages, AtMostSixAreShownOneAfterTheOtherWithoutHoldingUpTheCaller) {
    ASSERT_TRUE(installTexts(QLocale("en")));
    RecordingInterface interface;
    int depth = 0;
    int deepest = 0;
    QStringList texts;
    interface.onAlert = [&](const Alert &alert) {
        texts.append(alert.text);
        deepest = std::max(deepest, ++depth);
        QCoreApplication::processEvents();  // as a modal window does
        --depth;
        return 0;
    };
    std::thread([] {
        for (int i = 0; i < 8; ++i)
            VDModelessMessage::ShowMessageModeless(QString::number(i));
    }).join();
    EXPECT_TRUE(texts.isEmpty());

    QCoreApplication::processEvents();
    EXPECT_EQ(texts, QStringList({"0", "1", "2", "3", "4", "5"}));
    EXPECT_EQ(deepest, 1);
    EXPECT_EQ(interface.alerts.first().title, localizedText("Common_Error_Title"));
    VDModelessMessage::ShowMessageModeless("again", "Title");
    QCoreApplication::processEvents();
    EXPECT_EQ(texts.last(), "again");
    EXPECT_EQ(interface.alerts.last().title, "Title");
}
