#include "core/lookup/medical_sense.h"

#include <array>
#include <string>
#include <unordered_set>
#include <vector>

#include "core/text/unicode.h"

namespace talvo::MedicalSense {

namespace {

// Characters of classical medicine, traditional and simplified forms; grouped by
// theme only for the reader, whitespace is dropped and repeats collapse.
constexpr const char* kMedicalChars =
    "風风寒暑濕湿燥火熱热涼凉淫邪正\n"
    "氣气血津液精神痰飲饮汗涎涕唾魂魄營营衛卫\n"
    "陰阴陽阳虛虚實实表裏里寒熱\n"
    "心肝脾肺腎肾胃膽胆膀胱焦腸肠腑臟脏包脘脅胁脹胀\n"
    "經经絡络脈脉穴俞募\n"
    "五味酸苦甘辛鹹咸淡甜\n"
    "君臣佐使\n"
    "浮沉遲迟數数滑澀涩弦緊紧洪細细微弱濡芤\n"
    "汗吐下和溫清消補瀉導导利散\n"
    "病證证症痛腫肿瘡疮癰痈疽疹痺痹痿厥痢瀉泻嘔呕咳喘嗽瘧疟疳癥瘕積积聚鬱郁眩暈晕痙痉淋癲癫狂瘀勞痨"
    "滯滞痞悸脹疰疫\n"
    "筋骨髓肌膚肤皮肉目舌口鼻耳咽喉齒齿髮发爪膜\n"
    "藥药針针灸補温清湯汤丸散膏丹毒\n"
    "治療疗醫医養养調调攝摄補补益滋養養防欲堅坚收斂敛固澀涩潤润溫煦\n";

constexpr const char* kSimplifiedForms =
    "风湿热凉气饮营卫阴阳虚实里肾胆肠脏胀胁经络脉咸数迟涩紧细导\n"
    "证症肿疮痈呕疟积郁晕痉癫泻痨滞肤齿发药针汤疗医养调摄补坚敛润\n";

constexpr std::array<const char*, 11> kVariantMarkers = {
    "tục dùng như", "tục tự",       "tục viết",     "dạng cổ của", "dạng cổ chữ",   "giản thể",
    "lối viết tắt", "viết tắt của", "cũng viết là", "chữ cổ của",  "lối viết khác",
};

constexpr std::array<const char*, 59> kMedicalKeywords = {
    "tà",          "đông y",    "trúng phong", "kinh lạc",   "tạng phủ",   "huyệt",
    "châm cứu",    "lá phổi",   "lá lách",     "bệnh",       "chứng",      "thũng",
    "ung nhọt",    "mạch",      "khí huyết",   "tân dịch",   "tả hỏa",     "táo thấp",
    "thanh nhiệt", "tả hạ",     "hoạt huyết",  "hành khí",   "khu phong",  "tán hàn",
    "hóa đàm",     "lợi thủy",  "lợi tiểu",    "ích khí",    "bổ huyết",   "an thần",
    "sinh tân",    "giải biểu", "ôn trung",    "khai khiếu", "vị thuốc",   "cố tinh",
    "tả lị",       "trừ thấp",  "vị khổ",      "vị cay",     "vị ngọt",    "vị mặn",
    "vị chua",     "điều trị",  "trị liệu",    "chữa bệnh",  "chữa",       "trị bệnh",
    "thầy thuốc",  "dưỡng âm",  "dưỡng huyết", "điều hòa",   "bồi bổ",     "liệu pháp",
    "thu liễm",    "cố sáp",    "nhuận",       "ôn ấm",      "nuôi dưỡng",
};

std::unordered_set<std::string> charSet(const char* textBlock) {
    std::unordered_set<std::string> out;
    for (const std::string& g : text::graphemes(textBlock)) {
        if (!text::isWhitespace(text::scalars(g).front())) {
            out.insert(g);
        }
    }
    return out;
}

// Magic statics make the lazy construction thread-safe.
const std::unordered_set<std::string>& medicalChars() {
    static const auto set = charSet(kMedicalChars);
    return set;
}

const std::unordered_set<std::string>& simplifiedForms() {
    static const auto set = charSet(kSimplifiedForms);
    return set;
}

template <size_t N>
bool containsAny(const std::string& haystack, const std::array<const char*, N>& needles) {
    for (const char* n : needles) {
        if (haystack.find(n) != std::string::npos) {
            return true;
        }
    }
    return false;
}

// Lower-cased and composed, so a decomposed "ô" matches the precomposed keyword.
std::string normalizedGloss(const std::string& gloss) {
    return text::nfc(text::toLower(gloss));
}

// Both gloss tests take the gloss already normalized.
bool isVariantOrSimplified(std::string_view ch, const std::optional<std::string>& gloss) {
    if (simplifiedForms().count(std::string(ch))) {
        return true;
    }
    return gloss && containsAny(*gloss, kVariantMarkers);
}

bool glossLooksMedical(const std::optional<std::string>& gloss) {
    return gloss && containsAny(*gloss, kMedicalKeywords);
}

}  // namespace

bool isMedicalChar(std::string_view ch) {
    return medicalChars().count(std::string(ch)) > 0;
}

int score(std::string_view ch, const std::optional<std::string>& gloss) {
    std::optional<std::string> g;
    if (gloss) {
        g = normalizedGloss(*gloss);
    }
    return (isMedicalChar(ch) ? 10 : 0) - (isVariantOrSimplified(ch, g) ? 1 : 0) +
           (glossLooksMedical(g) ? 1 : 0);
}

}  // namespace talvo::MedicalSense
