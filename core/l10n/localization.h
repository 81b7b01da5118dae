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
    "尚未授予輔助使用權限。請打開「系統設定」→「隱私權與安全性」→「輔助使用」，啟用 "
    "Talvo，然後重新開啟 "
    "app。",
    "Accessibility permission not granted. Open System Settings → Privacy & Security → "
    "Accessibility, enable Talvo, then reopen the app.",
};
inline constexpr Tr kReadingSelection{"Đang đọc vùng chọn…", "正在讀取選取的文字…",
                                      "Reading the selection…"};
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

// Desktop program: status menu.
inline constexpr Tr kLookUp{"Tra cứu", "查詢", "Look up"};
inline constexpr Tr kSettingsItem{"Cài đặt…", "設定…", "Settings…"};
inline constexpr Tr kCheckForUpdates{"Kiểm tra cập nhật…", "檢查更新…", "Check for Updates…"};
inline constexpr Tr kAboutCredits{"Giới thiệu / Bản quyền", "關於 / 版權", "About / Credits"};
inline constexpr Tr kQuit{"Thoát", "結束", "Quit"};

// Desktop program: start-up alerts and notices.
inline constexpr Tr kMissingDataTitle{"Thiếu dữ liệu", "缺少資料", "Missing data"};
inline constexpr Tr kDictNotFound{
    "Không tìm thấy dict.sqlite trong bundle.",
    "在程式套件中找不到 dict.sqlite。",
    "dict.sqlite not found in the bundle.",
};
inline constexpr Tr kAccessibilityRequiredTitle{
    "Cần quyền Accessibility",
    "需要輔助使用權限",
    "Accessibility permission required",
};
inline constexpr Tr kAccessibilityRequiredText{
    "Cấp quyền trong System Settings → Privacy & Security → Accessibility, rồi mở lại app.",
    "請在「系統設定」→「隱私權與安全性」→「輔助使用」中授予權限，然後重新開啟 app。",
    "Grant access in System Settings → Privacy & Security → Accessibility, then reopen the app.",
};
// Desktop program: what a Wayland session does not allow, said once.
inline constexpr Tr kCommandShortcutTitle{"Gán phím tắt cho Talvo", "為 Talvo 指定快捷鍵",
                                          "Give Talvo a shortcut"};
inline constexpr Tr kCommandShortcutText{
    "Màn hình Wayland này không cho chương trình tự giữ phím tắt. Trong phần cài đặt bàn phím "
    "của máy, hãy gán một phím (ví dụ Alt+D) cho lệnh:\n%@",
    "此 Wayland 桌面不允許程式自行佔用快捷鍵。請在系統的鍵盤設定中，為以下指令指定一個按鍵"
    "（例如 Alt+D）：\n%@",
    "This Wayland desktop lets no program hold a shortcut of its own. In the system's keyboard "
    "settings, bind a key (Alt+D, say) to this command:\n%@",
};
inline constexpr Tr kNoTrayTitle{"Không có khay hệ thống", "沒有系統匣", "No system tray"};
inline constexpr Tr kNoTrayText{
    "Màn hình này không hiện biểu tượng của chương trình ở khay hệ thống (GNOME cần tiện ích "
    "AppIndicator). Các mục của menu Talvo nằm trong một cửa sổ nhỏ: mở lại Talvo từ danh sách "
    "ứng dụng để gọi nó.",
    "此桌面不在系統匣顯示程式圖示（GNOME 需要 AppIndicator 擴充功能）。Talvo 選單的項目放在一個"
    "小視窗中：從應用程式清單再次開啟 Talvo 即可叫出。",
    "This desktop shows no status icons (GNOME needs the AppIndicator extension). Talvo's menu "
    "is in a small window instead: open Talvo again from the applications list to bring it back.",
};
inline constexpr Tr kLaunchTitle{"Talvo đang chạy", "Talvo 已啟動", "Talvo is running"};
inline constexpr Tr kLaunchBody{
    "Ở thanh menu (墨). Bôi đen chữ Hán rồi bấm %@ để tra.",
    "在選單列（墨）。選取漢字後按 %@ 查詢。",
    "In the menu bar (墨). Select Hán text, then press %@ to look up.",
};

