// The parameter rows as data, the write and display rules of a row, and the process-wide
// default table built from the data once.
//
// Rows come in blocks. A block is a list of row definitions at explicit offsets, laid down at
// one or more instance bases (the four oscillators at 25, 44, 63, 82, the fifteen matrix slots
// at 288 + 10 * s, ...). A definition with `repeat` above 1 is an array of consecutive rows whose
// step number 1..repeat ends the name. Blocks without instances use the row id as the offset.
// Defaults that differ between instances of a family are listed by name afterwards.

#include "shell/paramtable.h"

#include "shell/paramlists.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace torvo {
namespace {

using namespace lists;

/// Continuous, list in thousandth encoding, list in spread encoding.
enum Kind : uint8_t { Cont, T, S };

struct RowDef {
    int offset;
    const char* suffix;
    Kind kind;
    const char* list;
    /// A normalised value for continuous rows, an index for list rows.
    float def;
    float smoothing;
    int repeat = 1;
};

struct Block {
    /// Name stem; with more than one instance the instance number and '_' follow it.
    const char* stem;
    int firstId;
    int instances;
    int stride;
    const RowDef* rows;
    std::size_t rowCount;
};

struct DefaultOverride {
    const char* name;
    float def;
};

constexpr RowDef kHeadRows[] = {
    {0, "mode", T, kMode, 4, 0},
    {1, "poly", T, kPoly, 3, 0},
    {2, "bend_up", T, kBendRange, 2, 0},
    {3, "bend_dn", T, kBendRange, 2, 0},
    {4, "glide_log", S, kOnOff, 1, 0},
    {5, "glide", Cont, nullptr, 0, 0},
    {6, "drift", S, kOnOff, 1, 0},
    {7, "x-comp", Cont, nullptr, 0, 6},
    {8, "velocity", Cont, nullptr, 0.5f, 0},
    {9, "volume", Cont, nullptr, 0.5f, 6},
    {10, "eq_band", S, kEqBand, 0, 0},
    {11, "eq_power", S, kOnOff, 0, 0},
    {12, "eq_low_frq", Cont, nullptr, 0.2f, 6},
    {13, "eq_low_Q", Cont, nullptr, 0.54f, 6},
    {14, "eq_low_lev", Cont, nullptr, 0.5f, 6},
    {15, "eq_mid_frq", Cont, nullptr, 0.5f, 6},
    {16, "eq_mid_Q", Cont, nullptr, 0.45f, 6},
    {17, "eq_mid_lev", Cont, nullptr, 0.5f, 6},
    {18, "eq_hi_frq", Cont, nullptr, 0.53f, 6},
    {19, "eq_hi_Q", Cont, nullptr, 0.4f, 6},
    {20, "eq_hi_lev", Cont, nullptr, 0.5f, 6},
    {21, "mix_osc1", Cont, nullptr, 0.5f, 6},
    {22, "mix_osc2", Cont, nullptr, 0, 6},
    {23, "mix_osc3", Cont, nullptr, 0, 6},
    {24, "mix_osc4", Cont, nullptr, 0, 6},
};

constexpr RowDef kOscRows[] = {
    {0, "type", T, kOscType, 0, 0},      {1, "oct", S, kOctaveShift, 4, 0},
    {2, "note", S, kNoteShift, 11, 6},   {3, "fine", Cont, nullptr, 0.5f, 0},
    {4, "ctrlA", Cont, nullptr, 0, 6},   {5, "ctrlB", Cont, nullptr, 0.5f, 6},
    {6, "phase", Cont, nullptr, 0, 0},   {7, "wave", T, kWaveName, 0, 0},
    {8, "wtmix", Cont, nullptr, 0, 6},   {9, "udet", Cont, nullptr, 0.5f, 0},
    {10, "uwid", Cont, nullptr, 0, 0},   {11, "ucnt", T, kUnisonCount, 0, 0},
    {12, "uoct", T, kUnisonChord, 0, 0}, {13, "uden", Cont, nullptr, 0.5f, 0},
    {14, "pan", Cont, nullptr, 0.5f, 6}, {15, "ana", S, kOnOff, 1, 0},
    {16, "inv", S, kOnOff, 0, 0},        {17, "key", S, kOnOff, 1, 0},
    {18, "mixto", Cont, nullptr, 0, 6},
};

constexpr RowDef kFilterRows[] = {
    {101, "flt1_type", T, kFilterType, 1, 0},   {102, "flt1_mode", T, kFilterMode, 0, 0},
    {103, "flt1_cut", Cont, nullptr, 1, 6},     {104, "flt1_res", Cont, nullptr, 0, 6},
    {105, "flt2_type", T, kFilterType, 0, 0},   {106, "flt2_mode", T, kFilterMode, 0, 0},
    {107, "flt2_cut", Cont, nullptr, 0.5f, 6},  {108, "flt2_res", Cont, nullptr, 0, 6},
    {109, "flt_rout", S, kFilterRouting, 0, 0}, {110, "flt_link", S, kOnOff, 0, 0},
    {111, "flt_balance", Cont, nullptr, 1, 6},  {112, "flt_keytrack", Cont, nullptr, 0.5f, 0},
};

constexpr RowDef kEnvRows[] = {
    {0, "att", Cont, nullptr, 0, 0},       {1, "dec", Cont, nullptr, 0, 0},
    {2, "sus", Cont, nullptr, 1, 0},       {3, "slt", Cont, nullptr, 0, 0},
    {4, "sll", Cont, nullptr, 0, 0},       {5, "rel", Cont, nullptr, 0.07f, 0},
    {6, "att_crv", S, kAttackCurve, 0, 0}, {7, "dec_crv", S, kDecayCurve, 1, 0},
    {8, "slp_crv", S, kAttackCurve, 0, 0}, {9, "rel_crv", S, kDecayCurve, 0, 0},
    {10, "target1", T, kTargetName, 0, 0}, {11, "amt1", Cont, nullptr, 0.5f, 0},
    {12, "vel1", Cont, nullptr, 0.5f, 0},  {13, "target2", T, kTargetName, 0, 0},
    {14, "amt2", Cont, nullptr, 0.5f, 0},  {15, "vel2", Cont, nullptr, 0.5f, 0},
};

constexpr RowDef kLfoRows[] = {
    {0, "rate", Cont, nullptr, 0.74f, 0},  {1, "time", T, kSyncLong, 1, 0},
    {2, "sym", Cont, nullptr, 0.5f, 3},    {3, "sync", S, kOnOff, 0, 0},
    {4, "mono", S, kOnOff, 0, 0},          {5, "morph", Cont, nullptr, 0.5f, 3},
    {6, "phase", Cont, nullptr, 0, 0},     {7, "form", T, kLfoForm, 0, 0},
    {8, "amp", Cont, nullptr, 0.5f, 0},    {9, "fadein", Cont, nullptr, 0, 0},
    {10, "target1", T, kTargetName, 0, 0}, {11, "amt1", Cont, nullptr, 0.5f, 0},
    {12, "vel1", Cont, nullptr, 0.5f, 0},  {13, "target2", T, kTargetName, 0, 0},
    {14, "amt2", Cont, nullptr, 0.5f, 0},  {15, "vel2", Cont, nullptr, 0.5f, 0},
};

constexpr RowDef kEffectRows[] = {
    {241, "shp_mode", T, kShaperMode, 1, 0},
    {242, "shp_band", S, kOnOff, 0, 0},
    {243, "shp_drive", Cont, nullptr, 0, 6},
    {244, "shp_bit", Cont, nullptr, 1, 6},
    {245, "shp_sr", Cont, nullptr, 1, 6},
    {246, "shp_hicut", Cont, nullptr, 1, 6},
    {247, "shp_lowcut", Cont, nullptr, 0, 6},
    {248, "shp_wet", Cont, nullptr, 0, 6},
    {249, "shp_hq", S, kOnOff, 1, 0},
    {250, "phs_stages", T, kPhaserStages, 3, 0},
    {251, "phs_freq", Cont, nullptr, 0, 6},
    {252, "phs_fback", Cont, nullptr, 0.55f, 6},
    {253, "phs_spread", Cont, nullptr, 0.5f, 6},
    {254, "phs_rate", Cont, nullptr, 0.1f, 6},
    {255, "phs_depth", Cont, nullptr, 0.9f, 6},
    {256, "phs_wet", Cont, nullptr, 0, 6},
    {257, "phs_pre", S, kOnOff, 0, 0},
    {258, "chr_delay", Cont, nullptr, 0.5f, 6},
    {259, "chr_mode", T, kChorusMode, 6, 0},
    {260, "chr_fback", Cont, nullptr, 0.4f, 6},
    {261, "chr_rate", Cont, nullptr, 0.5f, 6},
    {262, "chr_depth", Cont, nullptr, 0.5f, 6},
    {263, "chr_wide", Cont, nullptr, 1, 6},
    {264, "chr_hicut", Cont, nullptr, 1, 6},
    {265, "chr_lowcut", Cont, nullptr, 0.35f, 6},
    {266, "chr_wet", Cont, nullptr, 0, 6},
    {267, "del_timeL", Cont, nullptr, 0.4f, 6},
    {268, "del_timeR", Cont, nullptr, 0.5f, 6},
    {269, "del_stimeL", T, kSyncShort, 7, 0},
    {270, "del_stimeR", T, kSyncShort, 1, 0},
    {271, "del_pingpong", S, kOnOff, 1, 0},
    {272, "del_sync", S, kOnOff, 1, 0},
    {273, "del_rate", Cont, nullptr, 0.2f, 6},
    {274, "del_fback", Cont, nullptr, 0.5f, 6},
    {275, "del_wide", Cont, nullptr, 0, 6},
    {276, "del_modulate", Cont, nullptr, 0.05f, 6},
    {277, "del_color", Cont, nullptr, 0.5f, 6},
    {278, "del_wet", Cont, nullptr, 0, 6},
    {279, "rev_mode", T, kReverbMode, 0, 0},
    {280, "rev_sync", S, kOnOff, 0, 0},
    {281, "rev_pretime", Cont, nullptr, 0, 6},
    {282, "rev_pretimeS", T, kSyncShort, 7, 0},
    {283, "rev_damp", Cont, nullptr, 0.15f, 6},
    {284, "rev_wide", Cont, nullptr, 1, 6},
    {285, "rev_decay", Cont, nullptr, 0.635742f, 6},
    {286, "rev_color", Cont, nullptr, 0.65f, 6},
    {287, "rev_wet", Cont, nullptr, 0, 6},
};

constexpr RowDef kSlotRows[] = {
    {0, "Src1", T, kSourceName, 0, 0},   {1, "Src2", T, kSourceName, 0, 0},
    {2, "Amt1", Cont, nullptr, 0.5f, 0}, {3, "Trg1", T, kTargetName, 0, 0},
    {4, "Amt2", Cont, nullptr, 0.5f, 0}, {5, "Trg2", T, kTargetName, 0, 0},
    {6, "Amt3", Cont, nullptr, 0.5f, 0}, {7, "Trg3", T, kTargetName, 0, 0},
    {8, "Amt4", Cont, nullptr, 0.5f, 0}, {9, "Trg4", T, kTargetName, 0, 0},
};

// The oscillator mutes came late and stand apart from the oscillator blocks.
constexpr RowDef kOscMuteRows[] = {
    {0, "mute", S, kOnOff, 0, 0},
};

// One stepper: per-step arrays, the head, then the hold array.
constexpr RowDef kStepperRows[] = {
    {0, "start", Cont, nullptr, 1, 0, 16},
    {16, "end", Cont, nullptr, 0, 0, 16},
    {32, "crvX", Cont, nullptr, 0.5f, 0, 16},
    {48, "crvY", Cont, nullptr, 0.5f, 0, 16},
    {64, "rep", Cont, nullptr, 0, 0, 16},
    {80, "rate", Cont, nullptr, 0.5f, 0},
    {81, "time", T, kSyncLong, 13, 0},
    {82, "mode", T, kStepperMode, 2, 0},
    {83, "start", T, kStep16, 0, 0},
    {84, "stop", T, kStep16, 15, 0},
    {85, "mono", S, kOnOff, 0, 0},
    {86, "rtrg", S, kOnOff, 1, 0},
    {87, "loop", S, kOnOff, 1, 0},
    {88, "hold", S, kOnOff, 0, 0, 16},
};

constexpr RowDef kArpRows[] = {
    {0, "on", S, kOnOff, 0, 0},
    {1, "length", Cont, nullptr, 0.5f, 0},
    {2, "speed", T, kSyncLong, 16, 0},
    {3, "swing", Cont, nullptr, 0.5f, 0},
    {4, "mode", T, kArpMode, 0, 0},
    {5, "octave", T, kArpOctave, 0, 0},
    {6, "velocity", T, kArpVelocity, 0, 0},
    {7, "wrap", T, kArpWrap, 16, 0},
    {8, "vel", Cont, nullptr, 0.78f, 0, 16},
    {24, "hold", S, kOnOff, 0, 0, 16},
    {40, "note", S, kArpNote, 24, 0, 16},
};

constexpr RowDef kTailRows[] = {
    {706, "shp_mute", S, kOnOff, 0, 0},
    {707, "phs_mute", S, kOnOff, 0, 0},
    {708, "chr_mute", S, kOnOff, 0, 0},
    {709, "del_mute", S, kOnOff, 0, 0},
    {710, "rev_mute", S, kOnOff, 0, 0},
    {711, "warm", S, kOnOff, 1, 0},
    {712, "boost", S, kOnOff, 1, 0},
    {713, "soft", S, kOnOff, 0, 0},
    {714, "macro1", Cont, nullptr, 0, 0},
    {715, "macro2", Cont, nullptr, 0, 0},
    {716, "macro3", Cont, nullptr, 0, 0},
    {717, "macro4", Cont, nullptr, 0, 0},
    {718, "pitch_shift", S, kPitchShift, 64, 0},
    {719, "pitch_fine", S, kPitchFine, 99, 0},
    {720, "bend_wheel", Cont, nullptr, 0.5f, 0},
    {721, "mod_wheel", Cont, nullptr, 0, 0},
    {722, "anticlick", Cont, nullptr, 1, 0},
    {723, "osc_all_pt", Cont, nullptr, 0, 0},
    {724, "lfo_all_rt", Cont, nullptr, 0, 0},
};

template <std::size_t N>
constexpr Block block(const char* stem, int firstId, int instances, int stride,
                      const RowDef (&rows)[N]) {
    return {stem, firstId, instances, stride, rows, N};
}

constexpr Block kBlocks[] = {
    block("", 0, 1, 0, kHeadRows),           block("osc", 25, 4, 19, kOscRows),
    block("", 0, 1, 0, kFilterRows),         block("env", 113, 4, 16, kEnvRows),
    block("lfo", 177, 4, 16, kLfoRows),      block("", 0, 1, 0, kEffectRows),
    block("slot", 288, 15, 10, kSlotRows),   block("osc", 438, 4, 1, kOscMuteRows),
    block("stp", 442, 2, 104, kStepperRows), block("arp_", 650, 1, 0, kArpRows),
    block("", 0, 1, 0, kTailRows),
};

// Where the instances of a family start from different defaults. A new patch routes env3 to
// Cutoff_1 (target 45) at 0.83 and slot 1 from the mod wheel (source 17).
constexpr DefaultOverride kDefaultOverrides[] = {
    {"env1_att", 0.005f}, {"env1_dec_crv", 2}, {"env3_dec", 0.5f},  {"env3_sus", 0},
    {"env3_rel", 0.5f},   {"env3_dec_crv", 2}, {"env3_slp_crv", 1}, {"env3_target1", 45},
    {"env3_amt1", 0.83f}, {"lfo1_form", 1},    {"lfo3_form", 1},    {"lfo4_morph", 0.49632f},
    {"slot1_Src1", 17},
};

struct IdRange {
    int first;
    int last;
};

// Step values of the sequencers, the arp pattern, mode and polyphony are not automatable, while
// the hold arrays are.
constexpr IdRange kAutomatable[] = {{4, 441},   {522, 522}, {527, 545}, {626, 626},
                                    {631, 651}, {653, 653}, {706, 724}};

struct DefaultTable {
    ParamRecord rows[kParamCount];
    float values[kParamCount];
};

float instanceDefault(const char* name, float tabled) {
    for (const DefaultOverride& o : kDefaultOverrides)
        if (std::strcmp(o.name, name) == 0) return o.def;
    return tabled;
}

/// The normalised form of a default: list defaults are indices in the row's encoding. A
/// one-entry spread list would divide 0 by 0; it stands at 0.
float normalisedDefault(const ParamRecord& row, Kind kind, float def) {
    if (kind == Cont) return def;
    if (kind == T) return def * kThousandth;
    return row.choiceCount > 1 ? def / float(row.choiceCount - 1) : 0.0f;
}

void placeRow(DefaultTable& table, int id, const char* name, const RowDef& rowDef) {
    const bool vacant = id >= 0 && id < kParamCount && table.rows[id].name[0] == '\0';
    assert(vacant && "every id is laid down exactly once");
    if (!vacant) return;
    ParamRecord& row = table.rows[id];
    std::snprintf(row.name, sizeof row.name, "%s", name);
    row.choices = rowDef.list;
    row.scale = rowDef.kind == T ? 1000u : 0u;
    row.smoothing = rowDef.smoothing;
    row.choiceCount = countChoices(rowDef.list);
    row.setValue(normalisedDefault(row, rowDef.kind, instanceDefault(name, rowDef.def)));
    row.changed = 0;
}

void placeBlock(DefaultTable& table, const Block& b) {
    for (int instance = 0; instance < b.instances; ++instance) {
        char prefix[16];
        if (b.instances > 1)
            std::snprintf(prefix, sizeof prefix, "%s%d_", b.stem, instance + 1);
        else
            std::snprintf(prefix, sizeof prefix, "%s", b.stem);
        const int base = b.firstId + instance * b.stride;
        for (std::size_t r = 0; r < b.rowCount; ++r) {
            const RowDef& rowDef = b.rows[r];
            for (int step = 0; step < rowDef.repeat; ++step) {
                char name[sizeof ParamRecord::name];
                if (rowDef.repeat > 1)
                    std::snprintf(name, sizeof name, "%s%s%d", prefix, rowDef.suffix, step + 1);
                else
                    std::snprintf(name, sizeof name, "%s%s", prefix, rowDef.suffix);
                placeRow(table, base + rowDef.offset + step, name, rowDef);
            }
        }
    }
}

const DefaultTable& defaultTable() {
    // Built on first use by whichever thread comes first; it lives as long as the library
    // stays loaded, so a host that unloads the plug-in gets its memory back.
    static const DefaultTable table = [] {
        DefaultTable t{};
        for (const Block& b : kBlocks) placeBlock(t, b);
        for (int id = 0; id < kParamCount; ++id) {
            assert(t.rows[id].name[0] != '\0');
            t.values[id] = t.rows[id].value;
        }
        return t;
    }();
    return table;
}

} // namespace

