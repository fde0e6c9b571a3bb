#pragma once
// Shared set-up of the integration tests: the built bundle loaded through our own host, with
// the plug-in's per-user folders moved to a scratch place, and readers for the processor's
// state block.

#include "host/plugin.h"
#include "host/util.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace torvo::test {

using host::fourCharId;

constexpr int kTableSize = 725;
constexpr int kProxies = 13;
constexpr Steinberg::Vst::ParamID kBypassId = fourCharId("bpas");
/// Size of the processor's state block: count, 725 floats, count, 13 floats.
constexpr size_t kStateBytes = 4 + kTableSize * 4 + 4 + kProxies * 4;

/// The plug-in keeps a configuration, a learn table and a workspace per user. Point every
/// per-user folder at one scratch folder for the whole test run, so that a developer's own
/// settings (a default preset, say) never change what a test sees.
inline void isolateUserFolders() {
    // Plain storage: the clean-up at exit must not depend on a destroyed string.
    static char root[64] = {};
    if (root[0]) return;
    std::strcpy(root, "/tmp/torvo-integration-XXXXXX");
    if (mkdtemp(root))
        std::atexit([] { std::filesystem::remove_all(root); });
    else
        std::strcpy(root, "/tmp");
    for (const char* var :
         {"HOME", "APPDATA", "LOCALAPPDATA", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME"})
        setenv(var, root, 1);
}

inline host::LoadOptions strictOptions() {
    host::LoadOptions options;
    options.poisonOutput = true; // every sample the plug-in fails to write reads as NaN
    return options;
}

inline std::unique_ptr<host::Plugin> loadTorvo(std::string* error,
                                               const host::LoadOptions& options = strictOptions()) {
    isolateUserFolders();
    return host::Plugin::load(TORVO_BUNDLE_PATH, error, options);
}

/// A loaded instance, not yet set up.
class HostedTorvo : public ::testing::Test {
protected:
    void SetUp() override {
        std::string error;
        plugin = loadTorvo(&error);
        ASSERT_TRUE(plugin) << "cannot host " << TORVO_BUNDLE_PATH << ": " << error;
    }
    /// Set up at `rate` with blocks up to `maxBlock`, and active.
    void start(double rate = 48000.0, int maxBlock = 512) {
        ASSERT_TRUE(plugin->setup(rate, maxBlock));
        ASSERT_TRUE(plugin->activate());
    }

    std::unique_ptr<host::Plugin> plugin;
};

// --- the processor's state block ------------------------------------------------------------

inline int32_t readI32(const std::vector<uint8_t>& bytes, size_t at) {
    const uint32_t v = uint32_t(bytes[at]) | uint32_t(bytes[at + 1]) << 8 |
                       uint32_t(bytes[at + 2]) << 16 | uint32_t(bytes[at + 3]) << 24;
    return static_cast<int32_t>(v);
}

inline float readF32(const std::vector<uint8_t>& bytes, size_t at) {
    const uint32_t bits = static_cast<uint32_t>(readI32(bytes, at));
    float f;
    std::memcpy(&f, &bits, 4);
    return f;
}

inline void appendI32(std::vector<uint8_t>& bytes, int32_t value) {
    const auto v = static_cast<uint32_t>(value);
    for (int shift = 0; shift < 32; shift += 8) bytes.push_back(uint8_t(v >> shift));
}

inline void appendF32(std::vector<uint8_t>& bytes, float value) {
    uint32_t bits;
    std::memcpy(&bits, &value, 4);
    appendI32(bytes, static_cast<int32_t>(bits));
}

/// Parameter `id` (0..724) in a full state block.
inline float stateParam(const std::vector<uint8_t>& state, int id) {
    return readF32(state, 4 + size_t(id) * 4);
}

/// Extra value `i` (0..12; 0 is bypass) in a full state block.
inline float stateExtra(const std::vector<uint8_t>& state, int i) {
    return readF32(state, 4 + kTableSize * 4 + 4 + size_t(i) * 4);
}

/// A state block with the given parameters and extras, each preceded by its count.
inline std::vector<uint8_t> makeState(const std::vector<float>& params,
                                      const std::vector<float>& extras) {
    std::vector<uint8_t> bytes;
    appendI32(bytes, static_cast<int32_t>(params.size()));
    for (float v : params) appendF32(bytes, v);
    appendI32(bytes, static_cast<int32_t>(extras.size()));
    for (float v : extras) appendF32(bytes, v);
    return bytes;
}

} // namespace torvo::test
