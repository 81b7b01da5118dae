#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/study/study_card.h"
#include "core/wire/decoded.h"

namespace talvo::wire {

// One lesson of the feed (GET /api/study/lessons). Items are the study
// store's own LessonItem: "uid" and "front" required text, "am" and "gloss"
// optional text, "ord" optional integer.
struct Lesson {
    int64_t id = 0;                       // "id", required
    std::optional<std::string> slug;      // "slug"
    std::string title;                    // "title", required
    std::optional<std::string> hanLabel;  // "han_label"
    std::optional<int64_t> tier;          // "tier": first sort key, absent counts as 0
    std::optional<int64_t> ord;           // "ord": second sort key, absent counts as 0
    std::optional<std::string> kind;      // "kind"
    std::vector<LessonItem> items;        // "items", required, in lesson order
};

// The feed: a JSON object whose "lessons" holds the list.
//
// Strict decoding: a missing required key or a value of the wrong type
// anywhere (null included, except for optional keys, where null reads as
// absent) rejects the whole feed; unknown keys are ignored. Encoding writes
// the keys in the order above and leaves absent optional keys out.
struct LessonsFeed {
    std::vector<Lesson> lessons;
};

std::string encodeLessonsFeed(const LessonsFeed& f);
Decoded<LessonsFeed> decodeLessonsFeed(std::string_view body);

// Sorts stably by tier, then ord (absent counting as 0), then id, all ascending.
void sortLessons(std::vector<Lesson>& lessons);

// The uids of a lesson's items, in order (what the in-deck count asks about).
std::vector<std::string> itemUids(const Lesson& lesson);

}  // namespace talvo::wire
