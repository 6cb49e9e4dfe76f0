#include "platform/fuse/GMUserFileSystemDelegate.h"

namespace {

bool refuseChange(ErrorOut error) {
    setError(error, Error::errorWithPOSIXCode(EROFS));
    return false;
}

}  // namespace

std::optional<bool> GMUserFileSystemDelegate::isKnownDirectory(const QString &) {
    return std::nullopt;
}

bool GMUserFileSystemDelegate::createFileAtPath(const QString &, const AttributeMap &, int,
                                                HandlePtr *, ErrorOut error) {
    return refuseChange(error);
}

int GMUserFileSystemDelegate::writeFileAtPath(const QString &, const HandlePtr &, const char *,
                                              size_t, qint64, ErrorOut error) {
    refuseChange(error);
    return -1;
}

bool GMUserFileSystemDelegate::synchronizeFileAtPath(const QString &, const HandlePtr &, ErrorOut) {
    return true;
}

bool GMUserFileSystemDelegate::createDirectoryAtPath(const QString &, const AttributeMap &,
                                                     ErrorOut error) {
    return refuseChange(error);
}

bool GMUserFileSystemDelegate::moveItemAtPath(const QString &, const QString &, ErrorOut error) {
    return refuseChange(error);
}

bool GMUserFileSystemDelegate::exchangeDataOfItemAtPath(const QString &, const QString &,
                                                        ErrorOut error) {
    setError(error, Error::errorWithPOSIXCode(ENOTSUP));
    return false;
}

bool GMUserFileSystemDelegate::removeItemAtPath(const QString &, ErrorOut error) {
    return refuseChange(error);
}

bool GMUserFileSystemDelegate::removeDirectoryAtPath(const QString &, ErrorOut error) {
    return refuseChange(error);
}

bool GMUserFileSystemDelegate::setAttributes(const AttributeMap &, const QString &,
                                             const HandlePtr &, ErrorOut error) {
    return refuseChange(error);
}
