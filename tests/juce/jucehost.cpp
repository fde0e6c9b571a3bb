#include "jucehost.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

juce::AudioPluginFormat* vst3Format(juce::AudioPluginFormatManager& formats) {
    for (auto* format : formats.getFormats())
        if (format->getName() == "VST3") return format;
    return nullptr;
}

} // namespace

juce::String torvoBundlePath() {
    return TORVO_BUNDLE_PATH;
}

std::unique_ptr<juce::PluginDescription> describeTorvo(juce::String& error) {
    juce::AudioPluginFormatManager formats;
    formats.addDefaultFormats();
    auto* format = vst3Format(formats);
    if (format == nullptr) {
        error = "JUCE was built without VST3 hosting";
        return nullptr;
    }
    juce::OwnedArray<juce::PluginDescription> found;
    format->findAllTypesForFile(found, torvoBundlePath());
    if (found.size() != 1) {
        error =
            "scanning " + torvoBundlePath() + " found " + juce::String(found.size()) + " plug-ins";
        return nullptr;
    }
    return std::make_unique<juce::PluginDescription>(*found[0]);
}

std::unique_ptr<juce::AudioPluginInstance> createTorvo(double sampleRate, int maxBlock,
                                                       juce::String& error) {
    auto description = describeTorvo(error);
    if (description == nullptr) return nullptr;
    juce::AudioPluginFormatManager formats;
    formats.addDefaultFormats();
    auto plugin = formats.createPluginInstance(*description, sampleRate, maxBlock, error);
    if (plugin == nullptr) return nullptr;
    // What a DAW does before the first block: an instrument has no input, so only the
    // stereo output stays enabled.
    plugin->enableAllBuses();
    plugin->prepareToPlay(sampleRate, maxBlock);
    return plugin;
}

std::unique_ptr<juce::AudioPluginInstance> mustCreate(double sampleRate, int maxBlock) {
    juce::String error;
    auto plugin = createTorvo(sampleRate, maxBlock, error);
    if (plugin == nullptr)
        ADD_FAILURE() << "cannot create Torvo at " << sampleRate << " Hz: " << error;
    return plugin;
}

int64_t seconds(double sampleRate, double length) {
    return static_cast<int64_t>(sampleRate * length);
}

std::vector<TimedMidi> chordPhrase(int64_t lengthSamples, Controllers controllers) {
    auto at = [lengthSamples](double fraction) {
        return static_cast<int64_t>(fraction * static_cast<double>(lengthSamples));
    };
    std::vector<TimedMidi> phrase{
        {at(0.0), juce::MidiMessage::noteOn(1, 48, static_cast<juce::uint8>(100))},
        {at(0.0), juce::MidiMessage::noteOn(1, 60, static_cast<juce::uint8>(90))},
        {at(0.1), juce::MidiMessage::noteOn(1, 64, static_cast<juce::uint8>(70))},
        {at(0.2), juce::MidiMessage::noteOn(1, 67, static_cast<juce::uint8>(127))},
        {at(0.3), juce::MidiMessage::pitchWheel(1, 12000)},
        {at(0.35), juce::MidiMessage::controllerEvent(1, 1, 100)},
        {at(0.4), juce::MidiMessage::pitchWheel(1, 8192)},
        {at(0.45), juce::MidiMessage::noteOn(1, 72, static_cast<juce::uint8>(1))},
        {at(0.6), juce::MidiMessage::noteOff(1, 48)},
        {at(0.6), juce::MidiMessage::noteOff(1, 60)},
        {at(0.65), juce::MidiMessage::noteOff(1, 64)},
        {at(0.7), juce::MidiMessage::noteOff(1, 67)},
        {at(0.7), juce::MidiMessage::noteOff(1, 72)},
        {at(0.75), juce::MidiMessage::controllerEvent(1, 1, 0)},
    };
    if (controllers == Controllers::without)
        phrase.erase(
            std::remove_if(phrase.begin(), phrase.end(),
                           [](const TimedMidi& event) { return !event.message.isNoteOnOrOff(); }),
            phrase.end());
    return phrase;
}

RenderResult render(juce::AudioPluginInstance& plugin, int64_t frames,
                    const std::vector<int>& blockSizes, const std::vector<TimedMidi>& midi,
                    RenderPath path) {
    RenderResult result;
    const int largest = *std::max_element(blockSizes.begin(), blockSizes.end());
    const int channels =
        std::max(plugin.getTotalNumInputChannels(), plugin.getTotalNumOutputChannels());
    juce::AudioBuffer<float> buffer(channels, largest);
    juce::MidiBuffer events;
    size_t nextEvent = 0;
    size_t nextSize = 0;
    int64_t position = 0;
    while (position < frames) {
        const int64_t wanted = blockSizes[nextSize++ % blockSizes.size()];
        const int block = static_cast<int>(std::min(wanted, frames - position));
        buffer.setSize(channels, block, false, false, true);
        buffer.clear();
        events.clear();
        while (nextEvent < midi.size() && midi[nextEvent].sample < position + block) {
            const auto offset = std::max<int64_t>(0, midi[nextEvent].sample - position);
            events.addEvent(midi[nextEvent].message, static_cast<int>(offset));
            ++nextEvent;
        }
        if (path == RenderPath::bypassed)
            plugin.processBlockBypassed(buffer, events);
        else
            plugin.processBlock(buffer, events);
        for (int channel = 0; channel < plugin.getTotalNumOutputChannels(); ++channel) {
            const float* samples = buffer.getReadPointer(channel);
            for (int i = 0; i < block; ++i) {
                const float sample = samples[i];
                if (!std::isfinite(sample)) {
                    ++result.nonFinite;
                    continue;
                }
                if (sample != 0.0f) ++result.nonZero;
                result.peak = std::max(result.peak, std::fabs(sample));
            }
        }
        position += block;
    }
    result.frames = position;
    return result;
}

std::vector<float> processorStateValues(const juce::MemoryBlock& state) {
    const auto xml =
        juce::AudioProcessor::getXmlFromBinary(state.getData(), static_cast<int>(state.getSize()));
    if (xml == nullptr) return {};
    const auto* component = xml->getChildByName("IComponent");
    if (component == nullptr) return {};
    juce::MemoryBlock bytes;
    if (!bytes.fromBase64Encoding(component->getAllSubText())) return {};
    // Little-endian: a 32-bit count, then that many 32-bit floats.
    juce::MemoryInputStream stream(bytes, false);
    const int count = stream.readInt();
    if (count <= 0 || static_cast<juce::int64>(count) * 4 > stream.getNumBytesRemaining())
        return {};
    std::vector<float> values(static_cast<size_t>(count));
    for (auto& value : values) value = stream.readFloat();
    return values;
}
