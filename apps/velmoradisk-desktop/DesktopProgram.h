#pragma once

#include <memory>
#include <optional>

#include <QJsonObject>
#include <QMenu>
#include <QMessageBox>
#include <QStringList>

#include "app/MountService.h"
#include "connection/VDAutoProxySetting.h"
#include "connection/VDSSLCertificate.h"
#include "platform/desktop/DesktopInterface.h"
#include "platform/desktop/TrayIcon.h"

class SettingsForm;

// The desktop program: the running instance with an icon in the panel and windows, or, where there
// is one already, what asks it to show itself.
class DesktopProgram {
  public:
    struct Options {
        QStringList urls;
        bool isBackground = false;  // no window at start
    };

    explicit DesktopProgram(const Options &options);
    ~DesktopProgram();
    DesktopProgram(const DesktopProgram &) = delete;
    DesktopProgram &operator=(const DesktopProgram &) = delete;

    // The exit code, once everything is unmounted.
    int run();

  private:
    enum class Handover { Taken, Gone, Refused };

    Handover handOver();
    ServiceLauncher::Launch beginAfterOther();
    bool endOtherMounts(class ServiceClient &client, const QStringList &names);
    void setupWindows();
    void launch();
    void showState();
    bool show(const QJsonObject &request);
    void showSettings();
    void quit();

    const Options options;
    DesktopInterface interface;
    const VDAutoProxySetting proxies;
    VDSSLCertificate identities;
    MountService service;
    QMenu menu;
    std::unique_ptr<TrayIcon> tray;
    std::unique_ptr<SettingsForm> settings;
    std::unique_ptr<QMessageBox> waiting;  // shown when the end takes long
    bool isQuitting = false;               // by the user's wish
};
