#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/study/study_card.h"

namespace talvo {

namespace db {
class Database;
class Statement;
}  // namespace db

// Queries that more than one store over study.sqlite runs on the shared
// connection (the cfg table, counts, card rows), so that each table is read
// and written one way. Same thread as the connection; nothing fails outward.
namespace studydb {

// The next local change number for a card that the server has yet to take
// (card.pending): above every waiting one, so that sync can tell a change
// made while an exchange was on the way from the one it sent.
#define TALVO_NEXT_PENDING "(SELECT COALESCE(MAX(pending), 0) + 1 FROM card WHERE pending > 0)"

// cfg values are decimal text: an optional sign and digits, nothing else
// ("+7" is 7; "7 ", "" and overflowing values are absent).
std::optional<int64_t> parseDecimal(std::string_view text);

// The cfg value of key; absent when there is none or it cannot be read.
std::optional<std::string> cfg(db::Database& d, std::string_view key);
// As cfg, parsed with parseDecimal.
std::optional<int64_t> cfgInt(db::Database& d, std::string_view key);
// Inserts or replaces the value; false when it was not written.
bool setCfg(db::Database& d, std::string_view key, std::string_view value);

// Runs a one-count query with at most one integer parameter; 0 on failure.
int64_t count(db::Database& d, const std::string& sql, std::optional<int64_t> param = std::nullopt);

// Cards read by a query whose columns are, in order: id, uid, front, am,
// gloss, stability, difficulty, reps, lapses, due. `bind` binds its
// parameters. Empty when the query fails to prepare.
std::vector<StudyCard> cards(db::Database& d, const std::string& sql,
                             const std::function<void(db::Statement&)>& bind);

}  // namespace studydb

}  // namespace talvo
