// Host states of every form: compressed JSON, legacy blocks, host-wrapped, or garbage. The
// first byte picks whether the input is taken raw or first packed as a current-form state, so
// the JSON reader behind the codecs is reached too.
#include "presets/chunk.h"
#include "presets/codec.h"
#include "presets/fuzz/fuzzbank.h"

#include <cstdlib>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    torvo::Bank& bank = torvo::fuzz::sharedBank();
    static torvo::Chunk chunk(bank);
    static float controller[16];
    chunk.setControllerValues(controller, 16);
    chunk.setLegacyMode(false, false);
    const bool pack = data[0] & 1;
    ++data;
    --size;
    if (pack) {
        std::vector<uint8_t> deflated;
        torvo::codec::rawDeflate(data, size, deflated);
        std::string text = torvo::codec::base64Encode(deflated.data(), deflated.size());
        chunk.load(reinterpret_cast<const uint8_t*>(text.c_str()), text.size() + 1);
    } else {
        chunk.load(data, size);
    }
    torvo::fuzz::checkLiveRows(bank);
    const uint8_t* out = nullptr;
    if (chunk.save(&out) == 0) std::abort();
    return 0;
}
