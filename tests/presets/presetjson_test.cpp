// The current preset file: member order and number form on writing, value-exact round trips,
// and the tolerant reader (unknown keys, missing and bad values, tags, notes, garbage).
#include "presetfixture.h"

#include "presets/jsonnumbers.h"
#include "presets/pathobject.h"
#include "presets/presetjson.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>

namespace torvo {
namespace {

using namespace test;

void writeAll(const std::string& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary);
    out << text;
}

Preset describedPreset(const Bank& bank) {
    Preset p = bank.preset(0);
    for (int i = 0; i < kParamCount; ++i) p.params()[i] = float(i % 991) / 991.0f;
    p.params()[kVelocity] = 0.123456789f;
    p.params()[kVolume] = 1.0f;
    p.params()[12] = 0.0f;
    p.params()[13] = 0.00001234f;
    p.setAuthor("Ann");
    p.setVendor("Vend");
    p.setBank("Pads");
    p.setNotes("line one\nline two \"quoted\"");
    p.setIcon("star");
    p.setTags({"warm", "lead"});
    p.setFavorite(true);
    return p;
}

TEST(PresetFileWriting, MemberOrderNumberFormAndOmittedRows) {
    auto bank = makeBank();
    const Preset p = describedPreset(*bank);
    const std::string text = presetToJson(p, *bank, true);
    EXPECT_EQ(text.find('\r'), std::string::npos);
    ASSERT_EQ(text.back(), '\n');
    // Members in their fixed order.
    std::size_t last = 0;
    for (const char* key : {"\"author\"", "\"vendor\"", "\"bank\"", "\"notes\"", "\"icon\"",
                            "\"favorite\"", "\"tags\"", "\"parameters\""}) {
        const std::size_t at = text.find(key);
        ASSERT_NE(at, std::string::npos) << key;
        EXPECT_GT(at, last) << key;
        last = at;
    }
    EXPECT_NE(text.find("\"favorite\": \"yes\""), std::string::npos);
    // Six significant digits in the default decimal form.
    EXPECT_NE(text.find("\"velocity\": 0.123457"), std::string::npos);
    EXPECT_NE(text.find("\"volume\": 1,"), std::string::npos);
    EXPECT_NE(text.find("\"eq_low_frq\": 0,"), std::string::npos);
    EXPECT_NE(text.find("\"eq_low_Q\": 1.234e-05"), std::string::npos);
    // The wheels and global offsets other than the mod wheel and anticlick stay out.
    EXPECT_EQ(text.find("\"bend_wheel\""), std::string::npos);
    EXPECT_EQ(text.find("\"osc_all_pt\""), std::string::npos);
    EXPECT_EQ(text.find("\"lfo_all_rt\""), std::string::npos);
    EXPECT_NE(text.find("\"mod_wheel\""), std::string::npos);
    EXPECT_NE(text.find("\"anticlick\""), std::string::npos);
    // Table order, names from the rows.
    EXPECT_LT(text.find("\"stp1_start1\""), text.find("\"stp1_start\""));
    const OrderedJson root = OrderedJson::parse(text);
    EXPECT_EQ(root["parameters"].size(), 722u);
    EXPECT_EQ(root["parameters"].begin().key(), "mode");
    EXPECT_EQ(root["tags"], OrderedJson::array({"warm", "lead"}));

    const std::string converted = presetToJson(p, *bank, false);
    EXPECT_EQ(converted.find("\"favorite\""), std::string::npos);
    Preset plain = p;
    plain.setFavorite(false);
    EXPECT_NE(presetToJson(plain, *bank, true).find("\"favorite\": \"no\""), std::string::npos);
}

TEST(PresetFileRoundTrip, ValuesExactToSixDigitsThroughAFile) {
    auto bank = makeBank();
    Preset p = describedPreset(*bank);
    const std::string path = ::testing::TempDir() + "My Lead.tpf2";
    ASSERT_TRUE(writePresetFile(path, p, *bank));
    std::string error;
    auto back = loadPresetFile(path, *bank, error);
    ASSERT_TRUE(back);
    EXPECT_TRUE(error.empty());
    EXPECT_STREQ(back->name(), "My Lead");
    EXPECT_EQ(back->legacyWord(), 0);
    EXPECT_EQ(back->paramCount(), 725);
    EXPECT_EQ(back->author(), "Ann");
    EXPECT_EQ(back->vendor(), "Vend");
    EXPECT_EQ(back->bank(), "Pads");
    EXPECT_EQ(back->notes(), "line one\nline two \"quoted\"");
    EXPECT_EQ(back->icon(), "star");
    EXPECT_EQ(back->tags(), p.tags());
    EXPECT_TRUE(back->isFavorite());
    for (int i = 0; i < kParamCount; ++i) {
        if (i == 720 || i == 723 || i == 724) {
            ASSERT_EQ(back->params()[i], bank->defaultValue(i)) << i;
            continue;
        }
        char text[32];
        std::snprintf(text, sizeof text, "%g", double(p.params()[i]));
        ASSERT_EQ(back->params()[i], float(std::strtod(text, nullptr))) << i;
    }
    // A second trip changes nothing.
    ASSERT_TRUE(writePresetFile(path, *back, *bank));
    auto again = loadPresetFile(path, *bank, error);
    ASSERT_TRUE(again);
    for (int i = 0; i < kParamCount; ++i) ASSERT_EQ(again->params()[i], back->params()[i]);
    EXPECT_EQ(presetToJson(*again, *bank, true), presetToJson(*back, *bank, true));

    ASSERT_TRUE(writeConvertedPresetFile(path, p, *bank));
    auto converted = loadPresetFile(path, *bank, error);
    ASSERT_TRUE(converted);
    EXPECT_FALSE(converted->isFavorite());
}

TEST(PresetFileReading, TolerantOfMissingUnknownAndBadValues) {
    auto bank = makeBank();
    const std::string text = R"({
        "future_member": {"deep": [1, 2, 3]},
        "favorite": "YES",
        "author": 17,
        "icon": "bolt",
        "tags": ["a", "b", "c", "d", "e", "f", "g"],
        "notes": "one\u2028two",
        "parameters": {
            "velocity": 0.25,
            "volume": "0.75",
            "x-comp": 1.5,
            "mix_osc1": -0.1,
            "mix_osc2": "abc",
            "mix_osc3": "",
            "mix_osc4": null,
            "glide": "1e400",
            "eq_low_frq": "nan",
            "eq_mid_frq": true,
            "no_such_row": 0.5,
            "bend_wheel": 0.9,
            "stp1_start": 0.003003003
        }
    })";
    auto p = presetFromJson(text, "Tolerant", *bank, NotesMode::Normalise);
    ASSERT_TRUE(p);
    EXPECT_STREQ(p->name(), "Tolerant");
    EXPECT_FALSE(p->isFavorite()); // only the exact text "yes"
    EXPECT_EQ(p->author(), "");
    EXPECT_EQ(p->icon(), "bolt");
    ASSERT_EQ(p->tags().size(), 5u);
    EXPECT_EQ(p->tags()[4], "e");
    EXPECT_EQ(p->notes(), "one\ntwo");
    const float* v = p->params();
    EXPECT_EQ(v[kVelocity], 0.25f);
    EXPECT_EQ(v[kVolume], 0.75f);
    EXPECT_EQ(v[7], bank->defaultValue(7));   // above 1
    EXPECT_EQ(v[21], bank->defaultValue(21)); // below 0
    EXPECT_EQ(v[22], bank->defaultValue(22)); // not a number
    EXPECT_EQ(v[23], 0.0f);                   // empty text reads as 0
    EXPECT_EQ(v[24], bank->defaultValue(24)); // null
    EXPECT_EQ(v[5], bank->defaultValue(5));   // overflows to infinity
    EXPECT_EQ(v[12], bank->defaultValue(12)); // NaN
    EXPECT_EQ(v[15], bank->defaultValue(15)); // a bool is no number
    EXPECT_EQ(v[720], 0.9f);                  // read if present, though never written
    EXPECT_EQ(v[525], 0.003003003f);          // the index row, not stp1_start1
    EXPECT_EQ(v[442], bank->defaultValue(442));
    for (int i : {0, 100, 400, 719}) EXPECT_EQ(v[i], bank->defaultValue(i)) << i;

    auto indexed = presetFromJson(text, "Tolerant", *bank, NotesMode::AsStored);
    ASSERT_TRUE(indexed);
    EXPECT_EQ(indexed->notes(), "one\xE2\x80\xA8two");

    // Parameters in a wrong shape, or none at all: every value is the default.
    for (const char* t : {"{}", "{\"parameters\": [0.5, 0.5]}", "{\"parameters\": 3}"}) {
        auto q = presetFromJson(t, "x", *bank, NotesMode::Normalise);
        ASSERT_TRUE(q) << t;
        for (int i = 0; i < kParamCount; ++i) ASSERT_EQ(q->params()[i], bank->defaultValue(i));
    }
}

