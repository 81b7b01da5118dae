#include "app/ocr/recognizer_factory.h"

#if defined(TALVO_HAVE_OCR)
#include "ocr/tesseract_recognizer.h"
#endif

namespace talvo {

std::unique_ptr<ocr::TextRecognizer> makeTextRecognizer() {
#if defined(TALVO_HAVE_OCR)
    return std::make_unique<ocr::TesseractRecognizer>();
#else
    return nullptr;
#endif
}

}  // namespace talvo
