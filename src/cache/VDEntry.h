#pragma once

#include <memory>
#include <optional>

#include <QtGlobal>

// A link in the write order of a VDSequencedMutableDictionary, which owns it. A fresh entry points
// to itself.
template <typename Value>
struct VDEntry {
    VDEntry() = default;
    VDEntry(qint32 key, std::shared_ptr<Value> value) : key(key), value(std::move(value)) {}
    VDEntry(const VDEntry &) = delete;
    VDEntry &operator=(const VDEntry &) = delete;

    std::optional<qint32> key;
    std::shared_ptr<Value> value;
    VDEntry *prev = this;
    VDEntry *next = this;
};
