#include <sys/stat.h>
#include <thread>

#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>

#include "Program.h"
#include "app/RelayInterface.h"
#include "app/UnseenMessages.h"
#include "platform/system/ControlChannel.h"
#include "platform/system/ControlServer.h"
#include "platform/ui/VDModelessMessage.h"

namespace {

QStringList texts(const QJsonArray &messages) {
    QStringList all;
    for (const auto &message : messages)
        all += message.toObject()["text"].toString();
    return all;
}

}  // namespace

TEST(UnseenMessages, StatusShowsThemOnceAlsoAfterTheirProcessIsGone) {
    Program program;
    UnseenMessages::add("It was kept as \u201c/home/a\u201d.", "Pictures");
    struct stat status {};
    const QString path = SingleInstance::folder() + "/messages.json";
    ASSERT_EQ(stat(QFile::encodeName(path).constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);

    for (int i = 0; i < 2; ++i) {
        const auto told = program.run({"status", "--json"}).output.toUtf8();
        const auto message = QJsonDocument::fromJson(told)["messages"].toArray().at(0).toObject();
        EXPECT_EQ(message["text"], "It was kept as \u201c/home/a\u201d.");
        EXPECT_EQ(message["volume"], "Pictures");
        EXPECT_TRUE(QDateTime::fromString(message["when"].toString(), Qt::ISODate).isValid());
    }
    const QString shown = program.run({"status"}).output;
    EXPECT_TRUE(shown.contains("Pictures") && shown.contains("kept as \u201c/home/a\u201d"))
        << shown.toStdString();
    EXPECT_FALSE(program.run({"status"}).output.contains("Pictures"));
    EXPECT_EQ(UnseenMessages::all(), QJsonArray());
}

TEST(UnseenMessages, AVolumesIsKeptWhileACommandIsAtWork) {
    const Program program;
    ASSERT_TRUE(SingleInstance::makeFolder());
    std::shared_ptr<ControlChannel> accepted;
    ControlServer server([&](auto channel) { accepted = std::move(channel); });
    ASSERT_TRUE(server.listen(SingleInstance::socketPath()));
    RelayInterface relay(nullptr);
    relay.attach(ControlChannel::connectTo(SingleInstance::socketPath()));
    relay.runAlert({{}, "upload failed", {}, {"OK"}, "V"});
    relay.runAlert({{}, "login failed", {}, {"OK"}, {}});
    EXPECT_EQ(texts(UnseenMessages::all()), QStringList("upload failed"));
}

TEST(UnseenMessages, NoneOfABurstIsLostAndTheFileStaysSmall) {
    const Program program;
    RelayInterface relay(nullptr);
    UserInterface::install(&relay);
    QStringList sent;
    for (int i = 0; i < 9; ++i)
        sent += QString::number(i);
    std::thread([&] {
        for (const QString &text : sent)
            VDModelessMessage::ShowMessageModeless(text, {}, "V");
    }).join();
    QCoreApplication::processEvents();
    UserInterface::install(nullptr);
    QStringList kept = texts(UnseenMessages::all());
    kept.sort();
    EXPECT_EQ(kept, sent);

    for (int i = 0; i < 100; ++i)
        UnseenMessages::add("later", {});
    EXPECT_EQ(texts(UnseenMessages::all()), QStringList(100, "later"));
}
