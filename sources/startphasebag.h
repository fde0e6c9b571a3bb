#pragma once
// The random source of start phases. Two fixed lists of 18 phases are dealt out in turn like
// a shuffled deck: each draw removes its entry, so 18 draws use a list up without repeating a
// phase, then the other list is dealt. Retriggered notes thus start at well spread phases
// without any two copies of a unison stack landing on the same one.

#include "engine/shuffleddeck.h"

namespace torvo {

class StartPhaseBag : public ShuffledDeck<18> {
public:
    /// Draws give a whole number 0..4095 as a float.
    StartPhaseBag();
};

} // namespace torvo