// Desktop program: About panel.
inline constexpr Tr kAboutDescription{
    "Âm Hán-Việt và nghĩa Hán cổ, dùng không cần mạng.",
    "離線漢越音與古漢語釋義。",
    "Offline Hán-Việt readings + classical Hán meanings.",
};
inline constexpr Tr kMedicalEditsCredit{
    "Âm đọc y học cổ truyền và thứ tự nghĩa y học: biên soạn riêng của Talvo.",
    "古典醫學讀音與醫學義項排序：Talvo 自行編訂。",
    "Classical-medical readings and sense ranking: Talvo's own edits.",
};
inline constexpr Tr kNoSourcesRecorded{
    "Từ điển này không ghi nguồn dữ liệu.",
    "此詞典未記載資料來源。",
    "This dictionary records no sources.",
};
inline constexpr Tr kRunningVersion{"Phiên bản đang chạy", "目前版本", "Running version"};

// Desktop program: update check.
inline constexpr Tr kUpdatesTitle{"Kiểm tra cập nhật", "檢查更新", "Check for Updates"};
inline constexpr Tr kUpToDate{
    "Bạn đang dùng bản mới nhất (%@).",
    "已是最新版本（%@）。",
    "You're up to date (%@).",
};
inline constexpr Tr kNewVersionAvailable{
    "Đã có phiên bản mới: %@.",
    "有新版本：%@。",
    "A new version is available: %@.",
};
inline constexpr Tr kUpdateCheckFailed{
    "Không kiểm tra được cập nhật. Thử lại sau.",
    "無法檢查更新，請稍後再試。",
    "Couldn't check for updates. Try again later.",
};
inline constexpr Tr kNoServiceConfigured{
    "Chưa đặt địa chỉ máy chủ trong Cài đặt.",
    "尚未在設定中填寫伺服器網址。",
    "No server address is set in Settings.",
};

// Desktop program: Settings window.
inline constexpr Tr kSettingsTitle{"Talvo — Cài đặt", "Talvo — 設定", "Talvo — Settings"};
inline constexpr Tr kLookupShortcut{"Phím tắt tra cứu", "查詢快捷鍵", "Lookup shortcut"};
inline constexpr Tr kChangeShortcut{"Đổi phím tắt…", "更改快捷鍵…", "Change shortcut…"};
inline constexpr Tr kPressCombo{"Bấm tổ hợp phím…", "請按組合鍵…", "Press a key combo…"};
inline constexpr Tr kRecordingHint{
    "Cần ít nhất một phím bổ trợ (%@). Esc để huỷ.",
    "至少需要一個修飾鍵（%@）。按 Esc 取消。",
    "Need at least one modifier (%@). Esc to cancel.",
};
inline constexpr Tr kNeedModifier{
    "Cần ít nhất một phím bổ trợ: %@",
    "至少需要一個修飾鍵：%@",
    "Need at least one modifier: %@",
};
inline constexpr Tr kShortcutHeldRoute{
    "Talvo tự giữ phím tắt này trên toàn màn hình.",
    "Talvo 自行在整個桌面上佔用此快捷鍵。",
    "Talvo holds this shortcut for the whole desktop itself.",
};
inline constexpr Tr kDesktopBinding{"Để GNOME chạy lệnh này khi bấm %@",
                                    "讓 GNOME 在按下 %@ 時執行此指令",
                                    "Let GNOME run this command on %@"};
inline constexpr Tr kDesktopBindingFailed{"Không ghi được vào cài đặt bàn phím của GNOME.",
                                          "無法寫入 GNOME 的鍵盤設定。",
                                          "GNOME's keyboard settings could not be written."};
