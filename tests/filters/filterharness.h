#pragma once
// Drives the filter section standalone: one voice, input buses, pitch and gate streams owned
// by the test, parameters set without glide, and level measurements with sine tones.

#include "filters/modulefilter.h"
#include "shell/paramtable.h"
#include "support/standalonemodule.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace torvo::test {

constexpr double kPi = 3.14159265358979323846;

inline double toDb(double ratio) {
    return 20.0 * std::log10(std::max(ratio, 1e-30));
}

class FilterHarness {
public:
    static constexpr int kBlock = 256;
    static constexpr int kVoice = 0;

    explicit FilterHarness(float rate = 44100.0f) : sampleRate(rate) {
        s.m.setSampleRate(rate);
        s.shared.sampleRate = rate;
        for (auto* b : {&in1L, &in1R, &in2L, &in2R, &pitch}) b->assign(kBlock + 4, 0.0f);
        gate.assign(kBlock + 4, TriggerRecord{});
        std::fill(pitch.begin(), pitch.end(), 60.0f / 127.0f);
        for (int v = 0; v < kVoiceCount; ++v) {
            pitchPtrs[v] = pitch.data();
            gatePtrs[v] = gate.data();
            s.shared.env1ValueAtRetrig[v] = &retrigValue;
        }
        s.m.setNoteStreams(pitchPtrs, gatePtrs);
        // Defaults of a plain test: one slot, parallel, slot one heard alone.
        set(0, 1.0f);
        set(10, 0.5f);
        set(11, 0.0f);
        set(4, 1.0f);
        set(5, 0.0f);
        set(8, 1.0f);
        set(9, 0.0f);
    }

    /// Writes a local parameter and jumps its smoother to the value.
    void set(int local, float v) {
        s.m.setParameter(local, v);
        switch (local) {
        case 4:
            s.m.cut1.reset(v);
            break;
        case 5:
            s.m.res1.reset(v);
            break;
        case 8:
            s.m.cut2.reset(v);
            break;
        case 9:
            s.m.res2.reset(v);
            break;
        case 11:
            s.m.balance.reset(v);
            break;
        default:
            break;
        }
    }
    void slot1(int type, int mode, float cut, float res) {
        set(2, type * kThousandth);
        set(3, mode * kThousandth);
        set(4, cut);
        set(5, res);
    }
    void slot2(int type, int mode, float cut, float res) {
        set(6, type * kThousandth);
        set(7, mode * kThousandth);
        set(8, cut);
        set(9, res);
    }

    VoiceFilter& voice() { return *static_cast<VoiceFilter*>(s.m.getVoice(kVoice)); }

    /// Renders the signals through the section, block by block. Bus two and the right
    /// channels are optional; a gate word of 1 is written at the positions in `starts`.
    void run(const std::vector<float>& x1L, std::vector<float>& outL,
             const std::vector<float>* x2L = nullptr, std::vector<float>* outR = nullptr,
             const std::vector<float>* x1R = nullptr, const std::vector<int>& starts = {}) {
        const int n = int(x1L.size());
        outL.assign(n, 0.0f);
        if (outR) outR->assign(n, 0.0f);
        for (int pos = 0; pos < n; pos += kBlock) {
            const int frames = std::min(kBlock, n - pos);
            for (int i = 0; i < frames; ++i) {
                in1L[i] = x1L[pos + i];
                in1R[i] = x1R ? (*x1R)[pos + i] : x1L[pos + i];
                in2L[i] = in2R[i] = x2L ? (*x2L)[pos + i] : 0.0f;
                gate[i].trigger2 = 0;
            }
            for (int at : starts)
                if (at >= pos && at < pos + frames) gate[at - pos].trigger2 = 1;
            s.m.updateSmoothers(frames);
            s.m.renderVoice(kVoice, frames, {in1L.data(), in1R.data()}, {in2L.data(), in2R.data()});
            const StereoPtr out = s.m.getStereoOutputs(0)[kVoice];
            std::copy(out.left, out.left + frames, outL.begin() + pos);
            if (outR) std::copy(out.right, out.right + frames, outR->begin() + pos);
        }
    }

    std::vector<float> sine(double hz, int n, float amp) const {
        std::vector<float> x(n);
        for (int i = 0; i < n; ++i) x[i] = amp * float(std::sin(2.0 * kPi * hz * i / sampleRate));
        return x;
    }

    /// Level ratio out/in of a sine through slot one (or the section), after settling.
    double gain(double hz, float amp = 0.05f, bool viaBus2 = false, double settleSeconds = 0.1) {
        const int settle = int(sampleRate * settleSeconds);
        const int measure = std::max(4096, int(8.0 * sampleRate / hz));
        const std::vector<float> x = sine(hz, settle + measure, amp);
        const std::vector<float> zero(x.size(), 0.0f);
        std::vector<float> y;
        if (viaBus2)
            run(zero, y, &x);
        else
            run(x, y);
        double e = 0.0;
        for (int i = settle; i < settle + measure; ++i) e += double(y[i]) * y[i];
        const double rms = std::sqrt(e / measure);
        return rms / (amp / std::sqrt(2.0));
    }
    double gainDb(double hz, float amp = 0.05f) { return toDb(gain(hz, amp)); }

    float sampleRate;
    float retrigValue = 0.0f;
    Standalone<ModuleFilter> s{kBlock, "ModuleFilter::filter"};
    std::vector<float> in1L, in1R, in2L, in2R, pitch;
    /// The note stream; only its gate word matters to the filters.
    std::vector<TriggerRecord> gate;
    float* pitchPtrs[kVoiceCount] = {};
    TriggerRecord* gatePtrs[kVoiceCount] = {};
};

/// White noise from the engine's two-word generator, -amp..amp.
inline std::vector<float> noise(int n, float amp) {
    uint32_t a = 0x67452301u, b = 0xEFCDAB89u;
    std::vector<float> x(n);
    for (int i = 0; i < n; ++i) {
        const uint32_t t = b;
        a ^= t;
        b = a + t;
        x[i] = amp * float(int32_t(t)) / 2147483648.0f;
    }
    return x;
}

} // namespace torvo::test
