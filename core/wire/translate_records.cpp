#include "core/wire/translate_records.h"

#include "core/wire/json_fields.h"

namespace talvo::wire {

using detail::Fields;
using detail::Json;
using detail::OrderedJson;

std::string encodeTranslateRequest(const TranslateRequest& r) {
    return detail::dump(OrderedJson{{"zh", r.zh}});
}

Decoded<TranslateRequest> decodeTranslateRequest(std::string_view body) {
    return detail::decodeGuarded<TranslateRequest>(
        body, [](const Json& j) { return TranslateRequest{Fields(j, "").text("zh")}; });
}

std::string encodeTranslateResponse(const TranslateResponse& r) {
    OrderedJson j = OrderedJson::object();
    if (r.vi) {
        j["vi"] = *r.vi;
    }
    if (r.source) {
        j["source"] = *r.source;
    }
    if (r.model) {
        j["model"] = *r.model;
    }
    return detail::dump(j);
}

Decoded<TranslateResponse> decodeTranslateResponse(std::string_view body) {
    return detail::decodeGuarded<TranslateResponse>(body, [](const Json& j) {
        Fields f(j, "");
        return TranslateResponse{f.optionalText("vi"), f.optionalText("source"),
                                 f.optionalText("model")};
    });
}

TranslateResult translateOutcome(int httpStatus, std::string_view body) {
    if (httpStatus == 401) {
        return TranslateResult::signInNeeded();
    }
    if (httpStatus == 429) {
        return TranslateResult::limited();
    }
    if (httpStatus != 200) {
        return TranslateResult::failed();
    }
    Decoded<TranslateResponse> r = decodeTranslateResponse(body);
    if (!r) {
        return TranslateResult::failed();
    }
    if (r->vi && !r->vi->empty()) {
        return TranslateResult::translated(*r->vi);
    }
    if (r->source && *r->source == kQueuedSource) {
        return TranslateResult::queued();
    }
    return TranslateResult::failed();
}

}  // namespace talvo::wire
