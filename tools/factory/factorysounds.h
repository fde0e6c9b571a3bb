#pragma once
// The factory sounds as data: each one names only the rows that differ from the default patch.

#include <vector>

namespace torvo::factory {

struct FactorySound {
    const char* name;
    /// The folder below "Factory Presets"; also the first tag for every folder but Sequence.
    const char* category;
    /// Up to five tags, separated by commas.
    const char* tags;
    const char* note;
    /// Blank-separated settings: "row=0.5" writes a normalised value, "row#3" picks list entry
    /// 3 of a list row in that row's own encoding.
    const char* rows;
};

const std::vector<FactorySound>& factorySounds();

} // namespace torvo::factory
