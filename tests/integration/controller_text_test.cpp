// Value text and stored values as a host asks the edit controller for them.

#include "integration/hostfixture.h"

#include "pluginterfaces/vst/ivsteditcontroller.h"

namespace torvo::test {
namespace {

using namespace Steinberg;

constexpr double kThousandth = 0.001001001;

class ControllerText : public HostedTorvo {
protected:
    std::string text(Vst::ParamID id, double value) {
        Vst::String128 out = {};
        plugin->controller()->getParamStringByValue(id, value, out);
        return host::toUtf8(out);
    }
};

TEST_F(ControllerText, ContinuousRowsShowThousandths) {
    EXPECT_EQ(text(9, 0.5), "500"); // volume
    EXPECT_EQ(text(9, 0.0), "0");
    EXPECT_EQ(text(9, 1.0), "1000");
    EXPECT_EQ(text(103, 0.1234), "123"); // flt1_cut
    EXPECT_EQ(text(103, 0.1236), "124"); // rounds to nearest
    EXPECT_EQ(text(113, 0.005), "5");    // env1_att default
    EXPECT_EQ(text(720, 0.75), "750");   // bend_wheel
}

TEST_F(ControllerText, ThousandthListsPickTheTokenAtTheIndex) {
    // osc1_type: "Classic Noise FM AMSync SawPwm HardFM Vowel"
    EXPECT_EQ(text(25, 0.0), "Classic");
    EXPECT_EQ(text(25, 2 * kThousandth), "FM");
    EXPECT_EQ(text(25, 6 * kThousandth), "Vowel");
    // A value past the list's end lands on the last entry, 1.0 included (index 999).
    EXPECT_EQ(text(25, 0.5), "Vowel");
    EXPECT_EQ(text(25, 1.0), "Vowel");
    // flt1_type: "off Perfecto Acido Infecto Scorpio Combo Shaper"
    EXPECT_EQ(text(101, 1 * kThousandth), "Perfecto");
    EXPECT_EQ(text(101, 1.0), "Shaper");
    // chr_mode default is the seventh entry.
    EXPECT_EQ(text(259, 6 * kThousandth), "J8");
}

TEST_F(ControllerText, SpreadListsSpanTheWholeRange) {
    // osc1_oct: "-4 -3 -2 -1 0 1 2 3 4", index = trunc(v * 8.99)
    EXPECT_EQ(text(26, 0.0), "-4");
    EXPECT_EQ(text(26, 0.5), "0");
    EXPECT_EQ(text(26, 1.0), "4");
    EXPECT_EQ(text(26, 0.125), "-3");
    // OnOff rows: index = trunc(v * 1.99)
    EXPECT_EQ(text(4, 0.0), "off");
    EXPECT_EQ(text(4, 0.5), "off");
    EXPECT_EQ(text(4, 0.51), "on");
    EXPECT_EQ(text(4, 1.0), "on");
    // flt_rout carries its own two-entry list.
    EXPECT_EQ(text(109, 0.0), "serial");
    EXPECT_EQ(text(109, 1.0), "parallel");
    // pitch_shift: -64..64, centre at 0.5
    EXPECT_EQ(text(718, 0.5), "0");
    EXPECT_EQ(text(718, 1.0), "64");
}

TEST_F(ControllerText, ListsWithSeparatorsCountOnlyRealTokens) {
    // osc1_wave: the separator after Para_4 takes no index, so index 7 is Bass_1.
    EXPECT_EQ(text(32, 0.0), "Sin");
    EXPECT_EQ(text(32, 6 * kThousandth), "Para_4");
    EXPECT_EQ(text(32, 7 * kThousandth), "Bass_1");
}

TEST_F(ControllerText, EqBandAlwaysShowsItsOneEntry) {
    for (double v : {0.0, 0.25, 0.5, 0.999, 1.0}) EXPECT_EQ(text(10, v), "lowhi") << v;
}

TEST_F(ControllerText, BypassTextFollowsTheStoredValueAndOnlyByIndex) {
    // Asked by the number 725, the text tells the stored bypass state, whatever the value.
    EXPECT_EQ(text(725, 1.0), "OFF");
    ASSERT_EQ(plugin->controller()->setParamNormalized(kBypassId, 1.0), kResultOk);
    EXPECT_EQ(text(725, 0.0), "ON");
    EXPECT_EQ(plugin->controller()->getParamNormalized(kBypassId), 1.0);
    plugin->controller()->setParamNormalized(kBypassId, 0.0);
    EXPECT_EQ(text(725, 1.0), "OFF");
    // A host asking by the proxy's id gets no text, nor for any other id outside the table.
    EXPECT_EQ(text(kBypassId, 1.0), "");
    EXPECT_EQ(text(fourCharId("next"), 1.0), "");
    EXPECT_EQ(text(fourCharId("aftt"), 0.5), "");
    EXPECT_EQ(text(726, 0.5), "");
}

TEST_F(ControllerText, StoredValuesReadBack) {
    IPtr<Vst::IEditController> c = plugin->controller();
    EXPECT_NEAR(c->getParamNormalized(9), 0.5, 1e-7);
    ASSERT_EQ(c->setParamNormalized(9, 0.25), kResultOk);
    EXPECT_NEAR(c->getParamNormalized(9), 0.25, 1e-7);
    // Continuous rows clamp.
    c->setParamNormalized(9, 1.5);
    EXPECT_NEAR(c->getParamNormalized(9), 1.0, 1e-7);
    // A thousandth row written with 1.0 settles on its last entry, not on 1.0.
    c->setParamNormalized(25, 1.0);
    EXPECT_NEAR(c->getParamNormalized(25), 6 * kThousandth, 1e-6);
    // Proxies are read by id.
    EXPECT_NEAR(c->getParamNormalized(fourCharId("aftt")), 0.5, 1e-7);
    c->setParamNormalized(fourCharId("sust"), 0.75);
    EXPECT_NEAR(c->getParamNormalized(fourCharId("sust")), 0.75, 1e-7);
    // An unknown id is refused and changes nothing.
    EXPECT_NE(c->setParamNormalized(fourCharId("zzzz"), 0.3), kResultOk);
    EXPECT_NEAR(c->getParamNormalized(9), 1.0, 1e-7);
}

} // namespace
} // namespace torvo::test
