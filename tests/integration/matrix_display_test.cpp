// Modulation rows as a host sees them. The host's text of a `Src` or `Trg` row is the token at
// the stored number in the flat list, while the engine reads the number as the id of the
// numbered menu: the two differ (ModWheel is stored as 17, the 17th flat token is
// "PitchWheel"), and the engine is the one that is right. The engine's side shows in the
// in-use diodes that the processor reports in its "disp" message.

#include "integration/hostfixture.h"

#include "pluginterfaces/base/ustring.h"

#include <array>
#include <cstring>
#include <string>

namespace torvo::test {
namespace {

using namespace Steinberg;

constexpr int kBlock = 256;
constexpr double kThousandth = 0.001001001;
constexpr Vst::ParamID kSlot1Src1 = 288;
constexpr Vst::ParamID kSlot1Trg1 = 291;
constexpr Vst::ParamID kSlot9Src2 = 288 + 80 + 1;
constexpr Vst::ParamID kSlot9Trg4 = 288 + 80 + 9;
constexpr Vst::ParamID kEnv3Target1 = 145 + 10;
constexpr Vst::ParamID kLfo2Target2 = 193 + 13;

class MatrixDisplay : public HostedTorvo {
protected:
    void SetUp() override {
        HostedTorvo::SetUp();
        start(48000.0, kBlock);
    }

    std::string text(Vst::ParamID id, int index) {
        Vst::String128 s{};
        EXPECT_EQ(plugin->controller()->getParamStringByValue(id, index * kThousandth, s),
                  kResultTrue);
        char ascii[128] = {};
        UString(s, 128).toAscii(ascii, 128);
        return ascii;
    }

    /// Sends the changes in one block, then lets the deferred matrix refresh run.
    std::array<int64_t, 5> diodesAfter(const std::vector<host::ParamPoint>& changes) {
        plugin->process(kBlock, {}, changes);
        for (int b = 0; b < 8; ++b) plugin->process(kBlock);
        std::array<int64_t, 5> d{-1, -1, -1, -1, -1};
        host::RecordedMessage m;
        if (!plugin->messages().latest("disp", m)) return d;
        const host::Attribute* a = m.attribute("diodes");
        if (a && a->bytes.size() == sizeof(d)) std::memcpy(d.data(), a->bytes.data(), sizeof(d));
        return d;
    }
};

TEST_F(MatrixDisplay, SourceRowTextIsTheFlatTokenAtTheStoredNumber) {
    EXPECT_EQ(text(kSlot1Src1, 0), "off");
    EXPECT_EQ(text(kSlot1Src1, 13), "Velocity");
    EXPECT_EQ(text(kSlot1Src1, 16), "Random_Unipolar"); // id 16 is PitchWheel in the engine
    EXPECT_EQ(text(kSlot1Src1, 17), "PitchWheel");      // the new patch's ModWheel
    EXPECT_EQ(text(kSlot9Src2, 26), "ArpStep");         // Mod1
    EXPECT_EQ(text(kSlot9Src2, 30), "Mod4");            // Random_Unipolar
    EXPECT_EQ(text(kSlot9Src2, 32), "Constant_50%");
}

TEST_F(MatrixDisplay, TargetRowTextIsTheFlatTokenAtTheStoredNumber) {
    EXPECT_EQ(text(kSlot1Trg1, 0), "off");
    EXPECT_EQ(text(kSlot1Trg1, 1), "Osc1_Amp");
    EXPECT_EQ(text(kSlot1Trg1, 5), "AllOsc_Pitch"); // Osc1_Pitch
    EXPECT_EQ(text(kSlot1Trg1, 45), "Osc4_Detune"); // Cutoff_1
    EXPECT_EQ(text(kSlot9Trg4, 145), "Rev_Decay");  // Main_Volume
    EXPECT_EQ(text(kSlot9Trg4, 164), "Slot1_Amt4"); // Slot3_Amount2
    EXPECT_EQ(text(kSlot9Trg4, 228), "Mod4");       // All_Osc_Pitch
    EXPECT_EQ(text(kSlot9Trg4, 229), "Glide");      // All_LFO_Rate
    // The envelopes' and LFOs' target rows use the same list.
    EXPECT_EQ(text(kEnv3Target1, 45), "Osc4_Detune");
    EXPECT_EQ(text(kLfo2Target2, 142), "Del_Rate");
}

TEST_F(MatrixDisplay, EngineReadsTheStoredNumberAsTheNumberedId) {
    // Nothing routed from a macro or the wheel in the new patch.
    std::array<int64_t, 5> none{0, 0, 0, 0, 0};
    EXPECT_EQ(diodesAfter({}), none);
    // The host shows "ArpStep"; the engine routes macro 1.
    EXPECT_EQ(diodesAfter({{kSlot1Src1, 0, 26 * kThousandth}, {kSlot1Trg1, 0, 46 * kThousandth}}),
              (std::array<int64_t, 5>{1, 0, 0, 0, 0}));
    // The host shows "Mod4"; the engine routes Random_Unipolar, which lights nothing.
    EXPECT_EQ(diodesAfter({{kSlot1Src1, 0, 30 * kThousandth}}), none);
    // The host shows "PitchWheel"; the engine routes the mod wheel.
    EXPECT_EQ(diodesAfter({{kSlot1Src1, 0, 17 * kThousandth}}),
              (std::array<int64_t, 5>{0, 0, 0, 0, 1}));
    // Macro 4 by its own id from a second source row, on a slot-amount target.
    EXPECT_EQ(diodesAfter({{kSlot9Src2, 0, 29 * kThousandth}, {kSlot9Trg4, 0, 164 * kThousandth}}),
              (std::array<int64_t, 5>{0, 0, 0, 1, 1}));
    // Taking the target away switches the macro off again.
    EXPECT_EQ(diodesAfter({{kSlot9Trg4, 0, 0.0}}), (std::array<int64_t, 5>{0, 0, 0, 0, 1}));
}

} // namespace
} // namespace torvo::test
