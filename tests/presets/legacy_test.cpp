// The legacy binary forms: the single preset record (.tpf) and the bank image (.tbf), written
// and read byte for byte against their layouts, including hand-built files.
#include "presetfixture.h"

#include "presets/legacybank.h"
#include "presets/legacypreset.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>

namespace torvo {
namespace {

using namespace test;

void fillLive(Bank& bank, int salt) {
    float values[kParamCount];
    for (int i = 0; i < kParamCount; ++i) values[i] = patternValue(i, salt);
    bank.applyValues(values);
}

std::vector<uint8_t> liveRecord(Bank& bank, bool shortForm) {
    std::size_t size = 0;
    const uint8_t* bytes = bank.currentToLegacyRecord(size, shortForm);
    return std::vector<uint8_t>(bytes, bytes + size);
}

TEST(LegacyPresetRecord, LayoutOfAFullRecord) {
    auto bank = makeBank();
    fillLive(*bank, 1);
    bank->paramState(kAnticlick).value = 0.25f;
    bank->paramState(kOscAllPitch).value = 0.5f;
    bank->paramState(kLfoAllRate).value = 0.75f;
    bank->setCurrentPresetName("Bright Keys");
    bank->currentPreset().setLegacyNotes("short");
    bank->currentPreset().setLegacyWord(0x1234567);

    const std::vector<uint8_t> rec = liveRecord(*bank, false);
    ASSERT_EQ(rec.size(), 3165u);
    EXPECT_STREQ(reinterpret_cast<const char*>(&rec[0]), "Bright Keys");
    EXPECT_STREQ(reinterpret_cast<const char*>(&rec[25]), "short");
    EXPECT_EQ(rec[34], 1); // marker
    EXPECT_EQ(getF(&rec[35]), 0.25f);
    EXPECT_EQ(getF(&rec[39]), 0.5f);
    EXPECT_EQ(getF(&rec[43]), 0.75f);
    EXPECT_EQ(get32(&rec[273]), 0x1234567u);
    for (int i = 0; i < 722; ++i)
        ASSERT_EQ(getF(&rec[277 + 4 * i]), bank->paramState(i).value) << i;
    // The record describes the live preset, captured first.
    EXPECT_EQ(bank->currentPreset().params()[5], bank->paramState(5).value);

    const std::vector<uint8_t> shortRec = liveRecord(*bank, true);
    EXPECT_EQ(shortRec.size(), 3133u);

    // A long note loses bytes 9..21 of its field to the side channel.
    bank->currentPreset().setLegacyNotes("0123456789abcdefghijklmnop");
    const std::vector<uint8_t> rec2 = liveRecord(*bank, false);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&rec2[25]), 9), "012345678");
    EXPECT_EQ(rec2[34], 1);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&rec2[25 + 22])), "mnop");
}

TEST(LegacyPresetRecord, RoundTripIsByteExact) {
    auto a = makeBank();
    fillLive(*a, 2);
    a->setCurrentPresetName("Round");
    a->currentPreset().setLegacyWord(-3);
    // The three values behind 721 do not survive a record: keep them at their defaults so the
    // re-written record can match.
    for (int q = 722; q < 725; ++q) a->paramState(q).value = a->defaultValue(q);
    const std::vector<uint8_t> rec = liveRecord(*a, false);

    auto b = makeBank();
    b->selectPreset(9);
    ASSERT_TRUE(b->loadLegacyRecord(rec.data(), rec.size()));
    EXPECT_STREQ(b->currentPresetName(), "Round");
    EXPECT_EQ(b->currentPreset().legacyWord(), -3);
    EXPECT_EQ(b->currentPreset().paramCount(), 722);
    for (int i = 0; i < 722; ++i) ASSERT_EQ(b->paramState(i).value, a->paramState(i).value);
    EXPECT_EQ(liveRecord(*b, false), rec);
}

