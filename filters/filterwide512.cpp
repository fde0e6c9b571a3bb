// The filter kernels on 256-bit vectors with the table reads of AVX-512VL: a read of up to 32
// points is one permute. Built and run as filterwide.cpp is, for processors that have it.

#include "filters/filterblock.h"
#include "filters/filterlanes.h"
#include "filters/ladderfilter.h"
#include "filters/scorpiofilter.h"

#include <immintrin.h>

// Everything above is shared with other files and stays plain; only what follows is built
// for AVX-512VL.
#pragma GCC push_options
#pragma GCC target("avx2,avx512f,avx512vl")
// AVX-512 brings fused multiply-adds; the sums here must round as the narrow path rounds.
#pragma GCC optimize("fp-contract=off")

#include "filters/ladderkernel.h"
#include "filters/lanes8.h"
#include "filters/scorpiokernel.h"

namespace torvo {

namespace {
/// This file's own lane type, so that no kernel built here is shared with another file.
struct Lanes : Lanes8<true> {};
} // namespace

void scorpioGroupPermute(const ScorpioGroup& group, int chains, int from, int to) {
    if (chains > 1)
        scorpiokernel::run<Lanes, 2>(group, from, to);
    else
        scorpiokernel::run<Lanes, 1>(group, from, to);
}

void perfectoGroupPermute(const PerfectoGroup& group, int chains, int from, int to) {
    if (chains > 1)
        ladderkernel::run<Lanes, 2>(group, from, to);
    else
        ladderkernel::run<Lanes, 1>(group, from, to);
}

} // namespace torvo

#pragma GCC pop_options
