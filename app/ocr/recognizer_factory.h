#pragma once

#include <memory>
#include <string>

#include "ocr/text_recognizer.h"

namespace talvo {

// The recognition engine this program was built with, made now, correcting
// its readings against the text model in the dictionary at `dictionaryPath`
// (empty: uncorrected); null when the program was built without one. Called
// once, on the recognition thread.
std::unique_ptr<ocr::TextRecognizer> makeTextRecognizer(const std::string& dictionaryPath);

}  // namespace talvo
