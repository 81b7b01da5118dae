#include "tools/assets/credits_text.h"

namespace talvo {

std::string creditsText(const std::vector<SourceCredit>& dictionarySources, bool withStrokeData) {
    std::string out =
        "Talvo: credits for the data it ships\n"
        "====================================\n\n"
        "The dictionary (dict.sqlite) was built from:\n\n";
    if (dictionarySources.empty()) {
        out += "  (the list of sources could not be read from dict.sqlite)\n";
    }
    for (const SourceCredit& s : dictionarySources) {
        out += "  * " + s.title + "\n";
        if (!s.credit.empty()) {
            out += "    " + s.credit + "\n";
        }
        if (!s.license.empty()) {
            out += "    Licence: " + s.license + "\n";
        }
        out += "\n";
    }
    if (withStrokeData) {
        out +=
            "The stroke-order data (strokes/) is hanzi-writer-data by David Chanin,\n"
            "derived from Make Me a Hanzi by Shaunak Kishore, whose outlines come from\n"
            "the Arphic fonts AR PL KaitiM GB and AR PL UKai (Arphic Technology Co.).\n"
            "Licence: Arphic Public License; the full text is in strokes/LICENSE-ARPHIC.txt.\n\n";
    }
    out +=
        "The application icon is the glyph 墨 as drawn by Noto Serif CJK (Adobe and\n"
        "Google), under the SIL Open Font License 1.1.\n";
    return out;
}

}  // namespace talvo
