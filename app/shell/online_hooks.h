#pragma once

#include <functional>
#include <optional>
#include <string>

#include "core/wire/translate_records.h"

namespace talvo {

// The online side as the desktop shell sees it. Every member may be left
// empty: a missing translator or fetcher answers "failed", missing reporters
// and sync do nothing. Each asynchronous answer must arrive on the main thread.
struct OnlineHooks {
    using TranslateDone = std::function<void(wire::TranslateResult)>;
    using FetchDone = std::function<void(std::optional<std::string> body)>;

    std::function<void(const std::string& zh, TranslateDone done)> translate;
    // Usage reporting: a looked-up character, a feature name, the launch.
    std::function<void(const std::string& zh)> recordLookup;
    std::function<void(const std::string& feature)> feature;
    std::function<void()> appOpen;
    // Starts a study sync; a trigger while one runs is dropped by the service.
    std::function<void()> syncStudy;
    // GET of a URL; the body, or absent on any failure.
    std::function<void(const std::string& url, FetchDone done)> fetch;
    // Keeps the sign-in token in the system keychain; false when there is none.
    std::function<bool(const std::string& token)> saveToken;

    void translateOrFail(const std::string& zh, TranslateDone done) const {
        if (translate) {
            translate(zh, std::move(done));
        } else {
            done(wire::TranslateResult::failed());
        }
    }
    void fetchOrFail(const std::string& url, FetchDone done) const {
        if (fetch) {
            fetch(url, std::move(done));
        } else {
            done(std::nullopt);
        }
    }
    void reportFeature(const std::string& name) const {
        if (feature) {
            feature(name);
        }
    }
};

}  // namespace talvo
