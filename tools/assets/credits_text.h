#pragma once

#include <string>
#include <vector>

#include "core/ui/shell_texts.h"

namespace talvo {

// The plain-text credits installed beside the data (share/talvo/CREDITS.txt):
// the dictionary's sources as its build recorded them (or a line saying they
// could not be read), the stroke-order data when the build holds it, and the
// font the icon's glyph is drawn from.
std::string creditsText(const std::vector<SourceCredit>& dictionarySources, bool withStrokeData);

}  // namespace talvo
