#include "sources/wavebank.h"

#include "sources/wavedesigns.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <complex>
#include <cstdlib>
#include <mutex>
#include <sys/mman.h>
#include <sys/resource.h>
#include <vector>

namespace torvo {

namespace {

constexpr double kTwoPi = 6.283185307179586;

// The names in menu order; the separators of the menu take no index.
const char* const kWaveNames[kWaveCount] = {
    "Sin",      "Tri",      "TriSine",  "Para_1",   "Para_2",   "Para_3",   "Para_4",
    "Bass_1",   "Bass_2",   "Bass_3",   "Bass_4",   "Piano_A1", "Piano_A2", "Piano_A3",
    "Piano_A4", "Violin_1", "Violin_2", "Violin_3", "Oboe",     "Sitar",    "Bayan_1",
    "Bayan_2",  "Guitar_1", "Guitar_2", "Guitar_3", "Organ_1",  "Organ_2",  "Organ_3",
    "Brass_1",  "Brass_2",  "Vocal_1",  "Vocal_2",  "Vocal_3",  "Vocal_4",  "Vocal_5",
    "Vocal_6",  "Robo_1",   "Robo_2",   "Robo_3",   "Synth_1",  "Synth_2",  "Synth_3",
    "Inter_1",  "Inter_2",  "FM_1",     "FM_2",     "FM_3",     "Alarm_1",  "Alarm_2"};

/// A 4096-point inverse transform, enough to turn a line spectrum into one cycle. Built once
/// per bank build; double precision so that cut levels keep their amplitudes exactly.
class InverseTransform {
public:
    InverseTransform() : twiddle(kTablePoints / 2), work(kTablePoints) {
        for (int i = 0; i < kTablePoints / 2; ++i) {
            const double a = kTwoPi * i / kTablePoints;
            twiddle[i] = {std::cos(a), std::sin(a)};
        }
    }

    /// One cycle of sum over k of sinPart[k] sin(k t) + cosPart[k] cos(k t), k = 1..count.
    void synthesise(const double* sinPart, const double* cosPart, int count, double* out) {
        std::fill(work.begin(), work.end(), std::complex<double>());
        for (int k = 1; k <= count && k < kTablePoints / 2; ++k)
            work[bitReverse(k)] = {cosPart[k], -sinPart[k]};
        for (int size = 2; size <= kTablePoints; size <<= 1) {
            const int half = size >> 1;
            const int stride = kTablePoints / size;
            for (int base = 0; base < kTablePoints; base += size)
                for (int j = 0; j < half; ++j) {
                    const std::complex<double> t = twiddle[j * stride] * work[base + j + half];
                    work[base + j + half] = work[base + j] - t;
                    work[base + j] += t;
                }
        }
        for (int i = 0; i < kTablePoints; ++i) out[i] = work[i].real();
    }

private:
    static int bitReverse(int k) {
        int r = 0;
        for (int b = 0; b < 12; ++b) r |= ((k >> b) & 1) << (11 - b);
        return r;
    }

