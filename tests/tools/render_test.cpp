// torvo-render run as a user runs it: the built program plays MIDI through the built bundle
// and writes a WAV file, which is then measured. These tests hear the whole instrument: notes,
// oscillators, filters, envelopes, modulation and the effect chain, through the plug-in API.

#include "shell/paramtable.h"

#include <gtest/gtest.h>
#include <sndfile.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
constexpr double kPi = 3.14159265358979323846;
constexpr int kRate = 48000;

struct Wav {
    std::vector<float> left, right;
    int rate = 0;
};

fs::path scratchDir() {
    fs::path dir = fs::temp_directory_path() /
                   ("torvo-render-test-" + std::to_string(static_cast<long>(::getpid())));
    fs::create_directories(dir);
    return dir;
}

/// Runs torvo-render and reads back what it wrote; empty on failure.
Wav render(const std::string& arguments, const fs::path& out) {
    const std::string command = std::string("\"") + TORVO_RENDER_PATH + "\" -q --plugin \"" +
                                TORVO_BUNDLE_PATH + "\" -f float -r " + std::to_string(kRate) +
                                " -o \"" + out.string() + "\" " + arguments;
    Wav wav;
    if (std::system(command.c_str()) != 0) return wav;
    SF_INFO info{};
    SNDFILE* file = sf_open(out.c_str(), SFM_READ, &info);
    if (!file) return wav;
    std::vector<float> frames(static_cast<size_t>(info.frames) * info.channels);
    sf_readf_float(file, frames.data(), info.frames);
    sf_close(file);
    wav.rate = info.samplerate;
    for (sf_count_t i = 0; i < info.frames; ++i) {
        wav.left.push_back(frames[i * info.channels]);
        wav.right.push_back(frames[i * info.channels + (info.channels > 1 ? 1 : 0)]);
    }
    return wav;
}

double rms(const std::vector<float>& x, size_t from, size_t to) {
    double sum = 0.0;
    to = std::min(to, x.size());
    if (to <= from) return 0.0;
    for (size_t i = from; i < to; ++i) sum += double(x[i]) * x[i];
    return std::sqrt(sum / double(to - from));
}

double dB(double v) {
    return 20.0 * std::log10(std::max(v, 1e-12));
}

/// Magnitude of one frequency over a Hann-windowed span (Goertzel).
double magnitudeAt(const std::vector<float>& x, size_t from, size_t count, double hz) {
    const double w = 2.0 * kPi * hz / kRate;
    const double coeff = 2.0 * std::cos(w);
    double s1 = 0.0, s2 = 0.0;
    for (size_t i = 0; i < count; ++i) {
        const double window = 0.5 - 0.5 * std::cos(2.0 * kPi * double(i) / double(count - 1));
        const double s0 = x[from + i] * window + coeff * s1 - s2;
        s2 = s1;
        s1 = s0;
    }
    return std::sqrt(s1 * s1 + s2 * s2 - coeff * s1 * s2) / (double(count) * 0.25);
}

double noteHz(int note) {
    return 440.0 * std::pow(2.0, (note - 69) / 12.0);
}

/// A one-track MIDI file at 120 bpm (480 ticks a beat): each note as (start beat, beats,
/// pitch), velocity 100.
void writeMidi(const fs::path& path, const std::vector<std::array<double, 3>>& notes) {
    struct Event {
        uint32_t tick;
        uint8_t status, pitch, velocity;
    };
    std::vector<Event> events;
    for (const auto& n : notes) {
        events.push_back({uint32_t(n[0] * 480), 0x90, uint8_t(n[2]), 100});
        events.push_back({uint32_t((n[0] + n[1]) * 480), 0x80, uint8_t(n[2]), 64});
    }
    std::stable_sort(events.begin(), events.end(),
                     [](const Event& a, const Event& b) { return a.tick < b.tick; });
    std::vector<uint8_t> track;
    auto varLen = [&track](uint32_t v) {
        uint8_t bytes[5];
        int n = 0;
        do {
            bytes[n++] = v & 0x7F;
            v >>= 7;
        } while (v);
        while (n--) track.push_back(uint8_t(bytes[n] | (n ? 0x80 : 0)));
    };
    uint32_t now = 0;
    for (const Event& e : events) {
        varLen(e.tick - now);
        now = e.tick;
        track.insert(track.end(), {e.status, e.pitch, e.velocity});
    }
    varLen(0);
    track.insert(track.end(), {0xFF, 0x2F, 0x00});
    std::ofstream out(path, std::ios::binary);
    const uint8_t header[] = {'M', 'T', 'h', 'd', 0, 0, 0, 6, 0, 0, 0, 1, 0x01, 0xE0};
    out.write(reinterpret_cast<const char*>(header), sizeof(header));
    const uint32_t size = static_cast<uint32_t>(track.size());
    const uint8_t trackHeader[] = {
        'M',          'T', 'r', 'k', uint8_t(size >> 24), uint8_t(size >> 16), uint8_t(size >> 8),
        uint8_t(size)};
    out.write(reinterpret_cast<const char*>(trackHeader), sizeof(trackHeader));
    out.write(reinterpret_cast<const char*>(track.data()), std::streamsize(track.size()));
}

