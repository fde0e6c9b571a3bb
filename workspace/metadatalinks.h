#pragma once
// Finding or adding a tag or author row and linking it to a preset: shared by the indexer and
// by the single-preset update of the store. Values match case-insensitively, so "pad" reuses
// the row of "Pad".

#include "workspace/storagestatus.h"

#include <cstdint>
#include <string>

struct sqlite3;

namespace torvo {

constexpr int kMetadataTag = 0;
constexpr int kMetadataAuthor = 1;

/// The row of `value` of `type`, inserted if missing; `inserted` tells which.
bool findOrAddMetadata(sqlite3* db, StorageStatus& status, int type, const std::string& value,
                       int64_t& id, bool& inserted);
/// The link of preset and metadata, inserted if missing.
bool findOrAddLink(sqlite3* db, StorageStatus& status, int64_t presetId, int64_t metadataId,
                   int64_t& linkId);

/// White space cut at both ends.
std::string trimmed(const std::string& text);
/// ASCII lower case, as SQLite's NOCASE compares.
std::string foldedCase(const std::string& text);

} // namespace torvo
