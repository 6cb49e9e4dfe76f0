#pragma once

#include <optional>

#include <QString>

// The lines between a command and the person who typed it. Main thread.
class Console {
  public:
    virtual ~Console() = default;

    // A result, to standard output.
    virtual void print(const QString &line) = 0;
    // A message, to standard error. False where that is gone.
    virtual bool complain(const QString &line) = 0;
    // One line in place of the last one of these, until the next message; null takes it away. Only
    // where somebody looks.
    virtual void showProgress(const QString &line) = 0;
    // Whether somebody can answer a question.
    virtual bool canAsk() const = 0;
    // One line of an answer; nothing when it was cancelled or nobody can answer.
    virtual std::optional<QString> ask(const QString &prompt) = 0;
    // The same, not shown while it is typed.
    virtual std::optional<QString> askSecret(const QString &prompt) = 0;
    // The next line of standard input without its end; nothing at the end of it.
    virtual std::optional<QString> readInputLine() = 0;
};
