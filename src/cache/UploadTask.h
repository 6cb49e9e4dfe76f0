#pragma once

#include <optional>

#include <QMap>
#include <QString>

// An upload running in the background for one item, as the caches see it.
class UploadTask {
  public:
    virtual ~UploadTask() = default;

    // Stops the upload and waits for its transfer to end. True deletes the item at the final path
    // as well; nothing counts as false.
    virtual void uploadCancel(std::optional<bool> deleteFinal) = 0;
    virtual bool isCanceled() const = 0;
    // The item was renamed while it was being sent.
    virtual void setDestPath(const QString &path) = 0;
    // Holds back the final move while the item itself is being moved.
    virtual void setMoveLock(bool hold) = 0;
    // Header fields to set the item's dates by once it is there; later ones add to earlier ones.
    virtual void setSettingAttributes(const QMap<QString, QString> &headers) = 0;
};
