#pragma once
// Flushes denormals to zero for as long as it lives (FTZ and DAZ on x86), so decaying
// feedback paths never fall into the slow subnormal range. Restores the caller's mode.

#if defined(__SSE__) || defined(__x86_64__)
#include <xmmintrin.h>
#endif

namespace torvo {

class ScopedFlushDenormals {
public:
    ScopedFlushDenormals() {
#if defined(__SSE__) || defined(__x86_64__)
        saved = _mm_getcsr();
        _mm_setcsr(saved | 0x8040); // FTZ (bit 15) | DAZ (bit 6)
#endif
    }
    ~ScopedFlushDenormals() {
#if defined(__SSE__) || defined(__x86_64__)
        _mm_setcsr(saved);
#endif
    }
    ScopedFlushDenormals(const ScopedFlushDenormals&) = delete;
    ScopedFlushDenormals& operator=(const ScopedFlushDenormals&) = delete;

private:
    unsigned int saved = 0;
};

} // namespace torvo
