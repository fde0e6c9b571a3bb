// Bank images of any size and content, including cut and oversized ones.
#include "presets/fuzz/fuzzbank.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    torvo::Bank& bank = torvo::fuzz::sharedBank();
    if (bank.loadBankImage(data, size)) {
        torvo::fuzz::checkLiveRows(bank);
        std::size_t out = 0;
        bank.toBankImage(out, size % 2 == 0);
    }
    return 0;
}
