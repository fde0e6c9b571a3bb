#include "engine/routetable.h"
#include "shell/paramtable.h"

#include <gtest/gtest.h>

#include <set>

using namespace torvo;

namespace {
int id(const char* name) {
    const int i = findParamId(name);
    EXPECT_GE(i, 0) << name;
    return i;
}

std::set<int> receivers(const char* name) {
    std::set<int> keys;
    const RouteList& r = routesOf(id(name));
    for (int i = 0; i < r.count; ++i) keys.insert(r.routes[i].moduleKey);
    return keys;
}
} // namespace

TEST(RouteTable, EveryModuleBindsItsLocalsInOrder) {
    const struct {
        int key;
        int count;
        int local;
        const char* name;
    } cases[] = {
        {kKeyMidi, 9, 7, "pitch_shift"},
        {kKeyEnv1 + 2, 10, 9, "env3_rel_crv"},
        {kKeyLfo1 + 3, 11, 10, "drift"},
        {kKeyOsc1 + 1, 17, 10, "osc2_uden"},
        {kKeyOsc1, 17, 13, "osc1_uwid"},
        {kKeyMixer, 16, 12, "osc1_mute"},
        {kKeyFilter, 12, 11, "flt_balance"},
        {kKeyShaper, 10, 2, "shp_hq"},
        {kKeyPhaser, 8, 7, "phs_mute"},
        {kKeyChorus, 10, 1, "chr_delay"},
        {kKeyDelay, 13, 7, "del_rate"},
        {kKeyReverb, 10, 2, "rev_pretimeS"},
        {kKeyCompressor, 1, 0, "x-comp"},
        {kKeyEqualizer, 14, 13, "volume"},
        {kKeyEqualizer, 14, 2, "soft"},
        {kKeyPerformance, 4, 3, "macro4"},
        {kKeyStepper1, 106, 82, "arp_speed"},
        {kKeyStepper1 + 1, 106, 0, "stp2_start1"},
        {kKeyStepper1 + 1, 106, 84, "stp2_start"},
        {kKeyStepper1, 106, 105, "stp1_hold16"},
        {kKeyArp, 56, 32, "arp_vel1"},
        {kKeyArp, 56, 54, "arp_octave"},
    };
    for (const auto& c : cases) {
        int count = 0;
        const int* locals = localParamsOf(c.key, &count);
        ASSERT_NE(locals, nullptr) << c.key;
        EXPECT_EQ(count, c.count) << "module " << c.key;
        EXPECT_EQ(locals[c.local], id(c.name)) << "module " << c.key << " local " << c.local;
    }
    EXPECT_EQ(localParamsOf(kKeyExtControl, nullptr), nullptr);
    EXPECT_EQ(localParamsOf(15, nullptr), nullptr);
}

TEST(RouteTable, SharedParametersFanOut) {
    EXPECT_EQ(receivers("drift"),
              (std::set<int>{kKeyMidi, kKeyLfo1, kKeyLfo1 + 1, kKeyLfo1 + 2, kKeyLfo1 + 3}));
    EXPECT_EQ(receivers("arp_speed"), (std::set<int>{kKeyStepper1, kKeyStepper1 + 1, kKeyArp}));
    EXPECT_EQ(receivers("arp_swing"), (std::set<int>{kKeyStepper1, kKeyStepper1 + 1, kKeyArp}));
}

TEST(RouteTable, EngineHandledRowsHaveNoReceiverAndAllOthersExactlyOne) {
    std::set<int> engineRows = {id("eq_band"), id("velocity"), id("phs_pre"), id("bend_wheel"),
                                id("mod_wheel"), id("anticlick"),
                                // read only through modulation queries
                                id("osc_all_pt"), id("lfo_all_rt")};
    for (int base : {123, 139, 155, 171, 187, 203, 219, 235})
        for (int i = 0; i < 6; ++i) engineRows.insert(base + i);
    for (int i = 288; i <= 437; ++i) engineRows.insert(i);
    const std::set<int> fanOut = {id("drift"), id("arp_speed"), id("arp_swing")};
    for (int p = 0; p < kParamCount; ++p) {
        const int count = routesOf(p).count;
        if (engineRows.count(p)) {
            EXPECT_EQ(count, 0) << defaultParamRecord(p).name;
        } else if (!fanOut.count(p)) {
            EXPECT_EQ(count, 1) << defaultParamRecord(p).name;
        }
    }
}