// The shortcut where the user binds a key to the lookup command themselves.
inline constexpr Tr kBoundKey{"phím đã gán", "已指定的按鍵", "your bound key"};
inline constexpr Tr kShortcutCommandRoute{
    "Màn hình này không cho chương trình tự giữ phím tắt. Trong cài đặt bàn phím của máy, "
    "gán một phím cho lệnh sau:",
    "此桌面不允許程式自行佔用快捷鍵。請在系統的鍵盤設定中，為以下指令指定一個按鍵：",
    "This desktop lets no program hold a shortcut of its own. In the system's keyboard "
    "settings, bind a key to this command:",
};
inline constexpr Tr kDefaultCombo{"Mặc định %@", "預設 %@", "Default %@"};
inline constexpr Tr kLanguage{"Ngôn ngữ", "語言", "Language"};
inline constexpr Tr kServer{"Máy chủ", "伺服器", "Server"};
inline constexpr Tr kServiceUrl{"Địa chỉ dịch vụ", "服務網址", "Service URL"};
inline constexpr Tr kServiceUrlHint{
    "Để trống để tắt các tính năng trực tuyến.",
    "留空即關閉線上功能。",
    "Leave empty to turn the online features off.",
};
inline constexpr Tr kInvalidServiceUrl{
    "Địa chỉ phải bắt đầu bằng http:// hoặc https://.",
    "網址必須以 http:// 或 https:// 開頭。",
    "The address must start with http:// or https://.",
};
inline constexpr Tr kSignInToken{"Mã đăng nhập", "登入權杖", "Sign-in token"};
inline constexpr Tr kStartAtLogin{"Khởi động cùng hệ thống", "登入時啟動", "Start at login"};
inline constexpr Tr kStartAtLoginFailed{
    "Không ghi hoặc xoá được %@.",
    "無法寫入或刪除 %@。",
    "Could not write or remove %@.",
};
inline constexpr Tr kSave{"Lưu", "儲存", "Save"};
inline constexpr Tr kSaved{"Đã lưu.", "已儲存。", "Saved."};
inline constexpr Tr kServiceUrlNeedsHttps{
    "Hãy dùng https://: với http://, mã đăng nhập đi qua mạng ở dạng đọc được. http:// chỉ dùng "
    "cho máy chủ trên chính máy này.",
    "請使用 https://：使用 http:// 時，登入權杖會以明文經過網路。http:// 只用於本機上的伺服器。",
    "Use https://: with http:// your sign-in token would cross the network in clear text. "
    "http:// is only for a server on this machine.",
};
inline constexpr Tr kTokenUnavailable{
    "Chưa lưu được mã đăng nhập: kho khoá của hệ thống chưa sẵn sàng.",
    "無法儲存登入權杖：系統鑰匙圈無法使用。",
    "The sign-in token cannot be saved: the system keychain is not available.",
};
// Settings: the outcome of the latest study sync.
inline constexpr Tr kSyncLastOk{
    "Đồng bộ lần cuối lúc %@.",
    "上次同步於 %@。",
    "Last synced at %@.",
};
inline constexpr Tr kSyncLastFailed{
    "Lần đồng bộ gần nhất không thành công; sẽ thử lại ở lần sau.",
    "上次同步未成功，下次會再試。",
    "The last sync did not go through; it will be tried again.",
};
inline constexpr Tr kSyncRefused{
    "%@ thay đổi bị máy chủ từ chối, chỉ còn lưu trên máy này.",
    "%@ 項變更被伺服器拒絕，只保存在本機。",
    "%@ changes refused by the server are kept on this device only.",
};

