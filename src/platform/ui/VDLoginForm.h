#pragma once

#include <memory>

#include <QString>

struct VDLoginWindowController;

// The form that asks for a login name and password. Any thread; showForm waits for the main one.
class VDLoginForm {
  public:
    // A null title is that of a server's form.
    explicit VDLoginForm(const QString &title = QString());
    ~VDLoginForm();

    // The host that asks for the login.
    void setServer(const QString &host);
    void setUsername(const QString &username);
    void setPassword(const QString &password);
    QString username() const;
    QString password() const;
    // Runs the form until it is answered; true when it was accepted.
    bool showForm();
    void windowClose();

  private:
    std::unique_ptr<VDLoginWindowController> loginWindowCtr;
};
