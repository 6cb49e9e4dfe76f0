#pragma once

#include <memory>

#include <QString>

// What the desktop starts when the user logs in. Main thread.
class LoginItems {
  public:
    virtual ~LoginItems() = default;

    // Whether an item starts this program.
    virtual bool hasItem() const = 0;
    // False with a message for the user in `problem` where it can't be done.
    virtual bool insertItem(QString *problem) = 0;
    virtual bool removeItem(QString *problem) = 0;

    // The files of $XDG_CONFIG_HOME/autostart, by default below ~/.config, in which the program
    // stands by the path given.
    static std::unique_ptr<LoginItems> autostartFolder(const QString &programPath);
};