// Desktop program: popup panel.
inline constexpr Tr kClose{"Đóng", "關閉", "Close"};
inline constexpr Tr kCopyCharacters{"Chép chữ", "複製漢字", "Copy characters"};
inline constexpr Tr kCopyReadings{"Chép âm", "複製讀音", "Copy readings"};
inline constexpr Tr kCopyAll{"Chép tất cả", "全部複製", "Copy all"};
inline constexpr Tr kCopied{"Đã chép", "已複製", "Copied"};
inline constexpr Tr kClickToCopy{
    "Bấm để chép chữ này",
    "點擊複製此字",
    "Click to copy this character",
};
inline constexpr Tr kTranslate{"Dịch", "翻譯", "Translate"};
inline constexpr Tr kTranslating{"Đang dịch…", "翻譯中…", "Translating…"};
inline constexpr Tr kTranslationFailed{
    "Dịch lỗi mạng. Thử lại.",
    "翻譯失敗（網路）。請重試。",
    "Translation failed (network). Try again.",
};
inline constexpr Tr kTranslationQueued{
    "Đoạn này đang chờ dịch, quay lại sau ít phút.",
    "此段正在排隊翻譯，請稍後再試。",
    "Queued for translation — check back shortly.",
};
// The service translates only for signed-in users unless its operator allows
// everyone; a sign-in token is set in Settings.
inline constexpr Tr kTranslationNeedsSignIn{
    "Cần đăng nhập để dịch: hãy nhập mã đăng nhập trong Cài đặt.",
    "翻譯需要登入：請在設定中輸入登入權杖。",
    "Sign in to translate: enter your sign-in token in Settings.",
};
inline constexpr Tr kTranslationLimited{
    "Đã dùng hết lượt dịch lúc này. Thử lại sau.",
    "翻譯次數暫時已用完，請稍後再試。",
    "No translations left for now. Try again later.",
};
inline constexpr Tr kAddToStudy{"Thêm vào thẻ học", "加入學習", "Add to study"};
inline constexpr Tr kAddedToStudy{"Đã thêm vào thẻ học", "已加入學習", "Added to study"};
inline constexpr Tr kEditReading{"Sửa âm", "修改讀音", "Edit reading"};
inline constexpr Tr kEditReadingHint{
    "Enter để lưu, Esc để huỷ. Các âm cách nhau bằng dấu phẩy; để trống thì dùng lại âm của từ "
    "điển.",
    "按 Enter 儲存，Esc 取消。多個讀音以逗號分隔；留空則恢復詞典讀音。",
    "Enter saves, Esc cancels. Separate readings with commas; leave empty to restore the "
    "dictionary's.",
};
inline constexpr Tr kNoReading{"(chưa có âm)", "（無讀音）", "(no reading)"};
inline constexpr Tr kFullEntry{"Nghĩa đầy đủ", "完整釋義", "Full entry"};
// The popup's two lists for a phrase: its words, then its characters.
inline constexpr Tr kWordsHeading{"Từ", "詞語", "Words"};
inline constexpr Tr kCharactersHeading{"Từng chữ", "單字", "Characters"};
inline constexpr Tr kShowWordCharacters{
    "Bấm (hoặc Enter) để xem từng chữ của từ này",
    "點擊（或按 Enter）查看此詞的單字",
    "Click (or press Enter) to see this word's characters",
};
inline constexpr Tr kMoreCharacters{
    "… và %@ chữ nữa (Chép tất cả để lấy đủ).",
    "……還有 %@ 個字（「全部複製」可取得全部）。",
    "… and %@ more characters (Copy all has them all).",
};
inline constexpr Tr kMoreCandidates{"… và %@ chữ khác", "……還有 %@ 個字", "… and %@ more"};

// Desktop program: reading text off the screen (the second shortcut, its
// region overlay and its panel).
inline constexpr Tr kScreenTextShortcut{"Phím tắt đọc chữ trên màn hình", "螢幕文字快捷鍵",
                                        "Text-on-screen shortcut"};
inline constexpr Tr kComboTakenByOther{"Phím tắt kia đang dùng tổ hợp này.",
                                       "另一個快捷鍵已使用此組合鍵。",
                                       "The other shortcut already uses this combo."};
