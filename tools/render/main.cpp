// torvo-render: plays a MIDI file, or a built-in phrase, through the Torvo instrument and
// writes a WAV file, for anyone who wants to hear the instrument without a DAW.

#include "render/bundlelocator.h"
#include "render/options.h"
#include "render/performance.h"
#include "render/preset.h"
#include "render/progressbar.h"
#include "render/renderer.h"
#include "render/wavwriter.h"

#include "host/plugin.h"

#include <cstdio>
#include <string>

namespace {

using namespace torvo::render;

int fail(const std::string& message) {
    std::fprintf(stderr, "torvo-render: %s\n", message.c_str());
    return 1;
}

std::string locateBundle(const Options& options, std::string& error) {
    if (!options.plugin.empty()) return options.plugin;
    std::string found = findBundle();
    if (found.empty()) {
        error = "cannot find Torvo.vst3; looked in:";
        for (const std::string& c : bundleCandidates()) error += "\n  " + c;
        error += "\nuse --plugin PATH to name it";
    }
    return found;
}

int render(const Options& options) {
    Performance performance;
    std::string error;
    if (options.midiFile.empty())
        performance = demoPhrase();
    else if (!loadMidiFile(options.midiFile, performance, error))
        return fail(error);

    std::vector<uint8_t> presetState;
    if (!options.preset.empty() && !loadPreset(options.preset, presetState, error))
        return fail(error);

    const std::string bundle = locateBundle(options, error);
    if (bundle.empty()) return fail(error);
    auto plugin = torvo::host::Plugin::load(bundle, &error);
    if (!plugin) return fail(error);

    // A DAW restores a project's state before it sets up processing.
    if (!presetState.empty() && !plugin->restore(presetState))
        return fail("the plug-in refused the preset \"" + options.preset + "\"");
    if (!plugin->setup(options.sampleRate, options.blockSize))
        return fail("the plug-in refused " + std::to_string(options.sampleRate) + " Hz with " +
                    std::to_string(options.blockSize) + "-sample blocks");
    if (!plugin->activate()) return fail("the plug-in could not be activated");

    const std::string output = options.output.empty() ? defaultOutputName(options) : options.output;
    WavWriter wav;
    if (!wav.open(output, options.sampleRate, options.format, error)) return fail(error);

    ProgressBar progress(!options.quiet);
    RenderStats stats;
    Renderer renderer(*plugin, performance, options.tailSeconds);
    if (!renderer.run(wav, progress, stats, error)) return fail(error);
    if (!wav.close(error)) return fail(error);
    plugin.reset();

    if (stats.droppedEvents > 0)
        std::fprintf(stderr, "torvo-render: warning: %lld events did not fit their block\n",
                     static_cast<long long>(stats.droppedEvents));
    if (!options.quiet)
        std::fprintf(stderr, "wrote %s: %.2f s at %d Hz (%s)\n", output.c_str(),
                     double(stats.frames) / options.sampleRate, options.sampleRate,
                     performance.title.c_str());
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    std::string error;
    switch (parseOptions(argc, argv, options, error)) {
    case ParseResult::Exit:
        return 0;
    case ParseResult::Error:
        return fail(error);
    case ParseResult::Run:
        break;
    }
    return render(options);
}
