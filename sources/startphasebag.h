#pragma once
// The random source of start phases. Two fixed lists of 18 phases are dealt out in turn like
// a shuffled deck: each draw removes its entry, so 18 draws use a list up without repeating a
// phase, then the other list is dealt. Retriggered notes thus start at well spread phases
// without any two copies of a unison stack landing on the same one.

#include <array>
#include <cstdint>

namespace torvo {

class StartPhaseBag {
public:
    static constexpr int kSize = 18;

    /// The next start phase, a whole number 0..4095 as a float.
    float draw();
    int remaining() const { return count; }

private:
    std::array<float, kSize> working{};
    int count = 0;
    bool toggle = false;
    uint32_t a = 1732584193u;
    uint32_t b = 0xefcdab89u;
};

} // namespace torvo
