#pragma once

#include <optional>
#include <string>
#include <utility>

namespace talvo::wire {

// What a wire decoder returns: the record, or a one-line reason naming the
// offending member ("lessons[2].items[0].uid: expected text, got number").
// Decoders never throw, whatever the bytes; the reason never contains the
// body itself, so it is safe to log.
template <typename T>
struct Decoded {
    std::optional<T> value;
    std::string error;  // empty exactly when value is set

    static Decoded success(T v) { return Decoded{std::move(v), {}}; }
    static Decoded failure(std::string why) { return Decoded{std::nullopt, std::move(why)}; }

    explicit operator bool() const { return value.has_value(); }
    const T& operator*() const { return *value; }
    T& operator*() { return *value; }
    const T* operator->() const { return &*value; }
    T* operator->() { return &*value; }
};

}  // namespace talvo::wire
