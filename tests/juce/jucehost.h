// Drives the built bundle through JUCE's VST3 hosting the way a JUCE-based DAW does: scan,
// create, prepare, feed MIDI blocks and read the rendered buffers.
#pragma once

#include <juce_audio_processors/juce_audio_processors.h>

#include <cstdint>
#include <memory>
#include <vector>

// Parameters by host index: the table rows the tests touch, then the proxies behind them.
inline constexpr int kHostParameterCount = 738;
inline constexpr int kTableSize = 725;
inline constexpr int kBypassIndex = 725;
inline constexpr int kProgramChangeIndex = 737;
inline constexpr int kMode = 0;
inline constexpr int kPoly = 1;
inline constexpr int kVolume = 9;
inline constexpr int kOsc1Type = 25;
inline constexpr int kOsc1Oct = 26;
inline constexpr int kOsc1Note = 27;
inline constexpr int kOsc1Fine = 28;
inline constexpr int kFlt1Cut = 103;
inline constexpr int kWarm = 711;
inline constexpr int kMacro1 = 714;
inline constexpr int kBendWheel = 720;
inline constexpr int kModWheel = 721;

// Step of the list rows that keep their index in thousandths.
inline constexpr float kThousandth = 0.001001001f;

// Folder of the built Torvo.vst3 bundle.
juce::String torvoBundlePath();

// The plug-in as JUCE's VST3 scanner describes it, or null with `error` set.
std::unique_ptr<juce::PluginDescription> describeTorvo(juce::String& error);

// A new instance, prepared for `sampleRate` and blocks of up to `maxBlock` samples, or null
// with `error` set.
std::unique_ptr<juce::AudioPluginInstance> createTorvo(double sampleRate, int maxBlock,
                                                       juce::String& error);

// As createTorvo, recording a test failure when the plug-in cannot be created.
std::unique_ptr<juce::AudioPluginInstance> mustCreate(double sampleRate, int maxBlock);

// Frames in `length` seconds.
int64_t seconds(double sampleRate, double length);

// One MIDI message at an absolute sample position of a render.
struct TimedMidi {
    int64_t sample;
    juce::MidiMessage message;
};

enum class Controllers { with, without };

// A short phrase: a chord built up and released within the first `lengthSamples`; with
// controllers, pitch bend and mod wheel move on the way and return to rest.
std::vector<TimedMidi> chordPhrase(int64_t lengthSamples,
                                   Controllers controllers = Controllers::with);

struct RenderResult {
    int64_t frames = 0;
    int64_t nonFinite = 0;
    int64_t nonZero = 0;
    float peak = 0.0f;
};

enum class RenderPath { normal, bypassed };

// Renders `frames` stereo frames in blocks that cycle through `blockSizes` (each at most the
// prepared maximum), delivering every event of `midi` inside the block that holds it.
RenderResult render(juce::AudioPluginInstance& plugin, int64_t frames,
                    const std::vector<int>& blockSizes, const std::vector<TimedMidi>& midi,
                    RenderPath path = RenderPath::normal);

// The processor's part of a state saved by JUCE: the floats behind the leading count, or empty
// when the block is missing or malformed.
std::vector<float> processorStateValues(const juce::MemoryBlock& state);
