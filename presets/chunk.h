#pragma once
// The host state of the controller: the live preset, the instance's display settings, its
// place in the workspace and the tuning, as one compact JSON object, raw-deflated and base64
// encoded, ending in a NUL. Projects of old versions carry instead one large binary block (or,
// older still, a headerless value array); those are read, kept saving in their own form while
// they are converted, and their presets are written into the workspace as preset files so the
// project's bank survives. Any state may come wrapped by the host ("VstW" in either byte order):
// the content then starts at byte 48.
//
// What the state needs from the rest of the instance (tuning, the workspace, the preset
// browser) comes through a ChunkContext, so the format logic stays free of them.

#include "presets/bank.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace torvo {

/// The build identity written into every state for diagnosis; no reader compares it.
constexpr const char* kBuildIdentity = "1.5.18-5339";

/// The collaborators of the host state. Every operation has a harmless default so a state can
/// be read and written with none of them present.
class ChunkContext {
public:
    virtual ~ChunkContext() = default;
    /// Tuning state as JSON text (members microtuning, selected_file, ref_note, a4_freq).
    virtual std::string scalaState() { return {}; }
    virtual void applyScalaState(const std::string& text) {}
    virtual std::string workspaceUuid() { return {}; }
    /// The preset browser's state as JSON object text.
    virtual std::string presetManagerState() { return {}; }
    virtual void applyPresetManagerState(const std::string& text) {}
    /// Asks the store to pick up changes on disk before a preset row is looked up.
    virtual void refreshStore() {}
    /// Full path of the preset in row `id`, rebuilt from its root (factory or workspace), its
    /// folder and its file name; false when there is no such row.
    virtual bool presetPathForRow(int id, std::string& path) { return false; }
    /// Converting an old project: the workspace folder (empty: no workspace, no conversion),
    /// an indexer session over it, the tag the indexer's name rules give, and the registration
    /// of one file by its path relative to the workspace, answering its row id.
    virtual std::string workspaceFolder() { return {}; }
    virtual bool openIndexer(const std::string& folder) { return false; }
    virtual std::string tagForName(const std::string& name) { return {}; }
    virtual int registerFile(const std::string& relativePath) { return -1; }
    virtual void closeIndexer() {}
};

class Chunk {
public:
    /// The legacy writer's buffer is never smaller than this.
    static constexpr std::size_t kBufferBytes = 1048832;
    /// Shorter blocks are not legacy states.
    static constexpr std::size_t kMinLegacyBytes = 32768;
    /// Fixed part of a written legacy block; the JSON text's length comes on top.
    static constexpr std::size_t kLegacyFixedBytes = 816226;

    explicit Chunk(Bank& bank, ChunkContext* context = nullptr);
    Chunk(const Chunk&) = delete;
    Chunk& operator=(const Chunk&) = delete;
    virtual ~Chunk() = default;

    /// The host application's name; its first word names the folder of converted presets.
    virtual void setHostName(const std::string& name);
    /// Writes the state into the chunk's own buffer and points `out` at it (valid until the
    /// next save); answers the size in bytes, terminator included.
    virtual std::size_t save(const uint8_t** out);
    /// Restores a state of any form; false when the bytes are none, or when a legacy block had
    /// to stay in legacy form.
    virtual bool load(const uint8_t* bytes, std::size_t size);
    /// The controller-side array saved under `ctrl`; the chunk does not own it.
    virtual void setControllerValues(float* values, int count);
    virtual float* controllerValues(int& count);

    void setPlugUuid(const std::string& uuid) { plugUuid = uuid; }
    const std::string& plugUuidText() const { return plugUuid; }
    const std::string& hostWord() const { return hostWordText; }
    /// While active, save writes the legacy block; locked means a conversion failed and the
    /// project keeps its legacy form for good.
    bool legacyActive() const { return legacyActiveFlag; }
    bool legacyLocked() const { return legacyLockedFlag; }
    void setLegacyMode(bool active, bool locked);

private:
    std::size_t saveCurrent();
    std::size_t saveLegacy();
    std::string legacyJsonText();
    bool loadCurrent(const uint8_t* bytes, std::size_t size);
    bool loadLegacy(const uint8_t* bytes, std::size_t size);
    bool convertLegacyProject(const std::vector<uint8_t>& identity);
    void takePathObject(const std::string& text);
    void ensureBuffer(std::size_t size);

    Bank& bank;
    ChunkContext* context;
    ChunkContext noContext;
    std::string hostWordText;
    std::string plugUuid;
    float* ctrlValues = nullptr;
    int ctrlCount = 0;
    bool legacyActiveFlag = false;
    bool legacyLockedFlag = false;
    std::vector<uint8_t> buffer;
};

} // namespace torvo