inline constexpr Tr kCommandScreenTextText{
    "Để đọc chữ trên màn hình, gán thêm một phím (ví dụ Alt+Shift+D) cho lệnh:\n%@",
    "若要讀取螢幕上的文字，請再為以下指令指定一個按鍵（例如 Alt+Shift+D）：\n%@",
    "To read text on the screen, bind another key (Alt+Shift+D, say) to:\n%@",
};
inline constexpr Tr kRegionHint{
    "Kéo chuột quanh chữ Hán cần đọc. Esc để huỷ.",
    "拖曳滑鼠框住要讀取的漢字。按 Esc 取消。",
    "Drag around the Hán text to read. Esc cancels.",
};
inline constexpr Tr kScreenTextHeading{"Chữ trên màn hình", "螢幕上的文字", "Text on screen"};
inline constexpr Tr kRecognizing{"Đang đọc chữ…", "正在辨識文字…", "Reading the text…"};
inline constexpr Tr kRecognizedHint{
    "Chữ gạch chân đỏ là chữ đọc chưa chắc. Sửa ngay trên dòng này; Enter để tra lại.",
    "紅色底線的字辨識不確定。可直接在這一行修改，按 Enter 重新查詢。",
    "Characters underlined in red are uncertain. Fix them in this line; Enter looks up again.",
};
inline constexpr Tr kRegionTooSmall{
    "Vùng chọn quá nhỏ. Kéo chuột bao quanh cả dòng chữ.",
    "選取範圍太小。請拖曳框住整行文字。",
    "The region is too small. Drag around the whole line of text.",
};
inline constexpr Tr kRegionBadImage{
    "Không đọc được ảnh của vùng này. Thử kéo lại, rộng hơn một chút.",
    "無法讀取此區域的影像。請再拖曳一次，範圍稍大一些。",
    "Couldn't read the picture of this region. Drag again, a little wider.",
};
inline constexpr Tr kRegionNoText{
    "Không thấy chữ Hán nào trong vùng này.",
    "此區域中沒有找到漢字。",
    "No Hán text found in this region.",
};
inline constexpr Tr kRecognitionUnavailable{
    "Bản Talvo này không có phần nhận dạng chữ.",
    "此版本的 Talvo 不含文字辨識功能。",
    "This build of Talvo has no text recognition.",
};
inline constexpr Tr kNoHanInRecognized{
    "Dòng chữ này không có chữ Hán.",
    "這行文字中沒有漢字。",
    "No Hán characters in this text.",
};
inline constexpr Tr kScreenshotUnavailable{
    "Màn hình này không cho chương trình chụp ảnh (thiếu giao diện Screenshot của "
    "xdg-desktop-portal), nên không đọc được chữ trên màn hình.",
    "此桌面不允許程式擷取螢幕（缺少 xdg-desktop-portal 的 Screenshot 介面），因此無法讀取螢幕上的"
    "文字。",
    "This desktop lets no program take a screenshot (xdg-desktop-portal's Screenshot interface is "
    "missing), so text on the screen cannot be read.",
};
inline constexpr Tr kScreenshotFailed{
    "Không chụp được màn hình. Thử lại.",
    "無法擷取螢幕，請再試一次。",
    "Couldn't take a picture of the screen. Try again.",
};
// Recognition of printed text in pictures (scans): the desktop's region
// capture and talvo-cli ocr.
inline constexpr Tr kRecognitionModelMissing{
    "Chưa có mô hình nhận dạng chữ. Hãy cài gói %@ (sudo apt install %@).",
    "尚未安裝文字辨識模型。請安裝套件 %@（sudo apt install %@）。",
    "The text recognition model is not installed. Install the package %@ (sudo apt install %@).",
};
inline constexpr Tr kRecognitionBadImage{
    "Không nhận dạng được hình này: hình trống, quá nhỏ hoặc quá lớn.",
    "無法辨識此圖片：圖片是空的、太小或太大。",
    "This picture cannot be recognized: it is empty, too small or too large.",
};
inline constexpr Tr kRecognitionNoText{
    "Không nhận ra chữ Hán nào trong hình.",
    "圖片中沒有辨識出漢字。",
    "No Hán text was recognized in the picture.",
};
inline constexpr Tr kImageUnreadable{
    "Không mở được tệp %@.",
    "無法開啟檔案 %@。",
    "Couldn't open the file %@.",
};
inline constexpr Tr kImageNotAPicture{
    "Tệp %@ không phải là hình ảnh.",
    "檔案 %@ 不是圖片。",
    "The file %@ is not a picture.",
};
inline constexpr Tr kImageTooLarge{
    "Hình %@ quá lớn để nhận dạng.",
    "圖片 %@ 太大，無法辨識。",
    "The picture %@ is too large to recognize.",
};
inline constexpr Tr kRecognizedVertical{"Chữ nhận dạng (dọc):", "辨識結果（直排）：",
                                        "Recognized (vertical):"};
inline constexpr Tr kRecognizedHorizontal{"Chữ nhận dạng (ngang):", "辨識結果（橫排）：",
                                          "Recognized (horizontal):"};
inline constexpr Tr kRecognitionUncertain{
    "Chữ chưa chắc, hãy đối chiếu với hình: %@",
    "未能確定的字，請對照圖片：%@",
    "Uncertain characters, check them against the picture: %@",
};
}  // namespace msg

}  // namespace talvo
