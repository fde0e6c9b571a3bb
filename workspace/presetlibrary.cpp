#include "workspace/presetlibrary.h"

#include "presets/bank.h"
#include "presets/presetjson.h"
#include "workspace/indexer.h"
#include "workspace/metadatastorage.h"

#include <filesystem>
#include <memory>
#include <system_error>

namespace fs = std::filesystem;

namespace torvo {

namespace {

bool sameIgnoringAsciiCase(const std::string& a, const std::string& b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        char x = a[i], y = b[i];
        if (x >= 'A' && x <= 'Z') x = char(x - 'A' + 'a');
        if (y >= 'A' && y <= 'Z') y = char(y - 'A' + 'a');
        if (x != y) return false;
    }
    return true;
}

std::string extensionOf(int type) {
    return type == 1 ? ".tpf" : ".tpf2";
}

} // namespace

PresetLibrary::PresetLibrary(MetadataStorage& owner, Bank& readingBank)
    : store(owner), bank(readingBank) {}

std::string PresetLibrary::checkPresetName(const std::string& name) {
    if (name.empty()) return kPresetNameEmpty;
    if (name.find_first_of("/\\") != std::string::npos) return kPresetNameInvalid;
    if (name.size() >= kMaxNameBytes) return kPresetNameTooLong;
    return {};
}

bool PresetLibrary::isNameRefusal(const std::string& error) {
    return error == kPresetNameEmpty || error == kPresetNameInvalid ||
           error == kPresetNameTooLong || error == kPresetNameTaken;
}

std::string PresetLibrary::rootOf(bool isFactory) const {
    return isFactory ? store.factoryFolder() : store.workspaceFolder();
}

std::string PresetLibrary::folderPath(bool isFactory, const std::string& relative) const {
    std::string path = rootOf(isFactory);
    if (relative.empty() || relative == "/" || relative == "\\") return path;
    if (relative.front() != '/' && relative.front() != '\\') path += '/';
    return path + relative;
}

std::string PresetLibrary::fileOf(const PresetRecord& row) const {
    // A bank is a folder row of its own, so the folder of a bank item may be the bank file.
    const std::string& dir = row.dirPath;
    const std::size_t n = row.filename.size();
    if (row.type == 2 && dir.size() > n && dir.compare(dir.size() - n, n, row.filename) == 0 &&
        (dir[dir.size() - n - 1] == '/' || dir[dir.size() - n - 1] == '\\'))
        return folderPath(row.isFactory, dir);
    return folderPath(row.isFactory, dir) + "/" + row.filename;
}

std::string PresetLibrary::failureText(const std::string& statusText, const char* fallback) {
    return statusText.empty() ? std::string(fallback) : statusText;
}

bool PresetLibrary::renamePreset(int64_t id, const std::string& newName, std::string& error) {
    error = checkPresetName(newName);
    if (!error.empty()) return false;
    StorageStatus status;
    PresetRecord row;
    if (!store.presetRow(status, id, row) || row.id < 0 || row.type == 2) {
        error = failureText(status.message, kRenameFailed);
        return false;
    }
    if (newName == row.name) return true;
    const std::string oldPath = fileOf(row);
    const std::string newPath =
        folderPath(row.isFactory, row.dirPath) + "/" + newName + extensionOf(row.type);
    // A change of case alone names the same row (the index compares without case).
    if (!sameIgnoringAsciiCase(newName, row.name)) {
        bool exists = false;
        if (!store.presetNameExists(status, row.dirId, newName, exists)) {
            error = failureText(status.message, kRenameFailed);
            return false;
        }
        std::error_code ec;
        if (exists || fs::exists(newPath, ec)) {
            error = kPresetNameTaken;
            return false;
        }
    }
    std::error_code ec;
    if (!fs::is_regular_file(oldPath, ec)) {
        error = kRenameFailed;
        return false;
    }
    fs::rename(oldPath, newPath, ec);
    if (ec) {
        error = kRenameFailed;
        return false;
    }
    if (!store.renamePreset(status, id, newName)) {
        // The index refused: the file goes back to its old name, so file and row agree.
        std::error_code back;
        fs::rename(newPath, oldPath, back);
        error = failureText(status.message, kRenameFailed);
        return false;
    }
    return true;
}

bool PresetLibrary::savePresetAs(const Preset& preset, int64_t dirId, const std::string& name,
                                 int64_t& newId, std::string& error) {
    newId = -1;
    error = checkPresetName(name);
    if (!error.empty()) return false;
    StorageStatus status;
    FolderRow folder;
    if (!store.folderById(status, dirId, folder) || folder.type != 0) {
        error = failureText(status.message, kFolderUnavailable);
        return false;
    }
    const std::string dir = folderPath(folder.isFactory, folder.path);
    std::error_code ec;
    if (!fs::is_directory(dir, ec)) {
        error = kFolderUnavailable;
        return false;
    }
    bool exists = false;
    if (!store.presetNameExists(status, dirId, name, exists)) {
        error = failureText(status.message, kFolderUnavailable);
        return false;
    }
    const std::string filename = name + ".tpf2";
    const std::string path = dir + "/" + filename;
    if (exists || fs::exists(path, ec)) {
        error = kPresetNameTaken;
        return false;
    }
    auto copy = std::make_unique<Preset>(preset);
    copy->setName(name);
    if (!writePresetFile(path, *copy, bank)) {
        // A read-only or vanished folder; a partial file must not stay behind.
        std::error_code gone;
        fs::remove(path, gone);
        error = kFolderUnavailable;
        return false;
    }
    std::string relative = folder.path;
    if (relative.empty() || relative.back() != '/') relative += '/';
    if (relative.front() != '/' && relative.front() != '\\') relative.insert(0, "/");
    std::shared_ptr<NewFileIndexer> indexer =
        store.openIndexer(rootOf(folder.isFactory), folder.isFactory);
    if (indexer) {
        newId = indexer->addPath(relative + filename, false);
        indexer->finish(true);
    }
    if (newId < 0) {
        // The file is the user's work and stays; the next rescan indexes it.
        StorageStatus probe;
        store.openForQuery(probe);
        error = failureText(probe.message, kInternalError);
        return false;
    }
    return true;
}

bool PresetLibrary::setFavorite(const std::vector<int64_t>& ids, bool favorite,
                                std::string& error) {
    StorageStatus status;
    if (!store.setFavorite(status, ids, favorite)) {
        error = failureText(status.message, kFolderUnavailable);
        return false;
    }
    return true;
}

} // namespace torvo
