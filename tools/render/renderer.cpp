#include "render/renderer.h"

#include "pluginterfaces/vst/ivsteditcontroller.h"
#include "pluginterfaces/vst/ivstmidicontrollers.h"

#include <algorithm>
#include <cmath>

namespace torvo::render {

using namespace Steinberg;

Renderer::Renderer(host::Plugin& plugin, const Performance& performance, double tailSeconds)
    : plugin_(plugin), performance_(performance), tailSeconds_(tailSeconds) {
    readMidiMapping();
}

void Renderer::readMidiMapping() {
    for (auto& channel : mapping_) channel.fill(kUnmapped);
    FUnknownPtr<Vst::IMidiMapping> midiMapping(plugin_.controller());
    if (!midiMapping) return;
    for (int16 channel = 0; channel < 16; ++channel) {
        for (int controller = 0; controller < kControllers; ++controller) {
            Vst::ParamID id = 0;
            if (midiMapping->getMidiControllerAssignment(0, channel, Vst::CtrlNumber(controller),
                                                         id) == kResultTrue)
                mapping_[channel][controller] = id;
        }
    }
}

bool Renderer::run(WavWriter& out, ProgressBar& progress, RenderStats& stats, std::string& error) {
    const double rate = plugin_.sampleRate();
    const int block = plugin_.maxBlock();
    const auto total =
        static_cast<int64_t>(std::ceil((performance_.lastEventSeconds() + tailSeconds_) * rate));
    size_t next = 0;
    for (int64_t start = 0; start < total; start += block) {
        const int frames = static_cast<int>(std::min<int64_t>(block, total - start));
        plugin_.setTempo(performance_.tempoAt(start / rate));
        queueMessages(start, start + frames, next, stats);
        if (plugin_.processBlock(frames) != kResultOk) {
            error =
                "the plug-in failed to process the block at " + std::to_string(start / rate) + " s";
            return false;
        }
        const host::ProcessBuffers& buffers = plugin_.buffers();
        if (!out.write(buffers.channel(0), buffers.channel(1), frames, error)) return false;
        stats.frames += frames;
        progress.update(start + frames, total);
    }
    progress.finish();
    return true;
}

void Renderer::queueMessages(int64_t blockStart, int64_t blockEnd, size_t& next,
                             RenderStats& stats) {
    const double rate = plugin_.sampleRate();
    while (next < performance_.messages.size()) {
        const MidiMessage& m = performance_.messages[next];
        const auto at = static_cast<int64_t>(std::llround(m.seconds * rate));
        if (at >= blockEnd) break;
        queueMessage(m, static_cast<int32_t>(std::max<int64_t>(at - blockStart, 0)), stats);
        ++next;
    }
}

void Renderer::queueMessage(const MidiMessage& m, int32_t offset, RenderStats& stats) {
    const int channel = m.status & 0x0F;
    bool queued = true;
    switch (m.status & 0xF0) {
    case 0x90:
        if (m.data2 > 0) {
            queued = plugin_.events().addNoteOn(offset, m.data1, m.data2 / 127.0f, int16(channel));
            break;
        }
        [[fallthrough]]; // a note-on with velocity 0 is a note-off
    case 0x80:
        queued = plugin_.events().addNoteOff(offset, m.data1, m.data2 / 127.0f, int16(channel));
        break;
    case 0xB0:
        queueController(channel, m.data1, m.data2 / 127.0, offset);
        break;
    case 0xD0:
        queueController(channel, Vst::kAfterTouch, m.data1 / 127.0, offset);
        break;
    case 0xE0:
        queueController(channel, Vst::kPitchBend, (m.data2 << 7 | m.data1) / 16383.0, offset);
        break;
    default:
        break; // program change, polyphonic pressure: not played
    }
    if (!queued) ++stats.droppedEvents;
}

void Renderer::queueController(int channel, int controller, double value, int32_t offset) {
    if (controller < 0 || controller >= kControllers) return;
    const int64_t id = mapping_[channel][controller];
    if (id != kUnmapped) plugin_.inputChanges().add(Vst::ParamID(id), offset, value);
}

} // namespace torvo::render
