#include "tools/cli/cli_ocr.h"

#include <nlohmann/json.hpp>
#include <ostream>

#include "core/lookup/lookup_decision.h"
#include "core/lookup/lookup_service.h"
#include "ocr/image_file.h"
#include "ocr/tesseract_recognizer.h"
#include "tools/cli/cli_format.h"

namespace talvo::cli {

namespace {

std::optional<ocr::Layout> layoutOption(const std::string& a) {
    if (a == "--vertical") {
        return ocr::Layout::Vertical;
    }
    if (a == "--horizontal") {
        return ocr::Layout::Horizontal;
    }
    return std::nullopt;
}

}  // namespace

std::optional<std::string> ocrUsageError(const std::vector<std::string>& operands) {
    size_t images = 0;
    size_t layouts = 0;
    for (const std::string& a : operands) {
        if (layoutOption(a)) {
            ++layouts;
        } else if (a.size() > 1 && a[0] == '-' && a[1] == '-') {
            return "ocr: unknown option " + a + " (--vertical or --horizontal)";
        } else {
            ++images;
        }
    }
    if (images != 1) {
        return "ocr needs one IMAGE file";
    }
    if (layouts > 1) {
        return "ocr takes --vertical or --horizontal, not both";
    }
    return std::nullopt;
}

int runOcr(const OcrOptions& o, LookupService& lookup, Environment& e) {
    std::string path;
    ocr::Layout layout = ocr::Layout::Auto;
    for (const std::string& a : o.operands) {
        if (auto l = layoutOption(a)) {
            layout = *l;
        } else {
            path = a;
        }
    }
    auto fail = [&](const Tr& text, const std::string& arg) {
        e.err << "talvo-cli: " << format(text, o.lang, arg) << '\n';
        return kExitCannotRecognize;
    };
    ocr::ImageFileResult file = ocr::readImageFile(path);
    if (file.error) {
        switch (*file.error) {
            case ocr::ImageFileError::Unreadable:
                return fail(msg::kImageUnreadable, path);
            case ocr::ImageFileError::NotAnImage:
                return fail(msg::kImageNotAPicture, path);
            case ocr::ImageFileError::TooLarge:
                return fail(msg::kImageTooLarge, path);
        }
    }
    ocr::TesseractRecognizer recognizer(ocr::RecognizerOptions{"", o.dictionaryPath, "", "", true});
    ocr::RecognitionOutcome out = recognizer.recognize(file.image->view(), layout);
    if (out.error == ocr::RecognitionError::ModelMissing) {
        return fail(msg::kRecognitionModelMissing, out.missingPackage);
    }
    if (out.error == ocr::RecognitionError::BadImage) {
        return fail(msg::kRecognitionBadImage, "");
    }
    if (out.error || !out.recognition) {
        std::string m(msg::kRecognitionNoText.pick(o.lang));
        e.out << (o.json ? messageJson(m) : m) << '\n';
        return kExitOk;
    }
    const ocr::Recognition& r = *out.recognition;
    LookupDecision d = LookupDecision::decide(r.text);
    PhraseLookup p = lookup.analyze(d.chars, d.breaks);
    std::vector<size_t> uncertain;
    std::string uncertainChars;
    for (size_t i = 0; i < r.chars.size(); ++i) {
        if (r.chars[i].uncertain) {
            uncertain.push_back(i);
            uncertainChars += (uncertainChars.empty() ? "" : " ") + r.chars[i].text;
        }
    }
    bool vertical = r.layout == ocr::Layout::Vertical;
    if (o.json) {
        nlohmann::ordered_json j = nlohmann::ordered_json::parse(forwardJson(p));
        j["recognized"] = r.text;
        j["layout"] = vertical ? "vertical" : "horizontal";
        j["uncertain"] = uncertain;
        e.out << dump(j) << '\n';
        return kExitOk;
    }
    e.out << (vertical ? msg::kRecognizedVertical : msg::kRecognizedHorizontal).pick(o.lang) << '\n'
          << r.text;
    if (!r.text.empty() && r.text.back() != '\n') {
        e.out << '\n';
    }
    if (!uncertainChars.empty()) {
        e.out << format(msg::kRecognitionUncertain, o.lang, uncertainChars) << '\n';
    }
    e.out << '\n';
    printForward(e.out, p);
    return kExitOk;
}

}  // namespace talvo::cli
