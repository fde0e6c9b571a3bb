// The matrix's targets as data, once: one row per target id 1..229 with its menu name, the
// parameter it moves and its curve class. The per-parameter lookups and the menu position maps
// are derived from these rows and the menu strings on first use.

#include "engine/matrixtargets.h"

#include "shell/paramlists.h"
#include "shell/paramtable.h"

#include <array>
#include <cstdlib>
#include <cstring>

namespace torvo {

namespace {

// Row t - 1 is target t.
constexpr MatrixTargetInfo kTargets[kTargetCount] = {
    /*   1 */ {"Osc1_Amp", "mix_osc1", 0},
    /*   2 */ {"Osc2_Amp", "mix_osc2", 0},
    /*   3 */ {"Osc3_Amp", "mix_osc3", 0},
    /*   4 */ {"Osc4_Amp", "mix_osc4", 0},
    /*   5 */ {"Osc1_Pitch", "osc1_note", 1},
    /*   6 */ {"Osc1_CtrlA", "osc1_ctrlA", 0},
    /*   7 */ {"Osc1_CtrlB", "osc1_ctrlB", 3},
    /*   8 */ {"Osc1_Phase", "osc1_phase", 0},
    /*   9 */ {"Osc1_WTMix", "osc1_wtmix", 4},
    /*  10 */ {"Osc1_Detune", "osc1_udet", 0},
    /*  11 */ {"Osc1_Density", "osc1_uden", 0},
    /*  12 */ {"Osc1_Wide", "osc1_uwid", 0},
    /*  13 */ {"Osc1_Pan", "osc1_pan", 0},
    /*  14 */ {"Osc1_filter_input", "osc1_mixto", 0},
    /*  15 */ {"Osc2_Pitch", "osc2_note", 1},
    /*  16 */ {"Osc2_CtrlA", "osc2_ctrlA", 0},
    /*  17 */ {"Osc2_CtrlB", "osc2_ctrlB", 3},
    /*  18 */ {"Osc2_Phase", "osc2_phase", 0},
    /*  19 */ {"Osc2_WTMix", "osc2_wtmix", 4},
    /*  20 */ {"Osc2_Detune", "osc2_udet", 0},
    /*  21 */ {"Osc2_Density", "osc2_uden", 0},
    /*  22 */ {"Osc2_Wide", "osc2_uwid", 0},
    /*  23 */ {"Osc2_Pan", "osc2_pan", 0},
    /*  24 */ {"Osc2_filter_input", "osc2_mixto", 0},
    /*  25 */ {"Osc3_Pitch", "osc3_note", 1},
    /*  26 */ {"Osc3_CtrlA", "osc3_ctrlA", 0},
    /*  27 */ {"Osc3_CtrlB", "osc3_ctrlB", 3},
    /*  28 */ {"Osc3_Phase", "osc3_phase", 0},
    /*  29 */ {"Osc3_WTMix", "osc3_wtmix", 4},
    /*  30 */ {"Osc3_Detune", "osc3_udet", 0},
    /*  31 */ {"Osc3_Density", "osc3_uden", 0},
    /*  32 */ {"Osc3_Wide", "osc3_uwid", 0},
    /*  33 */ {"Osc3_Pan", "osc3_pan", 0},
    /*  34 */ {"Osc3_filter_input", "osc3_mixto", 0},
    /*  35 */ {"Osc4_Pitch", "osc4_note", 1},
    /*  36 */ {"Osc4_CtrlA", "osc4_ctrlA", 0},
    /*  37 */ {"Osc4_CtrlB", "osc4_ctrlB", 3},
    /*  38 */ {"Osc4_Phase", "osc4_phase", 0},
    /*  39 */ {"Osc4_WTMix", "osc4_wtmix", 4},
    /*  40 */ {"Osc4_Detune", "osc4_udet", 0},
    /*  41 */ {"Osc4_Density", "osc4_uden", 0},
    /*  42 */ {"Osc4_Wide", "osc4_uwid", 0},
    /*  43 */ {"Osc4_Pan", "osc4_pan", 0},
    /*  44 */ {"Osc4_filter_input", "osc4_mixto", 0},
    /*  45 */ {"Cutoff_1", "flt1_cut", 2},
    /*  46 */ {"Reso_1", "flt1_res", 0},
    /*  47 */ {"Cutoff_2", "flt2_cut", 2},
    /*  48 */ {"Reso_2", "flt2_res", 0},
    /*  49 */ {"Filt_Balance", "flt_balance", 0},
    /*  50 */ {"Env1_Att", "env1_att", 0},
    /*  51 */ {"Env1_Dec", "env1_dec", 0},
    /*  52 */ {"Env1_Sus", "env1_sus", 0},
    /*  53 */ {"Env1_Slt", "env1_slt", 0},
    /*  54 */ {"Env1_Sll", "env1_sll", 0},
    /*  55 */ {"Env1_Rel", "env1_rel", 0},
    /*  56 */ {"Env1_Amt1", nullptr, kDepthTarget},
    /*  57 */ {"Env1_Amt2", nullptr, kDepthTarget},
    /*  58 */ {"Env2_Att", "env2_att", 0},
    /*  59 */ {"Env2_Dec", "env2_dec", 0},
    /*  60 */ {"Env2_Sus", "env2_sus", 0},
    /*  61 */ {"Env2_Slt", "env2_slt", 0},
    /*  62 */ {"Env2_Sll", "env2_sll", 0},
    /*  63 */ {"Env2_Rel", "env2_rel", 0},
    /*  64 */ {"Env2_Amt1", nullptr, kDepthTarget},
    /*  65 */ {"Env2_Amt2", nullptr, kDepthTarget},
    /*  66 */ {"Env3_Att", "env3_att", 0},
    /*  67 */ {"Env3_Dec", "env3_dec", 0},
    /*  68 */ {"Env3_Sus", "env3_sus", 0},
    /*  69 */ {"Env3_Slt", "env3_slt", 0},
    /*  70 */ {"Env3_Sll", "env3_sll", 0},
    /*  71 */ {"Env3_Rel", "env3_rel", 0},
    /*  72 */ {"Env3_Amt1", nullptr, kDepthTarget},
    /*  73 */ {"Env3_Amt2", nullptr, kDepthTarget},
    /*  74 */ {"Env4_Att", "env4_att", 0},
    /*  75 */ {"Env4_Dec", "env4_dec", 0},
    /*  76 */ {"Env4_Sus", "env4_sus", 0},
    /*  77 */ {"Env4_Slt", "env4_slt", 0},
    /*  78 */ {"Env4_Sll", "env4_sll", 0},
    /*  79 */ {"Env4_Rel", "env4_rel", 0},
    /*  80 */ {"Env4_Amt1", nullptr, kDepthTarget},
    /*  81 */ {"Env4_Amt2", nullptr, kDepthTarget},
    /*  82 */ {"LFO1_Rate", "lfo1_rate", 0},
    /*  83 */ {"LFO1_Sym", "lfo1_sym", 0},
    /*  84 */ {"LFO1_Phase", "lfo1_phase", 0},
    /*  85 */ {"LFO1_Form", "lfo1_morph", 0},
    /*  86 */ {"LFO1_Amp", "lfo1_amp", 0},
    /*  87 */ {"LFO1_Amt1", nullptr, kDepthTarget},
    /*  88 */ {"LFO1_Amt2", nullptr, kDepthTarget},
    /*  89 */ {"LFO2_Rate", "lfo2_rate", 0},
    /*  90 */ {"LFO2_Sym", "lfo2_sym", 0},
    /*  91 */ {"LFO2_Phase", "lfo2_phase", 0},
    /*  92 */ {"LFO2_Form", "lfo2_morph", 0},
    /*  93 */ {"LFO2_Amp", "lfo2_amp", 0},
    /*  94 */ {"LFO2_Amt1", nullptr, kDepthTarget},
    /*  95 */ {"LFO2_Amt2", nullptr, kDepthTarget},
    /*  96 */ {"LFO3_Rate", "lfo3_rate", 0},
    /*  97 */ {"LFO3_Sym", "lfo3_sym", 0},
    /*  98 */ {"LFO3_Phase", "lfo3_phase", 0},
    /*  99 */ {"LFO3_Form", "lfo3_morph", 0},
    /* 100 */ {"LFO3_Amp", "lfo3_amp", 0},
    /* 101 */ {"LFO3_Amt1", nullptr, kDepthTarget},
    /* 102 */ {"LFO3_Amt2", nullptr, kDepthTarget},
    /* 103 */ {"LFO4_Rate", "lfo4_rate", 0},
    /* 104 */ {"LFO4_Sym", "lfo4_sym", 0},
    /* 105 */ {"LFO4_Phase", "lfo4_phase", 0},
    /* 106 */ {"LFO4_Form", "lfo4_morph", 0},
    /* 107 */ {"LFO4_Amp", "lfo4_amp", 0},
    /* 108 */ {"LFO4_Amt1", nullptr, kDepthTarget},
    /* 109 */ {"LFO4_Amt2", nullptr, kDepthTarget},
    /* 110 */ {"Shp_Drive", "shp_drive", 0},
    /* 111 */ {"Shp_Bit", "shp_bit", 0},
    /* 112 */ {"Shp_S.Rate", "shp_sr", 0},
    /* 113 */ {"Shp_HiCut", "shp_hicut", 0},
    /* 114 */ {"Shp_LowCut", "shp_lowcut", 0},
    /* 115 */ {"Shp_DryWet", "shp_wet", 0},
    /* 116 */ {"Phs_Freq", "phs_freq", 0},
    /* 117 */ {"Phs_F.Back", "phs_fback", 0},
    /* 118 */ {"Phs_Spread", "phs_spread", 0},
    /* 119 */ {"Phs_Rate", "phs_rate", 0},
    /* 120 */ {"Phs_Depth", "phs_depth", 0},
    /* 121 */ {"Phs_DryWet", "phs_wet", 0},
    /* 122 */ {"Chr_Delay", "chr_delay", 0},
    /* 123 */ {"Chr_FBack", "chr_fback", 0},
    /* 124 */ {"Chr_Rate", "chr_rate", 0},
    /* 125 */ {"Chr_Depth", "chr_depth", 0},
    /* 126 */ {"Chr_Wide", "chr_wide", 0},
    /* 127 */ {"Chr_HiCut", "chr_hicut", 0},
    /* 128 */ {"Chr_LowCut", "chr_lowcut", 0},
    /* 129 */ {"Chr_DryWet", "chr_wet", 0},
    /* 130 */ {"Del_DelayL", "del_timeL", 0},
    /* 131 */ {"Del_DelayR", "del_timeR", 0},
    /* 132 */ {"Del_F.Back", "del_fback", 0},
    /* 133 */ {"Del_Color", "del_color", 0},
    /* 134 */ {"Del_Wide", "del_wide", 0},
    /* 135 */ {"Del_Modulate", "del_modulate", 0},
    /* 136 */ {"Del_Rate", "del_rate", 0},
    /* 137 */ {"Del_DryWet", "del_wet", 0},
    /* 138 */ {"Rev_Predelay", "rev_pretime", 0},
    /* 139 */ {"Rev_Decay", "rev_decay", 0},
    /* 140 */ {"Rev_Damp", "rev_damp", 0},
    /* 141 */ {"Rev_Color", "rev_color", 0},
    /* 142 */ {"Rev_Wide", "rev_wide", 0},
    /* 143 */ {"Rev_DryWet", "rev_wet", 0},
    /* 144 */ {"X-Comp", "x-comp", 0},
    /* 145 */ {"Main_Volume", "volume", 0},
    /* 146 */ {"EQ_Low_Freq", "eq_low_frq", 0},
    /* 147 */ {"EQ_Low_Q", "eq_low_Q", 0},
    /* 148 */ {"EQ_Low_Level", "eq_low_lev", 0},
    /* 149 */ {"EQ_Mid_Freq", "eq_mid_frq", 0},
    /* 150 */ {"EQ_Mid_Q", "eq_mid_Q", 0},
    /* 151 */ {"EQ_Mid_Level", "eq_mid_lev", 0},
    /* 152 */ {"EQ_Hi_Freq", "eq_hi_frq", 0},
    /* 153 */ {"EQ_Hi_Q", "eq_hi_Q", 0},
    /* 154 */ {"EQ_Hi_Level", "eq_hi_lev", 0},
    /* 155 */ {"Slot1_Amount1", nullptr, kDepthTarget},
    /* 156 */ {"Slot1_Amount2", nullptr, kDepthTarget},
    /* 157 */ {"Slot1_Amount3", nullptr, kDepthTarget},
    /* 158 */ {"Slot1_Amount4", nullptr, kDepthTarget},
    /* 159 */ {"Slot2_Amount1", nullptr, kDepthTarget},
    /* 160 */ {"Slot2_Amount2", nullptr, kDepthTarget},
    /* 161 */ {"Slot2_Amount3", nullptr, kDepthTarget},
    /* 162 */ {"Slot2_Amount4", nullptr, kDepthTarget},
    /* 163 */ {"Slot3_Amount1", nullptr, kDepthTarget},
    /* 164 */ {"Slot3_Amount2", nullptr, kDepthTarget},
    /* 165 */ {"Slot3_Amount3", nullptr, kDepthTarget},
    /* 166 */ {"Slot3_Amount4", nullptr, kDepthTarget},
    /* 167 */ {"Slot4_Amount1", nullptr, kDepthTarget},
    /* 168 */ {"Slot4_Amount2", nullptr, kDepthTarget},
    /* 169 */ {"Slot4_Amount3", nullptr, kDepthTarget},
    /* 170 */ {"Slot4_Amount4", nullptr, kDepthTarget},
    /* 171 */ {"Slot5_Amount1", nullptr, kDepthTarget},
    /* 172 */ {"Slot5_Amount2", nullptr, kDepthTarget},
    /* 173 */ {"Slot5_Amount3", nullptr, kDepthTarget},
    /* 174 */ {"Slot5_Amount4", nullptr, kDepthTarget},
    /* 175 */ {"Slot6_Amount1", nullptr, kDepthTarget},
    /* 176 */ {"Slot6_Amount2", nullptr, kDepthTarget},
    /* 177 */ {"Slot6_Amount3", nullptr, kDepthTarget},
    /* 178 */ {"Slot6_Amount4", nullptr, kDepthTarget},
    /* 179 */ {"Slot7_Amount1", nullptr, kDepthTarget},
    /* 180 */ {"Slot7_Amount2", nullptr, kDepthTarget},
    /* 181 */ {"Slot7_Amount3", nullptr, kDepthTarget},
    /* 182 */ {"Slot7_Amount4", nullptr, kDepthTarget},
    /* 183 */ {"Slot8_Amount1", nullptr, kDepthTarget},
    /* 184 */ {"Slot8_Amount2", nullptr, kDepthTarget},
    /* 185 */ {"Slot8_Amount3", nullptr, kDepthTarget},
    /* 186 */ {"Slot8_Amount4", nullptr, kDepthTarget},
    /* 187 */ {"Slot9_Amount1", nullptr, kDepthTarget},
    /* 188 */ {"Slot9_Amount2", nullptr, kDepthTarget},
    /* 189 */ {"Slot9_Amount3", nullptr, kDepthTarget},
    /* 190 */ {"Slot9_Amount4", nullptr, kDepthTarget},
    /* 191 */ {"Slot10_Amount1", nullptr, kDepthTarget},
    /* 192 */ {"Slot10_Amount2", nullptr, kDepthTarget},
    /* 193 */ {"Slot10_Amount3", nullptr, kDepthTarget},
    /* 194 */ {"Slot10_Amount4", nullptr, kDepthTarget},
    /* 195 */ {"Slot11_Amount1", nullptr, kDepthTarget},
    /* 196 */ {"Slot11_Amount2", nullptr, kDepthTarget},
    /* 197 */ {"Slot11_Amount3", nullptr, kDepthTarget},
    /* 198 */ {"Slot11_Amount4", nullptr, kDepthTarget},
    /* 199 */ {"Slot12_Amount1", nullptr, kDepthTarget},
    /* 200 */ {"Slot12_Amount2", nullptr, kDepthTarget},
    /* 201 */ {"Slot12_Amount3", nullptr, kDepthTarget},
    /* 202 */ {"Slot12_Amount4", nullptr, kDepthTarget},
    /* 203 */ {"Slot13_Amount1", nullptr, kDepthTarget},
    /* 204 */ {"Slot13_Amount2", nullptr, kDepthTarget},
    /* 205 */ {"Slot13_Amount3", nullptr, kDepthTarget},
    /* 206 */ {"Slot13_Amount4", nullptr, kDepthTarget},
    /* 207 */ {"Slot14_Amount1", nullptr, kDepthTarget},
    /* 208 */ {"Slot14_Amount2", nullptr, kDepthTarget},
    /* 209 */ {"Slot14_Amount3", nullptr, kDepthTarget},
    /* 210 */ {"Slot14_Amount4", nullptr, kDepthTarget},
    /* 211 */ {"Slot15_Amount1", nullptr, kDepthTarget},
    /* 212 */ {"Slot15_Amount2", nullptr, kDepthTarget},
    /* 213 */ {"Slot15_Amount3", nullptr, kDepthTarget},
    /* 214 */ {"Slot15_Amount4", nullptr, kDepthTarget},
    /* 215 */ {"Gate", "arp_length", 0},
    /* 216 */ {"Swing", "arp_swing", 0},
    /* 217 */ {"Mod1", "macro1", 0},
    /* 218 */ {"Mod2", "macro2", 0},
    /* 219 */ {"Mod3", "macro3", 0},
    /* 220 */ {"Mod4", "macro4", 0},
    /* 221 */ {"Glide", "glide", 0},
    /* 222 */ {"Stepper1_Rate", "stp1_rate", 0},
    /* 223 */ {"Stepper2_Rate", "stp2_rate", 0},
    /* 224 */ {"Osc1_Wave", "osc1_wave", 0},
    /* 225 */ {"Osc2_Wave", "osc2_wave", 0},
    /* 226 */ {"Osc3_Wave", "osc3_wave", 0},
    /* 227 */ {"Osc4_Wave", "osc4_wave", 0},
    /* 228 */ {"All_Osc_Pitch", "osc_all_pt", 0},
    /* 229 */ {"All_LFO_Rate", "lfo_all_rt", 0},
};

/// The envelopes' and LFOs' own amount pairs, in slot order 15..22.
constexpr int kModuleDepthTargets[8][2] = {{56, 57}, {64, 65}, {72, 73},   {80, 81},
                                           {87, 88}, {94, 95}, {101, 102}, {108, 109}};
constexpr int kFirstModuleSlot = 15;

/// A `Src` row's list has 40 entries (real tokens and surviving separators); a `Trg` row's 230.
constexpr int kSourceMapSize = 40;
constexpr int kTargetMapSize = kTargetCount + 1;

struct ParamLookup {
    std::array<int16_t, kParamCount> target{};
    std::array<int8_t, kParamCount> curve{};
    std::array<int16_t, kTargetCount + 1> param{};
};

ParamLookup buildParamLookup() {
    ParamLookup l;
    l.param.fill(-1);
    for (int t = 1; t <= kTargetCount; ++t) {
        const MatrixTargetInfo& info = kTargets[t - 1];
        if (info.paramName == nullptr) continue;
        const int id = findParamId(info.paramName);
        if (id < 0) continue;
        l.target[id] = int16_t(t);
        l.curve[id] = int8_t(info.curveClass);
        l.param[t] = int16_t(id);
    }
    return l;
}

const ParamLookup& paramLookup() {
    static const ParamLookup lookup = buildParamLookup();
    return lookup;
}

/// Walks a "name:id" menu and records, per id, the position among its real tokens. Group
/// marks ("#Name", "@") and separators take no position.
template <std::size_t N> std::array<int, N> buildMenuMap(const char* menu, int maxId) {
    std::array<int, N> map{};
    map.fill(0); // ids the engine reads as off show the first token, "off"
    int position = 0;
    const char* p = menu;
    while (*p != '\0') {
        while (*p == ' ' || *p == '\t') ++p;
        const char* begin = p;
        while (*p != '\0' && *p != ' ') ++p;
        if (p == begin) continue;
        if (*begin == '#' || *begin == '@' || lists::isSeparatorToken(begin, p)) continue;
        const char* colon = begin;
        while (colon != p && *colon != ':') ++colon;
        if (colon != p) {
            const int id = std::atoi(colon + 1);
            if (id >= 0 && id <= maxId && std::size_t(id) < N) map[std::size_t(id)] = position;
        }
        ++position;
    }
    return map;
}

const std::array<int, kSourceMapSize>& sourceMap() {
    static const auto map = buildMenuMap<kSourceMapSize>(lists::kSourceMenu, kSourceCount);
    return map;
}

const std::array<int, kTargetMapSize>& targetMap() {
    static const auto map = buildMenuMap<kTargetMapSize>(kTargetMenu, kTargetCount);
    return map;
}

} // namespace

const char kTargetMenu[] =
    "off:0 #OscMixer Osc1_Amp:1 Osc2_Amp:2 Osc3_Amp:3 Osc4_Amp:4 @ All_Osc_Pitch:228 #Osc1 "
    "Osc1_Pitch:5 Osc1_CtrlA:6 Osc1_CtrlB:7 Osc1_Phase:8 Osc1_Wave:224 Osc1_WTMix:9 "
    "Osc1_Detune:10 Osc1_Density:11 Osc1_Wide:12 Osc1_Pan:13 Osc1_filter_input:14 @ #Osc2 "
    "Osc2_Pitch:15 Osc2_CtrlA:16 Osc2_CtrlB:17 Osc2_Phase:18 Osc2_Wave:225 Osc2_WTMix:19 "
    "Osc2_Detune:20 Osc2_Density:21 Osc2_Wide:22 Osc2_Pan:23 Osc2_filter_input:24 @ #Osc3 "
    "Osc3_Pitch:25 Osc3_CtrlA:26 Osc3_CtrlB:27 Osc3_Phase:28 Osc3_Wave:226 Osc3_WTMix:29 "
    "Osc3_Detune:30 Osc3_Density:31 Osc3_Wide:32 Osc3_Pan:33 Osc3_filter_input:34 @ #Osc4 "
    "Osc4_Pitch:35 Osc4_CtrlA:36 Osc4_CtrlB:37 Osc4_Phase:38 Osc4_Wave:227 Osc4_WTMix:39 "
    "Osc4_Detune:40 Osc4_Density:41 Osc4_Wide:42 Osc4_Pan:43 Osc4_filter_input:44 @ #Filter "
    "Cutoff_1:45 Reso_1:46 Cutoff_2:47 Reso_2:48 Filt_Balance:49 @ #Env1 Env1_Att:50 "
    "Env1_Dec:51 Env1_Sus:52 Env1_Slt:53 Env1_Sll:54 Env1_Rel:55 Env1_Amt1:56 Env1_Amt2:57 @ "
    "#Env2 Env2_Att:58 Env2_Dec:59 Env2_Sus:60 Env2_Slt:61 Env2_Sll:62 Env2_Rel:63 "
    "Env2_Amt1:64 Env2_Amt2:65 @ #Env3 Env3_Att:66 Env3_Dec:67 Env3_Sus:68 Env3_Slt:69 "
    "Env3_Sll:70 Env3_Rel:71 Env3_Amt1:72 Env3_Amt2:73 @ #Env4 Env4_Att:74 Env4_Dec:75 "
    "Env4_Sus:76 Env4_Slt:77 Env4_Sll:78 Env4_Rel:79 Env4_Amt1:80 Env4_Amt2:81 @ "
    "All_LFO_Rate:229 #LFO1 LFO1_Rate:82 LFO1_Sym:83 LFO1_Phase:84 LFO1_Form:85 LFO1_Amp:86 "
    "LFO1_Amt1:87 LFO1_Amt2:88 @ #LFO2 LFO2_Rate:89 LFO2_Sym:90 LFO2_Phase:91 LFO2_Form:92 "
    "LFO2_Amp:93 LFO2_Amt1:94 LFO2_Amt2:95 @ #LFO3 LFO3_Rate:96 LFO3_Sym:97 LFO3_Phase:98 "
    "LFO3_Form:99 LFO3_Amp:100 LFO3_Amt1:101 LFO3_Amt2:102 @ #LFO4 LFO4_Rate:103 "
    "LFO4_Sym:104 LFO4_Phase:105 LFO4_Form:106 LFO4_Amp:107 LFO4_Amt1:108 LFO4_Amt2:109 @ "
    "#Shaper Shp_Drive:110 Shp_Bit:111 Shp_S.Rate:112 Shp_HiCut:113 Shp_LowCut:114 "
    "Shp_DryWet:115 @ #Phaser Phs_Freq:116 Phs_F.Back:117 Phs_Spread:118 Phs_Rate:119 "
    "Phs_Depth:120 Phs_DryWet:121 @ #Chorus Chr_Delay:122 Chr_FBack:123 Chr_Rate:124 "
    "Chr_Depth:125 Chr_Wide:126 Chr_HiCut:127 Chr_LowCut:128 Chr_DryWet:129 @ #Delay "
    "Del_DelayL:130 Del_DelayR:131 Del_F.Back:132 Del_Color:133 Del_Wide:134 "
    "Del_Modulate:135 Del_Rate:136 Del_DryWet:137 @ #Reverb Rev_Predelay:138 Rev_Decay:139 "
    "Rev_Damp:140 Rev_Color:141 Rev_Wide:142 Rev_DryWet:143 @ #MasterOut X-Comp:144 "
    "Main_Volume:145 EQ_Low_Freq:146 EQ_Low_Q:147 EQ_Low_Level:148 EQ_Mid_Freq:149 "
    "EQ_Mid_Q:150 EQ_Mid_Level:151 EQ_Hi_Freq:152 EQ_Hi_Q:153 EQ_Hi_Level:154 @ #Slot1 "
    "Slot1_Amount1:155 Slot1_Amount2:156 Slot1_Amount3:157 Slot1_Amount4:158 @ #Slot2 "
    "Slot2_Amount1:159 Slot2_Amount2:160 Slot2_Amount3:161 Slot2_Amount4:162 @ #Slot3 "
    "Slot3_Amount1:163 Slot3_Amount2:164 Slot3_Amount3:165 Slot3_Amount4:166 @ #Slot4 "
    "Slot4_Amount1:167 Slot4_Amount2:168 Slot4_Amount3:169 Slot4_Amount4:170 @ #Slot5 "
    "Slot5_Amount1:171 Slot5_Amount2:172 Slot5_Amount3:173 Slot5_Amount4:174 @ #Slot6 "
    "Slot6_Amount1:175 Slot6_Amount2:176 Slot6_Amount3:177 Slot6_Amount4:178 @ #Slot7 "
    "Slot7_Amount1:179 Slot7_Amount2:180 Slot7_Amount3:181 Slot7_Amount4:182 @ #Slot8 "
    "Slot8_Amount1:183 Slot8_Amount2:184 Slot8_Amount3:185 Slot8_Amount4:186 @ #Slot9 "
    "Slot9_Amount1:187 Slot9_Amount2:188 Slot9_Amount3:189 Slot9_Amount4:190 @ #Slot10 "
    "Slot10_Amount1:191 Slot10_Amount2:192 Slot10_Amount3:193 Slot10_Amount4:194 @ #Slot11 "
    "Slot11_Amount1:195 Slot11_Amount2:196 Slot11_Amount3:197 Slot11_Amount4:198 @ #Slot12 "
    "Slot12_Amount1:199 Slot12_Amount2:200 Slot12_Amount3:201 Slot12_Amount4:202 @ #Slot13 "
    "Slot13_Amount1:203 Slot13_Amount2:204 Slot13_Amount3:205 Slot13_Amount4:206 @ #Slot14 "
    "Slot14_Amount1:207 Slot14_Amount2:208 Slot14_Amount3:209 Slot14_Amount4:210 @ #Slot15 "
    "Slot15_Amount1:211 Slot15_Amount2:212 Slot15_Amount3:213 Slot15_Amount4:214 @ #Arp "
    "Gate:215 Swing:216 @ #Stepper Stepper1_Rate:222 Stepper2_Rate:223 @ #Macro Mod1:217 "
    "Mod2:218 Mod3:219 Mod4:220 @ #Other Glide:221 @ ";

const MatrixTargetInfo* matrixTarget(int id) {
    return id >= 1 && id <= kTargetCount ? &kTargets[id - 1] : nullptr;
}

bool isModuleDepthTarget(int t) {
    for (const auto& pair : kModuleDepthTargets)
        if (t == pair[0] || t == pair[1]) return true;
    return false;
}

bool depthTargetAddress(int t, int& slot, int& item) {
    if (isSlotAmountTarget(t)) {
        slot = (t - 155) / 4;
        item = (t - 155) % 4;
        return true;
    }
    for (int m = 0; m < 8; ++m) {
        for (int j = 0; j < 2; ++j) {
            if (t == kModuleDepthTargets[m][j]) {
                slot = kFirstModuleSlot + m;
                item = j;
                return true;
            }
        }
    }
    return false;
}

int targetOfParam(int paramId) {
    return paramId >= 0 && paramId < kParamCount ? paramLookup().target[paramId] : 0;
}

int curveOfParam(int paramId) {
    return paramId >= 0 && paramId < kParamCount ? paramLookup().curve[paramId]
                                                 : int(kCurveGeneral);
}

int paramOfTarget(int id) {
    return id >= 1 && id <= kTargetCount ? paramLookup().param[id] : -1;
}

int sourceMenuPosition(int id) {
    return id >= 0 && id <= kSourceCount ? sourceMap()[id] : -1;
}

int targetMenuPosition(int id) {
    return id >= 0 && id <= kTargetCount ? targetMap()[id] : -1;
}

const int* sourceMenuMap() {
    return sourceMap().data();
}

const int* targetMenuMap() {
    return targetMap().data();
}

} // namespace torvo