/// The default sound with some rows changed, as the 2900-byte preset file the tool reads.
struct PresetFile {
    PresetFile() {
        const float* defaults = torvo::defaultParamValues();
        values.assign(defaults, defaults + torvo::kParamCount);
    }
    /// Sets a list row to the entry whose display text is `text`.
    void setList(const char* name, const char* text) {
        const int id = torvo::findParamId(name);
        ASSERT_GE(id, 0) << name;
        const torvo::ParamRecord& row = torvo::defaultParamRecord(id);
        for (uint32_t i = 0; i < row.choiceCount; ++i) {
            const float v = row.scale == 1000 ? float(i) * torvo::kThousandth
                                              : float(i) / float(std::max(1u, row.choiceCount - 1));
            char shown[32] = {};
            torvo::formatParamValue(id, v, shown, sizeof(shown));
            if (std::strcmp(shown, text) == 0) {
                values[id] = v;
                return;
            }
        }
        FAIL() << name << " has no entry " << text;
    }
    void set(const char* name, float v) {
        const int id = torvo::findParamId(name);
        ASSERT_GE(id, 0) << name;
        values[id] = v;
    }
    void write(const fs::path& path) const {
        std::ofstream out(path, std::ios::binary);
        out.write(reinterpret_cast<const char*>(values.data()),
                  std::streamsize(values.size() * sizeof(float)));
    }
    std::vector<float> values;
};

/// Onsets: 5 ms frames whose level rises by more than 9 dB over the frame 10 ms before and
/// stand above -40 dBFS; one onset per 40 ms at most.
std::vector<double> onsets(const std::vector<float>& x) {
    const size_t frame = kRate / 200;
    // Two frames of silence before the file, so a note on its first sample counts.
    std::vector<double> level = {-240.0, -240.0};
    for (size_t i = 0; i + frame <= x.size(); i += frame) level.push_back(dB(rms(x, i, i + frame)));
    std::vector<double> times;
    for (size_t f = 2; f < level.size(); ++f) {
        const double t = double((f - 2) * frame) / kRate;
        if (level[f] > -40.0 && level[f] - level[f - 2] > 9.0 &&
            (times.empty() || t - times.back() > 0.04))
            times.push_back(t);
    }
    return times;
}

class RenderTool : public ::testing::Test {
protected:
    void TearDown() override { fs::remove_all(dir); }
    fs::path dir = scratchDir();
};

