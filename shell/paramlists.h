#pragma once
// The list strings of the parameter table. A list is one string of tokens, each followed by one
// blank (the last one too). A lone "-" is a menu separator: it takes no index when a value is
// shown, and a run of them counts once. A tab at the head of a token is a column break for the
// editor's menus and is not part of the token.
//
// The strings are plain data and live once, here; the table rows point at them, and the editor
// builds its menus from the same strings.

#include <cstddef>
#include <cstdint>

namespace torvo::lists {

extern const char kOnOff[];
extern const char kMode[];
extern const char kPoly[];
extern const char kBendRange[];
extern const char kEqBand[];
extern const char kOscType[];
extern const char kOctaveShift[];
extern const char kNoteShift[];
extern const char kUnisonCount[];
extern const char kUnisonChord[];
extern const char kWaveName[];
extern const char kFilterType[];
extern const char kFilterMode[];
extern const char kFilterRouting[];
extern const char kAttackCurve[];
extern const char kDecayCurve[];
extern const char kSyncLong[];
extern const char kSyncShort[];
extern const char kLfoForm[];
extern const char kPhaserStages[];
extern const char kShaperMode[];
extern const char kChorusMode[];
extern const char kReverbMode[];
extern const char kStepperMode[];
extern const char kStep16[];
extern const char kArpMode[];
extern const char kArpWrap[];
extern const char kArpVelocity[];
extern const char kArpOctave[];
extern const char kArpNote[];
extern const char kPitchShift[];
extern const char kPitchFine[];

/// Modulation sources in menu order; the host shows `Src` rows through it.
extern const char kSourceName[];
/// The same sources as the editor's menu, each token "name:id". Menu position and stored id
/// differ (Random_Unipolar is fourth in its group but has id 30); presets store the id.
extern const char kSourceMenu[];
/// The 230 modulation targets in menu order. Menu order is not target id order, so host text of a
/// target row can differ from what the engine routes; the lists stay as they are.
extern const char kTargetName[];

constexpr bool isListBlank(char c) {
    return c == ' ';
}

/// True when [begin, end) is a separator token once leading tabs are skipped.
constexpr bool isSeparatorToken(const char* begin, const char* end) {
    while (begin != end && *begin == '\t') ++begin;
    return end - begin == 1 && *begin == '-';
}

/// Entries of a list after runs of separators are compacted to one: real tokens plus the
/// separators that survive. Null counts as an empty list.
constexpr uint32_t countListChoices(const char* list) {
    if (list == nullptr) return 0;
    uint32_t count = 0;
    bool previousWasSeparator = false;
    const char* p = list;
    while (*p != '\0') {
        const char* begin = p;
        while (*p != '\0' && !isListBlank(*p)) ++p;
        const bool separator = isSeparatorToken(begin, p);
        if (p != begin && !(separator && previousWasSeparator)) ++count;
        if (p != begin) previousWasSeparator = separator;
        if (*p != '\0') ++p;
    }
    return count;
}

/// Copies the real token at `position` (separators skipped, leading tabs dropped) into `out`,
/// which holds `size` bytes including the terminator. A position outside the real tokens, or a
/// null list, gives empty text.
void copyRealToken(const char* list, int position, char* out, std::size_t size);

} // namespace torvo::lists
