// libFuzzer target: every decoder that reads what a client sends, fed the
// same bytes. Nothing may crash, hang or leak, whatever the input.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "core/text/unicode.h"
#include "core/wire/stats_records.h"
#include "core/wire/sync_records.h"
#include "core/wire/translate_records.h"
#include "server/lesson_feed.h"
#include "server/sync_batch.h"
#include "server/token.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace talvo;
    std::string_view body(reinterpret_cast<const char*>(data), size);

    if (auto sync = wire::decodeSyncRequest(body)) {
        server::SyncPush push{sync->deviceId, sync->since, sync->cards, sync->logs,
                              sync->installId};
        std::vector<wire::SyncRejection> rejected = server::normalizePush(push);
        server::clampFutureStamps(push, 1'779'840'000);
        std::vector<server::CardRecord> replayed = server::replayedCards(push.cards, push.logs);
        // What the server answers must decode on the other side.
        wire::SyncResponse echo{push.since, std::move(replayed), push.logs, true, rejected};
        if (!wire::decodeSyncResponse(wire::encodeSyncResponse(echo))) {
            __builtin_trap();
        }
    }
    if (auto translate = wire::decodeTranslateRequest(body)) {
        text::trimWhitespace(translate->zh);
    }
    if (auto event = wire::decodeStatsEvent(body)) {
        wire::encodeStatsEvent(*event);
    }
    if (auto lookup = wire::decodeLookupReport(body)) {
        text::trimWhitespace(lookup->zh);
    }
    try {
        auto lessons = server::parseLessonFeed(body);
        server::feedBody(lessons);
    } catch (const server::FeedError&) {
    }
    if (auto token = server::bearerToken(body)) {
        server::tokenDigest(*token);
    }
    return 0;
}
