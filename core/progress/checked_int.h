#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>

namespace talvo::checked {

// Overflow in the progress arithmetic cannot happen for any real history, so
// reaching it means a bug or a forged database; stop loudly instead of
// carrying on with a wrapped (or, worse, undefined) value.
[[noreturn]] inline void overflow(const char* what) {
    std::fprintf(stderr, "talvo: integer overflow in %s\n", what);
    std::abort();
}

inline int64_t add(int64_t a, int64_t b, const char* what) {
    int64_t r = 0;
    if (__builtin_add_overflow(a, b, &r)) {
        overflow(what);
    }
    return r;
}

inline int64_t sub(int64_t a, int64_t b, const char* what) {
    int64_t r = 0;
    if (__builtin_sub_overflow(a, b, &r)) {
        overflow(what);
    }
    return r;
}

inline int64_t mul(int64_t a, int64_t b, const char* what) {
    int64_t r = 0;
    if (__builtin_mul_overflow(a, b, &r)) {
        overflow(what);
    }
    return r;
}

// Day numbers and second counts are bound as 32-bit integers so that the
// columns stay compatible with the sync payloads.
inline int32_t toInt32(int64_t v, const char* what) {
    if (v < std::numeric_limits<int32_t>::min() || v > std::numeric_limits<int32_t>::max()) {
        overflow(what);
    }
    return static_cast<int32_t>(v);
}

}  // namespace talvo::checked
