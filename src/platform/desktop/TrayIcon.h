#pragma once

#include <QObject>
#include <QString>
#include <QSystemTrayIcon>

class QMenu;

// The icon in the desktop's panel, with the menu. It comes as soon as there is a panel that takes
// it. Main thread.
class TrayIcon : public QObject {
  public:
    explicit TrayIcon(QMenu &menu);

    static bool hasPlace() { return QSystemTrayIcon::isSystemTrayAvailable(); }

    void setState(bool isMounted, bool isUploading);
    void setToolTip(const QString &text) { icon.setToolTip(text); }

    bool eventFilter(QObject *watched, QEvent *event) override;

  private:
    void draw();

    QSystemTrayIcon icon;
    bool isMounted = false;
    bool isUploading = false;
};
