#include <gtest/gtest.h>

#include <QJsonDocument>
#include <QJsonObject>

#include "Program.h"
#include "platform/system/FileLock.h"

namespace {

class CommandLine : public testing::Test {
  protected:
    QJsonObject shown(const QString &name) {
        const auto result = program.run({"connection", "show", name, "--json"});
        EXPECT_EQ(result.code, 0) << result.messages.toStdString();
        return QJsonDocument::fromJson(result.output.toUtf8()).object();
    }

    static void fill(const QString &path, const QByteArray &content) {
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
    }

    Program program;
};

}  // namespace

TEST_F(CommandLine, WhatIsNotUnderstoodIsNamedWithTheWayToHelp) {
    const struct {
        QStringList arguments;
        const char *named;
    } cases[] = {
        {{}, "command"},
        {{"nonsense"}, "nonsense"},
        {{"connection", "add", "A"}, "--url"},
        {{"connection", "add", "A", "--url", "ftp://h/"}, "https://"},
        {{"connection", "add", "A", "--url", "h/x"}, "https://"},
        {{"connection", "add", "A", "--url", "http:///x"}, "host"},
        {{"connection", "add", "A", "--url"}, "--url"},
        {{"connection", "add", "A", "--url", "http://h/", "--mount-point", ""}, "mount point"},
        {{"connection", "add", "A", "--url", "http://h/", "--mount-point", "/x/.."}, "two levels"},
        {{"connection"}, "edit"},
        {{"connection", "bogus"}, "edit"},
        {{"connection", "edit", "A"}, "--help"},
        {{"mount", "ftp://h/x"}, "https://"},
        {{"mount", "http://"}, "host"},
        {{"mount", "A", "--name", "B"}, "--name"},
        {{"mount", "http://h/", "--mount-point", ""}, "mount point"},
        {{"mount", "--bogus"}, "--bogus"},
        {{"connection", "add", "A", "--url", "http://h/%3f"}, "?"},
        {{"connection", "add", "a/b", "--url", "http://h/"}, "/"},
        {{"connection", "add", "", "--url", "http://h/"}, "name"},
        {{"connection", "add", "A", "--url", "http://h/", "--auto-mount", "maybe"}, "--auto-mount"},
        {{"connection", "add", "A", "--url", "http://h/", "--proxy", "h:0"}, "--proxy"},
        {{"connection", "add", "A", "--url", "http://h/", "--password=geheim"}, "password"},
        {{"connection", "add", "A", "--url", "http://h/", "--password-stdin=geheim"},
         "password-stdin"},
        {{"connection", "add", "A", "--url", "http://u%3Ageheim%40h/"}, "--password-stdin"},
        {{"mount", "A", "--password", "geheim"}, "password"},
        {{"status", "geheim"}, "status"},
        {{"log", "--lines", "x"}, "--lines"},
    };
    for (const auto &each : cases) {
        SCOPED_TRACE(each.arguments.join(' ').toStdString());
        const auto result = program.run(each.arguments);
        EXPECT_EQ(result.code, 2);
        EXPECT_TRUE(result.messages.contains(each.named)) << result.messages.toStdString();
        EXPECT_TRUE(result.messages.contains("--help"));
        EXPECT_FALSE(result.messages.contains("geheim"));
        EXPECT_FALSE(result.messages.contains("Cli_"));
        EXPECT_TRUE(result.output.isEmpty());
    }
}

TEST_F(CommandLine, HelpAndStatusStartNothing) {
    for (const QStringList &arguments :
         QList<QStringList>{{"--help"}, {"--version"}, {"unmount", "--force", "--help"}}) {
        const auto result = program.run(arguments);
        EXPECT_EQ(result.code, 0) << arguments.join(' ').toStdString();
        EXPECT_FALSE(result.output.isEmpty() || result.output.contains("Cli_"));
        EXPECT_TRUE(result.messages.isEmpty());
    }
    const QString status = program.run({"status", "--json"}).output;
    EXPECT_TRUE(status.contains("\"running\": false")) << status.toStdString();
    EXPECT_EQ(program.run({"unmount", "A"}).code, 1);
    EXPECT_EQ(program.run({"mount", "A"}).code, 1);
    EXPECT_FALSE(QFile::exists(program.path("VelmoraDiskLog")));
}

TEST_F(CommandLine, EveryFieldOfAConnectionIsKept) {
    ASSERT_EQ(
        program.run({"connection", "add", "Büro", "--url", "http://h:81/a%20b/c%23%C3%A9"}).code,
        0);
    const struct {
        QStringList options;
        const char *field;
        QJsonValue value;
    } cases[] = {
        {{}, "RemoteURL", "http://h:81/a b/c#é"},
        {{"--user", "anna"}, "username", "anna"},
        {{}, "saveID", true},
        {{"--no-save-user"}, "username", QJsonValue()},
        {{"--mount-point", "/mnt/${user}/x/"}, "mountPoint", "/mnt/${user}/x"},
        {{"--mount-point", "relative"}, "mountPoint", program.path("relative")},
        {{"--default-mount-point"}, "mountPoint", QJsonValue()},
        {{"--proxy", "[::1]:3128"}, "proxyHost", "[::1]"},
        {{}, "proxyPort", 3128},
        {{"--proxy-user", "prox"}, "isUseProxyAuth", true},
        {{"--no-proxy-user"}, "isUseProxyAuth", false},
        {{"--proxy", "system"}, "isProxyAuto", true},
    };
    for (const auto &each : cases) {
        SCOPED_TRACE(each.options.join(' ').toStdString() + " " + each.field);
        if (!each.options.isEmpty())
            program.run(QStringList{"connection", "edit", "Büro"} + each.options);
        const QJsonObject record = shown("Büro");
        ASSERT_TRUE(record.contains(each.field));
        EXPECT_EQ(record[each.field], each.value);
    }
}

