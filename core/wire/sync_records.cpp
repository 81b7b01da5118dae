#include "core/wire/sync_records.h"

#include "core/wire/json_fields.h"

namespace talvo::wire {

using detail::Fields;
using detail::Json;
using detail::OrderedJson;

namespace {

OrderedJson cardJson(const SyncCard& c) {
    return OrderedJson{{"uid", c.uid},
                       {"front", c.front},
                       {"am", c.am},
                       {"gloss", c.gloss},
                       {"source", c.source},
                       {"stability", c.stability},
                       {"difficulty", c.difficulty},
                       {"reps", c.reps},
                       {"lapses", c.lapses},
                       {"state", c.state},
                       {"due", c.due},
                       {"last_day", c.lastDay},
                       {"suspended", c.suspended},
                       {"updated_at", c.updatedAt}};
}

OrderedJson logJson(const SyncLog& l) {
    return OrderedJson{{"log_id", l.logId},     {"card_uid", l.cardUid}, {"ts", l.ts},
                       {"day", l.day},          {"rating", l.rating},    {"elapsed", l.elapsed},
                       {"interval", l.interval}};
}

OrderedJson cardsJson(const std::vector<SyncCard>& cards) {
    OrderedJson a = OrderedJson::array();
    for (const SyncCard& c : cards) {
        a.push_back(cardJson(c));
    }
    return a;
}

OrderedJson logsJson(const std::vector<SyncLog>& logs) {
    OrderedJson a = OrderedJson::array();
    for (const SyncLog& l : logs) {
        a.push_back(logJson(l));
    }
    return a;
}

SyncCard readCard(const Json& v, std::string path) {
    Fields f(v, std::move(path));
    SyncCard c;
    c.uid = f.text("uid");
    c.front = f.text("front");
    c.am = f.optionalText("am").value_or("");
    c.gloss = f.optionalText("gloss").value_or("");
    c.source = f.optionalText("source").value_or("");
    c.stability = f.number("stability");
    c.difficulty = f.number("difficulty");
    c.reps = f.integer("reps");
    c.lapses = f.integer("lapses");
    c.state = f.optionalText("state").value_or("");
    c.due = f.integer("due");
    c.lastDay = f.integer("last_day");
    c.suspended = f.integer("suspended");
    c.updatedAt = f.integer("updated_at");
    return c;
}

SyncLog readLog(const Json& v, std::string path) {
    Fields f(v, std::move(path));
    SyncLog l;
    l.logId = f.text("log_id");
    l.cardUid = f.text("card_uid");
    l.ts = f.integer("ts");
    l.day = f.integer("day");
    l.rating = f.integer("rating");
    l.elapsed = f.integer("elapsed");
    l.interval = f.integer("interval");
    return l;
}

std::vector<SyncCard> readCards(const Fields& f) {
    const Json& a = f.list("cards");
    std::vector<SyncCard> out;
    out.reserve(a.size());
    for (size_t i = 0; i < a.size(); ++i) {
        out.push_back(readCard(a[i], f.elementPath("cards", i)));
    }
    return out;
}

std::vector<SyncRejection> readRejected(const Fields& f) {
    std::vector<SyncRejection> out;
    const Json* a = f.optional("rejected");
    if (!a) {
        return out;
    }
    if (!a->is_array()) {
        throw detail::DecodeError{f.memberPath("rejected") + ": expected a list"};
    }
    for (size_t i = 0; i < a->size(); ++i) {
        Fields r((*a)[i], f.elementPath("rejected", i));
        out.push_back({r.text("kind"), r.text("id"), r.optionalText("reason").value_or("")});
    }
    return out;
}

std::vector<SyncLog> readLogs(const Fields& f) {
    const Json& a = f.list("logs");
    std::vector<SyncLog> out;
    out.reserve(a.size());
    for (size_t i = 0; i < a.size(); ++i) {
        out.push_back(readLog(a[i], f.elementPath("logs", i)));
    }
    return out;
}

}  // namespace

std::string encodeSyncRequest(const SyncRequest& r) {
    OrderedJson j{{"device_id", r.deviceId},
                  {"since", r.since},
                  {"cards", cardsJson(r.cards)},
                  {"logs", logsJson(r.logs)}};
    if (!r.installId.empty()) {
        j["install_id"] = r.installId;
    }
    return detail::dump(j);
}

Decoded<SyncRequest> decodeSyncRequest(std::string_view body) {
    return detail::decodeGuarded<SyncRequest>(body, [](const Json& j) {
        Fields f(j, "");
        SyncRequest r;
        r.deviceId = f.text("device_id");
        r.since = f.integer("since");
        r.cards = readCards(f);
        r.logs = readLogs(f);
        r.installId = f.optionalText("install_id").value_or("");
        return r;
    });
}

std::string encodeSyncResponse(const SyncResponse& r) {
    OrderedJson j{{"now", r.now}, {"cards", cardsJson(r.cards)}, {"logs", logsJson(r.logs)}};
    if (r.more) {
        j["more"] = true;
    }
    if (!r.rejected.empty()) {
        OrderedJson a = OrderedJson::array();
        for (const SyncRejection& x : r.rejected) {
            a.push_back(OrderedJson{{"kind", x.kind}, {"id", x.id}, {"reason", x.reason}});
        }
        j["rejected"] = std::move(a);
    }
    return detail::dump(j);
}

Decoded<SyncResponse> decodeSyncResponse(std::string_view body) {
    return detail::decodeGuarded<SyncResponse>(body, [](const Json& j) {
        Fields f(j, "");
        SyncResponse r;
        r.now = f.integer("now");
        r.cards = readCards(f);
        r.logs = readLogs(f);
        if (const Json* more = f.optional("more")) {
            if (!more->is_boolean()) {
                throw detail::DecodeError{f.memberPath("more") + ": expected true or false"};
            }
            r.more = more->get<bool>();
        }
        r.rejected = readRejected(f);
        return r;
    });
}

}  // namespace talvo::wire
