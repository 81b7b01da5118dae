#pragma once

#include <string>
#include <string_view>

namespace talvo {

enum class AppLanguage { vi, zh, en };

// "zh" and "en" name their languages; anything else, including nothing, is vi.
AppLanguage appLanguageFromRaw(std::string_view raw);
std::string_view rawValue(AppLanguage lang);
std::string_view displayName(AppLanguage lang);

// One user-visible text in its three variants. Formats carry the same "%@"
// placeholders in every variant; pick first, then fill.
struct Tr {
    const char* vi;
    const char* zh;
    const char* en;

    std::string_view pick(AppLanguage lang) const;
};

// The variant for lang with each "%@" replaced, in order, by the arguments.
std::string format(const Tr& text, AppLanguage lang, std::string_view arg);

namespace msg {
inline constexpr Tr kNoHanInSelection{
    "Không có chữ Hán trong vùng chọn.",
    "選取的文字中沒有漢字。",
    "No Hán characters in the selection.",
};
inline constexpr Tr kAccessibilityNotGranted{
    "Chưa cấp quyền Accessibility. Mở System Settings → Privacy & Security → Accessibility, bật "
    "Talvo, rồi mở lại app.",
    "尚未授予輔助使用權限。請打開「系統設定」→「隱私權與安全性」→「輔助使用」，啟用 Talvo，然後重新開啟 "
    "app。",
    "Accessibility permission not granted. Open System Settings → Privacy & Security → "
    "Accessibility, enable Talvo, then reopen the app.",
};
inline constexpr Tr kSelectionUnreadable{
    "Không đọc được vùng chọn. Thử lại.",
    "無法讀取選取的文字，請再試一次。",
    "Couldn't read the selection. Try again.",
};
inline constexpr Tr kNoReverseMatch{
    "Không tìm thấy chữ Hán nào có âm “%@”.",
    "找不到讀音為「%@」的漢字。",
    "No Hán character found for the reading “%@”.",
};
inline constexpr Tr kDataErrorTitle{"Lỗi dữ liệu", "資料錯誤", "Data error"};
inline constexpr Tr kCannotOpenDict{
    "Không mở được dict.sqlite.",
    "無法開啟 dict.sqlite。",
    "Could not open dict.sqlite.",
};
}  // namespace msg

}  // namespace talvo
