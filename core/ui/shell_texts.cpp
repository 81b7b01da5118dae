#include "core/ui/shell_texts.h"

#include <cctype>

namespace talvo {

NoticeText launchNotice(AppLanguage lang, const std::string& comboDisplay) {
    return {std::string(msg::kLaunchTitle.pick(lang)),
            format(msg::kLaunchBody, lang, comboDisplay)};
}

NoticeText studyReminder(int64_t due) {
    std::string body = due < 1 ? "Ôn từ Hán mỗi ngày giữ nhớ lâu."
                               : std::to_string(due) + " thẻ chờ ôn. Học vài phút giữ chuỗi nhé.";
    return {"Talvo — Học hôm nay", body};
}

std::string aboutText(AppLanguage lang, const std::vector<SourceCredit>& sources,
                      const std::string& version) {
    std::string out(msg::kAboutDescription.pick(lang));
    out += "\n\n";
    if (sources.empty()) {
        out += msg::kNoSourcesRecorded.pick(lang);
        out += '\n';
    }
    for (const SourceCredit& s : sources) {
        out += "• " + s.title;
        if (!s.credit.empty()) {
            out += " — " + s.credit;
        }
        if (!s.license.empty()) {
            out += " (" + s.license + ")";
        }
        out += '\n';
    }
    out += "• ";
    out += msg::kMedicalEditsCredit.pick(lang);
    out += "\n\n";
    out += msg::kRunningVersion.pick(lang);
    out += ": " + version;
    return out;
}

namespace {

struct Token {
    bool number = false;
    std::string_view text;
};

// Digit runs and letter runs; separators ('.', '-', '_', ' ', '+') split runs
// and are not tokens themselves.
std::vector<Token> tokens(std::string_view v) {
    std::vector<Token> out;
    size_t i = 0;
    while (i < v.size()) {
        unsigned char c = static_cast<unsigned char>(v[i]);
        if (std::isdigit(c)) {
            size_t j = i;
            while (j < v.size() && std::isdigit(static_cast<unsigned char>(v[j]))) {
                ++j;
            }
            out.push_back({true, v.substr(i, j - i)});
            i = j;
        } else if (c == '.' || c == '-' || c == '_' || c == ' ' || c == '+') {
            ++i;
        } else {
            size_t j = i;
            while (j < v.size()) {
                unsigned char d = static_cast<unsigned char>(v[j]);
                if (std::isdigit(d) || d == '.' || d == '-' || d == '_' || d == ' ' || d == '+') {
                    break;
                }
                ++j;
            }
            out.push_back({false, v.substr(i, j - i)});
            i = j;
        }
    }
    return out;
}

int compareNumbers(std::string_view a, std::string_view b) {
    while (a.size() > 1 && a.front() == '0') {
        a.remove_prefix(1);
    }
    while (b.size() > 1 && b.front() == '0') {
        b.remove_prefix(1);
    }
    if (a.size() != b.size()) {
        return a.size() < b.size() ? -1 : 1;
    }
    return a.compare(b) < 0 ? -1 : (a == b ? 0 : 1);
}

}  // namespace

int compareVersions(std::string_view a, std::string_view b) {
    std::vector<Token> ta = tokens(a);
    std::vector<Token> tb = tokens(b);
    size_t n = std::min(ta.size(), tb.size());
    for (size_t i = 0; i < n; ++i) {
        if (ta[i].number && tb[i].number) {
            if (int c = compareNumbers(ta[i].text, tb[i].text)) {
                return c;
            }
        } else if (ta[i].number != tb[i].number) {
            // "1.0.1" against "1.0b1": the number is a release, the text a pre-release.
            return ta[i].number ? 1 : -1;
        } else if (int c = ta[i].text.compare(tb[i].text)) {
            return c < 0 ? -1 : 1;
        }
    }
    if (ta.size() == tb.size()) {
        return 0;
    }
    // The longer one is newer when it goes on with a number, older when it
    // goes on with a pre-release tag.
    if (ta.size() > tb.size()) {
        return ta[n].number ? 1 : -1;
    }
    return tb[n].number ? -1 : 1;
}

UpdateVerdict updateVerdict(const std::string& current, const std::vector<std::string>& offered) {
    const std::string* newest = nullptr;
    for (const std::string& v : offered) {
        if (!v.empty() && (!newest || compareVersions(v, *newest) > 0)) {
            newest = &v;
        }
    }
    if (!newest) {
        return {UpdateVerdict::Kind::Failed, {}};
    }
    if (compareVersions(*newest, current) > 0) {
        return {UpdateVerdict::Kind::NewerAvailable, *newest};
    }
    return {UpdateVerdict::Kind::UpToDate, {}};
}

std::string updateMessage(AppLanguage lang, const UpdateVerdict& verdict,
                          const std::string& current) {
    switch (verdict.kind) {
        case UpdateVerdict::Kind::UpToDate:
            return format(msg::kUpToDate, lang, current);
        case UpdateVerdict::Kind::NewerAvailable:
            return format(msg::kNewVersionAvailable, lang, verdict.version);
        case UpdateVerdict::Kind::NotConfigured:
            return std::string(msg::kNoServiceConfigured.pick(lang));
        case UpdateVerdict::Kind::Failed:
            break;
    }
    return std::string(msg::kUpdateCheckFailed.pick(lang));
}

}  // namespace talvo
