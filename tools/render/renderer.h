#pragma once
// Plays a performance through a hosted instance, block by block, into a WAV writer: notes
// become note events at their sample, controllers become parameter changes through the
// plug-in's own MIDI mapping, and the transport follows the performance's tempo.

#include "render/performance.h"
#include "render/progressbar.h"
#include "render/wavwriter.h"

#include "host/plugin.h"

#include <array>
#include <cstdint>
#include <string>

namespace torvo::render {

struct RenderStats {
    int64_t frames = 0;
    int64_t droppedEvents = 0; ///< more events in one block than the host's list holds
};

class Renderer {
public:
    Renderer(host::Plugin& plugin, const Performance& performance, double tailSeconds);

    bool run(WavWriter& out, ProgressBar& progress, RenderStats& stats, std::string& error);

private:
    static constexpr int kControllers = 130; ///< 128 MIDI controllers, aftertouch, pitch bend
    static constexpr int64_t kUnmapped = -1;

    void readMidiMapping();
    /// Adds every message due before `blockEnd` (samples); `next` walks the performance.
    void queueMessages(int64_t blockStart, int64_t blockEnd, size_t& next, RenderStats& stats);
    void queueMessage(const MidiMessage& m, int32_t offset, RenderStats& stats);
    void queueController(int channel, int controller, double value, int32_t offset);

    host::Plugin& plugin_;
    const Performance& performance_;
    double tailSeconds_;
    std::array<std::array<int64_t, kControllers>, 16> mapping_{};
};

} // namespace torvo::render
