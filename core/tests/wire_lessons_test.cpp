#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "core/wire/lessons_feed.h"

using namespace talvo;
using namespace talvo::wire;
using nlohmann::json;

namespace {

json validFeed() {
    return json::parse(R"({
      "lessons": [
        {"id": 3, "slug": "tang-phu", "title": "Tạng phủ", "han_label": "臟腑", "tier": 1,
         "ord": 2, "kind": "medical", "future_key": [1, 2],
         "items": [{"uid": "w:心", "front": "心", "am": "tâm", "gloss": "tim", "ord": 0},
                   {"uid": "w:肝", "front": "肝"}]},
        {"id": 4, "title": "Số đếm", "items": []}
      ],
      "version": 2
    })");
}

Decoded<LessonsFeed> decode(const json& j) {
    return decodeLessonsFeed(j.dump());
}

Lesson lesson(int64_t id, std::optional<int64_t> tier, std::optional<int64_t> ord) {
    Lesson l;
    l.id = id;
    l.tier = tier;
    l.ord = ord;
    return l;
}

}  // namespace

TEST(WireLessons, DecodesOptionalAndRequiredMembersIgnoringUnknownKeys) {
    Decoded<LessonsFeed> f = decode(validFeed());
    ASSERT_TRUE(f) << f.error;
    ASSERT_EQ(f->lessons.size(), 2u);
    const Lesson& a = f->lessons[0];
    EXPECT_EQ(a.hanLabel, "臟腑");
    EXPECT_EQ(a.tier, 1);
    ASSERT_EQ(a.items.size(), 2u);
    EXPECT_EQ(a.items[0].am, "tâm");
    EXPECT_EQ(a.items[0].ord, 0);
    EXPECT_FALSE(a.items[1].am.has_value());
    EXPECT_FALSE(a.items[1].ord.has_value());
    EXPECT_FALSE(f->lessons[1].tier.has_value());
    EXPECT_EQ(itemUids(a), (std::vector<std::string>{"w:心", "w:肝"}));

    // Encoding and decoding again keeps everything, optional absences included.
    Decoded<LessonsFeed> again = decodeLessonsFeed(encodeLessonsFeed(*f));
    ASSERT_TRUE(again) << again.error;
    EXPECT_EQ(encodeLessonsFeed(*again), encodeLessonsFeed(*f));
    EXPECT_FALSE(json::parse(encodeLessonsFeed(*f))["lessons"][1].contains("tier"));
}

TEST(WireLessons, OneBadMemberAnywhereFailsTheWholeFeed) {
    struct Case {
        const char* what;
        std::function<void(json&)> damage;
        const char* path;
    };
    const Case cases[] = {
        {"no lessons key", [](json& j) { j.erase("lessons"); }, "lessons"},
        {"lessons not a list", [](json& j) { j["lessons"] = json::object(); }, "lessons"},
        {"lesson without id", [](json& j) { j["lessons"][1].erase("id"); }, "lessons[1].id"},
        {"id as text", [](json& j) { j["lessons"][0]["id"] = "3"; }, "lessons[0].id"},
        {"title missing", [](json& j) { j["lessons"][0].erase("title"); }, "lessons[0].title"},
        {"items missing", [](json& j) { j["lessons"][1].erase("items"); }, "lessons[1].items"},
        {"tier as text", [](json& j) { j["lessons"][0]["tier"] = "1"; }, "lessons[0].tier"},
        {"item uid missing", [](json& j) { j["lessons"][0]["items"][1].erase("uid"); },
         "lessons[0].items[1].uid"},
        {"item front null", [](json& j) { j["lessons"][0]["items"][0]["front"] = nullptr; },
         "lessons[0].items[0].front"},
        {"item gloss as number", [](json& j) { j["lessons"][0]["items"][0]["gloss"] = 5; },
         "lessons[0].items[0].gloss"},
        {"item not an object", [](json& j) { j["lessons"][0]["items"][0] = "心"; },
         "lessons[0].items[0]"},
    };
    for (const Case& c : cases) {
        json j = validFeed();
        c.damage(j);
        Decoded<LessonsFeed> f = decode(j);
        EXPECT_FALSE(f) << c.what;
        EXPECT_EQ(f.error.rfind(c.path, 0), 0u) << c.what << ": " << f.error;
    }
    json j = validFeed();
    j["lessons"][0]["slug"] = nullptr;  // optional: null is absence
    EXPECT_TRUE(decode(j));
}

TEST(WireLessons, SortsByTierThenOrdThenIdWithAbsentAsZero) {
    std::vector<Lesson> ls = {lesson(9, 1, 0),  lesson(5, std::nullopt, std::nullopt),
                              lesson(2, 0, 1),  lesson(1, std::nullopt, 0),
                              lesson(7, -1, 5), lesson(3, 1, 0)};
    sortLessons(ls);
    std::vector<int64_t> ids;
    for (const Lesson& l : ls) {
        ids.push_back(l.id);
    }
    EXPECT_EQ(ids, (std::vector<int64_t>{7, 1, 5, 2, 3, 9}));
}
