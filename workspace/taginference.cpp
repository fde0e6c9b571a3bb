#include "workspace/taginference.h"

#include <cctype>
#include <initializer_list>

namespace torvo {

TagInference::TagInference() {
    struct Rule {
        const char* tag;
        std::initializer_list<const char*> keys;
    };
    const Rule rules[] = {
        {"Bass", {"sub", "bass", "bs", "ba"}},
        {"FX", {"riser", "drone", "sfx", "fx"}},
        {"Keys", {"lv", "str", "organ", "org", "keys", "key"}},
        {"Lead", {"lead", "ld"}},
        {"Pad", {"pa", "pad", "pd"}},
        {"Pluck", {"pluck", "plk", "pl"}},
        {"Synth", {"acid", "stab", "psy", "drive", "synth", "sy", "sn"}},
        {"Chord", {"chord", "chd"}},
        {"Atmosphere", {"tex", "atmos", "atm", "amb"}},
        {"Drum", {"tom", "cymb", "hat", "snare", "clap", "kick", "perc", "drum", "dr"}},
        {"Arpeggio", {"arp", "ar"}},
        {"Sequenced", {"gate", "gt", "acidseq", "basseq", "bsq", "seq", "sq"}},
    };
    for (const Rule& rule : rules)
        for (const char* key : rule.keys) nameRules[key] = rule.tag;
}

int TagInference::matchWord(const std::string& name, const std::string& key) {
    if (name == key) return 0;
    const std::size_t withBlank = name.find(key + " ");
    if (withBlank == 0) return 0;
    if (withBlank != std::string::npos) {
        const unsigned char before = static_cast<unsigned char>(name[withBlank - 1]);
        if (std::isspace(before) || std::ispunct(before)) return int(withBlank);
    }
    const std::size_t alone = name.find(key);
    if (alone != std::string::npos && alone >= 1 && alone + key.size() == name.size() &&
        !std::isalnum(static_cast<unsigned char>(name[alone - 1])))
        return int(alone);
    return -1;
}

std::string TagInference::inferTag(const std::string& name) const {
    std::string lower = name;
    for (char& c : lower) c = char(std::tolower(static_cast<unsigned char>(c)));
    int best = int(lower.size());
    std::string result;
    for (const auto& [key, tag] : nameRules) {
        const int pos = matchWord(lower, key);
        if (pos != -1 && pos < best) {
            best = pos;
            result = tag;
        }
    }
    return result;
}

} // namespace torvo