TEST(LegacyPresetRecord, HandBuiltFileAndShortForm) {
    // 3,133 bytes: the short form, 714 values; 714..724 take the defaults.
    std::vector<uint8_t> file(3133, 0);
    putText(file, 0, "Hand Made");
    putText(file, 25, "by hand");
    file[34] = 1; // a marker with floats behind it: no lasting effect
    putF(file, 35, 0.9f);
    file[273] = 0xFE; // only this byte counts: -2
    file[274] = 0x7F;
    for (int i = 0; i < 714; ++i) putF(file, 277 + 4 * i, 0.002f);
    putF(file, 277 + 4 * kVelocity, 0.625f);
    putF(file, 277 + 4 * kMode, 1.0f); // beyond the list: snapped to its last entry

    auto bank = makeBank();
    ASSERT_TRUE(bank->loadLegacyRecord(file.data(), file.size()));
    const Preset& live = bank->currentPreset();
    EXPECT_STREQ(live.name(), "Hand Made");
    EXPECT_STREQ(live.legacyNotes(), "by hand");
    EXPECT_EQ(live.legacyWord(), -2);
    EXPECT_EQ(live.paramCount(), 714);
    EXPECT_EQ(bank->paramState(kVelocity).value, 0.625f);
    EXPECT_FLOAT_EQ(bank->paramState(kMode).value, 5 * 0.001001001f);
    EXPECT_FLOAT_EQ(live.params()[kMode], 5 * 0.001001001f);
    for (int i = 714; i < kParamCount; ++i) EXPECT_EQ(live.params()[i], bank->defaultValue(i)) << i;
    EXPECT_EQ(bank->paramState(kAnticlick).value, bank->defaultValue(kAnticlick));
}

TEST(LegacyPresetRecord, SizeLimitsAndBadInputLeaveTheSoundAlone) {
    auto bank = makeBank();
    fillLive(*bank, 4);
    float before[kParamCount];
    bank->copyLiveValues(before);
    const std::string nameBefore = bank->currentPresetName();

    std::vector<uint8_t> bytes(6077, 0x41);
    EXPECT_FALSE(bank->loadLegacyRecord(bytes.data(), 277));  // no values
    EXPECT_FALSE(bank->loadLegacyRecord(bytes.data(), 6077)); // 5,800 value bytes
    EXPECT_FALSE(bank->loadLegacyRecord(bytes.data(), 100));
    EXPECT_FALSE(bank->loadLegacyRecord(nullptr, 3165));
    float after[kParamCount];
    bank->copyLiveValues(after);
    for (int i = 0; i < kParamCount; ++i) ASSERT_EQ(after[i], before[i]);
    EXPECT_EQ(bank->currentPresetName(), nameBefore);

    // The extremes that are accepted: one value byte (no whole value), and 5,799 value bytes.
    std::vector<uint8_t> tiny(278, 0);
    putText(tiny, 0, "Tiny");
    ASSERT_TRUE(bank->loadLegacyRecord(tiny.data(), tiny.size()));
    EXPECT_EQ(bank->currentPreset().paramCount(), 0);
    EXPECT_EQ(bank->paramState(kVolume).value, bank->defaultValue(kVolume));

    // Garbage everywhere, unterminated texts, NaN and huge floats: all absorbed.
    std::vector<uint8_t> junk(6076);
    for (std::size_t i = 0; i < junk.size(); ++i) junk[i] = uint8_t(i * 131 + 7);
    for (int i = 0; i < 5; ++i) put32(junk, 277 + 4 * i, 0x7FC00000u); // NaN
    put32(junk, 277 + 4 * 5, 0x7F800000u);                             // +inf
    ASSERT_TRUE(bank->loadLegacyRecord(junk.data(), junk.size()));
    EXPECT_EQ(bank->currentPreset().paramCount(), 725);
    EXPECT_LT(std::string(bank->currentPresetName()).size(), 25u);
    // Continuous rows end in 0..1; list rows at an index inside their list (a list value keeps
    // its exact number while its index is in range).
    for (int i = 0; i < kParamCount; ++i) {
        const ParamRecord& r = bank->paramState(i);
        ASSERT_TRUE(std::isfinite(r.value)) << i;
        if (r.isList()) {
            ASSERT_GE(r.choiceIndex, 0) << i;
            ASSERT_LT(uint32_t(r.choiceIndex), r.choiceCount) << i;
        } else {
            ASSERT_TRUE(r.value >= 0.0f && r.value <= 1.0f) << i;
        }
    }
}