void ParamRecord::setValue(float v) {
    if (std::isnan(v)) v = 0.0f;
    if (smoothing > 0.0f) changed = 1;
    if (!isList()) {
        value = std::clamp(v, 0.0f, 1.0f);
        return;
    }
    if (choiceCount == 0) {
        choiceIndex = 0;
        value = 0.0f;
        return;
    }
    const double span = double(scale != 0 ? scale : choiceCount) - 0.01;
    const double index = std::trunc(double(v) * span);
    if (index >= double(choiceCount)) {
        // Also in spread encoding: the value lands on the thousandth grid.
        choiceIndex = int32_t(choiceCount) - 1;
        value = float(choiceCount - 1) * kThousandth;
    } else if (index < 0.0) {
        choiceIndex = 0;
        value = 0.0f;
    } else {
        choiceIndex = int32_t(index);
        value = v;
    }
}

const char* ParamRecord::displayText(const int* menuMap) {
    if (!isList()) {
        float scaled = value * 1000.0f;
        if (!(scaled > 0.0f)) scaled = 0.0f;
        if (scaled > 1000.0f) scaled = 1000.0f;
        std::snprintf(textBuffer, sizeof textBuffer, "%ld", std::lround(scaled));
        return textBuffer;
    }
    // The map gives, per list index, the position among the real tokens of the menu (separators
    // take no position). It must cover every index of the list.
    int position = choiceIndex;
    if (menuMap != nullptr && choiceIndex >= 0) position = menuMap[choiceIndex];
    copyRealToken(choices, position, textBuffer, sizeof textBuffer);
    return textBuffer;
}

