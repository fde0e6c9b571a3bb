#include "workspace/metadatalinks.h"

#include "workspace/schema.h"
#include "workspace/sqlstatement.h"

#include <cctype>

namespace torvo {

bool findOrAddMetadata(sqlite3* db, StorageStatus& status, int type, const std::string& value,
                       int64_t& id, bool& inserted) {
    inserted = false;
    const std::string table = schema::table("metadata");
    {
        SqlStatement find(
            db, "SELECT `id` FROM " + table + " WHERE `value` = ? COLLATE NOCASE AND `type` = ?",
            status);
        find.bind(1, value).bind(2, type);
        if (find.step()) {
            id = find.int64At(0);
            return true;
        }
        if (!status.ok()) return false;
    }
    SqlStatement insert(db, "INSERT INTO " + table + " (`value`, `type`) VALUES(?, ?)", status);
    insert.bind(1, value).bind(2, type);
    if (!insert.run()) return false;
    id = lastInsertId(db);
    inserted = true;
    return true;
}

bool findOrAddLink(sqlite3* db, StorageStatus& status, int64_t presetId, int64_t metadataId,
                   int64_t& linkId) {
    const std::string table = schema::table("preset_metadata");
    {
        SqlStatement find(
            db, "SELECT `id` FROM " + table + " WHERE `preset_id`=? AND `metadata_id` = ?", status);
        find.bind(1, presetId).bind(2, metadataId);
        if (find.step()) {
            linkId = find.int64At(0);
            return true;
        }
        if (!status.ok()) return false;
    }
    SqlStatement insert(db, "INSERT INTO " + table + " (`preset_id`, `metadata_id`) VALUES(?, ?)",
                        status);
    insert.bind(1, presetId).bind(2, metadataId);
    if (!insert.run()) return false;
    linkId = lastInsertId(db);
    return true;
}

std::string trimmed(const std::string& text) {
    std::size_t begin = 0;
    std::size_t end = text.size();
    while (begin < end && std::isspace(static_cast<unsigned char>(text[begin]))) ++begin;
    while (end > begin && std::isspace(static_cast<unsigned char>(text[end - 1]))) --end;
    return text.substr(begin, end - begin);
}

std::string foldedCase(const std::string& text) {
    std::string out = text;
    for (char& c : out)
        if (c >= 'A' && c <= 'Z') c = char(c - 'A' + 'a');
    return out;
}

} // namespace torvo
