#pragma once
// The preset files of the workspace and their rows in the index, changed together: a rename
// moves the file and then the row, a save writes the file and then indexes it. The files are
// the truth, so each operation touches the disk first and undoes that step when the index
// refuses the change; nothing is left half done and no user file is lost.

#include "workspace/storagerows.h"

#include <cstdint>
#include <string>
#include <vector>

namespace torvo {

class Bank;
class MetadataStorage;
class Preset;

/// Texts the user is shown when the library refuses an operation.
constexpr const char* kPresetNameEmpty = "Preset name should contain at least 1 character";
constexpr const char* kPresetNameInvalid = "Preset name contains invalid character";
constexpr const char* kPresetNameTooLong = "Preset name is too long";
constexpr const char* kPresetNameTaken = "Preset with this name already exists";
constexpr const char* kRenameFailed = "Failed to rename preset";
constexpr const char* kFolderUnavailable = "Folder was deleted or unavailable";
constexpr const char* kInternalError =
    "Plugin internal error. Please reload project and retry operation.";

class PresetLibrary {
public:
    /// A legacy name field holds 24 characters and its terminator.
    static constexpr std::size_t kMaxNameBytes = 25;

    PresetLibrary(MetadataStorage& store, Bank& bank);
    PresetLibrary(const PresetLibrary&) = delete;
    PresetLibrary& operator=(const PresetLibrary&) = delete;
    virtual ~PresetLibrary() = default;

    /// The rule every new preset name follows; empty text when `name` may be used.
    static std::string checkPresetName(const std::string& name);
    /// True for the texts that refuse a name (the dialog asks again), false for file and index
    /// failures (a message box tells them).
    static bool isNameRefusal(const std::string& error);

    /// The workspace or the factory folder.
    std::string rootOf(bool isFactory) const;
    /// The full path of a folder row's relative path ("/" is the root itself).
    std::string folderPath(bool isFactory, const std::string& relative) const;
    /// The full path of a preset row's file (for a bank item: the bank file).
    std::string fileOf(const PresetRecord& row) const;

    /// Renames a .tpf2 or .tpf preset: its file, then its row. Bank items keep their names:
    /// their records live inside the bank file. False with the user's text in `error`.
    virtual bool renamePreset(int64_t id, const std::string& newName, std::string& error);
    /// Writes `preset` as "<name>.tpf2" into folder `dirId` and indexes it; `newId` is the new
    /// row. An existing file or row of that name is never overwritten.
    virtual bool savePresetAs(const Preset& preset, int64_t dirId, const std::string& name,
                              int64_t& newId, std::string& error);
    virtual bool setFavorite(const std::vector<int64_t>& ids, bool favorite, std::string& error);

private:
    static std::string failureText(const std::string& statusText, const char* fallback);

    MetadataStorage& store;
    Bank& bank;
};

} // namespace torvo