std::vector<uint8_t> bankImage(Bank& bank, bool shortForm) {
    std::size_t size = 0;
    const uint8_t* bytes = bank.toBankImage(size, shortForm);
    return std::vector<uint8_t>(bytes, bytes + size);
}

void fillBank(Bank& bank) {
    for (int p = 0; p < Bank::kPresetCount; ++p) {
        Preset& preset = bank.preset(p);
        for (int i = 0; i < kParamCount; ++i) preset.params()[i] = patternValue(i, p);
        preset.setName(("P" + std::to_string(p)).c_str());
        preset.setLegacyWord(p);
    }
}

TEST(LegacyBankImage, FullImageLayout) {
    auto bank = makeBank();
    fillBank(*bank);
    bank->preset(0).params()[kAnticlick] = 1.0f;
    bank->preset(127).params()[kLfoAllRate] = 0.5f;
    bank->setBankHeader("Name", "Title", "Author", "https://example.invalid");
    const std::vector<uint8_t> img = bankImage(*bank, false);
    ASSERT_EQ(img.size(), 407687u);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&img[0]), 4), std::string("tbf\0", 4));
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&img[4]), 4), "0920");
    EXPECT_EQ(img[8], 0);
    EXPECT_STREQ(reinterpret_cast<const char*>(&img[9]), "Name");
    EXPECT_STREQ(reinterpret_cast<const char*>(&img[265]), "Title");
    EXPECT_STREQ(reinterpret_cast<const char*>(&img[521]), "Author");
    EXPECT_STREQ(reinterpret_cast<const char*>(&img[777]), "https://example.invalid");
    EXPECT_EQ(get32(&img[1029]), 722u);
    for (int p = 0; p < 127; ++p) {
        const uint8_t* rec = &img[1033 + std::size_t(p) * 3165];
        ASSERT_EQ(std::string(reinterpret_cast<const char*>(rec)), "P" + std::to_string(p));
        ASSERT_EQ(get32(rec + 273), uint32_t(p));
        ASSERT_EQ(rec[34], bank->preset(p).legacyNotesField()[9]); // no side channel
        for (int i = 0; i < 722; ++i)
            ASSERT_EQ(getF(rec + 277 + 4 * i), bank->preset(p).params()[i]) << p << " " << i;
    }
    // The tail starts two bytes before the records end.
    const std::size_t tail = 1033 + 128 * 3165 - 2;
    EXPECT_EQ(tail, 406151u);
    EXPECT_EQ(getF(&img[tail]), 1.0f); // 722 of preset 0
    EXPECT_EQ(getF(&img[tail + 4 * 5]), bank->preset(5).params()[kAnticlick]);
    EXPECT_EQ(getF(&img[tail + 4 * 128]), bank->preset(0).params()[kOscAllPitch]);
    EXPECT_EQ(getF(&img[tail + 4 * 383]), 0.5f); // 724 of preset 127
}

