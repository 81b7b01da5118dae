#pragma once

// Internal to the wire codecs: reading JSON members with the path of the
// offending member in every error. Not part of the wire API.

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "core/wire/decoded.h"

namespace talvo::wire::detail {

using Json = nlohmann::json;
using OrderedJson = nlohmann::ordered_json;

// Thrown inside a decoder and caught at its boundary; never leaves the codecs.
struct DecodeError {
    std::string message;
};

// Parses a whole body that must be one JSON object.
Json parseObject(std::string_view body);

// Serialises without throwing: bad UTF-8 becomes U+FFFD.
std::string dump(const OrderedJson& j);

// The members of one JSON object, read strictly. `path` names the object in
// error messages ("" for the top level, "cards[3]" inside a list).
class Fields {
  public:
    Fields(const Json& value, std::string path);

    std::string text(const char* key) const;
    std::optional<std::string> optionalText(const char* key) const;
    int64_t integer(const char* key) const;
    std::optional<int64_t> optionalInteger(const char* key) const;
    double number(const char* key) const;
    // A required list; the caller reads its elements with elementPath().
    const Json& list(const char* key) const;
    // Absent and null both read as nullptr.
    const Json* optional(const char* key) const;

    std::string memberPath(const char* key) const;
    std::string elementPath(const char* key, size_t index) const;

  private:
    const Json& required(const char* key) const;

    const Json& m_object;
    std::string m_path;
};

// Reads a value that must be a JSON integer (or a float without fraction)
// within 64 bits; `path` names it in the error.
int64_t asInteger(const Json& v, const std::string& path);
std::string asText(const Json& v, const std::string& path);

// Runs a decoder body, turning every failure (ours or the JSON library's,
// even an allocation failure) into Decoded::failure.
template <typename T, typename Fn>
Decoded<T> decodeGuarded(std::string_view body, Fn&& fn) {
    try {
        return Decoded<T>::success(fn(parseObject(body)));
    } catch (const DecodeError& e) {
        return Decoded<T>::failure(e.message);
    } catch (const std::exception& e) {
        return Decoded<T>::failure(std::string("cannot decode: ") + e.what());
    } catch (...) {
        return Decoded<T>::failure("cannot decode");
    }
}

}  // namespace talvo::wire::detail