TEST(PresetFileReading, GarbageAndHugeInput) {
    auto bank = makeBank();
    for (const char* t : {"", "{", "[1,2]", "\"text\"", "42", "{\"a\":}", "\xff\xfe{}",
                          "{\"parameters\":{\"volume\":0.5}", "null",
                          // a bare number beyond double range is a JSON error of the file
                          "{\"parameters\":{\"glide\":1e400}}"}) {
        EXPECT_FALSE(presetFromJson(t, "x", *bank, NotesMode::Normalise)) << t;
    }
    std::string error;
    const std::string bad = ::testing::TempDir() + "bad.tpf2";
    writeAll(bad, "{ not json");
    EXPECT_FALSE(loadPresetFile(bad, *bank, error));
    EXPECT_EQ(error, "Error loading preset");
    EXPECT_FALSE(readPresetForIndexing(bad + ".missing", *bank, error));
    EXPECT_EQ(error, "Error loading preset" + std::string("Error loading preset"));

    // Huge strings and deep nesting in unknown members are read without harm.
    std::string huge = "{\"notes\":\"" + std::string(4 << 20, 'x') + "\",\"deep\":";
    huge += std::string(20000, '[') + std::string(20000, ']') + "}";
    auto p = presetFromJson(huge, "big", *bank, NotesMode::Normalise);
    ASSERT_TRUE(p);
    EXPECT_EQ(p->notes().size(), std::size_t(4) << 20);

    // Invalid UTF-8 from a legacy name still writes valid output.
    Preset q = bank->preset(0);
    q.setAuthor("caf\xe9");
    const std::string text = presetToJson(q, *bank, true);
    auto back = presetFromJson(text, "q", *bank, NotesMode::Normalise);
    ASSERT_TRUE(back);
    EXPECT_EQ(back->author(), "caf\xEF\xBF\xBD");

    EXPECT_FALSE(writePresetFile("/nonexistent-dir/x.tpf2", q, *bank));
}

