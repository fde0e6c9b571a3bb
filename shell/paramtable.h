#pragma once
// The parameter table: every sound-shaping value of the instrument is one of 725 normalised
// floats with a fixed number. Presets, host state, automation, the editor and the engine all
// speak of a parameter by that number. The rows are data (see paramtable.cpp); this header
// gives the row type, its write and display rules, and the process-wide defaults.
// No VST3 types here: the engine and the preset code read the same rows.

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace torvo {

constexpr int kParamCount = 725;

/// Thousandth encoding of list rows: value = index * kThousandth, index = trunc(v * 999.99).
constexpr float kThousandth = 0.001001001f;

/// One row of the table.
struct ParamRecord {
    float value = 0.0f;
    char name[36] = {};
    const char* unitText = "";
    /// The list string, or null for a continuous row.
    const char* choices = nullptr;
    /// 1000 for the thousandth encoding, 0 for spread encoding and continuous rows.
    uint32_t scale = 0;
    /// 0, 3 or 6; only effect: a row above 0 sets `changed` on every write.
    float smoothing = 0.0f;
    char textBuffer[32] = {};
    /// Tokens of the list after separator runs are compacted.
    uint32_t choiceCount = 0;
    int32_t choiceIndex = 0;
    uint8_t changed = 0;

    bool isList() const { return choices != nullptr; }
    /// Writes a normalised value with the rule of the row's encoding (clamps, keeps choiceIndex).
    void setValue(float v);
    /// Fills textBuffer with the display text of the current value and answers it.
    /// `menuMap` optionally maps an index to a position in the menu (the editor's form).
    const char* displayText(const int* menuMap = nullptr);
};

/// Builds the table on first use (thread-safe, once per process) and answers row `id`
/// (0..724) with its default value. Never freed.
const ParamRecord& defaultParamRecord(int id);
/// The 725 default values, in table order.
const float* defaultParamValues();
/// Exact-name lookup; -1 when no row has that name.
int findParamId(std::string_view name);
/// True for the rows a host may automate.
bool isParamAutomatable(int id);
/// Display text of `value` on row `id` through a scratch copy of the row; writes at most
/// `size` bytes including the terminator. False (and empty text) for ids outside 0..724.
bool formatParamValue(int id, float value, char* out, std::size_t size);

/// The 13 host parameters beyond the table that stand for MIDI controllers and preset
/// transport. They are never stored in a preset. Flag bits have the values of the host
/// interface's parameter flags.
constexpr int kProxyCount = 13;
constexpr int kHostParamCount = kParamCount + kProxyCount;

enum ProxyFlag : int32_t {
    kProxyCanAutomate = 1 << 0,
    kProxyIsReadOnly = 1 << 1,
    kProxyIsList = 1 << 3,
    kProxyIsHidden = 1 << 4,
    kProxyIsProgramChange = 1 << 15,
    kProxyIsBypass = 1 << 16,
};

/// Four characters read as one big-endian 32-bit value: fourCharId("bpas") is 'bpas'.
constexpr uint32_t fourCharId(const char (&text)[5]) {
    return uint32_t(uint8_t(text[0])) << 24 | uint32_t(uint8_t(text[1])) << 16 |
           uint32_t(uint8_t(text[2])) << 8 | uint32_t(uint8_t(text[3]));
}

struct ProxyParam {
    /// Four characters read as one big-endian 32-bit value, e.g. 'bpas'.
    uint32_t id;
    const char* title;
    int32_t flags;
    int32_t stepCount;
    float defaultValue;
};

/// Proxies in host index order 725..737.
extern const ProxyParam kProxyParams[kProxyCount];
/// Index 0..12 of a proxy id in kProxyParams, or -1.
int findProxy(uint32_t id);

/// Number of entries of a list string after runs of separators are compacted.
uint32_t countChoices(const char* list);

} // namespace torvo
