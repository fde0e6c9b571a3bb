#pragma once
// One filter slot of one voice: the states of all six models side by side, so that switching
// the slot's type leaves the other models' memory as it was, and the dispatch of a block to
// the model the slot's type selects.

#include "filters/combfilter.h"
#include "filters/filterblock.h"
#include "filters/ladderfilter.h"
#include "filters/scorpiofilter.h"
#include "filters/shaperfilter.h"
#include "filters/statevariable.h"

namespace torvo {

enum FilterType {
    kFilterOff = 0,
    kFilterPerfecto,
    kFilterAcido,
    kFilterInfecto,
    kFilterScorpio,
    kFilterCombo,
    kFilterShaper
};

/// The literal mode list of a type, as the editor shows it; null for an unknown type.
const char* filterModeList(int type);

struct FilterSlot {
    PerfectoState perfecto;
    AcidoState acido;
    InfectoState infecto;
    ScorpioState scorpio;
    ComboState combo;
    ShaperState shaper;

    /// Runs the block through the model of `type`. Off, an unknown type, or a mode above 3 on
    /// any type but "Scorpio" passes the input through.
    void render(int type, int mode, const FilterBlock& b);
    /// The same block of two voices' slots, each as render() would give it; the models that
    /// run sample by sample take both voices in one pass.
    static void renderPair(FilterSlot& first, const FilterBlock& a, FilterSlot& second,
                           const FilterBlock& b, int type, int mode);
    /// The same block of several voices' slots, each as render() would give it; the models
    /// that run sample by sample take the voices side by side in one loop.
    static void renderGroup(FilterSlot* const* slots, const FilterBlock* const* blocks, int count,
                            int type, int mode);
    /// Zeroes every model's memory except the comb's delay lines.
    void clearStates();
};

} // namespace torvo