    std::vector<std::complex<double>> twiddle;
    std::vector<std::complex<double>> work;
};

/// Writes one cycle as (value, difference to the next point) pairs, the last wrapping to 0.
void storePairs(const double* cycle, double gain, float* table) {
    for (int i = 0; i < kTablePoints; ++i) {
        const float v = static_cast<float>(cycle[i] * gain);
        const float next = static_cast<float>(cycle[(i + 1) & (kTablePoints - 1)] * gain);
        table[2 * i] = v;
        table[2 * i + 1] = next - v;
    }
}

double peakOf(const double* cycle) {
    double p = 0.0;
    for (int i = 0; i < kTablePoints; ++i) p = std::max(p, std::fabs(cycle[i]));
    return p;
}

/// The tail scale at which lead + scale * tail peaks at kFitPeak. The peak grows without
/// bound with the scale and is continuous, so halving the bracket finds it.
double fitTail(const double* lead, const double* tail) {
    auto peakAt = [&](double s) {
        double p = 0.0;
        for (int i = 0; i < kTablePoints; ++i) p = std::max(p, std::fabs(lead[i] + s * tail[i]));
        return p;
    };
    if (peakAt(0.0) >= kFitPeak) return 0.0;
    double lo = 0.0, hi = 1.0;
    while (peakAt(hi) < kFitPeak && hi < 1e6) hi *= 2.0;
    for (int i = 0; i < 40; ++i) {
        const double mid = 0.5 * (lo + hi);
        (peakAt(mid) < kFitPeak ? lo : hi) = mid;
    }
    return 0.5 * (lo + hi);
}

void buildWave(int index, InverseTransform& fft, float* wave) {
    const WaveDesign& d = waveDesign(index);
    double sinPart[129], cosPart[129];
    std::vector<double> cycle(kTablePoints);
    if (index == 0) {
        // The pure sine is exact, not a transform's rounding of one.
        for (int i = 0; i < kTablePoints; ++i) cycle[i] = std::sin(kTwoPi * i / kTablePoints);
        for (int level = 0; level < kWaveLevels; ++level)
            storePairs(cycle.data(), 1.0, wave + level * kTableFloats);
        return;
    }
    double tailScale = 1.0;
    if (d.fit == Fit::Tail) {
        std::vector<double> lead(kTablePoints), tail(kTablePoints);
        designSpectrum(d, 1.0, 0.0, sinPart, cosPart);
        fft.synthesise(sinPart, cosPart, kMaxHarmonics, lead.data());
        designSpectrum(d, 0.0, 1.0, sinPart, cosPart);
        fft.synthesise(sinPart, cosPart, kMaxHarmonics, tail.data());
        tailScale = fitTail(lead.data(), tail.data());
    }
    designSpectrum(d, 1.0, tailScale, sinPart, cosPart);
    double gain = 1.0;
    for (int level = 0; level < kWaveLevels; ++level) {
        fft.synthesise(sinPart, cosPart, kMaxHarmonics >> level, cycle.data());
        if (level == 0 && d.fit == Fit::Whole) {
            const double p = peakOf(cycle.data());
            gain = p > 0.0 ? 1.0 / p : 1.0;
        }
        storePairs(cycle.data(), gain, wave + level * kTableFloats);
    }
}

// The saw keeps every harmonic up to about 21.5 kHz (at 44.1 kHz) at full amplitude, falls
// through one half near 22.3 kHz and stops short of 23.5 kHz: the limit is absolute, so one
// table per note serves without mip levels. The shape is fixed to 44.1 kHz on purpose; at
// higher rates the top octave simply stays empty.
constexpr double kSawAmplitude = 0.4175;
constexpr double kSawFlat = 21500.0;
constexpr double kSawKnee = 800.0;
constexpr double kSawStop = 23500.0;
constexpr int kSawJumpPoint = 5;

int sawHarmonicCount(int note) {
    const double f = 440.0 * std::pow(2.0, (note - 69) / 12.0);
    return std::clamp(static_cast<int>(kSawStop / f), 1, kTablePoints / 2 - 1);
}

void buildSaw(int note, InverseTransform& fft, float* table) {
    const double f = 440.0 * std::pow(2.0, (note - 69) / 12.0);
    const int count = sawHarmonicCount(note);
    std::vector<double> sinPart(kTablePoints / 2), cosPart(kTablePoints / 2), cycle(kTablePoints);
    // A rising ramp is minus the sine series; delaying it by 5 points puts the jump there.
    const double delay = kTwoPi * kSawJumpPoint / kTablePoints;
    for (int k = 1; k <= count; ++k) {
        double a = kSawAmplitude / k;
        const double above = k * f - kSawFlat;
        if (above > 0.0) a /= 1.0 + (above / kSawKnee) * (above / kSawKnee);
        // At the top only the fundamental is left; it stands at half scale.
        if (count == 1) a = 0.5;
        // -a sin(k (t - delay)) = -a cos(k delay) sin(k t) + a sin(k delay) cos(k t)
        sinPart[k] = -a * std::cos(k * delay);
        cosPart[k] = a * std::sin(k * delay);
    }
    fft.synthesise(sinPart.data(), cosPart.data(), count, cycle.data());
    storePairs(cycle.data(), 1.0, table);
}

struct Banks {
    float* wave = nullptr;
    float* saw = nullptr;
};

Banks banks;
std::once_flag buildOnce;
std::atomic<bool> built{false};
std::mutex pinMutex;
int pinCount = 0;

float* allocatePages(std::size_t floats) {
    const std::size_t bytes = floats * sizeof(float); // both sizes are whole pages
    return static_cast<float*>(std::aligned_alloc(4096, bytes));
}

void buildAll() {
    banks.wave = allocatePages(kWaveBankFloats);
    banks.saw = allocatePages(kSawBankFloats);
    fillWaveBank(banks.wave);
    fillSawBank(banks.saw);
    built.store(true, std::memory_order_release);
}

} // namespace

void fillWaveBank(float* dest) {
    InverseTransform fft;
    for (int w = 0; w < kWaveCount; ++w) buildWave(w, fft, dest + w * kWaveFloats);
}

void fillSawBank(float* dest) {
    InverseTransform fft;
    for (int n = 0; n < kSawTableCount; ++n) buildSaw(n, fft, dest + n * kTableFloats);
}

void buildWaveBanks() {
    if (built.load(std::memory_order_acquire)) return;
    std::call_once(buildOnce, buildAll);
}

const float* waveBank() {
    buildWaveBanks();
    return banks.wave;
}

const float* sawBank() {
    buildWaveBanks();
    return banks.saw;
}

const float* waveAddress(int index) {
    return waveBank() + (std::clamp(index, 0, kWaveCount - 1) << 16);
}

const float* sawAddress(int note) {
    return sawBank() + (std::clamp(note, 0, kSawTableCount - 1) << 13);
}

const char* waveName(int index) {
    return index >= 0 && index < kWaveCount ? kWaveNames[index] : "";
}

void lockWaveBanks() {
    buildWaveBanks();
    std::lock_guard<std::mutex> guard(pinMutex);
    if (pinCount++ > 0) return;
    // Make room in the locked-memory quota first when it is too small for both banks beside
    // 10 MiB of other pinned memory: raise it by the banks plus 1 MiB, as far as the hard limit
    // allows. A quota that is large enough is left alone, so repeated engines do not grow it.
    constexpr rlim_t kBankBytes = (kWaveBankFloats + kSawBankFloats) * sizeof(float);
    constexpr rlim_t kMiB = rlim_t(1) << 20;
    rlimit quota{};
    if (getrlimit(RLIMIT_MEMLOCK, &quota) == 0 && quota.rlim_cur != RLIM_INFINITY &&
        quota.rlim_cur < 10 * kMiB + kBankBytes + kMiB) {
        const rlim_t wanted = quota.rlim_cur + kBankBytes + kMiB;
        quota.rlim_cur =
            quota.rlim_max == RLIM_INFINITY ? wanted : std::min(wanted, quota.rlim_max);
        (void)setrlimit(RLIMIT_MEMLOCK, &quota);
    }
    // Refusal only costs possible page faults; the banks work either way.
    (void)mlock(banks.wave, kWaveBankFloats * sizeof(float));
    (void)mlock(banks.saw, kSawBankFloats * sizeof(float));
}

void unlockWaveBanks() {
    std::lock_guard<std::mutex> guard(pinMutex);
    if (pinCount == 0 || --pinCount > 0) return;
    munlock(banks.wave, kWaveBankFloats * sizeof(float));
    munlock(banks.saw, kSawBankFloats * sizeof(float));
}

} // namespace torvo
