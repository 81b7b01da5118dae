#pragma once

#include <QByteArray>
#include <string>
#include <vector>

#include "core/ui/shell_texts.h"

namespace talvo {

// The sources the dictionary's build recorded in its meta table ("sources":
// a JSON list of {title, license, credit, ...}). Empty when the file, the
// table or the entry is missing or unreadable.
std::vector<SourceCredit> dictionaryCredits(const std::string& dictionaryPath);
// The same from the JSON text itself.
std::vector<SourceCredit> parseSourceCredits(const QByteArray& json);

}  // namespace talvo
