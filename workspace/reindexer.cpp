#include "workspace/reindexer.h"

#include "presets/bank.h"
#include "presets/preset.h"
#include "presets/presetjson.h"
#include "workspace/metadatalinks.h"
#include "workspace/schema.h"
#include "workspace/sqlstatement.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <iterator>
#include <vector>

namespace torvo {

namespace {

std::string lowerExtension(const std::string& path) {
    const std::size_t slash = path.find_last_of("/\\");
    const std::size_t dot = path.rfind('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return {};
    std::string ext = path.substr(dot);
    for (char& c : ext) c = char(std::tolower(static_cast<unsigned char>(c)));
    return ext;
}

std::string lastComponent(const std::string& path) {
    const std::size_t slash = path.find_last_of("/\\");
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string parentOf(const std::string& relative) {
    const std::size_t slash = relative.find_last_of("/\\");
    if (slash == std::string::npos || slash == 0) return "/";
    return relative.substr(0, slash);
}

std::string withoutTrailingSeparator(std::string path) {
    if (path.size() > 1 && (path.back() == '/' || path.back() == '\\')) path.pop_back();
    return path;
}

} // namespace

ReindexerFileListItemOp::ReindexerFileListItemOp(MetadataStorage& owner, const std::string& root,
                                                 bool factory, StaleSets* staleIds)
    : store(owner), rootPath(root), isFactory(factory), stale(staleIds) {
    while (rootPath.size() > 1 && (rootPath.back() == '/' || rootPath.back() == '\\'))
        rootPath.pop_back();
}

ReindexerFileListItemOp::~ReindexerFileListItemOp() = default;

std::string ReindexerFileListItemOp::relativePath(const std::string& path) const {
    const std::string clean = withoutTrailingSeparator(path);
    if (clean == rootPath) return "/";
    if (clean.size() > rootPath.size() && clean.compare(0, rootPath.size(), rootPath) == 0 &&
        (clean[rootPath.size()] == '/' || clean[rootPath.size()] == '\\'))
        return clean.substr(rootPath.size());
    // Not below the root: the caller gave a path relative to it.
    if (clean.empty() || clean == "/") return "/";
    return (clean.front() == '/' || clean.front() == '\\') ? clean : "/" + clean;
}

std::string ReindexerFileListItemOp::absolutePath(const std::string& path) const {
    const std::string relative = relativePath(path);
    return relative == "/" ? rootPath : rootPath + relative;
}

Bank& ReindexerFileListItemOp::reader() {
    if (!readerBank) {
        readerBank = std::make_unique<Bank>();
        if (store.readingBank() != nullptr) readerBank->copyDefaultsFrom(*store.readingBank());
    }
    return *readerBank;
}

void ReindexerFileListItemOp::seen(const char* table, int64_t id) {
    if (stale != nullptr) (*stale)[schema::table(table)].erase(id);
}

int64_t ReindexerFileListItemOp::onItem(const char* path, bool isFolder) {
    if (!state.ok() || path == nullptr) return -1;
    if (isFolder) return addFolder(path, 0);
    const std::string absolute = absolutePath(path);
    const std::string ext = lowerExtension(absolute);
    if (ext == ".tbf") return indexBank(absolute);
    if (ext == ".tpf") return indexLegacyPreset(absolute);
    if (ext == ".tpf2") return indexPresetFile(absolute);
    return -1;
}

int64_t ReindexerFileListItemOp::indexBank(const std::string& path) {
    // Each bank file is read into a bank of its own: only the defaults come from the shared one.
    auto bank = std::make_unique<Bank>();
    if (store.readingBank() != nullptr) bank->copyDefaultsFrom(*store.readingBank());
    if (!bank->loadBankFile(path, false)) return -1;
    const int64_t bankRow = addFolder(path, 1);
    if (bankRow < 0) return -1;
    for (int i = 0; i < Bank::kPresetCount; ++i) {
        const Preset& preset = bank->preset(i);
        const std::string name = std::to_string(i + 1) + ". " + preset.name();
        if (addPreset(preset, name, path, true, 2, i) < 0) return -1;
    }
    return bankRow;
}

int64_t ReindexerFileListItemOp::indexLegacyPreset(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return -1;
    file.seekg(0, std::ios::end);
    const std::streamoff size = file.tellg();
    if (size < 0 || std::size_t(size) > kMaxLegacyPresetBytes) return -1;
    file.seekg(0, std::ios::beg);
    std::vector<uint8_t> bytes(static_cast<std::size_t>(size));
    if (!file.read(reinterpret_cast<char*>(bytes.data()), size)) return -1;
    auto bank = std::make_unique<Bank>();
    if (store.readingBank() != nullptr) bank->copyDefaultsFrom(*store.readingBank());
    if (!bank->loadLegacyRecord(bytes.data(), bytes.size())) return -1;
    const Preset& preset = bank->currentPreset();
    return addPreset(preset, preset.name(), path, true, 1, 0);
}

int64_t ReindexerFileListItemOp::indexPresetFile(const std::string& path) {
    std::string error;
    std::unique_ptr<Preset> preset = readPresetForIndexing(path, reader(), error);
    if (!preset) return -1;
    // The file name is the preset's name, at its full length.
    return addPreset(*preset, presetNameFromPath(path), path, false, 0, 0);
}

int64_t ReindexerFileListItemOp::addFolder(const std::string& path, int type) {
    return addFolderRelative(relativePath(path), type);
}

int64_t ReindexerFileListItemOp::addFolderRelative(const std::string& relative, int type) {
    const auto known = folders.find(relative);
    if (known != folders.end()) return known->second;
    sqlite3* db = store.handle();
    int64_t parentId = -1;
    std::string name = isFactory ? kFactoryRootName : kWorkspaceRootName;
    if (relative != "/") {
        parentId = addFolderRelative(parentOf(relative), 0);
        if (parentId < 0) return -1;
        name = lastComponent(relative);
    }
    const std::string table = schema::table("dir_tree");
    int64_t id = -1;
    {
        SqlStatement find(db, "SELECT `id` FROM " + table + " WHERE `path` = ? AND `is_factory`= ?",
                          state);
        find.bind(1, relative).bind(2, isFactory ? 1 : 0);
        if (find.step()) id = find.int64At(0);
        if (!state.ok()) return -1;
    }
    if (id < 0) {
        SqlStatement insert(db,
                            "INSERT INTO " + table +
                                " (`path`, `name`, `is_factory`, `type`, `parent_id`) "
                                "VALUES(?,?,?,?,?)",
                            state);
        insert.bind(1, relative).bind(2, name).bind(3, isFactory ? 1 : 0).bind(4, type);
        insert.bind(5, parentId);
        if (!insert.run()) return -1;
        id = lastInsertId(db);
    }
    folders[relative] = id;
    seen("dir_tree", id);
    return id;
}

int64_t ReindexerFileListItemOp::addPreset(const Preset& preset, const std::string& name,
                                           const std::string& path, bool inferTags, int type,
                                           int index) {
    const std::string author = trimmed(preset.author());
    const std::string relative = relativePath(path);
    const int64_t dirId =
        type == 2 ? addFolderRelative(relative, 1) : addFolderRelative(parentOf(relative), 0);
    if (dirId < 0) return -1;
    const std::string filename = lastComponent(relative);
    sqlite3* db = store.handle();
    const std::string table = schema::table("preset");
    int64_t id = -1;
    {
        SqlStatement find(db,
                          "SELECT `id` FROM " + table +
                              " WHERE `name`=? AND `filename`=? AND `dir_id`=? AND `type`=? "
                              "AND `index`=?",
                          state);
        find.bind(1, name).bind(2, filename).bind(3, dirId).bind(4, type).bind(5, index);
        if (find.step()) id = find.int64At(0);
        if (!state.ok()) return -1;
    }
    if (id < 0) {
        SqlStatement insert(db,
                            "INSERT INTO " + table +
                                " (`name`, `filename`, `dir_id`, `is_favorite`, `type`, "
                                "`index`) VALUES(?, ?, ?, ?, ?, ?)",
                            state);
        insert.bind(1, name).bind(2, filename).bind(3, dirId);
        insert.bind(4, preset.isFavorite() ? 1 : 0).bind(5, type).bind(6, index);
        if (!insert.run()) return -1;
        id = lastInsertId(db);
    }
    seen("preset", id);

    if (!author.empty() && !link(id, kMetadataAuthor, author)) return -1;
    if (!inferTags) {
        for (const std::string& tag : preset.tags()) {
            const std::string clean = trimmed(tag);
            if (!clean.empty() && !link(id, kMetadataTag, clean)) return -1;
        }
    } else {
        // Legacy formats carry no tags: the name is all there is.
        const std::string tag = inferTag(name);
        if (!tag.empty() && !link(id, kMetadataTag, tag)) return -1;
    }
    return id;
}

bool ReindexerFileListItemOp::link(int64_t presetId, int type, const std::string& value) {
    sqlite3* db = store.handle();
    const std::string key = std::to_string(type) + ":" + foldedCase(value);
    int64_t metadataId = -1;
    const auto known = metadataIds.find(key);
    if (known != metadataIds.end()) {
        metadataId = known->second;
    } else {
        bool inserted = false;
        if (!findOrAddMetadata(db, state, type, value, metadataId, inserted)) return false;
        metadataIds[key] = metadataId;
        seen("metadata", metadataId);
    }
    int64_t linkId = -1;
    if (!findOrAddLink(db, state, presetId, metadataId, linkId)) return false;
    seen("preset_metadata", linkId);
    return true;
}

} // namespace torvo
