#pragma once

#include "platform/ui/Console.h"

// The console of the process's own terminal. Prompts serve events while they wait, and leave the
// terminal as they found it also when a signal ends them.
class TerminalConsole : public Console {
  public:
    // Keeps the present standard error for messages, whatever becomes of it later.
    TerminalConsole();
    ~TerminalConsole() override;
    TerminalConsole(const TerminalConsole &) = delete;
    TerminalConsole &operator=(const TerminalConsole &) = delete;

    void print(const QString &line) override;
    bool complain(const QString &line) override;
    // On a terminal that can rewrite a line.
    void showProgress(const QString &line) override;
    // Both standard input and standard error are a terminal.
    bool canAsk() const override;
    std::optional<QString> ask(const QString &prompt) override;
    std::optional<QString> askSecret(const QString &prompt) override;
    std::optional<QString> readInputLine() override;

  private:
    std::optional<QString> prompt(const QString &text, bool isSecret);

    int messages;
    bool isProgressShown = false;
    bool isAsking = false;
};
