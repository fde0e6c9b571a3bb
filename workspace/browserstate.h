#pragma once
// What the preset browser remembers from one host project to the next: the filter, the
// selected folder, tag or author, the selected preset and the ids of the browse list. It travels
// in the host state as a small JSON object, and only back into the workspace it came from.

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace torvo {

struct BrowserState {
    /// The host state keeps no more of the browse list than one bank's worth.
    static constexpr std::size_t kMaxSavedPresets = 128;

    struct SelectedFolder {
        int64_t id = -1;
        std::string label;
        int index = -1;
    };
    struct SelectedPreset {
        int index = -1;
        int64_t id = -1;
        int type = 0;
        std::string name;
        int64_t dir_id = -1;
    };
    /// A tag (slot 0) or author (slot 1) and the folder chosen inside it.
    struct SelectedMetadata {
        int64_t m_id = -1;
        int m_type = 0;
        std::string m_name;
        /// Position of the folder row inside the metadata's tree.
        int64_t md_id = -1;
        /// The folder's row in the tree table; -1 while no folder is chosen.
        int64_t md_dir_id = -1;
        int md_type = 0;
        bool md_is_factory = false;

        bool selected() const { return m_id >= 0; }
    };

    std::string filter;
    bool fav_only = false;
    SelectedFolder sel_folder;
    bool from_history = false;
    bool show_history = false;
    SelectedPreset sel_preset;
    SelectedMetadata metadata[2];
    std::vector<int64_t> presets;

    /// Writes every member into `json`, in a fixed order; the browse list is cut to 128 ids.
    void save(nlohmann::ordered_json& json) const;
    /// Takes each member that is present and not null; others keep their value. Members of
    /// the wrong type are skipped as well.
    void restore(const nlohmann::ordered_json& json);
};

} // namespace torvo
