#include "engine/globaltables.h"

#include "sources/wavebank.h"

#include <atomic>
#include <cmath>
#include <mutex>
#include <sys/mman.h>

namespace torvo {

namespace {
struct Tables {
    float noteFrequency[kNoteCount];
    float noteIncrement[2 * kNoteCount];
    float increment4096[kNoteCount];
    float phaseIncrement[kPitchIndexCount];
};

Tables tables = [] {
    Tables t{};
    for (int i = 0; i < kNoteCount; ++i)
        t.noteFrequency[i] = static_cast<float>(440.0 * std::pow(2.0, (i - 69) / 12.0));
    return t;
}();

// The fraction of a semitone repeats for every note: 1280 step ratios times 128 note bases
// fill the fine table without a pow() per entry.
void fillPhaseIncrements(double rate) {
    static double stepRatio[kPitchStepsPerNote];
    static bool stepsReady = false;
    if (!stepsReady) {
        for (int k = 0; k < kPitchStepsPerNote; ++k)
            stepRatio[k] = std::pow(2.0, k / (12.0 * kPitchStepsPerNote));
        stepsReady = true;
    }
    const double scale = 440.0 * 4096.0 / rate;
    for (int n = 0; n < kNoteCount; ++n) {
        const double base = std::pow(2.0, (n - 69) / 12.0) * scale;
        float* row = tables.phaseIncrement + n * kPitchStepsPerNote;
        for (int k = 0; k < kPitchStepsPerNote; ++k)
            row[k] = static_cast<float>(base * stepRatio[k]);
    }
}

std::atomic<float> currentRate{0.0f};
std::atomic<float> invRate{1.0f / 44100.0f};
std::atomic<float> ratio{1.0f};
std::mutex rateMutex;
std::mutex lockMutex;
int lockCount = 0;
} // namespace

void setGlobalSampleRate(float rate) {
    if (!(rate > 0.0f) || !std::isfinite(rate)) return;
    std::lock_guard<std::mutex> guard(rateMutex);
    if (rate == currentRate.load()) return;
    const double r = rate;
    for (int i = 0; i < kNoteCount; ++i)
        tables.increment4096[i] = static_cast<float>(tables.noteFrequency[i] * 4096.0 / r);
    for (int i = 0; i < kNoteCount; ++i) {
        const float v = tables.increment4096[i];
        const float next = i + 1 < kNoteCount ? tables.increment4096[i + 1] : v;
        tables.noteIncrement[2 * i] = v;
        tables.noteIncrement[2 * i + 1] = next - v;
    }
    fillPhaseIncrements(r);
    invRate = static_cast<float>(1.0 / r);
    ratio = static_cast<float>(44100.0 / r);
    currentRate = rate;
}

float globalSampleRate() {
    const float r = currentRate.load();
    return r > 0.0f ? r : 44100.0f;
}
float globalInvSampleRate() {
    return invRate.load();
}
float globalRateRatio() {
    return ratio.load();
}

const float* noteFrequencyTable() {
    return tables.noteFrequency;
}
const float* noteIncrementTable() {
    return tables.noteIncrement;
}
const float* phaseIncrementTable() {
    return tables.phaseIncrement;
}
const float* phaseIncrementTable4096() {
    return tables.increment4096;
}

void lockGlobalTables() {
    lockWaveBanks();
    std::lock_guard<std::mutex> guard(lockMutex);
    if (lockCount++ == 0) mlock(&tables, sizeof(tables));
}

void unlockGlobalTables() {
    {
        std::lock_guard<std::mutex> guard(lockMutex);
        if (lockCount > 0 && --lockCount == 0) munlock(&tables, sizeof(tables));
    }
    unlockWaveBanks();
}

namespace {
// Readers may come before any engine set a rate: they find the 44.1 kHz tables.
[[maybe_unused]] const bool defaultRateFilled = (setGlobalSampleRate(44100.0f), true);
} // namespace

} // namespace torvo
