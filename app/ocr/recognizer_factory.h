#pragma once

#include <memory>

#include "ocr/text_recognizer.h"

namespace talvo {

// The recognition engine this program was built with, made now; null when
// it was built without one. Called once, on the recognition thread.
std::unique_ptr<ocr::TextRecognizer> makeTextRecognizer();

}  // namespace talvo
