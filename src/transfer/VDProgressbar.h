#pragma once

#include <memory>
#include <optional>

#include <QString>

#include "webdav/UploadProgress.h"

class ASWDCmdPut;

// The progress of one upload: for a user who has to wait, a panel with the file's name and a
// percentage. It comes up after three seconds, so that short uploads show nothing. Any thread; the
// panel's work is left to the main thread, for which nobody waits.
class VDProgressbar {
  public:
    // The total in bytes, and which of the numbered windows to use; none: the plain one.
    explicit VDProgressbar(quint64 size, std::optional<qint8> displaytype = std::nullopt);
    ~VDProgressbar();
    VDProgressbar(const VDProgressbar &) = delete;
    VDProgressbar &operator=(const VDProgressbar &) = delete;

    void openWindowWithPath(const QString &path);
    void setWindowVisible();
    // The command whose sent bytes the timer watches, once a second.
    void setCmd(const std::shared_ptr<ASWDCmdPut> &cmd);
    void setTimer();
    void stopTimar();
    // So many bytes are done; without a number, as many as the command has sent.
    void nextStatus(quint64 bytes);
    void nextStatus();
    UploadProgress progress() const;
    // Closes the panel, or keeps it from coming up. A second call does nothing.
    void finishProgress();

  private:
    struct Display;

    const std::shared_ptr<Display> display;
};