const ParamRecord& defaultParamRecord(int id) {
    return defaultTable().rows[std::clamp(id, 0, kParamCount - 1)];
}

const float* defaultParamValues() {
    return defaultTable().values;
}

int findParamId(std::string_view name) {
    const DefaultTable& table = defaultTable();
    for (int id = 0; id < kParamCount; ++id)
        if (name == table.rows[id].name) return id;
    return -1;
}

bool isParamAutomatable(int id) {
    for (const IdRange& r : kAutomatable)
        if (id >= r.first && id <= r.last) return true;
    return false;
}

bool formatParamValue(int id, float value, char* out, std::size_t size) {
    if (size > 0) out[0] = '\0';
    if (id < 0 || id >= kParamCount) return false;
    ParamRecord scratch = defaultParamRecord(id);
    scratch.setValue(value);
    if (size > 0) std::snprintf(out, size, "%s", scratch.displayText());
    return true;
}

const ProxyParam kProxyParams[kProxyCount] = {
    {fourCharId("bpas"), "Bypass", kProxyIsBypass | kProxyCanAutomate, 1, 0.0f},
    {fourCharId("next"), "Next Preset", kProxyIsHidden | kProxyIsReadOnly, 1, 0.0f},
    {fourCharId("prev"), "Prev Preset", kProxyIsHidden | kProxyIsReadOnly, 1, 0.0f},
    {fourCharId("aftt"), "aftertouch", kProxyIsHidden | kProxyIsReadOnly, 0, 0.5f},
    {fourCharId("anof"), "allnotesoff", kProxyIsHidden | kProxyIsReadOnly, 0, 0.0f},
    {fourCharId("asof"), "allsoundoff", kProxyIsHidden | kProxyIsReadOnly, 0, 0.0f},
    {fourCharId("brth"), "breath", kProxyIsHidden | kProxyIsReadOnly, 0, 0.0f},
    {fourCharId("foot"), "foot", kProxyIsHidden | kProxyIsReadOnly, 0, 0.0f},
    {fourCharId("expr"), "expr", kProxyIsHidden | kProxyIsReadOnly, 0, 0.0f},
    {fourCharId("sust"), "sust", kProxyIsHidden | kProxyIsReadOnly, 0, 0.0f},
    {fourCharId("prta"), "port", kProxyIsHidden | kProxyIsReadOnly, 0, 0.0f},
    {fourCharId("stnt"), "sustn", kProxyIsHidden | kProxyIsReadOnly, 0, 0.0f},
    {fourCharId("prch"), "Program Change", kProxyIsProgramChange | kProxyIsList | kProxyCanAutomate,
     127, 0.0f},
};

int findProxy(uint32_t id) {
    for (int i = 0; i < kProxyCount; ++i)
        if (kProxyParams[i].id == id) return i;
    return -1;
}

uint32_t countChoices(const char* list) {
    return countListChoices(list);
}

} // namespace torvo
