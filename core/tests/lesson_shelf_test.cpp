#include <gtest/gtest.h>

#include "core/study/lesson_shelf.h"
#include "core/tests/fixture_dict.h"
#include "core/tests/study_test_util.h"

using namespace talvo;
using namespace talvo::testing;
using Action = LessonShelf::Action;

namespace {

wire::Lesson lesson(int64_t id, std::optional<int64_t> tier, std::optional<int64_t> ord,
                    std::vector<std::pair<std::string, std::string>> items) {
    wire::Lesson l;
    l.id = id;
    l.title = "lesson " + std::to_string(id);
    l.tier = tier;
    l.ord = ord;
    for (auto& [uid, front] : items) {
        LessonItem item;
        item.uid = uid;
        item.front = front;
        l.items.push_back(std::move(item));
    }
    return l;
}

std::vector<int64_t> ids(const LessonShelf& shelf) {
    std::vector<int64_t> out;
    for (const wire::Lesson& l : shelf.lessons()) {
        out.push_back(l.id);
    }
    return out;
}

class LessonShelfTest : public ::testing::Test {
  protected:
    LessonShelfTest() : stores(dir.file("study.sqlite"), clockOnDay(20000)), shelf(stores.study) {
        insertCard(stores.db.connection(), "char:數", 1, 0, 0);
        shelf.setLessons({
            lesson(9, 2, 0, {{"w:心", "心"}, {"w:肝", "肝"}}),
            lesson(4, std::nullopt, std::nullopt, {{"w:氣", "氣"}, {"w:心", "心"}}),
            lesson(2, 0, 1, {{"char:數", "數"}}),
        });
    }

    TempDir dir;
    StudyStores stores;
    LessonShelf shelf;
};

}  // namespace

TEST_F(LessonShelfTest, SortsByTierThenOrdAndCountsWhatTheDeckHolds) {
    EXPECT_EQ(ids(shelf), (std::vector<int64_t>{4, 2, 9})) << "absent tier and ord read as 0";
    EXPECT_EQ(shelf.have(*shelf.find(2)), 1);
    EXPECT_EQ(shelf.actionFor(*shelf.find(2)), Action::complete);
    EXPECT_EQ(shelf.actionFor(*shelf.find(9)), Action::add);
    EXPECT_EQ(shelf.find(77), nullptr);

    wire::Lesson unknown = lesson(77, 0, 0, {{"w:x", "x"}});
    EXPECT_EQ(shelf.have(unknown), 0) << "a lesson never counted has nothing in the deck";
    EXPECT_EQ(shelf.actionFor(lesson(78, 0, 0, {})), Action::complete) << "nothing to add";
}

TEST_F(LessonShelfTest, AddingALessonRaisesEveryLessonSharingItsItems) {
    EXPECT_EQ(shelf.add(*shelf.find(9)), 2);
    EXPECT_EQ(shelf.actionFor(*shelf.find(9)), Action::complete);
    EXPECT_EQ(shelf.have(*shelf.find(4)), 1) << "w:心 is shared";
    EXPECT_EQ(shelf.actionFor(*shelf.find(4)), Action::addMissing);
    EXPECT_EQ(shelf.add(*shelf.find(9)), 0) << "a complete lesson adds nothing";

    // A change made elsewhere (a sync, another window) shows after a recount.
    insertCard(stores.db.connection(), "w:氣", 5, 0, 0);
    EXPECT_EQ(shelf.have(*shelf.find(4)), 1);
    shelf.recount();
    EXPECT_EQ(shelf.have(*shelf.find(4)), 2);
    EXPECT_EQ(shelf.actionFor(*shelf.find(4)), Action::complete);
}
