// The list literals of the parameter table, each once. The long numeric lists are written out
// in full so that every list is plain data that can be read and searched as it stands.

#include "shell/paramlists.h"

#include <algorithm>
#include <cstring>

namespace torvo::lists {

// Head of the table.

constexpr char kOnOff[] = "off on ";
constexpr char kMode[] = "mono_1 mono_2 mono_3 mono_4 poly_1 poly_2 ";
constexpr char kPoly[] = "1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 ";
constexpr char kBendRange[] =
    "00 01 02 03 04 05 06 07 08 09 10 11 12 13 14 15 16 17 18 19 20 21 22 23 24 25 26 27 28 "
    "29 30 31 32 33 34 35 36 ";
// One entry only: the row exists for the editor and has no receiver in the engine.
constexpr char kEqBand[] = "lowhi ";

// Oscillators.
constexpr char kOscType[] = "Classic Noise FM AMSync SawPwm HardFM Vowel ";
constexpr char kOctaveShift[] = "-4 -3 -2 -1 0 1 2 3 4 ";
constexpr char kNoteShift[] = "-11 -10 -9 -8 -7 -6 -5 -4 -3 -2 -1 0 1 2 3 4 5 6 7 8 9 10 11 ";
constexpr char kUnisonCount[] =
    "1_Voice 2_Voices 3_Voices 4_Voices 5_Voices 6_Voices 7_Voices 8_Voices 9_Voices ";
constexpr char kUnisonChord[] =
    "1_Octave 2_Octave 3_Octave Major3rd Minor3rd Major7th Dom7th Min-Maj7th Minor7th "
    "Minor9th Major9th Dom9th Half-Dim7th Dim7th Sus2 Sus4 Perfect5th Perfect4th ";
constexpr char kWaveName[] =
    "Sin Tri TriSine Para_1 Para_2 Para_3 Para_4 - Bass_1 Bass_2 Bass_3 Bass_4 - Piano_A1 "
    "Piano_A2 Piano_A3 Piano_A4 - Violin_1 Violin_2 Violin_3 Oboe Sitar Bayan_1 Bayan_2 - "
    "Guitar_1 Guitar_2 Guitar_3 - Organ_1 Organ_2 Organ_3 - Brass_1 Brass_2 - Vocal_1 "
    "Vocal_2 Vocal_3 Vocal_4 Vocal_5 Vocal_6 - Robo_1 Robo_2 Robo_3 - Synth_1 Synth_2 "
    "Synth_3 - Inter_1 Inter_2 - FM_1 FM_2 FM_3 - Alarm_1 Alarm_2 ";

// Filters.
constexpr char kFilterType[] = "off Perfecto Acido Infecto Scorpio Combo Shaper ";
// The list of the default filter type; the editor swaps the mode list per type.
constexpr char kFilterMode[] = "LP4 BP4 HP4 Peak - - ";
constexpr char kFilterRouting[] = "serial parallel ";

// Envelopes, LFOs and tempo sync.
constexpr char kAttackCurve[] = "Lin Exp Pow ";
constexpr char kDecayCurve[] = "Exp2 Pow Exp1 ";
constexpr char kSyncLong[] =
    "16/1 8/1 4/1 2/1 1/1 3/4 2/3 1/2 3/8 1/3 1/4 3/16 1/6 1/8 3/32 1/12 1/16 3/64 1/24 1/32 "
    "1/64 ";
constexpr char kSyncShort[] =
    "1/64 1/32 1/24 3/64 1/16 1/12 3/32 1/8 1/6 3/16 1/4 1/3 3/8 1/2 2/3 3/4 1/1 2/1 4/1 8/1 "
    "16/1 ";
constexpr char kLfoForm[] =
    "Sin Tri Sqr S&H S&G - TriSine Para_1 Para_2 Para_3 Para_4 - Bass_1 Bass_2 Bass_3 Bass_4 "
    "Piano_A1 Piano_A2 Piano_A3 Piano_A4 - Violin_1 Violin_2 Violin_3 Oboe Sitar Bayan_1 "
    "Bayan_2 - Guitar_1 Guitar_2 Guitar_3 Organ_1 Organ_2 Organ_3 - Brass_1 Brass_2 - "
    "Vocal_1 Vocal_2 Vocal_3 Vocal_4 Vocal_5 Vocal_6 - Robo_1 Robo_2 Robo_3 - Synth_1 "
    "Synth_2 Synth_3 - Inter_1 Inter_2 - FM_1 FM_2 FM_3 - Alarm_1 Alarm_2 ";

// Effects.
constexpr char kPhaserStages[] =
    "1_stage 2_stages 3_stages 4_stages 5_stages 6_stages vowelLow vowelMid vowelHi ";
constexpr char kShaperMode[] = "soft warm hard clip tube1 tube2 tube3 fbtri fbsin flt+dcm dcm ";
constexpr char kChorusMode[] = "01 02 03 04 05 06 J8 ";
constexpr char kReverbMode[] = "plate1 plate2 hall sparkles ambience dmension aura ";

// Step sequencers and arpeggiator.
constexpr char kStepperMode[] = "free sync spos ";
constexpr char kStep16[] = "01 02 03 04 05 06 07 08 09 10 11 12 13 14 15 16 ";
constexpr char kArpMode[] = "Up Down Up/Down Up/Down2 Down/Up Down/Up2 Random Ordered Step Chord ";
constexpr char kArpWrap[] = "01 02 03 04 05 06 07 08 09 10 11 12 13 14 15 16 no ";
constexpr char kArpVelocity[] = "Key Hold Step Step+Key Step+Hold ";
constexpr char kArpOctave[] = "01 02 03 04 ";
constexpr char kArpNote[] =
    "-24 -23 -22 -21 -20 -19 -18 -17 -16 -15 -14 -13 -12 -11 -10 -9 -8 -7 -6 -5 -4 -3 -2 -1 "
    "0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21 22 23 24 ";

// Global pitch.
constexpr char kPitchShift[] =
    "-64 -63 -62 -61 -60 -59 -58 -57 -56 -55 -54 -53 -52 -51 -50 -49 -48 -47 -46 -45 -44 -43 "
    "-42 -41 -40 -39 -38 -37 -36 -35 -34 -33 -32 -31 -30 -29 -28 -27 -26 -25 -24 -23 -22 -21 "
    "-20 -19 -18 -17 -16 -15 -14 -13 -12 -11 -10 -9 -8 -7 -6 -5 -4 -3 -2 -1 0 1 2 3 4 5 6 7 "
    "8 9 10 11 12 13 14 15 16 17 18 19 20 21 22 23 24 25 26 27 28 29 30 31 32 33 34 35 36 37 "
    "38 39 40 41 42 43 44 45 46 47 48 49 50 51 52 53 54 55 56 57 58 59 60 61 62 63 64 ";
constexpr char kPitchFine[] =
    "-99 -98 -97 -96 -95 -94 -93 -92 -91 -90 -89 -88 -87 -86 -85 -84 -83 -82 -81 -80 -79 -78 "
    "-77 -76 -75 -74 -73 -72 -71 -70 -69 -68 -67 -66 -65 -64 -63 -62 -61 -60 -59 -58 -57 -56 "
    "-55 -54 -53 -52 -51 -50 -49 -48 -47 -46 -45 -44 -43 -42 -41 -40 -39 -38 -37 -36 -35 -34 "
    "-33 -32 -31 -30 -29 -28 -27 -26 -25 -24 -23 -22 -21 -20 -19 -18 -17 -16 -15 -14 -13 -12 "
    "-11 -10 -9 -8 -7 -6 -5 -4 -3 -2 -1 0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 "
    "21 22 23 24 25 26 27 28 29 30 31 32 33 34 35 36 37 38 39 40 41 42 43 44 45 46 47 48 49 "
    "50 51 52 53 54 55 56 57 58 59 60 61 62 63 64 65 66 67 68 69 70 71 72 73 74 75 76 77 78 "
    "79 80 81 82 83 84 85 86 87 88 89 90 91 92 93 94 95 96 97 98 99 ";

// Modulation matrix.
constexpr char kSourceName[] =
    "off - Osc1 Osc2 Osc3 Osc4 - Env1 Env2 Env3 Env4 - LFO1 LFO2 LFO3 LFO4 Velocity "
    "KeyFollow Random_Bipolar Random_Unipolar - PitchWheel ModWheel Aftertouch FootPedal "
    "Breath Expression Sustain - Stepper1 Stepper2 ArpStep - Mod1 Mod2 Mod3 Mod4 - "
    "Constant_10% Constant_50% ";
constexpr char kSourceMenu[] =
    "off:0 - Osc1:1 Osc2:2 Osc3:3 Osc4:4 - Env1:5 Env2:6 Env3:7 Env4:8 - LFO1:9 LFO2:10 "
    "LFO3:11 LFO4:12 Velocity:13 KeyFollow:14 Random_Bipolar:15 Random_Unipolar:30 - "
    "PitchWheel:16 ModWheel:17 Aftertouch:18 FootPedal:19 Breath:20 Expression:21 Sustain:22 "
    "- Stepper1:23 Stepper2:24 ArpStep:25 - Mod1:26 Mod2:27 Mod3:28 Mod4:29 - "
    "Constant_10%:31 Constant_50%:32 ";
constexpr char kTargetName[] =
    "off Osc1_Amp Osc2_Amp Osc3_Amp Osc4_Amp AllOsc_Pitch Osc1_Pitch Osc1_CtrlA Osc1_CtrlB "
    "Osc1_Phase Osc1_Wave Osc1_WTMix Osc1_Detune Osc1_Density Osc1_Wide Osc1_Pan "
    "Osc1_Send2FL Osc2_Pitch Osc2_CtrlA Osc2_CtrlB Osc2_Phase Osc2_Wave Osc2_WTMix "
    "Osc2_Detune Osc2_Density Osc2_Wide Osc2_Pan Osc2_Send2FL Osc3_Pitch Osc3_CtrlA "
    "Osc3_CtrlB Osc3_Phase Osc3_Wave Osc3_WTMix Osc3_Detune Osc3_Density Osc3_Wide Osc3_Pan "
    "Osc3_Send2FL Osc4_Pitch Osc4_CtrlA Osc4_CtrlB Osc4_Phase Osc4_Wave Osc4_WTMix "
    "Osc4_Detune Osc4_Density Osc4_Wide Osc4_Pan Osc4_Send2FL Cutoff_1 Reso_1 Cutoff_2 "
    "Reso_2 Filt_Balance Env1_Att Env1_Dec Env1_Sus Env1_Slt Env1_Sll Env1_Rel Env1_Amt1 "
    "Env1_Amt2 Env2_Att Env2_Dec Env2_Sus Env2_Slt Env2_Sll Env2_Rel Env2_Amt1 Env2_Amt2 "
    "Env3_Att Env3_Dec Env3_Sus Env3_Slt Env3_Sll Env3_Rel Env3_Amt1 Env3_Amt2 Env4_Att "
    "Env4_Dec Env4_Sus Env4_Slt Env4_Sll Env4_Rel Env4_Amt1 Env4_Amt2 AllLFO_Rate LFO1_Rate "
    "LFO1_Sym LFO1_Phase LFO1_Form LFO1_Amp LFO1_Amt1 LFO1_Amt2 LFO2_Rate LFO2_Sym "
    "LFO2_Phase LFO2_Form LFO2_Amp LFO2_Amt1 LFO2_Amt2 LFO3_Rate LFO3_Sym LFO3_Phase "
    "LFO3_Form LFO3_Amp LFO3_Amt1 LFO3_Amt2 LFO4_Rate LFO4_Sym LFO4_Phase LFO4_Form LFO4_Amp "
    "LFO4_Amt1 LFO4_Amt2 Shp_Drive Shp_Bit Shp_S.Rate Shp_HiCut Shp_LowCut Shp_DryWet "
    "Phs_Freq Phs_F.Back Phs_Spread Phs_Rate Phs_Depth Phs_DryWet Chr_Delay Chr_FBack "
    "Chr_Rate Chr_Depth Chr_Wide Chr_HiCut Chr_LowCut Chr_DryWet Del_DelayL Del_DelayR "
    "Del_F.Back Del_Color Del_Wide Del_Modulate Del_Rate Del_DryWet Rev_Predelay Rev_Decay "
    "Rev_Damp Rev_Color Rev_Wide Rev_DryWet X-Comp Main_Volume EQ_Low_Freq EQ_Low_Q "
    "EQ_Low_Level EQ_Mid_Freq EQ_Mid_Q EQ_Mid_Level EQ_Hi_Freq EQ_Hi_Q EQ_Hi_Level "
    "Slot1_Amt1 Slot1_Amt2 Slot1_Amt3 Slot1_Amt4 Slot2_Amt1 Slot2_Amt2 Slot2_Amt3 Slot2_Amt4 "
    "Slot3_Amt1 Slot3_Amt2 Slot3_Amt3 Slot3_Amt4 Slot4_Amt1 Slot4_Amt2 Slot4_Amt3 Slot4_Amt4 "
    "Slot5_Amt1 Slot5_Amt2 Slot5_Amt3 Slot5_Amt4 Slot6_Amt1 Slot6_Amt2 Slot6_Amt3 Slot6_Amt4 "
    "Slot7_Amt1 Slot7_Amt2 Slot7_Amt3 Slot7_Amt4 Slot8_Amt1 Slot8_Amt2 Slot8_Amt3 Slot8_Amt4 "
    "Slot9_Amt1 Slot9_Amt2 Slot9_Amt3 Slot9_Amt4 Slot10_Amt1 Slot10_Amt2 Slot10_Amt3 "
    "Slot10_Amt4 Slot11_Amt1 Slot11_Amt2 Slot11_Amt3 Slot11_Amt4 Slot12_Amt1 Slot12_Amt2 "
    "Slot12_Amt3 Slot12_Amt4 Slot13_Amt1 Slot13_Amt2 Slot13_Amt3 Slot13_Amt4 Slot14_Amt1 "
    "Slot14_Amt2 Slot14_Amt3 Slot14_Amt4 Slot15_Amt1 Slot15_Amt2 Slot15_Amt3 Slot15_Amt4 "
    "Gate Swing Stepp1_Rate Stepp2_Rate Mod1 Mod2 Mod3 Mod4 Glide ";

namespace {

// Every list ends in a blank and has no empty token, so that counting tokens and counting blanks
// agree and the display walk never meets an empty entry.
constexpr bool isWellFormed(const char* list) {
    if (list[0] == '\0' || isListBlank(list[0])) return false;
    const char* p = list;
    while (p[1] != '\0') {
        if (isListBlank(p[0]) && isListBlank(p[1])) return false;
        ++p;
    }
    return isListBlank(*p);
}

static_assert(isWellFormed(kOnOff) && isWellFormed(kMode) && isWellFormed(kPoly) &&
              isWellFormed(kBendRange) && isWellFormed(kEqBand) && isWellFormed(kOscType) &&
              isWellFormed(kOctaveShift) && isWellFormed(kNoteShift) &&
              isWellFormed(kUnisonCount) && isWellFormed(kUnisonChord) && isWellFormed(kWaveName) &&
              isWellFormed(kFilterType) && isWellFormed(kFilterMode) &&
              isWellFormed(kFilterRouting) && isWellFormed(kAttackCurve) &&
              isWellFormed(kDecayCurve) && isWellFormed(kSyncLong) && isWellFormed(kSyncShort) &&
              isWellFormed(kLfoForm) && isWellFormed(kPhaserStages) && isWellFormed(kShaperMode) &&
              isWellFormed(kChorusMode) && isWellFormed(kReverbMode) &&
              isWellFormed(kStepperMode) && isWellFormed(kStep16) && isWellFormed(kArpMode) &&
              isWellFormed(kArpWrap) && isWellFormed(kArpVelocity) && isWellFormed(kArpOctave) &&
              isWellFormed(kArpNote) && isWellFormed(kPitchShift) && isWellFormed(kPitchFine) &&
              isWellFormed(kSourceName) && isWellFormed(kSourceMenu) && isWellFormed(kTargetName));

} // namespace

void copyRealToken(const char* list, int position, char* out, std::size_t size) {
    if (size == 0) return;
    out[0] = '\0';
    if (list == nullptr || position < 0) return;
    int seen = 0;
    const char* p = list;
    while (*p != '\0') {
        while (*p == '\t') ++p;
        const char* begin = p;
        while (*p != '\0' && !isListBlank(*p)) ++p;
        if (p != begin && !isSeparatorToken(begin, p)) {
            if (seen == position) {
                const std::size_t length = std::min<std::size_t>(p - begin, size - 1);
                std::memcpy(out, begin, length);
                out[length] = '\0';
                return;
            }
            ++seen;
        }
        if (*p != '\0') ++p;
    }
}

} // namespace torvo::lists
