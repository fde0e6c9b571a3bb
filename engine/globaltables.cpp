#include "engine/globaltables.h"

#include <atomic>
#include <cmath>
#include <mutex>
#include <sys/mman.h>

namespace torvo {

namespace {
struct Tables {
    float noteFrequency[kNoteCount];
    float increment[kNoteCount];
    float increment4096[kNoteCount];
};

Tables tables = [] {
    Tables t{};
    for (int i = 0; i < kNoteCount; ++i)
        t.noteFrequency[i] = 440.0f * std::pow(2.0f, (i - 69) / 12.0f);
    return t;
}();

std::atomic<float> currentRate{0.0f};
std::atomic<float> invRate{1.0f / 44100.0f};
std::atomic<float> ratio{1.0f};
std::mutex lockMutex;
int lockCount = 0;
} // namespace

void setGlobalSampleRate(float rate) {
    if (!(rate > 0.0f) || rate == currentRate.load()) return;
    for (int i = 0; i < kNoteCount; ++i) {
        const float e = std::pow(2.0f, (i - 69) / 12.0f);
        tables.increment[i] = e * 440.0f / rate;
        tables.increment4096[i] = tables.increment[i] * 4096.0f;
    }
    invRate = 1.0f / rate;
    ratio = 44100.0f / rate;
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
const float* phaseIncrementTable() {
    return tables.increment;
}
const float* phaseIncrementTable4096() {
    return tables.increment4096;
}

void lockGlobalTables() {
    std::lock_guard<std::mutex> guard(lockMutex);
    if (lockCount++ == 0) mlock(&tables, sizeof(tables));
}

void unlockGlobalTables() {
    std::lock_guard<std::mutex> guard(lockMutex);
    if (lockCount > 0 && --lockCount == 0) munlock(&tables, sizeof(tables));
}

} // namespace torvo