TEST(LegacyBankImage, FullRoundTripKeepsTheFormatsAsymmetries) {
    auto a = makeBank();
    fillBank(*a);
    a->preset(0).params()[kAnticlick] = 1.0f; // lowest byte 0: reads back as 0
    a->preset(1).params()[kAnticlick] = 0.0f;
    a->preset(2).params()[kOscAllPitch] = 1.0f;
    const std::vector<uint8_t> img = bankImage(*a, false);

    auto b = makeBank();
    b->selectPreset(7);
    ASSERT_TRUE(b->loadBankImage(img.data(), img.size()));
    EXPECT_EQ(b->currentIndex(), 0);
    for (int p = 0; p < 128; ++p) {
        ASSERT_STREQ(b->presetName(p), a->presetName(p));
        ASSERT_EQ(b->preset(p).legacyWord(), p);
        ASSERT_EQ(b->preset(p).paramCount(), 725);
        ASSERT_EQ(b->storedPreset(p).paramCount(), 722);
        const int last = p == 127 ? 721 : 722; // the tail overlaps preset 127's last value
        for (int i = 0; i < last; ++i)
            ASSERT_EQ(b->preset(p).params()[i], a->preset(p).params()[i]) << p << " " << i;
    }
    // The tail reader takes each entry's lowest byte as a signed integer.
    EXPECT_EQ(b->preset(0).params()[kAnticlick], 0.0f);
    EXPECT_EQ(b->preset(2).params()[kOscAllPitch], 0.0f);
    const float tiny = a->preset(5).params()[kAnticlick];
    uint32_t bits;
    std::memcpy(&bits, &tiny, 4);
    EXPECT_EQ(b->preset(5).params()[kAnticlick], float(int8_t(bits & 0xFF)));
    // Preset 127's last value lost its two high bytes to the first tail entry.
    const uint8_t* last = &img[1033 + 127 * 3165 + 277 + 4 * 721];
    EXPECT_EQ(b->preset(127).params()[kModWheel], getF(last));
    // Snapping clamps whatever came in when the live preset is applied.
    EXPECT_GE(b->paramState(kAnticlick).value, 0.0f);
    EXPECT_LE(b->paramState(kAnticlick).value, 1.0f);
    // Writing again gives the same image.
    EXPECT_EQ(bankImage(*b, false).size(), img.size());
    std::vector<uint8_t> again = bankImage(*b, false);
    EXPECT_TRUE(std::equal(img.begin(), img.begin() + 1033 + 127 * 3165, again.begin()));
}

TEST(LegacyBankImage, ShortImageReadsAnticlickOnAndZerosBehindTheData) {
    auto a = makeBank();
    fillBank(*a);
    const std::vector<uint8_t> img = bankImage(*a, true);
    ASSERT_EQ(img.size(), 402055u);
    EXPECT_EQ(get32(&img[1029]), 714u);
    EXPECT_EQ(1033 + 128 * 3133 - img.size(), 2u);

    auto b = makeBank();
    ASSERT_TRUE(b->loadBankImage(img.data(), img.size()));
    for (int p = 0; p < 128; ++p) {
        ASSERT_EQ(b->preset(p).params()[kAnticlick], 1.0f);
        ASSERT_EQ(b->preset(p).params()[kOscAllPitch], b->defaultValue(kOscAllPitch));
        ASSERT_EQ(b->preset(p).params()[714], b->defaultValue(714));
    }
    // The last value of preset 127: two bytes from the data, two from behind it.
    const float original = a->preset(127).params()[713];
    uint32_t bits;
    std::memcpy(&bits, &original, 4);
    const float read = b->preset(127).params()[713];
    uint32_t readBits;
    std::memcpy(&readBits, &read, 4);
    EXPECT_EQ(readBits & 0xFFFF, bits & 0xFFFF);
    EXPECT_EQ(readBits >> 16, 0u);
}

TEST(LegacyBankImage, HandBuiltOldestVersionAndHeaderRules) {
    // "0910": 438 values per record whatever the count says; stride 277 + 1,752.
    const std::size_t stride = 277 + 1752;
    std::vector<uint8_t> img(1033 + 128 * stride, 0);
    std::memcpy(&img[0], "tbf", 4);
    std::memcpy(&img[4], "0910", 4);
    putText(img, 9, "Old Bank");
    put32(img, 1029, 722);
    for (int p = 0; p < 128; ++p) {
        const std::size_t at = 1033 + p * stride;
        putText(img, at, ("Old" + std::to_string(p)).c_str());
        for (int i = 0; i < 438; ++i) putF(img, at + 277 + 4 * i, 0.001f * float(p % 7));
    }
    auto bank = makeBank();
    ASSERT_TRUE(bank->loadBankImage(img.data(), img.size()));
    EXPECT_STREQ(bank->version(), "0910");
    EXPECT_STREQ(bank->bankName(), "Old Bank");
    EXPECT_STREQ(bank->presetName(127), "Old127");
    EXPECT_EQ(bank->storedPreset(3).paramCount(), 438);
    EXPECT_EQ(bank->preset(100).params()[437], 0.001f * float(100 % 7));
    EXPECT_EQ(bank->preset(100).params()[438], bank->defaultValue(438));
    EXPECT_EQ(bank->preset(100).params()[kAnticlick], 1.0f); // no tail: anticlick on

    // A count above 722 is cut to 722, and the stride follows the cut count.
    auto a = makeBank();
    fillBank(*a);
    std::vector<uint8_t> big = bankImage(*a, false);
    put32(big, 1029, 5000);
    ASSERT_TRUE(bank->loadBankImage(big.data(), big.size()));
    EXPECT_STREQ(bank->presetName(127), "P127");
    EXPECT_EQ(bank->preset(50).params()[700], a->preset(50).params()[700]);
}

