#pragma once
// The small JSON text by which a preset knows its place in the workspace: its display name,
// what kind of file holds it, the position in a bank file, the folder relative to the workspace
// (or factory) root, the file name, whether it is a factory preset, and its row in the store.

#include <string>

namespace torvo {

struct PathObject {
    enum Type { kPresetFile = 0, kLegacyPresetFile = 1, kInsideBank = 2 };

    std::string name;
    int type = kPresetFile;
    /// Position in a bank file; -1 for a file of its own.
    int index = -1;
    std::string relPath;
    std::string filename;
    int factory = 0;
    /// Row of the preset table; -1 when the text carries none.
    int id = -1;
    bool hasId = true;

    /// Compact JSON with the members name, type, index, rel_path, filename, factory, id.
    std::string toText() const;
    /// Reads the members that are present and well typed; false when `text` is not a JSON
    /// object. `hasId` tells whether an integral `id` member was there.
    bool parse(const std::string& text);
};

} // namespace torvo
