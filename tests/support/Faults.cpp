#include "Faults.h"

std::optional<Fault> Faults::take(const QByteArray &method, const QString &path) {
    for (auto it = faults.begin(); it != faults.end(); ++it) {
        if (!it->method.isEmpty() && it->method != method)
            continue;
        if (!it->path.isEmpty() && it->path != path)
            continue;
        if (it->after > 0) {
            --it->after;
            continue;
        }
        const Fault fault = *it;
        if (it->times != Fault::kAlways && --it->times <= 0)
            faults.erase(it);
        return fault;
    }
    return std::nullopt;
}
