// The filter kernels on 256-bit vectors. This file alone is built for processors with AVX2;
// its code runs only after wideFilterLanes() has found it there. It holds no inline function
// that other files could share, so nothing of it reaches a processor without AVX2. Only the
// vector width and the table reads differ from the 128-bit path, not the arithmetic.

#include "filters/filterblock.h"
#include "filters/filterlanes.h"
#include "filters/ladderfilter.h"
#include "filters/scorpiofilter.h"

#include <immintrin.h>

// Everything above is shared with other files and stays plain; only what follows is built
// for AVX2.
#pragma GCC push_options
#pragma GCC target("avx2")

#include "filters/ladderkernel.h"
#include "filters/lanes8.h"
#include "filters/scorpiokernel.h"

namespace torvo {

namespace {
/// This file's own lane type, so that no kernel built here is shared with another file.
struct Lanes : Lanes8<false> {};
} // namespace

void scorpioGroupWide(const ScorpioGroup& group, int chains, int from, int to) {
    if (filterLaneLevel() >= kLanesPermute) {
        scorpioGroupPermute(group, chains, from, to);
        return;
    }
    if (chains > 1)
        scorpiokernel::run<Lanes, 2>(group, from, to);
    else
        scorpiokernel::run<Lanes, 1>(group, from, to);
}

void perfectoGroupWide(const PerfectoGroup& group, int chains, int from, int to) {
    if (filterLaneLevel() >= kLanesPermute) {
        perfectoGroupPermute(group, chains, from, to);
        return;
    }
    if (chains > 1)
        ladderkernel::run<Lanes, 2>(group, from, to);
    else
        ladderkernel::run<Lanes, 1>(group, from, to);
}

} // namespace torvo

#pragma GCC pop_options
