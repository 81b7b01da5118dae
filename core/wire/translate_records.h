#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/wire/decoded.h"

namespace talvo::wire {

// Client -> server (POST /api/tm/translate): {"zh": passage}; "zh" required.
struct TranslateRequest {
    std::string zh;

    bool operator==(const TranslateRequest&) const = default;
};

// Server -> client. Every member is optional; a present member must be text
// (null reads as absent). Unknown members are ignored; a body that is not a
// JSON object does not decode.
struct TranslateResponse {
    std::optional<std::string> vi;      // the translation; absent or empty: none yet
    std::optional<std::string> source;  // "queued": put in the translation queue
    std::optional<std::string> model;   // informational

    bool operator==(const TranslateResponse&) const = default;
};

// The outcome of one translation request as the popup shows it.
struct TranslateResult {
    // signInNeeded: the service answered 401 (translation is for signed-in
    // users, or the token is no longer valid); limited: 429, a quota or the
    // queue share is spent for now.
    enum class Kind { translated, queued, failed, signInNeeded, limited };
    Kind kind = Kind::failed;
    std::string text;  // the translation when kind is translated, else empty

    static TranslateResult translated(std::string vi) { return {Kind::translated, std::move(vi)}; }
    static TranslateResult queued() { return {Kind::queued, {}}; }
    static TranslateResult failed() { return {Kind::failed, {}}; }
    static TranslateResult signInNeeded() { return {Kind::signInNeeded, {}}; }
    static TranslateResult limited() { return {Kind::limited, {}}; }

    bool operator==(const TranslateResult&) const = default;
};

// The value of "source" that means the passage waits in the server's queue.
inline constexpr std::string_view kQueuedSource = "queued";

std::string encodeTranslateRequest(const TranslateRequest& r);
Decoded<TranslateRequest> decodeTranslateRequest(std::string_view body);
std::string encodeTranslateResponse(const TranslateResponse& r);
Decoded<TranslateResponse> decodeTranslateResponse(std::string_view body);

// The client's verdict on an HTTP answer: 401 needs a sign-in, 429 is
// limited, anything else but status 200 fails; a
// body that does not decode fails; a non-empty "vi" wins; otherwise "source"
// exactly "queued" means queued; anything else fails.
TranslateResult translateOutcome(int httpStatus, std::string_view body);

}  // namespace talvo::wire
