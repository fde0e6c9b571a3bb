#pragma once
// The one noise source of the engine: two 32-bit words stirred by xor and add. It is cheap,
// allocation-free and, seeded alike, gives the same sequence in every instance, so renders are
// repeatable from a fresh engine.

#include <cstdint>

namespace torvo {

class NoiseGenerator {
public:
    static constexpr uint32_t kSeedA = 0x67452301u;
    static constexpr uint32_t kSeedB = 0xEFCDAB89u;

    /// One step: a signed value in -1..1.
    float next() {
        const uint32_t t = b;
        a ^= t;
        b = a + t;
        // 2^-31: the signed word spans exactly -1..1.
        return static_cast<float>(static_cast<int32_t>(t)) * (1.0f / 2147483648.0f);
    }
    void reseed() {
        a = kSeedA;
        b = kSeedB;
    }

private:
    uint32_t a = kSeedA;
    uint32_t b = kSeedB;
};

} // namespace torvo
