#pragma once
// The visitor that mirrors one tree of preset files into the workspace database: folders and
// bank files become rows of the tree, presets rows of their own with links to their author and
// tags. Presets of the legacy formats get a tag inferred from their name.

#include "workspace/metadatastorage.h"
#include "workspace/taginference.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>

namespace torvo {

class Bank;
class Preset;

/// Per prefixed table name, the ids of rows not seen yet in this run.
using StaleSets = std::map<std::string, std::unordered_set<int64_t>>;

/// Display names of the two tree roots.
constexpr const char* kFactoryRootName = "Factory Sounds";
constexpr const char* kWorkspaceRootName = "User Library";
/// A legacy preset file longer than this is not one of ours.
constexpr std::size_t kMaxLegacyPresetBytes = 4194304;

class ReindexerFileListItemOp : public MetadataStorage::FileItemOp {
public:
    /// `staleIds`, when given, loses every row id this visitor sees.
    ReindexerFileListItemOp(MetadataStorage& store, const std::string& root, bool isFactory,
                            StaleSets* staleIds);
    ~ReindexerFileListItemOp() override;

    int64_t onItem(const char* path, bool isFolder) override;
    bool stopRequested() const override { return !state.ok(); }

    /// Row of the folder (type 0) or bank file (type 1) at `path`, created with its parents.
    int64_t addFolder(const std::string& path, int type);
    /// Row of a preset stored in the file at `path` (for a bank item, the bank's path).
    int64_t addPreset(const Preset& preset, const std::string& name, const std::string& path,
                      bool inferTags, int type, int index);
    std::string inferTag(const std::string& name) const { return rules.inferTag(name); }

    /// The first database failure of this visitor; success while there was none.
    const StorageStatus& status() const { return state; }
    /// `path` relative to the root with a leading separator; the root itself is "/".
    std::string relativePath(const std::string& path) const;
    std::string absolutePath(const std::string& path) const;

private:
    int64_t addFolderRelative(const std::string& relative, int type);
    bool link(int64_t presetId, int type, const std::string& value);
    void seen(const char* table, int64_t id);
    int64_t indexBank(const std::string& path);
    int64_t indexLegacyPreset(const std::string& path);
    int64_t indexPresetFile(const std::string& path);
    Bank& reader();

    MetadataStorage& store;
    std::string rootPath;
    bool isFactory;
    StaleSets* stale;
    std::unique_ptr<Bank> readerBank;
    std::unordered_map<std::string, int64_t> folders;
    std::unordered_map<std::string, int64_t> metadataIds;
    TagInference rules;
    StorageStatus state;
};

} // namespace torvo
