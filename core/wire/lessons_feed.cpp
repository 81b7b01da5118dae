#include "core/wire/lessons_feed.h"

#include <algorithm>

#include "core/wire/json_fields.h"

namespace talvo::wire {

using detail::Fields;
using detail::Json;
using detail::OrderedJson;

namespace {

LessonItem readItem(const Json& v, std::string path) {
    Fields f(v, std::move(path));
    LessonItem item;
    item.uid = f.text("uid");
    item.front = f.text("front");
    item.am = f.optionalText("am");
    item.gloss = f.optionalText("gloss");
    item.ord = f.optionalInteger("ord");
    return item;
}

Lesson readLesson(const Json& v, std::string path) {
    Fields f(v, std::move(path));
    Lesson l;
    l.id = f.integer("id");
    l.slug = f.optionalText("slug");
    l.title = f.text("title");
    l.hanLabel = f.optionalText("han_label");
    l.tier = f.optionalInteger("tier");
    l.ord = f.optionalInteger("ord");
    l.kind = f.optionalText("kind");
    const Json& items = f.list("items");
    l.items.reserve(items.size());
    for (size_t i = 0; i < items.size(); ++i) {
        l.items.push_back(readItem(items[i], f.elementPath("items", i)));
    }
    return l;
}

template <typename T>
void putOptional(OrderedJson& j, const char* key, const std::optional<T>& v) {
    if (v) {
        j[key] = *v;
    }
}

}  // namespace

std::string encodeLessonsFeed(const LessonsFeed& feed) {
    OrderedJson lessons = OrderedJson::array();
    for (const Lesson& l : feed.lessons) {
        OrderedJson j;
        j["id"] = l.id;
        putOptional(j, "slug", l.slug);
        j["title"] = l.title;
        putOptional(j, "han_label", l.hanLabel);
        putOptional(j, "tier", l.tier);
        putOptional(j, "ord", l.ord);
        putOptional(j, "kind", l.kind);
        OrderedJson items = OrderedJson::array();
        for (const LessonItem& item : l.items) {
            OrderedJson ij;
            ij["uid"] = item.uid;
            ij["front"] = item.front;
            putOptional(ij, "am", item.am);
            putOptional(ij, "gloss", item.gloss);
            putOptional(ij, "ord", item.ord);
            items.push_back(std::move(ij));
        }
        j["items"] = std::move(items);
        lessons.push_back(std::move(j));
    }
    return detail::dump(OrderedJson{{"lessons", std::move(lessons)}});
}

Decoded<LessonsFeed> decodeLessonsFeed(std::string_view body) {
    return detail::decodeGuarded<LessonsFeed>(body, [](const Json& j) {
        Fields f(j, "");
        const Json& list = f.list("lessons");
        LessonsFeed feed;
        feed.lessons.reserve(list.size());
        for (size_t i = 0; i < list.size(); ++i) {
            feed.lessons.push_back(readLesson(list[i], f.elementPath("lessons", i)));
        }
        return feed;
    });
}

void sortLessons(std::vector<Lesson>& lessons) {
    std::stable_sort(lessons.begin(), lessons.end(), [](const Lesson& a, const Lesson& b) {
        int64_t ta = a.tier.value_or(0), tb = b.tier.value_or(0);
        if (ta != tb) {
            return ta < tb;
        }
        int64_t oa = a.ord.value_or(0), ob = b.ord.value_or(0);
        if (oa != ob) {
            return oa < ob;
        }
        return a.id < b.id;
    });
}

std::vector<std::string> itemUids(const Lesson& lesson) {
    std::vector<std::string> uids;
    uids.reserve(lesson.items.size());
    for (const LessonItem& item : lesson.items) {
        uids.push_back(item.uid);
    }
    return uids;
}

}  // namespace talvo::wire
