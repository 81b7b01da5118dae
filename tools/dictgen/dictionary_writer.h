#pragma once

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tools/dictgen/dictionary.h"

namespace talvo::dictgen {

class WriteError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Writes dict.sqlite: han_viet(char, am) one row per reading, vantiel(char,
// gloss, full) one row per character with a gloss, corpus_freq(char, n), and
// meta(key, value), and text_model(part, data) when the dictionary has one (the
// recognition corrector's statistics, ocr/text_model.h); indexes for every lookup the program makes
// (lower(am) included, so reverse lookup does not scan). Rows go in code point order, readings rank
// by rank: every character's first reading, then every second one..., so that rowid order is each
// character's order of preference and, among characters sharing a reading, those for which it is
// the main reading come first. Rollback journal and a final VACUUM: the program opens the file
// immutable, and equal input gives a byte-identical file.
//
// Writes to PATH.tmp and renames it over PATH, so a failed build never leaves
// a half-written dictionary. Throws WriteError.
class DictionaryWriter {
  public:
    using Meta = std::vector<std::pair<std::string, std::string>>;

    static void write(const Dictionary& dict, const Meta& meta, const std::string& path);
};

}  // namespace talvo::dictgen
