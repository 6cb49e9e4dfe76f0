#pragma once

// Gives a C library's object back by that library's function, for a std::unique_ptr.
template <auto Free>
struct Deleter {
    template <typename T>
    void operator()(T *object) const {
        Free(object);
    }
};
