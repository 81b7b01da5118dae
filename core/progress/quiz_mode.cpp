#include "core/progress/quiz_mode.h"

namespace talvo {

std::string_view rawValue(QuizMode mode) {
    switch (mode) {
        case QuizMode::AmFromHan:
            return "amFromHan";
        case QuizMode::HanFromAm:
            return "hanFromAm";
        case QuizMode::TypeAm:
            return "typeAm";
    }
    return "amFromHan";
}

std::optional<QuizMode> quizModeFromRaw(std::string_view raw) {
    for (QuizMode m : kAllQuizModes) {
        if (rawValue(m) == raw) {
            return m;
        }
    }
    return std::nullopt;
}

std::string_view title(QuizMode mode) {
    switch (mode) {
        case QuizMode::AmFromHan:
            return "Trắc nghiệm âm";
        case QuizMode::HanFromAm:
            return "Nhớ mặt chữ";
        case QuizMode::TypeAm:
            return "Gõ âm";
    }
    return "";
}

std::string_view prompt(QuizMode mode) {
    switch (mode) {
        case QuizMode::AmFromHan:
            return "Chọn âm đúng";
        case QuizMode::HanFromAm:
            return "Chọn chữ đúng";
        case QuizMode::TypeAm:
            return "Gõ âm Hán-Việt";
    }
    return "";
}

}  // namespace talvo
