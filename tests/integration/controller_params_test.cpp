// The parameter list as a host reads it from the edit controller: 725 table rows and 13
// proxies, with titles, flags, step counts and defaults.

#include "integration/hostfixture.h"

#include "pluginterfaces/vst/ivsteditcontroller.h"

#include <set>

namespace torvo::test {
namespace {

using namespace Steinberg;
using Steinberg::Vst::ParameterInfo;

constexpr double kThousandth = 0.001001001;

class ControllerParams : public HostedTorvo {
protected:
    ParameterInfo info(int32 index) {
        ParameterInfo i{};
        EXPECT_EQ(plugin->controller()->getParameterInfo(index, i), kResultOk) << index;
        return i;
    }
};

struct RowCase {
    int id;
    const char* title;
    double defaultValue;
};

// At least one row of every family, with its default: a continuous value, a list index in the
// thousandth encoding (index * 0.001001001) or in the spread encoding (index / (count - 1)).
const RowCase kRows[] = {
    {0, "mode", 4 * kThousandth},
    {1, "poly", 3 * kThousandth},
    {2, "bend_up", 2 * kThousandth},
    {3, "bend_dn", 2 * kThousandth},
    {4, "glide_log", 1.0},
    {5, "glide", 0.0},
    {6, "drift", 1.0},
    {7, "x-comp", 0.0},
    {8, "velocity", 0.5},
    {9, "volume", 0.5},
    {10, "eq_band", 0.0},
    {11, "eq_power", 0.0},
    {12, "eq_low_frq", 0.2},
    {13, "eq_low_Q", 0.54},
    {16, "eq_mid_Q", 0.45},
    {18, "eq_hi_frq", 0.53},
    {19, "eq_hi_Q", 0.4},
    {20, "eq_hi_lev", 0.5},
    {21, "mix_osc1", 0.5},
    {24, "mix_osc4", 0.0},
    {25, "osc1_type", 0.0},
    {26, "osc1_oct", 0.5},  // index 4 of 9
    {27, "osc1_note", 0.5}, // index 11 of 23
    {28, "osc1_fine", 0.5},
    {30, "osc1_ctrlB", 0.5},
    {32, "osc1_wave", 0.0},
    {36, "osc1_ucnt", 0.0},
    {40, "osc1_ana", 1.0},
    {41, "osc1_inv", 0.0},
    {42, "osc1_key", 1.0},
    {43, "osc1_mixto", 0.0},
    {44, "osc2_type", 0.0},
    {63, "osc3_type", 0.0},
    {82, "osc4_type", 0.0},
    {97, "osc4_ana", 1.0},
    {100, "osc4_mixto", 0.0},
    {101, "flt1_type", 1 * kThousandth},
    {103, "flt1_cut", 1.0},
    {105, "flt2_type", 0.0},
    {107, "flt2_cut", 0.5},
    {109, "flt_rout", 0.0},
    {111, "flt_balance", 1.0},
    {112, "flt_keytrack", 0.5},
    {113, "env1_att", 0.005},
    {115, "env1_sus", 1.0},
    {118, "env1_rel", 0.07},
    {120, "env1_dec_crv", 1.0}, // index 2 of 3
    {123, "env1_target1", 0.0},
    {128, "env1_vel2", 0.5},
    {136, "env2_dec_crv", 0.5},
    {146, "env3_dec", 0.5},
    {147, "env3_sus", 0.0},
    {150, "env3_rel", 0.5},
    {153, "env3_slp_crv", 0.5},
    {155, "env3_target1", 45 * kThousandth},
    {156, "env3_amt1", 0.83},
    {161, "env4_att", 0.0},
    {166, "env4_rel", 0.07},
    {176, "env4_vel2", 0.5},
    {177, "lfo1_rate", 0.74},
    {178, "lfo1_time", 1 * kThousandth},
    {179, "lfo1_sym", 0.5},
    {184, "lfo1_form", 1 * kThousandth},
    {200, "lfo2_form", 0.0},
    {216, "lfo3_form", 1 * kThousandth},
    {230, "lfo4_morph", 0.49632},
    {232, "lfo4_form", 0.0},
    {240, "lfo4_vel2", 0.5},
    {241, "shp_mode", 1 * kThousandth},
    {244, "shp_bit", 1.0},
    {249, "shp_hq", 1.0},
    {250, "phs_stages", 3 * kThousandth},
    {252, "phs_fback", 0.55},
    {255, "phs_depth", 0.9},
    {257, "phs_pre", 0.0},
    {259, "chr_mode", 6 * kThousandth},
    {265, "chr_lowcut", 0.35},
    {267, "del_timeL", 0.4},
    {269, "del_stimeL", 7 * kThousandth},
    {270, "del_stimeR", 1 * kThousandth},
    {271, "del_pingpong", 1.0},
    {276, "del_modulate", 0.05},
    {279, "rev_mode", 0.0},
    {282, "rev_pretimeS", 7 * kThousandth},
    {283, "rev_damp", 0.15},
    {285, "rev_decay", 0.635742},
    {286, "rev_color", 0.65},
    {287, "rev_wet", 0.0},
    {288, "slot1_Src1", 17 * kThousandth},
    {290, "slot1_Amt1", 0.5},
    {297, "slot1_Trg4", 0.0},
    {298, "slot2_Src1", 0.0},
    {428, "slot15_Src1", 0.0},
    {437, "slot15_Trg4", 0.0},
    {438, "osc1_mute", 0.0},
    {441, "osc4_mute", 0.0},
    {442, "stp1_start1", 1.0},
    {457, "stp1_start16", 1.0},
    {458, "stp1_end1", 0.0},
    {474, "stp1_crvX1", 0.5},
    {490, "stp1_crvY1", 0.5},
    {506, "stp1_rep1", 0.0},
    {521, "stp1_rep16", 0.0},
    {522, "stp1_rate", 0.5},
    {523, "stp1_time", 13 * kThousandth},
    {524, "stp1_mode", 2 * kThousandth},
    {525, "stp1_start", 0.0},
    {526, "stp1_stop", 15 * kThousandth},
    {527, "stp1_mono", 0.0},
    {528, "stp1_rtrg", 1.0},
    {529, "stp1_loop", 1.0},
    {530, "stp1_hold1", 0.0},
    {545, "stp1_hold16", 0.0},
    {546, "stp2_start1", 1.0},
    {626, "stp2_rate", 0.5},
    {627, "stp2_time", 13 * kThousandth},
    {630, "stp2_stop", 15 * kThousandth},
    {649, "stp2_hold16", 0.0},
    {650, "arp_on", 0.0},
    {651, "arp_length", 0.5},
    {652, "arp_speed", 16 * kThousandth},
    {653, "arp_swing", 0.5},
    {657, "arp_wrap", 16 * kThousandth},
    {658, "arp_vel1", 0.78},
    {673, "arp_vel16", 0.78},
    {674, "arp_hold1", 0.0},
    {690, "arp_note1", 0.5}, // index 24 of 49
    {705, "arp_note16", 0.5},
    {706, "shp_mute", 0.0},
    {710, "rev_mute", 0.0},
    {711, "warm", 1.0},
    {712, "boost", 1.0},
    {713, "soft", 0.0},
    {714, "macro1", 0.0},
    {717, "macro4", 0.0},
    {718, "pitch_shift", 0.5}, // index 64 of 129
    {719, "pitch_fine", 0.5},  // index 99 of 199
    {720, "bend_wheel", 0.5},
    {721, "mod_wheel", 0.0},
    {722, "anticlick", 1.0},
    {723, "osc_all_pt", 0.0},
    {724, "lfo_all_rt", 0.0},
};

TEST_F(ControllerParams, CountsTableRowsAndProxies) {
    EXPECT_EQ(plugin->controller()->getParameterCount(), 738);
}

TEST_F(ControllerParams, TableRowsHaveTheirTitlesAndDefaults) {
    for (const RowCase& row : kRows) {
        const ParameterInfo i = info(row.id);
        EXPECT_EQ(i.id, static_cast<Vst::ParamID>(row.id));
        EXPECT_EQ(host::toUtf8(i.title), row.title) << "row " << row.id;
        EXPECT_NEAR(i.defaultNormalizedValue, row.defaultValue, 1e-6) << row.title;
        EXPECT_NEAR(plugin->controller()->getParamNormalized(row.id), row.defaultValue, 1e-6)
            << row.title;
    }
}

TEST_F(ControllerParams, EveryTableRowIsPlainAtIndexEqualToId) {
    std::set<std::string> titles;
    for (int id = 0; id < kTableSize; ++id) {
        const ParameterInfo i = info(id);
        EXPECT_EQ(i.id, static_cast<Vst::ParamID>(id));
        EXPECT_EQ(i.stepCount, 0) << "row " << id;
        EXPECT_EQ(i.unitId, 0) << "row " << id;
        EXPECT_EQ(host::toUtf8(i.units), "") << "row " << id;
        EXPECT_GE(i.defaultNormalizedValue, 0.0);
        EXPECT_LE(i.defaultNormalizedValue, 1.0);
        titles.insert(host::toUtf8(i.title));
    }
    EXPECT_EQ(titles.size(), size_t(kTableSize)) << "titles must be unique";
}

bool automatable(int id) {
    return (id >= 4 && id <= 441) || id == 522 || (id >= 527 && id <= 545) || id == 626 ||
           (id >= 631 && id <= 651) || id == 653 || (id >= 706 && id <= 724);
}

TEST_F(ControllerParams, OnlyTheAutomatableRangesCarryTheFlag) {
    for (int id = 0; id < kTableSize; ++id) {
        const int32 expected = automatable(id) ? ParameterInfo::kCanAutomate : 0;
        EXPECT_EQ(info(id).flags, expected) << "row " << id;
    }
}

TEST_F(ControllerParams, AutomatableRangeBorders) {
    struct Border {
        int id;
        bool automatable;
    };
    const Border borders[] = {
        {3, false},   {4, true},    {441, true},  {442, false}, {521, false}, {522, true},
        {523, false}, {526, false}, {527, true},  {545, true},  {546, false}, {625, false},
        {626, true},  {627, false}, {630, false}, {631, true},  {651, true},  {652, false},
        {653, true},  {654, false}, {705, false}, {706, true},  {724, true},
    };
    for (const Border& b : borders)
        EXPECT_EQ(info(b.id).flags & ParameterInfo::kCanAutomate, b.automatable ? 1 : 0)
            << "row " << b.id;
}

struct ProxyCase {
    Vst::ParamID id;
    const char* title;
    int32 flags;
    int32 steps;
    double defaultValue;
};

constexpr int32 kHiddenReadOnly = ParameterInfo::kIsHidden | ParameterInfo::kIsReadOnly;

const ProxyCase kProxyCases[] = {
    {fourCharId("bpas"), "Bypass", ParameterInfo::kIsBypass | ParameterInfo::kCanAutomate, 1, 0.0},
    {fourCharId("next"), "Next Preset", kHiddenReadOnly, 1, 0.0},
    {fourCharId("prev"), "Prev Preset", kHiddenReadOnly, 1, 0.0},
    {fourCharId("aftt"), "aftertouch", kHiddenReadOnly, 0, 0.5},
    {fourCharId("anof"), "allnotesoff", kHiddenReadOnly, 0, 0.0},
    {fourCharId("asof"), "allsoundoff", kHiddenReadOnly, 0, 0.0},
    {fourCharId("brth"), "breath", kHiddenReadOnly, 0, 0.0},
    {fourCharId("foot"), "foot", kHiddenReadOnly, 0, 0.0},
    {fourCharId("expr"), "expr", kHiddenReadOnly, 0, 0.0},
    {fourCharId("sust"), "sust", kHiddenReadOnly, 0, 0.0},
    {fourCharId("prta"), "port", kHiddenReadOnly, 0, 0.0},
    {fourCharId("stnt"), "sustn", kHiddenReadOnly, 0, 0.0},
    {fourCharId("prch"), "Program Change",
     ParameterInfo::kIsProgramChange | ParameterInfo::kIsList | ParameterInfo::kCanAutomate, 127,
     0.0},
};

TEST_F(ControllerParams, ProxiesFollowTheTableInOrder) {
    for (int i = 0; i < kProxies; ++i) {
        const ProxyCase& p = kProxyCases[i];
        const ParameterInfo got = info(kTableSize + i);
        EXPECT_EQ(got.id, p.id) << p.title;
        EXPECT_EQ(host::toUtf8(got.title), p.title);
        EXPECT_EQ(got.flags, p.flags) << p.title;
        EXPECT_EQ(got.stepCount, p.steps) << p.title;
        EXPECT_DOUBLE_EQ(got.defaultNormalizedValue, p.defaultValue) << p.title;
        EXPECT_NEAR(plugin->controller()->getParamNormalized(p.id), p.defaultValue, 1e-7)
            << p.title;
    }
}

TEST_F(ControllerParams, IndicesPastTheEndAreRefused) {
    ParameterInfo i{};
    EXPECT_NE(plugin->controller()->getParameterInfo(738, i), kResultOk);
    EXPECT_NE(plugin->controller()->getParameterInfo(-1, i), kResultOk);
}

TEST_F(ControllerParams, DefaultsAgreeWithTheProcessorState) {
    // The two halves share no memory; both must start from the same table.
    const std::vector<uint8_t> state = plugin->getState();
    ASSERT_EQ(state.size(), kStateBytes);
    for (int id = 0; id < kTableSize; ++id)
        EXPECT_FLOAT_EQ(stateParam(state, id), static_cast<float>(info(id).defaultNormalizedValue))
            << "row " << id;
}

} // namespace
} // namespace torvo::test
