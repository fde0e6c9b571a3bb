#include "shell/paramlists.h"
#include "shell/paramtable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <set>
#include <string>

namespace torvo {
namespace {

int idOf(const char* name) {
    const int id = findParamId(name);
    EXPECT_GE(id, 0) << name;
    return id;
}

ParamRecord rowOf(const char* name) {
    return defaultParamRecord(std::max(idOf(name), 0));
}

std::string shown(ParamRecord row) {
    return row.displayText();
}

std::string format(int id, float value) {
    char text[32];
    formatParamValue(id, value, text, sizeof text);
    return text;
}

std::string name(const char* pattern, int n) {
    char text[40];
    std::snprintf(text, sizeof text, pattern, n);
    return text;
}

// --- layout ---------------------------------------------------------------------------------

TEST(ParamTableLayout, EveryIdHasOneUniqueNameAndItsDefault) {
    std::set<std::string> names;
    const float* defaults = defaultParamValues();
    for (int id = 0; id < kParamCount; ++id) {
        const ParamRecord& row = defaultParamRecord(id);
        ASSERT_NE(row.name[0], '\0') << id;
        EXPECT_TRUE(names.insert(row.name).second) << row.name;
        EXPECT_EQ(findParamId(row.name), id) << row.name;
        EXPECT_STREQ(row.unitText, "");
        EXPECT_EQ(defaults[id], row.value) << row.name;
        EXPECT_EQ(row.changed, 0);
        EXPECT_TRUE(row.smoothing == 0 || row.smoothing == 3 || row.smoothing == 6);
        EXPECT_TRUE(row.scale == 1000 || row.scale == 0);
        if (!row.isList()) {
            EXPECT_EQ(row.scale, 0u) << row.name;
        }
    }
    EXPECT_EQ(names.size(), 725u);
}

TEST(ParamTableLayout, HeadAndFilterRows) {
    EXPECT_EQ(idOf("x-comp"), 7);
    EXPECT_EQ(rowOf("x-comp").smoothing, 6.0f);
    EXPECT_EQ(idOf("eq_low_Q"), 13);
    EXPECT_EQ(findParamId("eq_low_q"), -1);
    EXPECT_FLOAT_EQ(rowOf("eq_low_Q").value, 0.54f);
    EXPECT_FLOAT_EQ(rowOf("eq_hi_frq").value, 0.53f);
    EXPECT_EQ(idOf("mix_osc4"), 24);
    EXPECT_EQ(shown(rowOf("mode")), "poly_1");
    EXPECT_EQ(shown(rowOf("poly")), "4");
    EXPECT_EQ(shown(rowOf("bend_dn")), "02");
    EXPECT_EQ(shown(rowOf("glide_log")), "on");
    EXPECT_EQ(idOf("flt1_type"), 101);
    EXPECT_EQ(shown(rowOf("flt1_type")), "Perfecto");
    EXPECT_EQ(shown(rowOf("flt2_type")), "off");
    EXPECT_EQ(rowOf("flt1_mode").choiceCount, 5u);
    EXPECT_EQ(idOf("flt_rout"), 109);
    EXPECT_EQ(shown(rowOf("flt_rout")), "serial");
    EXPECT_EQ(idOf("flt_keytrack"), 112);
}

TEST(ParamTableLayout, OscillatorBlocks) {
    const int bases[] = {25, 44, 63, 82};
    for (int n = 1; n <= 4; ++n) {
        const int base = bases[n - 1];
        EXPECT_EQ(idOf(name("osc%d_type", n).c_str()), base);
        EXPECT_EQ(idOf(name("osc%d_wave", n).c_str()), base + 7);
        EXPECT_EQ(idOf(name("osc%d_mixto", n).c_str()), base + 18);
        EXPECT_EQ(idOf(name("osc%d_mute", n).c_str()), 437 + n);
        EXPECT_EQ(shown(defaultParamRecord(base + 1)), "0"); // oct, index 4 of 9
        EXPECT_EQ(shown(defaultParamRecord(base + 2)), "0"); // note, index 11 of 23
        EXPECT_FLOAT_EQ(defaultParamRecord(base + 1).value, 0.5f);
        EXPECT_FLOAT_EQ(defaultParamRecord(base + 2).value, 0.5f);
        EXPECT_EQ(defaultParamRecord(base + 2).smoothing, 6.0f);
        EXPECT_EQ(shown(defaultParamRecord(base + 11)), "1_Voice");
        EXPECT_EQ(shown(defaultParamRecord(base + 15)), "on");
        EXPECT_EQ(shown(defaultParamRecord(base + 16)), "off");
    }
    EXPECT_EQ(idOf("osc1_mute"), 438);
    EXPECT_EQ(idOf("osc4_mute"), 441);
}

TEST(ParamTableLayout, EnvelopeDefaultsPerEnvelope) {
    struct Env {
        int base;
        float att, dec, sus, rel;
        int decCurve, slopeCurve, target1;
        float amt1;
    };
    const Env envs[] = {{113, 0.005f, 0, 1, 0.07f, 2, 0, 0, 0.5f},
                        {129, 0, 0, 1, 0.07f, 1, 0, 0, 0.5f},
                        {145, 0, 0.5f, 0, 0.5f, 2, 1, 45, 0.83f},
                        {161, 0, 0, 1, 0.07f, 1, 0, 0, 0.5f}};
    for (int n = 1; n <= 4; ++n) {
        const Env& e = envs[n - 1];
        SCOPED_TRACE(n);
        EXPECT_EQ(idOf(name("env%d_att", n).c_str()), e.base);
        EXPECT_EQ(idOf(name("env%d_vel2", n).c_str()), e.base + 15);
        EXPECT_FLOAT_EQ(defaultParamRecord(e.base).value, e.att);
        EXPECT_FLOAT_EQ(defaultParamRecord(e.base + 1).value, e.dec);
        EXPECT_FLOAT_EQ(defaultParamRecord(e.base + 2).value, e.sus);
        EXPECT_FLOAT_EQ(defaultParamRecord(e.base + 5).value, e.rel);
        EXPECT_EQ(defaultParamRecord(e.base + 7).choiceIndex, e.decCurve);
        EXPECT_FLOAT_EQ(defaultParamRecord(e.base + 7).value, e.decCurve / 2.0f);
        EXPECT_EQ(defaultParamRecord(e.base + 8).choiceIndex, e.slopeCurve);
        EXPECT_EQ(defaultParamRecord(e.base + 10).choiceIndex, e.target1);
        EXPECT_FLOAT_EQ(defaultParamRecord(e.base + 10).value, e.target1 * kThousandth);
        EXPECT_FLOAT_EQ(defaultParamRecord(e.base + 11).value, e.amt1);
        EXPECT_EQ(defaultParamRecord(e.base + 13).choiceCount, 230u);
    }
}

TEST(ParamTableLayout, LfoDefaultsPerLfo) {
    const int bases[] = {177, 193, 209, 225};
    const int forms[] = {1, 0, 1, 0};
    for (int n = 1; n <= 4; ++n) {
        const int base = bases[n - 1];
        EXPECT_EQ(idOf(name("lfo%d_rate", n).c_str()), base);
        EXPECT_EQ(idOf(name("lfo%d_vel2", n).c_str()), base + 15);
        EXPECT_FLOAT_EQ(defaultParamRecord(base).value, 0.74f);
        EXPECT_EQ(shown(defaultParamRecord(base + 1)), "8/1");
        EXPECT_EQ(defaultParamRecord(base + 2).smoothing, 3.0f);
        EXPECT_EQ(defaultParamRecord(base + 7).choiceIndex, forms[n - 1]);
        EXPECT_FLOAT_EQ(defaultParamRecord(base + 5).value, n == 4 ? 0.49632f : 0.5f);
    }
    EXPECT_EQ(idOf("lfo4_morph"), 230);
    EXPECT_EQ(shown(rowOf("lfo1_form")), "Tri");
}

TEST(ParamTableLayout, EffectRows) {
    EXPECT_EQ(idOf("shp_mode"), 241);
    EXPECT_EQ(shown(rowOf("shp_mode")), "warm");
    EXPECT_EQ(shown(rowOf("phs_stages")), "4_stages");
    EXPECT_EQ(shown(rowOf("chr_mode")), "J8");
    EXPECT_EQ(idOf("del_stimeL"), 269);
    EXPECT_EQ(shown(rowOf("del_stimeL")), "1/8");
    EXPECT_EQ(shown(rowOf("del_stimeR")), "1/32");
    EXPECT_FLOAT_EQ(rowOf("rev_decay").value, 0.635742f);
    EXPECT_EQ(shown(rowOf("rev_mode")), "plate1");
    EXPECT_EQ(idOf("rev_wet"), 287);
}

TEST(ParamTableLayout, MatrixSlots) {
    for (int s = 1; s <= 15; ++s) {
        const int base = 288 + 10 * (s - 1);
        EXPECT_EQ(idOf(name("slot%d_Src1", s).c_str()), base);
        EXPECT_EQ(idOf(name("slot%d_Trg4", s).c_str()), base + 9);
        EXPECT_EQ(defaultParamRecord(base).choiceIndex, s == 1 ? 17 : 0);
        EXPECT_FLOAT_EQ(defaultParamRecord(base + 2).value, 0.5f);
        EXPECT_EQ(defaultParamRecord(base).choiceCount, 40u);
    }
    EXPECT_FLOAT_EQ(rowOf("slot1_Src1").value, 17 * kThousandth);
    EXPECT_EQ(idOf("slot15_Trg4"), 437);
}

TEST(ParamTableLayout, StepperArraysAndHeads) {
    for (int k = 0; k < 2; ++k) {
        const int o = 104 * k;
        const int n = k + 1;
        EXPECT_EQ(idOf(name("stp%d_start1", n).c_str()), 442 + o);
        EXPECT_EQ(idOf(name("stp%d_start16", n).c_str()), 457 + o);
        EXPECT_EQ(idOf(name("stp%d_end1", n).c_str()), 458 + o);
        EXPECT_EQ(idOf(name("stp%d_crvX1", n).c_str()), 474 + o);
        EXPECT_EQ(idOf(name("stp%d_crvY16", n).c_str()), 505 + o);
        EXPECT_EQ(idOf(name("stp%d_rep16", n).c_str()), 521 + o);
        EXPECT_EQ(idOf(name("stp%d_rate", n).c_str()), 522 + o);
        EXPECT_EQ(idOf(name("stp%d_loop", n).c_str()), 529 + o);
        EXPECT_EQ(idOf(name("stp%d_hold1", n).c_str()), 530 + o);
        EXPECT_EQ(idOf(name("stp%d_hold16", n).c_str()), 545 + o);
        EXPECT_FLOAT_EQ(defaultParamRecord(442 + o).value, 1.0f);
        EXPECT_FLOAT_EQ(defaultParamRecord(458 + o).value, 0.0f);
        EXPECT_FLOAT_EQ(defaultParamRecord(490 + o).value, 0.5f);
        EXPECT_EQ(shown(defaultParamRecord(523 + o)), "1/8");
        EXPECT_EQ(shown(defaultParamRecord(524 + o)), "spos");
        EXPECT_EQ(shown(defaultParamRecord(525 + o)), "01");
        EXPECT_EQ(shown(defaultParamRecord(526 + o)), "16");
        EXPECT_EQ(shown(defaultParamRecord(528 + o)), "on");
    }
    EXPECT_EQ(idOf("stp2_hold16"), 649);
}

TEST(ParamTableLayout, ArpeggiatorAndTail) {
    EXPECT_EQ(idOf("arp_on"), 650);
    EXPECT_EQ(shown(rowOf("arp_speed")), "1/16");
    EXPECT_EQ(shown(rowOf("arp_wrap")), "no");
    EXPECT_EQ(shown(rowOf("arp_octave")), "01");
    for (int n = 1; n <= 16; ++n) {
        EXPECT_EQ(idOf(name("arp_vel%d", n).c_str()), 657 + n);
        EXPECT_EQ(idOf(name("arp_hold%d", n).c_str()), 673 + n);
        EXPECT_EQ(idOf(name("arp_note%d", n).c_str()), 689 + n);
        EXPECT_FLOAT_EQ(defaultParamRecord(657 + n).value, 0.78f);
        EXPECT_EQ(shown(defaultParamRecord(689 + n)), "0");
        EXPECT_FLOAT_EQ(defaultParamRecord(689 + n).value, 0.5f);
    }
    const char* tail[] = {"shp_mute",  "phs_mute",  "chr_mute",    "del_mute",   "rev_mute",
                          "warm",      "boost",     "soft",        "macro1",     "macro2",
                          "macro3",    "macro4",    "pitch_shift", "pitch_fine", "bend_wheel",
                          "mod_wheel", "anticlick", "osc_all_pt",  "lfo_all_rt"};
    for (int i = 0; i < 19; ++i) EXPECT_EQ(idOf(tail[i]), 706 + i);
    EXPECT_EQ(shown(rowOf("warm")), "on");
    EXPECT_EQ(shown(rowOf("pitch_shift")), "0");
    EXPECT_EQ(shown(rowOf("pitch_fine")), "0");
    EXPECT_FLOAT_EQ(rowOf("anticlick").value, 1.0f);
}

TEST(ParamTableLayout, IndexAndValueRowsOfTheSteppersAreDistinct) {
    EXPECT_EQ(findParamId("stp1_start"), 525);
    EXPECT_EQ(findParamId("stp1_start1"), 442);
    EXPECT_EQ(findParamId("stp2_start"), 629);
    EXPECT_EQ(findParamId("stp1_star"), -1);
    EXPECT_EQ(findParamId(""), -1);
    EXPECT_TRUE(rowOf("stp1_start").isList());
    EXPECT_FALSE(rowOf("stp1_start1").isList());
}

// --- write and display rules ----------------------------------------------------------------

TEST(ParamWrite, ContinuousClampsAndRoundsHalfAwayFromZero) {
    const int glide = idOf("glide");
    EXPECT_EQ(format(glide, 0.0005f), "1");
    EXPECT_EQ(format(glide, 0.0004f), "0");
    EXPECT_EQ(format(glide, 0.4994f), "499");
    EXPECT_EQ(format(glide, 0.4995f), "500");
    EXPECT_EQ(format(glide, 2.0f), "1000");
    EXPECT_EQ(format(glide, -3.0f), "0");

    ParamRecord row = defaultParamRecord(glide);
    row.setValue(1.5f);
    EXPECT_EQ(row.value, 1.0f);
    row.setValue(-0.5f);
    EXPECT_EQ(row.value, 0.0f);
    row.setValue(std::nanf(""));
    EXPECT_EQ(row.value, 0.0f);
    row.value = 7.0f; // set behind the write rule: display still clamps
    EXPECT_STREQ(row.displayText(), "1000");
}

TEST(ParamWrite, ThousandthRowAtOneLandsOnTheLastEntry) {
    ParamRecord type = rowOf("osc1_type");
    type.setValue(1.0f);
    EXPECT_EQ(type.choiceIndex, 6);
    EXPECT_FLOAT_EQ(type.value, 6 * 0.001001001f);
    EXPECT_STREQ(type.displayText(), "Vowel");

    ParamRecord target = rowOf("env1_target1");
    target.setValue(1.0f);
    EXPECT_EQ(target.choiceIndex, 229);
    EXPECT_FLOAT_EQ(target.value, 229 * 0.001001001f);
    EXPECT_STREQ(target.displayText(), "Glide");
}

TEST(ParamWrite, ThousandthKeepsTheWrittenValueAndFloorsNegatives) {
    ParamRecord type = rowOf("flt1_type");
    type.setValue(0.0025f); // 2.49 entries: index 2, value not snapped
    EXPECT_EQ(type.choiceIndex, 2);
    EXPECT_EQ(type.value, 0.0025f);
    EXPECT_STREQ(type.displayText(), "Acido");
    type.setValue(-0.01f);
    EXPECT_EQ(type.choiceIndex, 0);
    EXPECT_EQ(type.value, 0.0f);
}

TEST(ParamWrite, EveryListRowRoundTripsEveryIndexOfItsEncoding) {
    for (int id = 0; id < kParamCount; ++id) {
        ParamRecord row = defaultParamRecord(id);
        if (!row.isList()) continue;
        const uint32_t count = row.choiceCount;
        for (uint32_t k = 0; k < count; ++k) {
            const float v = row.scale == 1000 ? k * kThousandth
                                              : (count > 1 ? float(k) / float(count - 1) : 0.0f);
            row.setValue(v);
            ASSERT_EQ(row.choiceIndex, int32_t(k)) << row.name;
            ASSERT_EQ(row.value, v) << row.name;
        }
    }
}

TEST(ParamWrite, SpreadEncodingWriteAndDisplay) {
    ParamRecord onOff = rowOf("drift");
    onOff.setValue(0.5f); // 0.5 * 1.99 = 0.995
    EXPECT_EQ(onOff.choiceIndex, 0);
    EXPECT_EQ(onOff.value, 0.5f);
    EXPECT_STREQ(onOff.displayText(), "off");
    onOff.setValue(0.51f);
    EXPECT_STREQ(onOff.displayText(), "on");
    onOff.setValue(1.0f);
    EXPECT_EQ(onOff.choiceIndex, 1);
    EXPECT_EQ(onOff.value, 1.0f);
    onOff.setValue(1.2f); // past the end: the value lands on the thousandth grid
    EXPECT_EQ(onOff.choiceIndex, 1);
    EXPECT_FLOAT_EQ(onOff.value, 0.001001001f);

    const int oct = idOf("osc1_oct");
    EXPECT_EQ(format(oct, 0.0f), "-4");
    EXPECT_EQ(format(oct, 0.125f), "-3");
    EXPECT_EQ(format(oct, 1.0f), "4");
    EXPECT_EQ(format(idOf("pitch_fine"), 1.0f), "99");
    EXPECT_EQ(format(idOf("arp_note1"), 0.0f), "-24");
}

TEST(ParamWrite, EqBandHasOneEntry) {
    const ParamRecord& band = defaultParamRecord(10);
    EXPECT_STREQ(band.name, "eq_band");
    EXPECT_EQ(band.choiceCount, 1u);
    EXPECT_EQ(band.choiceIndex, 0);
    EXPECT_EQ(band.value, 0.0f);
    EXPECT_EQ(defaultParamValues()[10], 0.0f);
    for (float v : {0.0f, 0.3f, 0.999f, 1.0f, 5.0f}) EXPECT_EQ(format(10, v), "lowhi") << v;
}

TEST(ParamWrite, SeparatorsTakeNoIndex) {
    const int wave = idOf("osc1_wave");
    EXPECT_EQ(format(wave, 7 * kThousandth), "Bass_1");
    EXPECT_EQ(format(wave, 48 * kThousandth), "Alarm_2");
    EXPECT_EQ(format(wave, 49 * kThousandth), ""); // counted entry beyond the real tokens
    EXPECT_EQ(format(wave, 1.0f), "");
    EXPECT_EQ(format(idOf("lfo1_form"), 5 * kThousandth), "TriSine");
    EXPECT_EQ(format(idOf("flt1_mode"), 3 * kThousandth), "Peak");
    EXPECT_EQ(format(idOf("flt1_mode"), 4 * kThousandth), "");
}

TEST(ParamWrite, SmoothedRowsMarkEveryWrite) {
    ParamRecord cut = rowOf("flt1_cut");
    cut.setValue(cut.value);
    EXPECT_EQ(cut.changed, 1);
    ParamRecord note = rowOf("osc1_note"); // a smoothed list row
    note.setValue(0.0f);
    EXPECT_EQ(note.changed, 1);
    ParamRecord fine = rowOf("osc1_fine");
    fine.setValue(0.2f);
    EXPECT_EQ(fine.changed, 0);
}

TEST(ParamWrite, MenuMapTranslatesIdsToMenuPositions) {
    // Source ids as stored; the flat list is in menu order, where Random_Unipolar (id 30) is
    // fourth in its group.
    int idToPosition[40];
    for (int id = 0; id < 40; ++id) idToPosition[id] = id;
    for (int id = 16; id <= 29; ++id) idToPosition[id] = id + 1;
    idToPosition[30] = 16;

    ParamRecord src = rowOf("slot1_Src1");
    EXPECT_STREQ(src.displayText(), "PitchWheel"); // host text: no map, off from the engine
    EXPECT_STREQ(src.displayText(idToPosition), "ModWheel");
    src.setValue(30 * kThousandth);
    EXPECT_STREQ(src.displayText(idToPosition), "Random_Unipolar");
    src.setValue(32 * kThousandth);
    EXPECT_STREQ(src.displayText(idToPosition), "Constant_50%");
}

TEST(ParamFormat, ScratchCopyAndBounds) {
    const int type = idOf("flt1_type");
    EXPECT_EQ(format(type, 4 * kThousandth), "Scorpio");
    EXPECT_EQ(defaultParamRecord(type).choiceIndex, 1); // the default row is untouched
    char small[3] = "xx";
    EXPECT_TRUE(formatParamValue(type, 4 * kThousandth, small, sizeof small));
    EXPECT_STREQ(small, "Sc");
    char text[8] = "junk";
    EXPECT_FALSE(formatParamValue(725, 0.5f, text, sizeof text));
    EXPECT_STREQ(text, "");
    EXPECT_FALSE(formatParamValue(-1, 0.5f, text, sizeof text));
}

// --- host view ------------------------------------------------------------------------------

TEST(ParamHost, AutomatableRangesAtTheirBorders) {
    const int yes[] = {4, 441, 522, 527, 545, 626, 631, 651, 653, 706, 724};
    const int no[] = {0, 3, 442, 521, 523, 526, 546, 625, 627, 630, 652, 654, 705, -1, 725};
    for (int id : yes) EXPECT_TRUE(isParamAutomatable(id)) << id;
    for (int id : no) EXPECT_FALSE(isParamAutomatable(id)) << id;
    int count = 0;
    for (int id = 0; id < kParamCount; ++id) count += isParamAutomatable(id);
    EXPECT_EQ(count, 438 + 1 + 19 + 1 + 21 + 1 + 19);
}

TEST(ParamHost, ProxiesInHostOrder) {
    const char* ids[] = {"bpas", "next", "prev", "aftt", "anof", "asof", "brth",
                         "foot", "expr", "sust", "prta", "stnt", "prch"};
    const char* titles[] = {"Bypass",        "Next Preset", "Prev Preset", "aftertouch",
                            "allnotesoff",   "allsoundoff", "breath",      "foot",
                            "expr",          "sust",        "port",        "sustn",
                            "Program Change"};
    ASSERT_EQ(kHostParamCount, 738);
    for (int i = 0; i < kProxyCount; ++i) {
        const ProxyParam& p = kProxyParams[i];
        const uint32_t id = uint32_t(ids[i][0]) << 24 | uint32_t(ids[i][1]) << 16 |
                            uint32_t(ids[i][2]) << 8 | uint32_t(ids[i][3]);
        EXPECT_EQ(p.id, id) << ids[i];
        EXPECT_STREQ(p.title, titles[i]);
        EXPECT_EQ(findProxy(id), i);
        EXPECT_EQ(p.defaultValue, i == 3 ? 0.5f : 0.0f) << ids[i];
        if (i >= 1 && i <= 11) {
            EXPECT_EQ(p.flags, kProxyIsHidden | kProxyIsReadOnly) << ids[i];
            EXPECT_EQ(p.stepCount, i <= 2 ? 1 : 0) << ids[i];
        }
    }
    EXPECT_EQ(kProxyParams[0].id, 0x62706173u);
    EXPECT_EQ(kProxyParams[0].flags, kProxyIsBypass | kProxyCanAutomate);
    EXPECT_EQ(kProxyParams[0].flags, (1 << 16) | 1);
    EXPECT_EQ(kProxyParams[0].stepCount, 1);
    EXPECT_EQ(kProxyParams[12].flags, kProxyIsProgramChange | kProxyIsList | kProxyCanAutomate);
    EXPECT_EQ(kProxyParams[12].stepCount, 127);
    EXPECT_EQ(findProxy(fourCharId("nope")), -1);
}

} // namespace
} // namespace torvo
