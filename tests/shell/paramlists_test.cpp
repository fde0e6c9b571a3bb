#include "shell/paramlists.h"
#include "shell/paramtable.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace torvo {
namespace {

std::string realToken(const char* list, int position) {
    char text[64];
    lists::copyRealToken(list, position, text, sizeof text);
    return text;
}

std::vector<std::string> realTokens(const char* list) {
    std::vector<std::string> tokens;
    for (std::string t = realToken(list, 0); !t.empty(); t = realToken(list, int(tokens.size())))
        tokens.push_back(t);
    return tokens;
}

TEST(ParamLists, RealTokenAndChoiceCounts) {
    struct Case {
        const char* list;
        std::size_t realCount;
        uint32_t choiceCount;
    };
    const Case cases[] = {
        {lists::kOnOff, 2, 2},          {lists::kBendRange, 37, 37},
        {lists::kOscType, 7, 7},        {lists::kOctaveShift, 9, 9},
        {lists::kNoteShift, 23, 23},    {lists::kUnisonCount, 9, 9},
        {lists::kUnisonChord, 18, 18},  {lists::kFilterType, 7, 7},
        {lists::kFilterMode, 4, 5},     {lists::kAttackCurve, 3, 3},
        {lists::kDecayCurve, 3, 3},     {lists::kSyncLong, 21, 21},
        {lists::kSyncShort, 21, 21},    {lists::kPhaserStages, 9, 9},
        {lists::kShaperMode, 11, 11},   {lists::kChorusMode, 7, 7},
        {lists::kReverbMode, 7, 7},     {lists::kStepperMode, 3, 3},
        {lists::kStep16, 16, 16},       {lists::kArpMode, 10, 10},
        {lists::kArpWrap, 17, 17},      {lists::kArpVelocity, 5, 5},
        {lists::kArpOctave, 4, 4},      {lists::kArpNote, 49, 49},
        {lists::kPitchShift, 129, 129}, {lists::kPitchFine, 199, 199},
        {lists::kWaveName, 49, 61},     {lists::kLfoForm, 52, 63},
        {lists::kSourceName, 33, 40},   {lists::kTargetName, 230, 230},
        {lists::kMode, 6, 6},           {lists::kPoly, 16, 16},
        {lists::kEqBand, 1, 1},         {lists::kFilterRouting, 2, 2},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.list);
        EXPECT_EQ(realTokens(c.list).size(), c.realCount);
        EXPECT_EQ(countChoices(c.list), c.choiceCount);
    }
}

TEST(ParamLists, SeparatorRunsAndTabs) {
    EXPECT_EQ(countChoices("a - - b "), 3u);
    EXPECT_EQ(countChoices("a - - - b - "), 4u);
    EXPECT_EQ(countChoices("a \t- - b "), 3u);
    EXPECT_EQ(countChoices(nullptr), 0u);
    EXPECT_EQ(realToken("a - \tb c ", 1), "b");
    EXPECT_EQ(realToken("a - \tb c ", 2), "c");
    EXPECT_EQ(realToken("a - b ", 2), "");
    EXPECT_EQ(realToken("a - b ", -1), "");
    EXPECT_EQ(realToken(nullptr, 0), "");

    char small[3];
    lists::copyRealToken(lists::kWaveName, 8, small, sizeof small);
    EXPECT_STREQ(small, "Ba");
}

TEST(ParamLists, NumericListsCountEveryStep) {
    for (int i = 0; i <= 36; ++i)
        EXPECT_EQ(realToken(lists::kBendRange, i), (i < 10 ? "0" : "") + std::to_string(i));
    for (int i = 0; i < 23; ++i) EXPECT_EQ(realToken(lists::kNoteShift, i), std::to_string(i - 11));
    for (int i = 0; i < 49; ++i) EXPECT_EQ(realToken(lists::kArpNote, i), std::to_string(i - 24));
    for (int i = 0; i < 129; ++i)
        EXPECT_EQ(realToken(lists::kPitchShift, i), std::to_string(i - 64));
    for (int i = 0; i < 199; ++i)
        EXPECT_EQ(realToken(lists::kPitchFine, i), std::to_string(i - 99));
    for (int i = 0; i < 16; ++i) {
        const std::string step = (i < 9 ? "0" : "") + std::to_string(i + 1);
        EXPECT_EQ(realToken(lists::kStep16, i), step);
        EXPECT_EQ(realToken(lists::kArpWrap, i), step);
    }
    EXPECT_EQ(realToken(lists::kArpWrap, 16), "no");
}

TEST(ParamLists, TargetNamesInMenuOrder) {
    const std::vector<std::string> t = realTokens(lists::kTargetName);
    ASSERT_EQ(t.size(), 230u);
    EXPECT_EQ(t[0], "off");
    EXPECT_EQ(t[4], "Osc4_Amp");
    EXPECT_EQ(t[5], "AllOsc_Pitch");
    EXPECT_EQ(t[6], "Osc1_Pitch");
    EXPECT_EQ(t[10], "Osc1_Wave");
    EXPECT_EQ(t[16], "Osc1_Send2FL");
    EXPECT_EQ(t[49], "Osc4_Send2FL");
    EXPECT_EQ(t[50], "Cutoff_1");
    EXPECT_EQ(t[86], "Env4_Amt2");
    EXPECT_EQ(t[87], "AllLFO_Rate");
    EXPECT_EQ(t[115], "LFO4_Amt2");
    EXPECT_EQ(t[118], "Shp_S.Rate");
    EXPECT_EQ(t[150], "X-Comp");
    EXPECT_EQ(t[160], "EQ_Hi_Level");
    EXPECT_EQ(t[161], "Slot1_Amt1");
    EXPECT_EQ(t[220], "Slot15_Amt4");
    EXPECT_EQ(t[223], "Stepp1_Rate");
    EXPECT_EQ(t[229], "Glide");
    EXPECT_EQ(std::set<std::string>(t.begin(), t.end()).size(), t.size());
}

TEST(ParamLists, SourceMenuCarriesIdsOfTheFlatList) {
    const std::vector<std::string> flat = realTokens(lists::kSourceName);
    const std::vector<std::string> menu = realTokens(lists::kSourceMenu);
    ASSERT_EQ(flat.size(), 33u);
    ASSERT_EQ(menu.size(), flat.size());
    EXPECT_EQ(countChoices(lists::kSourceMenu), countChoices(lists::kSourceName));
    std::set<int> ids;
    for (std::size_t i = 0; i < menu.size(); ++i) {
        const std::size_t colon = menu[i].find(':');
        ASSERT_NE(colon, std::string::npos) << menu[i];
        EXPECT_EQ(menu[i].substr(0, colon), flat[i]);
        ids.insert(std::stoi(menu[i].substr(colon + 1)));
    }
    EXPECT_EQ(ids.size(), 33u);
    EXPECT_EQ(*ids.begin(), 0);
    EXPECT_EQ(*ids.rbegin(), 32);
    EXPECT_EQ(menu[16], "Random_Unipolar:30");
    EXPECT_EQ(menu[18], "ModWheel:17");
}

} // namespace
} // namespace torvo
