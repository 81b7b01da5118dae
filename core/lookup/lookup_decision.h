#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace talvo {

// What a selection asks for when the shortcut fires: a forward lookup of its
// Hán characters, else a reverse lookup of its Vietnamese syllables, else the
// "No Hán characters in the selection." message.
struct LookupDecision {
    enum class Kind { Forward, Reverse, NoHanMessage };

    Kind kind = Kind::NoHanMessage;
    std::vector<std::string> chars;      // Forward
    std::vector<size_t> breaks;          // Forward: where no word runs across
    std::vector<std::string> syllables;  // Reverse

    static LookupDecision decide(std::string_view selection);
};

}  // namespace talvo
