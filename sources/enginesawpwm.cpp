#include "sources/enginesawpwm.h"

#include <algorithm>

namespace torvo {

void EngineSawPwm::seedPhases(const float* phases) {
    for (int i = 0; i < kUnisonSlots; ++i) readers[i].seed(phases[i]);
}

void EngineSawPwm::render(const OscBlock& b) {
    const int n = b.frames;
    clearBlock(buffers.sumL, n);
    clearBlock(buffers.sumR, n);
    const float ratio = static_cast<float>(ratioFor(std::clamp(b.ctrlA[0], 0.0f, 1.0f)));
    const float* B = b.ctrlB;
    const float* W = b.wtmix;
    const int* shift = b.shift;
    for (int slot = 0; slot < b.count; ++slot) {
        slotNotes(b.pitch, b.detune[slot], buffers.note, n, b.reader.notesSteady);
        readers[slot].runInto(
            b.reader, slot, buffers.note, b.retrig, buffers.slot, n,
            [ratio, B, W, shift](const float* saw, const float* la, const float* lb, float wa,
                                 float wb, float p, int i) {
                const float e = readTable(saw, p) + 0.7f;
                float p2 = ratio * p;
                while (p2 > 4096.0f) p2 -= 4096.0f;
                const int back = -shift[i];
                const float d = readTable(saw, p2) - readTableOffset(saw, p2, back);
                const float k = 1.0f - B[i];
                const float s = (1.3f * k + d) * e - 0.8f * k;
                const float w =
                    wa * readTableOffset(la, p2, back) + wb * readTableOffset(lb, p2, back);
                return (1.0f - W[i]) * s + W[i] * w;
            },
            SlotSum{buffers.sumL, buffers.sumR, b.levelL[slot], b.levelR[slot]});
    }
}

} // namespace torvo
