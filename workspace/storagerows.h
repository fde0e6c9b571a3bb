#pragma once
// Plain records the workspace store hands back from its queries.

#include <cstdint>
#include <string>

namespace torvo {

/// A folder or bank row of the tree.
struct FolderRow {
    int64_t id = -1;
    int64_t parentId = -1;
    std::string name;
    /// 0 a folder, 1 a bank file.
    int type = 0;
    std::string path;
    bool isFactory = false;
    int presetCount = 0;
    int favPresetCount = 0;
    bool isExpandable = false;
};

/// A preset as the browser lists it.
struct PresetListRow {
    int64_t id = -1;
    std::string name;
    bool isFavorite = false;
    /// 0 a .tpf2, 1 a .tpf, 2 a preset inside a .tbf.
    int type = 0;
    /// Position in the bank, -1 when the row is not a bank item.
    int index = 0;
    bool isFactory = false;
};

/// Everything needed to find a preset's file again.
struct PresetRecord {
    int64_t id = -1;
    std::string name;
    std::string filename;
    bool isFavorite = false;
    int type = 0;
    int index = 0;
    std::string dirPath;
    bool isFactory = false;
    int64_t dirId = -1;
};

/// The identity of a preset row: its folder by tree and path, its name, file, type and index.
struct PresetKey {
    std::string dirPath;
    bool isFactory = false;
    std::string name;
    std::string filename;
    int type = 0;
    int index = 0;
};

/// A tag (type 0) or an author (type 1).
struct MetadataRow {
    int64_t id = -1;
    std::string value;
    int presetCount = 0;
};

/// One entry of the load history, with its time split for display.
struct HistoryRow {
    int64_t hid = -1;
    int64_t seconds = 0;
    std::string day;
    std::string month;
    std::string year;
    std::string time;
    int64_t presetId = -1;
    std::string name;
    std::string filename;
    int64_t dirId = -1;
    bool isFavorite = false;
    int type = 0;
    int index = 0;
};

/// A preset-generation task that outlives the instance that started it.
struct AITaskRow {
    std::string taskUuid;
    std::string payload;
    std::string plugUuid;
};

/// A tree flag and a path relative to that tree's root.
struct WorkspacePath {
    bool isFactory = false;
    std::string path;
};

} // namespace torvo
