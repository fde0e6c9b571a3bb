#include "presets/preset.h"

#include "presets/bank.h"
#include "presets/contenthash.h"
#include "presets/snapping.h"

#include <algorithm>
#include <cstring>

namespace torvo {

Preset::Preset() {
    setName("init");
    setLegacyNotes("no notes");
}

void Preset::setParam(int index, float value) {
    if (index >= 0 && index < kParamCount) values[index] = value;
}

void Preset::setParams(const float* source, int count, int firstIndex) {
    if (source == nullptr || firstIndex < 0 || firstIndex >= kParamCount || count <= 0) return;
    const int n = std::min(count, kParamCount - firstIndex);
    std::memcpy(values + firstIndex, source, std::size_t(n) * sizeof(float));
}

void Preset::copyParamsTo(float* out, int count) const {
    if (out == nullptr || count <= 0) return;
    std::memcpy(out, values, std::size_t(std::min(count, kParamCount)) * sizeof(float));
}

void Preset::setSingleTag(const std::string& text) {
    tagList.clear();
    if (!text.empty()) tagList.push_back(text);
}

std::string Preset::contentHash() const {
    return contentHashOf(values);
}

void Preset::snapToTable(Bank& bank) {
    for (int i = 0; i < kParamCount; ++i) values[i] = snapValue(bank.paramState(i), values[i]);
}

void Preset::copyLegacyPart(const Preset& from, int count) {
    if (&from == this) return;
    std::memcpy(nameField, from.nameField, sizeof nameField);
    std::memcpy(notesField, from.notesField, sizeof notesField);
    word = from.word;
    const int n = count <= 0 ? kParamCount : std::min(count, kParamCount);
    std::memcpy(values, from.values, std::size_t(n) * sizeof(float));
}

void Preset::setName(const char* text) {
    if (text == nullptr) text = "";
    std::strncpy(nameField, text, sizeof nameField);
    nameField[kNameBytes - 1] = '\0';
}

void Preset::setLegacyNotes(const char* text) {
    if (text == nullptr) text = "";
    // A longer text is cut at the field: the terminator always stays inside it.
    const std::size_t n = strnlen(text, kLegacyNotesBytes - 1);
    std::memcpy(notesField, text, n);
    notesField[n] = '\0';
}

void Preset::setLegacyNotesField(const char* bytes) {
    std::memcpy(notesField, bytes, sizeof notesField);
    notesField[kLegacyNotesBytes - 1] = '\0';
}

void Preset::setAllParams(const float* source) {
    if (source != nullptr) std::memcpy(values, source, sizeof values);
}

} // namespace torvo
