#pragma once
// One bank per fuzzer process, with the table's defaults captured as an instance would have,
// and the invariants every load must leave behind in the live rows.

#include "presets/bank.h"
#include "presets/snapping.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>

namespace torvo::fuzz {

inline Bank& sharedBank() {
    static std::unique_ptr<Bank> bank = [] {
        auto b = std::make_unique<Bank>();
        b->initAllPresets();
        return b;
    }();
    return *bank;
}

/// A continuous row holds 0..1; a list row an index inside its list and a finite value that
/// snapping leaves where it is. A list value keeps its exact number while its index is in
/// range, so a spread list may hold a little above 1 and any list a tiny negative number
/// whose index truncates to 0.
inline void checkLiveRows(Bank& bank) {
    for (int i = 0; i < kParamCount; ++i) {
        const ParamRecord& r = bank.paramState(i);
        bool ok = std::isfinite(r.value) && snapValue(r, r.value) == r.value;
        if (r.isList())
            ok = ok && r.choiceIndex >= 0 && uint32_t(r.choiceIndex) < r.choiceCount;
        else
            ok = ok && r.value >= 0.0f && r.value <= 1.0f;
        if (!ok) {
            std::fprintf(stderr, "row %d holds %g (index %d)\n", i, double(r.value),
                         int(r.choiceIndex));
            std::abort();
        }
    }
    if (bank.currentIndex() < 0 || bank.currentIndex() >= Bank::kPresetCount) std::abort();
}

} // namespace torvo::fuzz
