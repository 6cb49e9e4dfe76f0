#pragma once

#include <memory>

#include "support/WaitFor.h"
#include "webdav/ASWDCmd.h"

// Runs a command to its end; true where it started and told exactly one end.
inline bool run(ASWDCmd &command) {
    int ends = 0;
    command.completeEventHandler = [&ends] { ++ends; };
    const bool ended = command.execute() && waitFor([&ends] { return ends > 0; });
    command.completeEventHandler = nullptr;
    return ended && ends == 1;
}

inline int status(const ASWDCmd &command) {
    return command.responseHeader().value(QStringLiteral("statusCode")).toInt();
}

inline int errorCode(const ASWDCmd &command) {
    return command.error ? command.error->code : 0;
}

template <typename Command>
std::shared_ptr<Command> make(const QString &url, std::shared_ptr<ASHttpConnectInfo> info =
                                                      std::make_shared<ASHttpConnectInfo>()) {
    return std::make_shared<Command>(QUrl(url), std::move(info));
}
