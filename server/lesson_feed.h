#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "server/storage.h"

namespace talvo::server {

// A lesson file that cannot be published; the message names the first
// offending member ("lessons[1].items[3].front: empty").
class FeedError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Reads a lessons feed ({"lessons": [Lesson, ...]}) for publishing. Beyond
// the wire shape, a published feed must be usable as it stands: at least one
// lesson, unique lesson ids, a title, at least one item per lesson, and every
// item with a uid and a front, uids unique within their lesson. Unknown keys
// are dropped. Throws FeedError.
std::vector<StoredLesson> parseLessonFeed(std::string_view json);

// The body of GET /api/study/lessons: {"lessons": [...]} in the given order.
std::string feedBody(const std::vector<StoredLesson>& lessons);

}  // namespace talvo::server
