#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "server/storage.h"

namespace talvo::server {

// Access tokens are 80 lower-case hex digits: a 64-bit selector, public in
// effect, that finds the account by an index, followed by 256 random secret
// bits. The server keeps the selector and the SHA-256 of the whole token and
// compares that hash in constant time, so no timing depends on the secret.
// The token itself is shown once, when it is made.
std::string generateToken();
// Absent when the text does not have a token's shape (no database look-up is
// needed to refuse it).
std::optional<TokenDigest> tokenDigest(std::string_view token);
// The account the token belongs to, if it is active.
std::optional<int64_t> authenticate(Storage& storage, std::string_view token);
// SHA-256 of the text as lower-case hex.
std::string sha256Hex(std::string_view text);
// Compares in time that depends only on the lengths.
bool constantTimeEquals(std::string_view a, std::string_view b);
// The token of an "Authorization: Bearer <token>" header value; absent when
// the value has another scheme or no token.
std::optional<std::string> bearerToken(std::string_view header);

}  // namespace talvo::server