TEST(LegacyBankImage, BadImagesAnswerFalseAndChangeNothing) {
    auto bank = makeBank();
    fillBank(*bank);
    bank->applyCurrent();
    const std::vector<uint8_t> good = bankImage(*bank, false);
    float before[kParamCount];
    bank->copyLiveValues(before);

    std::vector<uint8_t> img = good;
    img[3] = 'x'; // "tbfx": the magic must end in a NUL
    EXPECT_FALSE(bank->loadBankImage(img.data(), img.size()));
    img = good;
    img[0] = 'T';
    EXPECT_FALSE(bank->loadBankImage(img.data(), img.size()));
    img = good;
    put32(img, 1029, uint32_t(-1));
    EXPECT_FALSE(bank->loadBankImage(img.data(), img.size()));
    EXPECT_FALSE(bank->loadBankImage(good.data(), 1032)); // shorter than the header
    EXPECT_FALSE(bank->loadBankImage(nullptr, 5000));
    EXPECT_STREQ(bank->presetName(127), "P127");
    float after[kParamCount];
    bank->copyLiveValues(after);
    for (int i = 0; i < kParamCount; ++i) ASSERT_EQ(after[i], before[i]);

    // Cut anywhere, or longer than any image: read without harm, values stay in range.
    for (std::size_t cut : {std::size_t(1033), std::size_t(5000), std::size_t(406152)}) {
        ASSERT_TRUE(bank->loadBankImage(good.data(), cut));
        for (int i = 0; i < kParamCount; ++i) {
            const ParamRecord& r = bank->paramState(i);
            if (!r.isList()) {
                ASSERT_TRUE(r.value >= 0.0f && r.value <= 1.0f) << i;
            }
        }
    }
    std::vector<uint8_t> huge = good;
    huge.resize(2 * good.size(), 0x5A);
    ASSERT_TRUE(bank->loadBankImage(huge.data(), huge.size()));
    EXPECT_STREQ(bank->presetName(127), "P127");
}

TEST(LegacyBankImage, FilesAndFileName) {
    auto a = makeBank();
    fillBank(*a);
    const std::string path = ::testing::TempDir() + "Saved Bank.tbf";
    ASSERT_TRUE(a->saveBankFile(path, false));
    EXPECT_EQ(a->fileName(), "Saved Bank.tbf");
    std::FILE* f = std::fopen(path.c_str(), "rb");
    ASSERT_NE(f, nullptr);
    std::fseek(f, 0, SEEK_END);
    EXPECT_EQ(std::ftell(f), 407687L);
    std::fclose(f);

    auto b = makeBank();
    ASSERT_TRUE(b->loadBankFile(path, false));
    EXPECT_EQ(b->fileName(), "Untitled.tbf");
    ASSERT_TRUE(b->loadBankFile(path, true));
    EXPECT_EQ(b->fileName(), "Saved Bank.tbf");
    EXPECT_STREQ(b->presetName(64), "P64");
    EXPECT_FALSE(b->loadBankFile(path + ".missing", true));
    EXPECT_FALSE(a->saveBankFile("/nonexistent-dir/x.tbf", false));
}

} // namespace
} // namespace torvo
