#pragma once

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "core/db/database.h"
#include "core/tests/fixture_dict.h"
#include "tools/cli/cli_app.h"

namespace talvo::testing {

// talvo-cli in-process over a temporary folder: a fixture dictionary of
// `entries` in TALVO_DICT, the data folder in TALVO_DATA_DIR, the variables in
// `vars`, and what the program prints in `out` and `err`.
class CliFixture : public ::testing::Test {
  protected:
    void writeDictionary(const std::vector<FixtureEntry>& entries) {
        writeFixtureDict(dir.file("dict.sqlite"), entries);
        vars["TALVO_DICT"] = dir.file("dict.sqlite");
        vars["TALVO_DATA_DIR"] = dir.file("data");
    }

    // Runs `args` with `input` on standard input; the exit status.
    int run(const std::vector<std::string>& args, const std::string& input = "") {
        out.str("");
        err.str("");
        std::istringstream in(input);
        cli::Environment e{in,
                           out,
                           err,
                           [this](const char* name) -> std::optional<std::string> {
                               auto it = vars.find(name);
                               return it == vars.end() ? std::nullopt
                                                       : std::optional<std::string>(it->second);
                           },
                           dir.file("bin"),
                           [this] { return savedLanguage; }};
        return cli::run(args, e);
    }

    bool printed(const std::string& text) const {
        return out.str().find(text) != std::string::npos;
    }

    // One integer from the study database (-1 when the query yields no row).
    int64_t scalar(const std::string& sql) {
        db::Database d(dir.file("data/study.sqlite"), db::Database::Mode::ReadOnly);
        db::Statement st(d, sql);
        return st.step() ? st.int64(0) : -1;
    }

    TempDir dir;
    std::map<std::string, std::string> vars;
    std::optional<std::string> savedLanguage;  // what the desktop program saved, if anything
    std::ostringstream out, err;
};

// The five characters most CLI tests look up, study and quiz on.
inline std::vector<FixtureEntry> fiveCharacters(const char* fullEntryOfSo = nullptr) {
    return {
        {"數", {"số", "sổ", "sác"}, "Số đếm.", fullEntryOfSo, 300},
        {"傷", {"thương"}, "Bị thương.", nullptr, 800},
        {"寒", {"hàn"}, "Lạnh.", nullptr, 700},
        {"汗", {"hãn", "hàn"}, "Mồ hôi.", nullptr, 20},
        {"論", {"luận"}, nullptr, nullptr, 100},
    };
}

}  // namespace talvo::testing
