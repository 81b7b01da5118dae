#pragma once

#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "ocr/text_recognizer.h"

namespace talvo::ocr {

// Where the recognition models are and what they can read.
class ModelFiles {
  public:
    // The model of each layout and the Debian package that installs it.
    static const char* modelName(Layout layout);  // "chi_tra" or "chi_tra_vert"
    static const char* packageName(Layout layout);

    // The folders searched for NAME.traineddata, in order: the given folder
    // alone when there is one; else $TESSDATA_PREFIX (the folder itself or
    // its tessdata/ subfolder), then where Debian installs Tesseract 5's
    // models (and 4's).
    static std::vector<std::string> searchPath(const std::string& given, const char* prefixEnv);
    // The folder holding the model, or nothing.
    static std::optional<std::string> find(const std::string& model,
                                           const std::vector<std::string>& path);

    // The characters a model's recogniser can write: the LSTM character set
    // inside the .traineddata container. Nothing when the file cannot be
    // read or is not such a container.
    static std::optional<std::unordered_set<char32_t>> readableCharacters(
        const std::string& traineddata);
};

}  // namespace talvo::ocr
