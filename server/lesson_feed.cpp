#include "server/lesson_feed.h"

#include <nlohmann/json.hpp>
#include <set>

#include "core/wire/lessons_feed.h"

namespace talvo::server {

namespace {

std::string at(size_t lesson) {
    return "lessons[" + std::to_string(lesson) + "]";
}

std::string at(size_t lesson, size_t item) {
    return at(lesson) + ".items[" + std::to_string(item) + "]";
}

}  // namespace

std::vector<StoredLesson> parseLessonFeed(std::string_view json) {
    wire::Decoded<wire::LessonsFeed> feed = wire::decodeLessonsFeed(json);
    if (!feed) {
        throw FeedError(feed.error);
    }
    if (feed->lessons.empty()) {
        throw FeedError("lessons: the feed holds no lesson");
    }
    std::set<int64_t> ids;
    std::vector<StoredLesson> out;
    for (size_t i = 0; i < feed->lessons.size(); ++i) {
        const wire::Lesson& lesson = feed->lessons[i];
        if (!ids.insert(lesson.id).second) {
            throw FeedError(at(i) + ".id: " + std::to_string(lesson.id) + " is used twice");
        }
        if (lesson.title.empty()) {
            throw FeedError(at(i) + ".title: empty");
        }
        if (lesson.items.empty()) {
            throw FeedError(at(i) + ".items: the lesson has no item");
        }
        std::set<std::string> uids;
        for (size_t k = 0; k < lesson.items.size(); ++k) {
            const LessonItem& item = lesson.items[k];
            if (item.uid.empty()) {
                throw FeedError(at(i, k) + ".uid: empty");
            }
            if (item.front.empty()) {
                throw FeedError(at(i, k) + ".front: empty");
            }
            if (!uids.insert(item.uid).second) {
                throw FeedError(at(i, k) + ".uid: '" + item.uid + "' is used twice in the lesson");
            }
        }
        // The wire encoder gives the lesson its canonical form (known keys,
        // in order); the feed route serves that text as it is stored.
        auto encoded = nlohmann::ordered_json::parse(wire::encodeLessonsFeed({{lesson}}));
        out.push_back({lesson.id, lesson.tier.value_or(0), lesson.ord.value_or(0),
                       encoded["lessons"][0].dump(
                           -1, ' ', false, nlohmann::ordered_json::error_handler_t::replace)});
    }
    return out;
}

std::string feedBody(const std::vector<StoredLesson>& lessons) {
    std::string body = "{\"lessons\":[";
    for (size_t i = 0; i < lessons.size(); ++i) {
        if (i > 0) {
            body += ',';
        }
        body += lessons[i].json;
    }
    body += "]}";
    return body;
}

}  // namespace talvo::server
