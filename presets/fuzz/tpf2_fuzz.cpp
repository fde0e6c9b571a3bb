// Preset file texts: any bytes, parsed tolerantly, then written again.
#include "presets/fuzz/fuzzbank.h"
#include "presets/presetjson.h"

#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    torvo::Bank& bank = torvo::fuzz::sharedBank();
    const std::string text(reinterpret_cast<const char*>(data), size);
    auto preset = torvo::presetFromJson(text, "fuzz", bank, torvo::NotesMode::Normalise);
    if (preset) {
        for (int i = 0; i < torvo::kParamCount; ++i) {
            const float v = preset->params()[i];
            if (!(v >= 0.0f && v <= 1.0f)) std::abort();
        }
        if (preset->tags().size() > 5) std::abort();
        const std::string again = torvo::presetToJson(*preset, bank, true);
        if (!torvo::presetFromJson(again, "fuzz", bank, torvo::NotesMode::AsStored)) std::abort();
        bank.loadPreset(*preset, true);
    }
    return 0;
}
