// Legacy single preset records of any size and content.
#include "presets/fuzz/fuzzbank.h"

#include <cmath>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    torvo::Bank& bank = torvo::fuzz::sharedBank();
    if (bank.loadLegacyRecord(data, size)) {
        torvo::fuzz::checkLiveRows(bank);
        std::size_t out = 0;
        bank.currentToLegacyRecord(out, false);
    }
    return 0;
}