TEST_F(RenderTool, DemoPhraseSoundsLikeAnInstrument) {
    const Wav wav = render("-t 2", dir / "demo.wav");
    ASSERT_EQ(wav.rate, kRate);
    ASSERT_EQ(wav.left.size(), size_t(10 * kRate)); // four bars at 120 bpm and a 2 s tail

    // Played at a healthy level without clipping, both channels sounding.
    const double playing = rms(wav.left, 0, 8 * kRate);
    EXPECT_GT(dB(playing), -30.0);
    EXPECT_LT(dB(playing), -6.0);
    EXPECT_GT(dB(rms(wav.right, 0, 8 * kRate)), -30.0);
    float peak = 0.0f;
    for (size_t i = 0; i < wav.left.size(); ++i)
        peak = std::max({peak, std::fabs(wav.left[i]), std::fabs(wav.right[i])});
    EXPECT_LT(peak, 1.0f);
    // The release dies away and the tail ends in digital silence.
    EXPECT_LT(dB(rms(wav.left, size_t(9.5 * kRate), 10 * kRate)), -90.0);

    // The first half beat holds A2, C4, E4 and E5: each stands as a spectral peak far above the
    // quarter tone beside it, so the notes sound at their pitch. The bass lasts a bar's half
    // and needs the longer window to part 110 Hz from its quarter tone 3 Hz away.
    const size_t from = kRate / 20, count = kRate * 2 / 5;
    for (int note : {45, 60, 64, 76}) {
        const size_t span = note == 45 ? count * 2 : count;
        const double on = magnitudeAt(wav.left, from, span, noteHz(note));
        const double off =
            magnitudeAt(wav.left, from, span, noteHz(note) * std::pow(2.0, 0.5 / 12));
        EXPECT_GT(dB(on), dB(playing) - 20.0) << "note " << note;
        EXPECT_GT(dB(on) - dB(off), 25.0) << "note " << note;
    }
    // A rich tone, not sines: harmonics carry energy up to a few kHz, but the top octave of the
    // spectrum is far below the fundamentals.
    const double c4 = dB(magnitudeAt(wav.left, from, count, noteHz(60)));
    EXPECT_GT(dB(magnitudeAt(wav.left, from, count, noteHz(60) * 8)), c4 - 50.0);
    EXPECT_LT(dB(magnitudeAt(wav.left, from, count, 19000.0)), c4 - 60.0);
}

TEST_F(RenderTool, AnLfoRoutedToTheOscillatorLevelMovesTheSound) {
    writeMidi(dir / "held.mid", {{0.0, 6.0, 60}});
    PresetFile steady;
    steady.write(dir / "steady.bin");
    PresetFile wobble;
    wobble.setList("lfo1_target1", "Osc1_Amp");
    wobble.set("lfo1_amt1", 1.0f);
    wobble.write(dir / "wobble.bin");

    const Wav plain = render("-t 0.5 -p \"" + (dir / "steady.bin").string() + "\" \"" +
                                 (dir / "held.mid").string() + "\"",
                             dir / "steady.wav");
    const Wav moved = render("-t 0.5 -p \"" + (dir / "wobble.bin").string() + "\" \"" +
                                 (dir / "held.mid").string() + "\"",
                             dir / "wobble.wav");
    ASSERT_FALSE(plain.left.empty());
    ASSERT_FALSE(moved.left.empty());

    // Level in 20 ms frames over the sustained part of the note (0.5 s to 2.5 s).
    auto swing = [](const Wav& w) {
        double lo = 1e9, hi = -1e9;
        for (size_t i = kRate / 2; i < size_t(2.5 * kRate); i += kRate / 50) {
            const double level = dB(rms(w.left, i, i + kRate / 50));
            lo = std::min(lo, level);
            hi = std::max(hi, level);
        }
        return hi - lo;
    };
    EXPECT_LT(swing(plain), 1.5);
    EXPECT_GT(swing(moved), 6.0);
}

TEST_F(RenderTool, AHeldChordWithTheArpeggiatorOnPlaysOneNoteAStep) {
    // A C major chord held for two seconds (four beats at 120 bpm).
    writeMidi(dir / "chord.mid", {{0.0, 4.0, 60}, {0.0, 4.0, 64}, {0.0, 4.0, 67}});
    PresetFile plain;
    plain.write(dir / "plain.bin");
    PresetFile arp;
    arp.set("arp_on", 1.0f);
    arp.write(dir / "arp.bin");

    const Wav chord = render("-t 0.5 -p \"" + (dir / "plain.bin").string() + "\" \"" +
                                 (dir / "chord.mid").string() + "\"",
                             dir / "plain.wav");
    const Wav arpeggio = render("-t 0.5 -p \"" + (dir / "arp.bin").string() + "\" \"" +
                                    (dir / "chord.mid").string() + "\"",
                                dir / "arp.wav");
    ASSERT_FALSE(chord.left.empty());
    ASSERT_FALSE(arpeggio.left.empty());

    EXPECT_EQ(onsets(chord.left).size(), 1u);
    const std::vector<double> steps = onsets(arpeggio.left);
    ASSERT_GE(steps.size(), 4u);
    // Evenly spaced: every gap equals the first within 5 ms.
    const double gap = steps[1] - steps[0];
    EXPECT_GT(gap, 0.05);
    for (size_t i = 2; i < steps.size(); ++i)
        EXPECT_NEAR(steps[i] - steps[i - 1], gap, 0.005) << "onset " << i;
    EXPECT_NEAR(double(steps.size()), 2.0 / gap, 1.5);
}

} // namespace
