#include "core/wire/stats_records.h"

#include "core/wire/json_fields.h"

namespace talvo::wire {

using detail::Fields;
using detail::Json;
using detail::OrderedJson;

std::string encodeStatsEvent(const StatsEvent& e) {
    OrderedJson params = OrderedJson::object();
    for (const auto& [k, v] : e.params) {
        params[k] = v;
    }
    return detail::dump(OrderedJson{{"name", e.name}, {"params", std::move(params)}});
}

Decoded<StatsEvent> decodeStatsEvent(std::string_view body) {
    return detail::decodeGuarded<StatsEvent>(body, [](const Json& j) {
        Fields f(j, "");
        StatsEvent e;
        e.name = f.text("name");
        if (const Json* params = f.optional("params")) {
            std::string path = f.memberPath("params");
            if (!params->is_object()) {
                throw detail::DecodeError{path + ": expected an object, got " +
                                          std::string(params->type_name())};
            }
            for (const auto& [k, v] : params->items()) {
                e.params[k] = detail::asText(v, path + "." + k);
            }
        }
        return e;
    });
}

std::string encodeLookupReport(const LookupReport& r) {
    return detail::dump(OrderedJson{{"zh", r.zh}});
}

Decoded<LookupReport> decodeLookupReport(std::string_view body) {
    return detail::decodeGuarded<LookupReport>(
        body, [](const Json& j) { return LookupReport{Fields(j, "").text("zh")}; });
}

}  // namespace talvo::wire
