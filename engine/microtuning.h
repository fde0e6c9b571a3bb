#pragma once
// Scale mapping of the note pitch. A table in semitones (first entry 0, last entry the period)
// is spread over as many keys as it has steps, starting at the reference note, and read with
// linear interpolation so bends and glides stay smooth. A concert-pitch offset is added after
// the map, with or without a scale.

namespace torvo {

class MicroTuning {
public:
    static constexpr int kA4Count = 12;
    /// Offsets of 432, 434 ... 446 Hz on normalised pitch; slots 8..11 are 0.
    static constexpr float kA4Offsets[kA4Count] = {-0.002462f, -0.00181f, -0.0012f, -0.0006f,
                                                   0.0f,       0.000621f, 0.00125f, 0.0019f,
                                                   0.0f,       0.0f,      0.0f,     0.0f};

    /// `table` holds steps + 1 values and stays owned by the caller.
    void setTable(const float* table, int steps);
    void clear() { tuningOn = false; }
    void setReference(int note) { referenceNote = static_cast<float>(note); }
    void setA4(int index);

    /// Maps a normalised pitch through the scale (if any) and adds the concert-pitch offset.
    float apply(float pitch) const { return (tuningOn ? map(pitch) : pitch) + a4Offset; }
    float map(float pitch) const;

    bool isOn() const { return tuningOn; }
    float concertOffset() const { return a4Offset; }

private:
    bool tuningOn = false;
    const float* table = nullptr;
    float steps = 0.0f;
    float octaveSpan = 12.0f;
    float referenceNote = 69.0f;
    float a4Offset = 0.0f;
};

} // namespace torvo
