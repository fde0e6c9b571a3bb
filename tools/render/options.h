#pragma once
// The command line of torvo-render.

#include "render/wavwriter.h"

#include <string>

namespace torvo::render {

struct Options {
    std::string midiFile; ///< empty: the built-in demo phrase
    std::string output;   ///< empty: derived from the MIDI file, or the demo's name
    std::string preset;   ///< empty: the default sound
    std::string plugin;   ///< empty: search (see bundlelocator.h)
    int sampleRate = 48000;
    int blockSize = 512;
    double tailSeconds = 2.0;
    SampleFormat format = SampleFormat::Pcm24;
    bool quiet = false;
};

enum class ParseResult { Run, Exit, Error };

/// Reads argv into `options`. Exit: help or version was printed. Error: `error` says why.
ParseResult parseOptions(int argc, char** argv, Options& options, std::string& error);

/// The output file name when none was given.
std::string defaultOutputName(const Options& options);

} // namespace torvo::render
