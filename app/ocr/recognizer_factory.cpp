#include "app/ocr/recognizer_factory.h"

#if defined(TALVO_HAVE_OCR)
#include "ocr/tesseract_recognizer.h"
#endif

namespace talvo {

std::unique_ptr<ocr::TextRecognizer> makeTextRecognizer(const std::string& dictionaryPath) {
#if defined(TALVO_HAVE_OCR)
    ocr::RecognizerOptions options;
    options.dictionaryPath = dictionaryPath;
    return std::make_unique<ocr::TesseractRecognizer>(options);
#else
    (void)dictionaryPath;
    return nullptr;
#endif
}

}  // namespace talvo
