#pragma once

#include <signal.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include "platform/system/SingleInstance.h"
#include "support/WaitFor.h"

// As waitFor, for what tells nobody when it comes true.
inline bool poll(const std::function<bool()> &condition) {
    QTimer beat;
    beat.start(20);
    return waitFor(condition);
}

// The built program with a home of its own, which the test shares. Whatever it started is gone when
// this is.
class Program {
  public:
    struct Result {
        int code = -1;
        QString output;
        QString messages;
    };

    Program() : homeBefore(qgetenv("HOME")) { qputenv("HOME", home.path().toUtf8()); }
    ~Program() {
        for (const auto &process : processes) {
            process->kill();
            process->waitForFinished();
        }
        poll([] { return isAlone(); });
        qputenv("HOME", homeBefore);
    }

    // The started program, whose output is waiting to be read.
    QProcess &start(const QStringList &arguments, const QByteArray &input = {}) {
        processes.push_back(std::make_unique<QProcess>());
        QProcess &process = *processes.back();
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("LC_ALL", "C.UTF-8");
        process.setProcessEnvironment(environment);
        process.setWorkingDirectory(home.path());
        // Makes a process of its own before the program is loaded: one that borrows this process's
        // memory until then confuses the thread sanitizer.
        process.setChildProcessModifier([] {});
        process.start(VELMORADISK_PROGRAM, arguments);
        process.write(input);
        process.closeWriteChannel();
        return process;
    }
    Result finish(QProcess &process) {
        if (!waitFor([&] { return process.state() == QProcess::NotRunning; }))
            return {};
        return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
                QString::fromUtf8(process.readAllStandardOutput()),
                QString::fromUtf8(process.readAllStandardError())};
    }
    Result run(const QStringList &arguments, const QByteArray &input = {}) {
        return finish(start(arguments, input));
    }

    QString path(const QString &name) const { return home.filePath(name); }
    QByteArray content(const QString &name) const {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    // Every file below the home, as one text.
    QByteArray everything() const {
        QByteArray all;
        for (const char *name :
             {".config/velmoradisk/preferences.json", "VelmoraDiskLog/velmoradisk.log"})
            all += content(name);
        return all;
    }

    // Whether no instance runs.
    static bool isAlone() {
        SingleInstance instance;
        return instance.take() == SingleInstance::Outcome::Taken;
    }

  private:
    QTemporaryDir home;
    const QByteArray homeBefore;
    std::vector<std::unique_ptr<QProcess>> processes;
};
