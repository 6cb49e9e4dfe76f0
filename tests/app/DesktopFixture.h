#pragma once

#include <gtest/gtest.h>

#include <QCoreApplication>

#include "app/AppDelegate.h"
#include "app/StatusItem.h"
#include "common/Text.h"
#include "connection/ConnectionRules.h"
#include "connection/SettingsWindow.h"
#include "connection/SystemProxySource.h"
#include "connection/VDConnectionInfo.h"
#include "platform/system/LoginItems.h"
#include "platform/system/Preferences.h"
#include "support/NoClientIdentity.h"
#include "support/RecordingInterface.h"

struct RecordedLoginItems : LoginItems {
    explicit RecordedLoginItems(bool &isOn) : isOn(isOn) {}
    bool hasItem() const override { return isOn; }
    bool insertItem(QString *) override { return isOn = true; }
    bool removeItem(QString *problem) override {
        *problem = QStringLiteral("stays");
        return false;
    }
    bool &isOn;
};

struct NoProxy : SystemProxySource {
    std::optional<ProxyConf> getProxy(const QUrl &) const override { return std::nullopt; }
};

// The application with its desktop part, without a view, and what it saves.
class DesktopFixture : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(installTexts(QLocale("en")));
        application->setupStatusItem(std::make_unique<RecordedLoginItems>(isAutoStart),
                                     [this] { isQuit = true; });
    }
    void TearDown() override {
        const QStringList names = storedNames();
        for (const QString &name : names)
            VDConnectionInfo::deleteConnectInfo(name, nullptr);
        Preferences::standard().remove(ConnectionRules::kConnectNames);
        EXPECT_TRUE(Preferences::standard().synchronize(nullptr));
    }

    static QStringList storedNames() {
        return Preferences::standard().value(ConnectionRules::kConnectNames).toStringList();
    }
    // As the command line saves one.
    static void store(const QString &name, const QString &url, const QString &mountPoint = {}) {
        VDConnectionInfo record;
        record.connectionName = name;
        record.RemoteURL = url;
        record.mountPoint = mountPoint;
        record.chengeMountPoint = !mountPoint.isNull();
        record.isUseCert = false;
        record.devideSizeIndex = 0;
        record.saveConnectInfo(nullptr);
        Preferences::standard().setValue(ConnectionRules::kConnectNames, storedNames() << name);
        Preferences::standard().synchronize(nullptr);
    }
    std::shared_ptr<VDConnectionInfo> record(const QString &name) const {
        return application->conInfoList.value(name);
    }
    // The texts of the alerts since the last call.
    QStringList told() {
        QStringList texts;
        for (const Alert &alert : std::exchange(interface.alerts, {}))
            texts.append(alert.text);
        return texts;
    }

    bool isAutoStart = false;
    bool isQuit = false;
    NoProxy proxies;
    NoClientIdentity identities;
    RecordingInterface interface;
    const std::shared_ptr<AppDelegate> application = AppDelegate::create(proxies, identities);
};
