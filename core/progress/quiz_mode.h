#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace talvo {

// The three kinds of quiz. The raw values are stored in quiz_log.mode and so
// must never change.
enum class QuizMode {
    AmFromHan,  // the character is shown; pick its reading
    HanFromAm,  // the reading is shown; pick the character
    TypeAm,     // the character is shown; type its reading
};

inline constexpr std::array<QuizMode, 3> kAllQuizModes{QuizMode::AmFromHan, QuizMode::HanFromAm,
                                                       QuizMode::TypeAm};

std::string_view rawValue(QuizMode mode);
// Absent for anything but the three raw values (exact spelling).
std::optional<QuizMode> quizModeFromRaw(std::string_view raw);
// The mode picker's label.
std::string_view title(QuizMode mode);
// The instruction shown with each question.
std::string_view prompt(QuizMode mode);

// The quiz window's texts; Vietnamese in every interface language.
namespace quiztext {
inline constexpr const char* kSubtitle = "Câu hỏi tự sinh từ thẻ bạn đã học · +2 XP mỗi câu đúng";
inline constexpr const char* kPickHeading = "Chọn chế độ kiểm tra";
inline constexpr const char* kNotEnoughCards = "Chưa đủ thẻ để kiểm tra";
inline constexpr const char* kNotEnoughHint = "Học thêm vài thẻ rồi quay lại nhé.";
inline constexpr const char* kNext = "Câu tiếp  (⏎)";
inline constexpr const char* kAgain = "Kiểm tra tiếp";
inline constexpr const char* kRight = "✓ Đúng";
// A wrong answer is quoted after one of these, then the card is shown.
inline constexpr const char* kWrongPick = "✗ Bạn chọn “";
inline constexpr const char* kWrongTyped = "✗ Bạn gõ “";
inline constexpr const char* kQuoteEnd = "”";
}  // namespace quiztext

}  // namespace talvo
