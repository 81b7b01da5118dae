#include "core/wire/json_fields.h"

#include <cmath>

namespace talvo::wire::detail {

namespace {

std::string got(const Json& v) {
    return std::string(v.type_name());
}

[[noreturn]] void fail(const std::string& path, const std::string& what) {
    throw DecodeError{(path.empty() ? std::string("body") : path) + ": " + what};
}

}  // namespace

Json parseObject(std::string_view body) {
    Json j;
    try {
        j = Json::parse(body.begin(), body.end());
    } catch (const Json::parse_error& e) {
        // The library's own message quotes the bytes it choked on; a body may
        // hold the user's text, so only the position is reported.
        throw DecodeError{"not JSON (error at byte " + std::to_string(e.byte) + ")"};
    }
    if (!j.is_object()) {
        throw DecodeError{"body: expected an object, got " + got(j)};
    }
    return j;
}

std::string dump(const OrderedJson& j) {
    return j.dump(-1, ' ', false, OrderedJson::error_handler_t::replace);
}

int64_t asInteger(const Json& v, const std::string& path) {
    if (v.is_number_integer() && !v.is_number_unsigned()) {
        return v.get<int64_t>();
    }
    if (v.is_number_unsigned()) {
        uint64_t u = v.get<uint64_t>();
        if (u > static_cast<uint64_t>(INT64_MAX)) {
            fail(path, "integer out of range");
        }
        return static_cast<int64_t>(u);
    }
    if (v.is_number_float()) {
        double d = v.get<double>();
        // 2^63 is the first double past INT64_MAX.
        if (!std::isfinite(d) || d != std::trunc(d) || d < -9223372036854775808.0 ||
            d >= 9223372036854775808.0) {
            fail(path, "expected an integer, got a fractional or out-of-range number");
        }
        return static_cast<int64_t>(d);
    }
    fail(path, "expected an integer, got " + got(v));
}

std::string asText(const Json& v, const std::string& path) {
    if (!v.is_string()) {
        fail(path, "expected a string, got " + got(v));
    }
    return v.get<std::string>();
}

Fields::Fields(const Json& value, std::string path) : m_object(value), m_path(std::move(path)) {
    if (!value.is_object()) {
        fail(m_path, "expected an object, got " + got(value));
    }
}

std::string Fields::memberPath(const char* key) const {
    return m_path.empty() ? std::string(key) : m_path + "." + key;
}

std::string Fields::elementPath(const char* key, size_t index) const {
    return memberPath(key) + "[" + std::to_string(index) + "]";
}

const Json& Fields::required(const char* key) const {
    auto it = m_object.find(key);
    if (it == m_object.end()) {
        fail(memberPath(key), "missing");
    }
    if (it->is_null()) {
        fail(memberPath(key), "is null");
    }
    return *it;
}

const Json* Fields::optional(const char* key) const {
    auto it = m_object.find(key);
    if (it == m_object.end() || it->is_null()) {
        return nullptr;
    }
    return &*it;
}

std::string Fields::text(const char* key) const {
    return asText(required(key), memberPath(key));
}

std::optional<std::string> Fields::optionalText(const char* key) const {
    const Json* v = optional(key);
    if (!v) {
        return std::nullopt;
    }
    return asText(*v, memberPath(key));
}

int64_t Fields::integer(const char* key) const {
    return asInteger(required(key), memberPath(key));
}

std::optional<int64_t> Fields::optionalInteger(const char* key) const {
    const Json* v = optional(key);
    if (!v) {
        return std::nullopt;
    }
    return asInteger(*v, memberPath(key));
}

double Fields::number(const char* key) const {
    const Json& v = required(key);
    if (!v.is_number()) {
        fail(memberPath(key), "expected a number, got " + got(v));
    }
    return v.get<double>();
}

const Json& Fields::list(const char* key) const {
    const Json& v = required(key);
    if (!v.is_array()) {
        fail(memberPath(key), "expected a list, got " + got(v));
    }
    return v;
}

}  // namespace talvo::wire::detail
