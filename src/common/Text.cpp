#include "common/Text.h"

#include <QCoreApplication>

QString localizedText(const char *key) {
    return qtTrId(key);
}
