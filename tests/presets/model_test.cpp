// The preset and bank model: field limits, the snapping rule, defaults and resets, how a preset
// becomes the live one, and the content hash.
#include "presetfixture.h"

#include "presets/codec.h"
#include "presets/dataholder.h"
#include "presets/snapping.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

namespace torvo {
namespace {

using namespace test;

TEST(PresetFields, DefaultsNamingAndLimits) {
    Preset p;
    EXPECT_STREQ(p.name(), "init");
    EXPECT_STREQ(p.legacyNotes(), "no notes");
    EXPECT_EQ(p.legacyWord(), 0);
    EXPECT_EQ(p.paramCount(), 725);
    EXPECT_EQ(p.maxParamCount(), 725);
    EXPECT_EQ(p.paramBytes(), 2900);
    EXPECT_EQ(p.id(), -2);
    EXPECT_EQ(p.bankIndex(), -1);
    EXPECT_FALSE(p.isFavorite());
    for (int i = 0; i < kParamCount; ++i) ASSERT_EQ(p.params()[i], 0.0f);

    // 25 characters keep 24: the last byte of the field is the terminator.
    p.setName("ABCDEFGHIJKLMNOPQRSTUVWXY");
    EXPECT_STREQ(p.name(), "ABCDEFGHIJKLMNOPQRSTUVWX");
    p.setName(std::string("ABCDEFGHIJKLMNOPQRSTUVWX"));
    EXPECT_STREQ(p.name(), "ABCDEFGHIJKLMNOPQRSTUVWX");
    p.setName(std::string(5000, 'z'));
    EXPECT_EQ(std::string(p.name()), std::string(24, 'z'));

    // Notes are a fixed field: a longer text is cut, never overruns.
    p.setLegacyNotes(std::string(1000, 'n').c_str());
    EXPECT_EQ(std::string(p.legacyNotes()).size(), 247u);

    p.setSingleTag("");
    EXPECT_TRUE(p.tags().empty());
    p.setTags({"a", "b"});
    p.setSingleTag("");
    EXPECT_TRUE(p.tags().empty());
    p.setSingleTag("pad");
    ASSERT_EQ(p.tags().size(), 1u);
    EXPECT_EQ(p.tags()[0], "pad");
}

TEST(PresetFields, ParamRunsStayInsideTheBlock) {
    Preset p;
    const float run[4] = {0.1f, 0.2f, 0.3f, 0.4f};
    p.setParams(run, 4, 723); // only two fit
    EXPECT_EQ(p.params()[723], 0.1f);
    EXPECT_EQ(p.params()[724], 0.2f);
    p.setParams(run, 4, 725);
    p.setParams(run, 4, -1);
    p.setParam(725, 1.0f);
    p.setParam(-1, 1.0f);
    float out[725] = {};
    p.copyParamsTo(out, 100000);
    EXPECT_EQ(out[724], 0.2f);

    Preset q;
    q.setName("other");
    q.setLegacyWord(-7);
    q.params()[0] = 0.5f;
    q.params()[10] = 0.25f;
    p.copyLegacyPart(q, 5);
    EXPECT_STREQ(p.name(), "other");
    EXPECT_EQ(p.legacyWord(), -7);
    EXPECT_EQ(p.params()[0], 0.5f);
    EXPECT_EQ(p.params()[10], 0.0f); // beyond the count
    p.copyLegacyPart(q, 0);          // 0 means all
    EXPECT_EQ(p.params()[10], 0.25f);
}

TEST(Snapping, ListAndContinuousRows) {
    auto bank = makeBank();
    const ParamRecord& spread3 = bank->paramState(kEnv1AttackCurve);
    ASSERT_EQ(spread3.choiceCount, 3u);
    ASSERT_EQ(spread3.scale, 0u);
    int32_t k = -1;
    // 1.0 on three steps: trunc(2.99) = 2 is in range, so the value stays 1.0.
    EXPECT_EQ(snapValue(spread3, 1.0f, &k), 1.0f);
    EXPECT_EQ(k, 2);
    // A value inside the range is never moved onto its step.
    EXPECT_EQ(snapValue(spread3, 0.4f, &k), 0.4f);
    EXPECT_EQ(k, 1);

    // Scale above the count: index 999 is past the last entry, which is rewritten to the grid.
    const ParamRecord& mode = bank->paramState(kMode);
    ASSERT_EQ(mode.scale, 1000u);
    ASSERT_EQ(mode.choiceCount, 6u);
    EXPECT_FLOAT_EQ(snapValue(mode, 1.0f, &k), 5 * 0.001001001f);
    EXPECT_EQ(k, 5);
    EXPECT_EQ(snapValue(mode, 0.004004f, &k), 0.004004f);
    EXPECT_EQ(k, 4);
    EXPECT_EQ(snapValue(mode, -0.3f, &k), 0.0f);
    EXPECT_EQ(k, 0);

    const ParamRecord& velocity = bank->paramState(kVelocity);
    EXPECT_EQ(snapValue(velocity, 1.5f), 1.0f);
    EXPECT_EQ(snapValue(velocity, -0.5f), 0.0f);
    EXPECT_EQ(snapValue(velocity, 0.3f), 0.3f);
    EXPECT_EQ(snapValue(velocity, std::numeric_limits<float>::quiet_NaN()), 0.0f);
    EXPECT_EQ(snapValue(mode, std::numeric_limits<float>::infinity(), &k), 5 * 0.001001001f);
    EXPECT_EQ(snapValue(mode, -std::numeric_limits<float>::infinity(), &k), 0.0f);
}

TEST(Snapping, IdenticalToTheRowWriteRuleOnEveryRow) {
    const float probes[] = {-1.0f,  -0.0001f,
                            0.0f,   0.001001001f,
                            0.002f, 0.05f,
                            0.333f, 0.5f,
                            0.75f,  0.999f,
                            1.0f,   1.0001f,
                            7.5f,   std::numeric_limits<float>::quiet_NaN()};
    for (int id = 0; id < kParamCount; ++id) {
        for (float v : probes) {
            ParamRecord row = defaultParamRecord(id);
            row.setValue(v);
            int32_t k = -1;
            const float snapped = snapValue(defaultParamRecord(id), v, &k);
            ASSERT_EQ(snapped, row.value) << "row " << id << " value " << v;
            if (row.isList()) {
                ASSERT_EQ(k, row.choiceIndex) << "row " << id << " value " << v;
            }
        }
    }
}

TEST(Snapping, LiveWriteMarksChangedOnlyOnSmoothedRows) {
    auto bank = makeBank();
    bank->paramState(kVolume).changed = 0;
    bank->paramState(kVelocity).changed = 0;
    writeSnapped(bank->paramState(kVolume), 0.7f);
    writeSnapped(bank->paramState(kVelocity), 0.7f);
    EXPECT_EQ(bank->paramState(kVolume).changed, 1);
    EXPECT_EQ(bank->paramState(kVelocity).changed, 0);
    bank->renderSmoothing(64);
    EXPECT_EQ(bank->paramState(kVolume).changed, 0);
    EXPECT_EQ(bank->paramState(kVolume).value, 0.7f);

    // Preset snapping uses the same rule and leaves the rows alone.
    Preset p;
    p.params()[kMode] = 1.0f;
    p.params()[kVelocity] = 2.0f;
    p.params()[kEnv1AttackCurve] = 1.0f;
    p.snapToTable(*bank);
    EXPECT_FLOAT_EQ(p.params()[kMode], 5 * 0.001001001f);
    EXPECT_EQ(p.params()[kVelocity], 1.0f);
    EXPECT_EQ(p.params()[kEnv1AttackCurve], 1.0f);
    EXPECT_EQ(bank->paramState(kVelocity).value, 0.7f);
}

TEST(BankModel, ConstructionAndInitAllPresets) {
    auto bank = std::make_unique<Bank>();
    EXPECT_STREQ(bank->magic(), "tbf");
    EXPECT_STREQ(bank->version(), "0920");
    EXPECT_STREQ(bank->bankName(), "Torvo Factory Bank");
    EXPECT_STREQ(bank->bankTitle(), "Torvo Factory Bank");
    EXPECT_STREQ(bank->bankAuthor(), "Halden Works");
    EXPECT_EQ(bank->fileName(), "Untitled.tbf");
    EXPECT_EQ(bank->guiScale(), 0);
    EXPECT_EQ(bank->themeId(), -1);
    EXPECT_EQ(bank->perfPanelShown(), -1);
    EXPECT_EQ(bank->factoryExpanded(), -1);
    EXPECT_EQ(bank->currentIndex(), 0);
    EXPECT_EQ(bank->defaultValue(9), 0.0f); // defaults are empty until captured

    bank->initAllPresets();
    EXPECT_STREQ(bank->presetName(0), "init");
    EXPECT_STREQ(bank->presetName(1), "init2");
    EXPECT_STREQ(bank->presetName(127), "init128");
    EXPECT_STREQ(bank->storedPreset(127).name(), "init128");
    EXPECT_STREQ(bank->presetName(-1), "");
    EXPECT_STREQ(bank->presetName(128), "");
    const float* table = defaultParamValues();
    for (int i = 0; i < kParamCount; ++i) {
        ASSERT_EQ(bank->defaults()[i], table[i]);
        ASSERT_EQ(bank->startDefaults()[i], table[i]);
        ASSERT_EQ(bank->preset(77).params()[i], table[i]);
        ASSERT_EQ(bank->storedPreset(3).params()[i], table[i]);
    }
    EXPECT_FLOAT_EQ(bank->defaultValue(kVolume), 0.5f);
    EXPECT_FLOAT_EQ(bank->defaultValue(285), 0.635742f);
    EXPECT_EQ(&bank->preset(-1), &bank->currentPreset());
    EXPECT_EQ(&bank->preset(999), &bank->currentPreset());

    bank->setFileNameFromPath("/home/u/banks/Pads.tbf");
    EXPECT_EQ(bank->fileName(), "Pads.tbf");
    bank->setFileNameFromPath("C:\\banks\\Keys.tbf");
    EXPECT_EQ(bank->fileName(), "Keys.tbf");
    bank->setFileNameFromPath("a\\b/c.tbf"); // the forward slash wins
    EXPECT_EQ(bank->fileName(), "c.tbf");
    bank->setFileNameFromPath("Plain.tbf");
    EXPECT_EQ(bank->fileName(), "Plain.tbf");
}

TEST(BankModel, ResetToDefaultsKeepsBendWheelAndForcesWarmAndBoost) {
    auto bank = makeBank();
    float live[kParamCount];
    for (int i = 0; i < kParamCount; ++i) live[i] = patternValue(i, 3);
    bank->applyValues(live);
    // Defaults that say "off" for warm and boost are overridden on purpose.
    bank->paramState(kWarm).value = 0.0f;
    bank->paramState(kBoost).value = 0.0f;
    bank->captureDefaults();
    bank->applyValues(live);
    bank->paramState(kBendWheel).value = 0.9f;

    float old[kParamCount];
    bank->resetToDefaults(old);
    EXPECT_EQ(old[kBendWheel], 0.9f);
    EXPECT_EQ(old[kVelocity], live[kVelocity]);
    EXPECT_EQ(bank->paramState(kBendWheel).value, 0.9f);
    EXPECT_EQ(bank->paramState(kWarm).value, 1.0f);
    EXPECT_EQ(bank->paramState(kBoost).value, 1.0f);
    EXPECT_EQ(bank->paramState(kVelocity).value, bank->defaultValue(kVelocity));

    bank->restoreDefaults();
    bank->resetToDefaults(nullptr);
    EXPECT_FLOAT_EQ(bank->paramState(kVolume).value, 0.5f);
    EXPECT_EQ(bank->paramState(kBendWheel).value, 0.9f);

    auto other = std::make_unique<Bank>();
    other->copyDefaultsFrom(*bank);
    EXPECT_FLOAT_EQ(other->defaultValue(kVolume), 0.5f);
    EXPECT_FLOAT_EQ(other->startDefaults()[kVolume], 0.5f);
}

TEST(BankModel, LoadPresetTakesFieldsAndFillsFromDefaults) {
    auto bank = makeBank();
    bank->paramState(kBendWheel).value = 0.8f;
    bank->paramState(kModWheel).value = 0.6f;
    bank->captureToCurrent();
    bank->currentPreset().setFavorite(true);
    bank->currentPreset().setLegacyNotes("live notes");

    Preset from;
    from.setName("Lead");
    for (int i = 0; i < kParamCount; ++i) from.params()[i] = 0.003f;
    from.setParamCount(100);
    from.setAuthor("a");
    from.setVendor("v");
    from.setNotes("n");
    from.setIcon("i");
    from.setTags({"t1", "t2"});
    from.setPathObject("{\"id\":4}");
    from.setBank("b");
    from.setId(4);
    from.setPath("/p/Lead.tpf2");
    from.setLegacyWord(9);
    from.setFavorite(false);
    from.setLegacyNotes("from notes");

    bank->loadPreset(from, true);
    const Preset& live = bank->currentPreset();
    EXPECT_STREQ(live.name(), "Lead");
    EXPECT_EQ(live.params()[99], 0.003f);
    EXPECT_EQ(live.params()[100], bank->defaultValue(100));
    EXPECT_EQ(live.params()[kBendWheel], 0.8f);
    EXPECT_EQ(live.params()[kModWheel], 0.6f);
    EXPECT_EQ(live.author(), "a");
    EXPECT_EQ(live.vendor(), "v");
    EXPECT_EQ(live.notes(), "n");
    EXPECT_EQ(live.icon(), "i");
    EXPECT_EQ(live.tags().size(), 2u);
    EXPECT_EQ(live.pathObject(), "{\"id\":4}");
    EXPECT_EQ(live.bank(), "b");
    EXPECT_EQ(live.id(), 4);
    EXPECT_EQ(live.path(), "/p/Lead.tpf2");
    EXPECT_EQ(live.legacyWord(), 9);
    EXPECT_TRUE(live.isFavorite());                 // not taken
    EXPECT_STREQ(live.legacyNotes(), "live notes"); // not taken
    EXPECT_EQ(bank->paramState(99).value, 0.003f);  // applied to the live rows

    // Without the flag the wheels come from the source (here: beyond its count, the defaults).
    bank->loadPreset(from, false);
    EXPECT_EQ(bank->paramState(kBendWheel).value, bank->defaultValue(kBendWheel));
    EXPECT_EQ(bank->paramState(kModWheel).value, bank->defaultValue(kModWheel));

    // The live preset itself: only applied again.
    bank->currentPreset().params()[kVelocity] = 0.25f;
    bank->loadPreset(bank->currentPreset(), false);
    EXPECT_EQ(bank->paramState(kVelocity).value, 0.25f);
}

TEST(BankModel, SelectPresetCapturesOnlyOnAChange) {
    auto bank = makeBank();
    bank->paramState(kVelocity).value = 0.9f;
    bank->selectPreset(0); // same index: not even a capture
    EXPECT_EQ(bank->preset(0).params()[kVelocity], bank->defaultValue(kVelocity));

    bank->preset(5).params()[kVelocity] = 0.2f;
    bank->selectPreset(5);
    EXPECT_EQ(bank->currentIndex(), 5);
    EXPECT_EQ(bank->preset(0).params()[kVelocity], 0.9f);
    EXPECT_EQ(bank->paramState(kVelocity).value, 0.2f);
    bank->selectPreset(128);
    bank->selectPreset(-1);
    EXPECT_EQ(bank->currentIndex(), 5);
    bank->setCurrentPresetName("Renamed");
    EXPECT_STREQ(bank->currentPresetName(), "Renamed");
    EXPECT_STREQ(bank->presetName(5), "Renamed");
}

std::string handHashText(const float* params) {
    std::string text = "{\"preset\":{\"params\":[";
    for (int i = 0; i < 720; ++i) {
        if (i > 0) text += ',';
        text += std::to_string(int(params[i] * 1000.0f));
    }
    return text + "]}}";
}

TEST(ContentHash, CompactJsonOfThreeDecimalsOfTheFirst720Values) {
    auto bank = makeBank();
    Preset a = bank->preset(0);
    for (int i = 0; i < kParamCount; ++i) a.params()[i] = float(i % 997) / 997.0f;
    const std::string text = handHashText(a.params());
    EXPECT_EQ(a.contentHash(), codec::sha256Hex(text.data(), text.size()));
    EXPECT_EQ(a.contentHash().size(), 64u);

    Preset b = a;
    b.setName("another name");
    b.params()[3] += 0.0004f; // same three decimals after truncation
    for (int i = 720; i < kParamCount; ++i) b.params()[i] = 0.987f;
    a.params()[3] = 0.5001f;
    b.params()[3] = 0.5008f;
    EXPECT_EQ(a.contentHash(), b.contentHash());

    b.params()[3] = 0.5012f; // a real change
    EXPECT_NE(a.contentHash(), b.contentHash());
    b.params()[3] = 0.5001f;
    b.params()[719] += 0.01f;
    EXPECT_NE(a.contentHash(), b.contentHash());

    // Garbage values hash without harm.
    b.params()[0] = std::numeric_limits<float>::quiet_NaN();
    b.params()[1] = 1e30f;
    EXPECT_EQ(b.contentHash().size(), 64u);
}

class TextHolder : public DataHolder {
public:
    bool parse(const uint8_t* bytes, std::size_t size, int a, int b,
               const std::string& path) override {
        text.assign(reinterpret_cast<const char*>(bytes), size);
        args = a * 10 + b;
        source = path;
        return !text.empty();
    }
    std::string serialize() const override { return text; }
    void clear() override { text.clear(); }
    std::string text;
    int args = 0;
    std::string source;
};

TEST(DataHolderFile, LoadFileHandsTheWholeFileToTheParser) {
    const std::string path = ::testing::TempDir() + "holder.txt";
    std::FILE* f = std::fopen(path.c_str(), "wb");
    ASSERT_NE(f, nullptr);
    const std::string content(100000, 'q');
    std::fwrite(content.data(), 1, content.size(), f);
    std::fclose(f);
    TextHolder holder;
    EXPECT_TRUE(holder.loadFile(path, 1, 2));
    EXPECT_EQ(holder.text, content);
    EXPECT_EQ(holder.args, 12);
    EXPECT_EQ(holder.source, path);
    EXPECT_TRUE(holder.isValid());
    EXPECT_EQ(holder.displayName(), "");
    EXPECT_FALSE(holder.loadFile(path + ".missing", 0, 0));
}

} // namespace
} // namespace torvo
