#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/l10n/localization.h"
#include "tools/cli/cli_app.h"

namespace talvo {
class LookupService;
}  // namespace talvo

namespace talvo::cli {

// The picture could not be read or recognised (no such file, not a picture,
// too large, or no recognition model installed).
inline constexpr int kExitCannotRecognize = 5;

struct OcrOptions {
    std::vector<std::string> operands;  // IMAGE and --vertical or --horizontal
    bool json = false;
    AppLanguage lang = AppLanguage::vi;
    std::string dictionaryPath;  // the text model the correction reads
};

// A message when the operands are wrong; checked before anything opens.
std::optional<std::string> ocrUsageError(const std::vector<std::string>& operands);

// Recognises the Hán text of a picture file and prints it, then its lookup
// (with --json, the lookup's JSON with "recognized", "layout" and
// "uncertain" added). Exit codes: 0 an answer or a message (no text found),
// 5 the picture cannot be read or recognised.
int runOcr(const OcrOptions& o, LookupService& lookup, Environment& e);

}  // namespace talvo::cli
