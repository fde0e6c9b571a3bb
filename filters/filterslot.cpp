#include "filters/filterslot.h"

#include <algorithm>

namespace torvo {

const char* filterModeList(int type) {
    static constexpr const char* kLists[7] = {
        "- - - - - - ",
        "LP4 BP4 HP4 Peak - - ",
        "LP1 LP2 LP3 LP4 - - ",
        "LP2 BP2 HP2 Notch - - ",
        "RedLP2 RedLP4 BlackLP2 BlackLP4 BlackHP4 BlackBP4 ",
        "Mono_+ Mono_- Stereo_+ Stereo_- - - ",
        "Saturate Foldback - - - - ",
    };
    return type >= 0 && type < 7 ? kLists[type] : nullptr;
}

namespace {
bool isRealMode(int type, int mode) {
    return mode >= 0 && (mode <= 3 || (type == kFilterScorpio && mode <= 5));
}
} // namespace

void FilterSlot::renderPair(FilterSlot& first, const FilterBlock& a, FilterSlot& second,
                            const FilterBlock& b, int type, int mode) {
    if (isRealMode(type, mode)) {
        switch (type) {
        case kFilterPerfecto:
            LadderFilter::renderPerfectoPair(first.perfecto, a, second.perfecto, b, mode);
            return;
        case kFilterAcido:
            LadderFilter::renderAcidoPair(first.acido, a, second.acido, b, mode);
            return;
        case kFilterScorpio:
            ScorpioFilter::renderPair(first.scorpio, a, second.scorpio, b, mode);
            return;
        default:
            break;
        }
    }
    first.render(type, mode, a);
    second.render(type, mode, b);
}

void FilterSlot::renderGroup(FilterSlot* const* slots, const FilterBlock* const* blocks, int count,
                             int type, int mode) {
    if (isRealMode(type, mode) && count > 1) {
        constexpr int kMost = 32;
        switch (type) {
        case kFilterScorpio: {
            ScorpioState* states[kMost];
            for (int done = 0; done < count; done += kMost) {
                const int n = std::min(kMost, count - done);
                for (int v = 0; v < n; ++v) states[v] = &slots[done + v]->scorpio;
                ScorpioFilter::renderGroup(states, blocks + done, n, mode);
            }
            return;
        }
        case kFilterPerfecto: {
            PerfectoState* states[kMost];
            for (int done = 0; done < count; done += kMost) {
                const int n = std::min(kMost, count - done);
                for (int v = 0; v < n; ++v) states[v] = &slots[done + v]->perfecto;
                LadderFilter::renderPerfectoGroup(states, blocks + done, n, mode);
            }
            return;
        }
        case kFilterAcido:
            for (int v = 0; v + 1 < count; v += 2)
                LadderFilter::renderAcidoPair(slots[v]->acido, *blocks[v], slots[v + 1]->acido,
                                              *blocks[v + 1], mode);
            if (count % 2) slots[count - 1]->render(type, mode, *blocks[count - 1]);
            return;
        default:
            break;
        }
    }
    for (int v = 0; v < count; ++v) slots[v]->render(type, mode, *blocks[v]);
}

void FilterSlot::render(int type, int mode, const FilterBlock& b) {
    if (!isRealMode(type, mode)) type = kFilterOff;
    switch (type) {
    case kFilterPerfecto:
        LadderFilter::renderPerfecto(perfecto, mode, b);
        break;
    case kFilterAcido:
        LadderFilter::renderAcido(acido, mode, b);
        break;
    case kFilterInfecto:
        StateVariableFilter::render(infecto, mode, b);
        break;
    case kFilterScorpio:
        ScorpioFilter::render(scorpio, mode, b);
        break;
    case kFilterCombo:
        CombFilter::render(combo, mode, b);
        break;
    case kFilterShaper:
        ShaperFilter::render(shaper, mode, b);
        break;
    default:
        if (b.outL != b.inL) std::copy(b.inL, b.inL + b.frames, b.outL);
        if (b.outR != b.inR) std::copy(b.inR, b.inR + b.frames, b.outR);
        break;
    }
}

void FilterSlot::clearStates() {
    perfecto.clear();
    acido.clear();
    infecto.clear();
    scorpio.clear();
    shaper.historyL[0] = shaper.historyL[1] = shaper.historyL[2] = shaper.historyL[3] = 0.0f;
    shaper.historyR[0] = shaper.historyR[1] = shaper.historyR[2] = shaper.historyR[3] = 0.0f;
    shaper.tone = ToneState{};
}

} // namespace torvo