TEST(PresetFileNames, NameComesFromTheFileName) {
    EXPECT_EQ(presetNameFromPath("/a/b/Bright Keys.tpf2"), "Bright Keys");
    EXPECT_EQ(presetNameFromPath("C:\\x\\v1.2 Pad.tpf2"), "v1.2 Pad");
    EXPECT_EQ(presetNameFromPath("NoExt"), "NoExt");
    EXPECT_EQ(presetNameFromPath(".hidden"), ".hidden");
}

TEST(PathObjectText, RoundTripAndTolerantReading) {
    PathObject where;
    where.name = "3. Bass";
    where.type = PathObject::kInsideBank;
    where.index = 17;
    where.relPath = "Basses/";
    where.filename = "Old.tbf";
    where.factory = 1;
    where.id = 4711;
    const std::string text = where.toText();
    EXPECT_EQ(text, "{\"name\":\"3. Bass\",\"type\":2,\"index\":17,\"rel_path\":\"Basses/\","
                    "\"filename\":\"Old.tbf\",\"factory\":1,\"id\":4711}");
    PathObject back;
    ASSERT_TRUE(back.parse(text));
    EXPECT_EQ(back.name, where.name);
    EXPECT_EQ(back.type, 2);
    EXPECT_EQ(back.index, 17);
    EXPECT_EQ(back.relPath, "Basses/");
    EXPECT_EQ(back.filename, "Old.tbf");
    EXPECT_EQ(back.factory, 1);
    EXPECT_EQ(back.id, 4711);
    EXPECT_TRUE(back.hasId);

    PathObject partial;
    ASSERT_TRUE(partial.parse("{\"name\":7,\"type\":\"x\",\"id\":1.5,\"extra\":[]}"));
    EXPECT_EQ(partial.name, "");
    EXPECT_EQ(partial.type, 0);
    EXPECT_FALSE(partial.hasId);
    EXPECT_EQ(partial.id, -1);
    PathObject huge;
    ASSERT_TRUE(huge.parse("{\"id\":99999999999999999999}"));
    EXPECT_TRUE(huge.hasId);
    EXPECT_FALSE(PathObject().parse("not json"));
    EXPECT_FALSE(PathObject().parse("[]"));
    EXPECT_FALSE(PathObject().parse(""));
}

} // namespace
} // namespace torvo