TEST_F(CommandLine, PasswordsAreReadFromInputAndNeverShown) {
    const auto added = program.run(
        {"connection", "add", "A", "--url", "http://127.0.0.1:1/", "--user", "anna",
         "--password-stdin", "--proxy", "p:1", "--proxy-user", "x", "--proxy-password-stdin"},
        "first geheim\nsecond geheim\n");
    EXPECT_EQ(added.code, 0) << added.messages.toStdString();
    EXPECT_EQ(shown("A")["savePassword"], true);
    EXPECT_EQ(shown("A")["hasProxyPassword"], true);
    program.run({"connection", "test", "A"});
    for (const QStringList &arguments : QList<QStringList>{
             {"connection", "show", "A"}, {"connection", "show", "A", "--json"}, {"log"}}) {
        const auto result = program.run(arguments);
        EXPECT_FALSE((result.output + result.messages).contains("geheim"))
            << arguments.join(' ').toStdString();
    }
    EXPECT_FALSE(program.everything().contains("geheim"));

    // Nobody to ask, and nothing to read.
    EXPECT_EQ(program.run({"connection", "edit", "A", "--save-password"}).code, 1);
    EXPECT_EQ(program.run({"connection", "edit", "A", "--password-stdin"}).code, 1);
}

TEST_F(CommandLine, NamesAndMountPointsOfConnectionsDoNotClash) {
    const QString composed = "\u00e9";
    const QString decomposed = "e\u0301";
    const auto add = [this](const QString &name, const QString &mountPoint) {
        return program
            .run({"connection", "add", name, "--url", "http://h/", "--mount-point", mountPoint})
            .code;
    };
    EXPECT_EQ(add(composed, "/mnt/a/b"), 0);
    EXPECT_EQ(add(decomposed, "/mnt/c/d"), 1);
    EXPECT_EQ(add("Under", "/mnt/a/b/c"), 1);
    EXPECT_EQ(add("Above", "/mnt/a"), 1);
    EXPECT_EQ(add("Beside", "/mnt/a/bc"), 0);
    EXPECT_EQ(program.run({"connection", "edit", "Beside", "--rename", decomposed}).code, 1);
    EXPECT_EQ(program.run({"connection", "edit", decomposed, "--rename", "E"}).code, 0);
    EXPECT_EQ(shown("E")["mountPoint"], "/mnt/a/b");
    EXPECT_EQ(program.run({"connection", "show", composed}).code, 1);
    EXPECT_EQ(program.run({"connection", "list"}).output, "E\thttp://h/\nBeside\thttp://h/\n");
}

TEST_F(CommandLine, ConnectionsAddedAtOnceAreAllKept) {
    constexpr int kCount = 8;
    QList<QProcess *> running;
    for (int i = 0; i < kCount; ++i)
        running += &program.start({"connection", "add", QString::number(i), "--url", "http://h/"});
    for (QProcess *process : running)
        EXPECT_EQ(program.finish(*process).code, 0);
    // Looking doesn't wait for a change, which may last as long as a password is typed.
    FileLock change(SingleInstance::folder() + "/settings.lock");
    ASSERT_EQ(change.take(0), 0);
    EXPECT_EQ(program.run({"connection", "list"}).output.count('\n'), kCount);
}

TEST_F(CommandLine, SettingsThatCannotBeUsedAreToldOnce) {
    const QString settings = program.path(".config/velmoradisk/preferences.json");
    for (const QStringList &command : QList<QStringList>{
             {"connection", "add", "A", "--url", "http://h/"}, {"mount", "A"}, {"log", "--path"}}) {
        SCOPED_TRACE(command.join(' ').toStdString());
        fill(settings, "{");
        EXPECT_EQ(program.run(command).messages.count("has been set aside"), 1);
        EXPECT_FALSE(program.run(command).messages.contains("settings file"));

        QDir(QFileInfo(settings).path()).removeRecursively();
        ASSERT_TRUE(QDir().mkpath(settings));  // which even root can't read as a file
        const auto result = program.run(command);
        EXPECT_EQ(result.code, command.first() == "log" ? 0 : 1);
        EXPECT_EQ(result.messages.count(settings), 1) << result.messages.toStdString();
        EXPECT_FALSE(result.messages.contains("\n\n"));
        EXPECT_FALSE(result.messages.contains("no connection"));
        QDir(QFileInfo(settings).path()).removeRecursively();
    }
}

TEST_F(CommandLine, LogShowsItsLastLines) {
    EXPECT_EQ(program.run({"log"}).code, 0);
    QFile file(program.path("VelmoraDiskLog/velmoradisk.log"));
    fill(file.fileName(), "one\ntwo\nthree\n");
    const QString path = file.fileName() + "\n";
    EXPECT_EQ(program.run({"log", "--path"}).output, path);
    EXPECT_EQ(program.run({"log", "-n", "2"}).output, path + "two\nthree\n");
    EXPECT_EQ(program.run({"log", "-n", "9"}).output, path + "one\ntwo\nthree\n");

    QProcess &following = program.start({"log", "-n", "1", "-f"});
    ASSERT_TRUE(waitFor([&] { return following.bytesAvailable() >= path.size() + 6; }));
    ASSERT_TRUE(file.open(QIODevice::Append));
    file.write("fo");
    file.flush();
    file.write("ur\n");
    file.close();
    ASSERT_TRUE(waitFor([&] { return following.bytesAvailable() >= path.size() + 11; }));
    EXPECT_EQ(following.readAllStandardOutput(), (path + "three\nfour\n").toUtf8());
}
