#pragma once
// The current preset file (.tpf2): one UTF-8 JSON object, pretty-printed with LF line ends,
// members author, vendor, bank, notes, icon, favorite ("yes"/"no"), tags, parameters. The
// preset's name is the file name without its extension. `parameters` holds one member per
// table row by the row's name, leaving out the performance values 720, 723 and 724.
//
// Reading is tolerant: unknown members are ignored, a missing parameter or one outside 0..1
// (or not a number) takes the default of the bank's table, at most 5 tags are kept.

#include "presets/preset.h"

#include <memory>
#include <string>

namespace torvo {

class Bank;

constexpr const char* kPresetLoadError = "Error loading preset";

/// How a reader treats the notes text: the preset manager turns each U+2028 into a line feed,
/// the indexer keeps the text as it stands.
enum class NotesMode { Normalise, AsStored };

/// Decodes a .tpf2 text into a new preset named `name`; null when the text is not a JSON object.
std::unique_ptr<Preset> presetFromJson(const std::string& text, const std::string& name,
                                       const Bank& bank, NotesMode notes);
/// Encodes `preset` as .tpf2 text; without `withFavorite` the favorite member is left out.
std::string presetToJson(const Preset& preset, const Bank& bank, bool withFavorite);

/// Reads a .tpf2 file; null, with "Error loading preset" appended to `error`, on failure.
std::unique_ptr<Preset> loadPresetFile(const std::string& path, Bank& bank, std::string& error);
/// As loadPresetFile, but keeps the notes as stored (the indexer's view of a file).
std::unique_ptr<Preset> readPresetForIndexing(const std::string& path, Bank& bank,
                                              std::string& error);
bool writePresetFile(const std::string& path, Preset& preset, Bank& bank);
/// The form written when old host projects are converted: no favorite member.
bool writeConvertedPresetFile(const std::string& path, Preset& preset, Bank& bank);

/// "dir/My Lead.tpf2" gives "My Lead": behind the last separator, before the last dot.
std::string presetNameFromPath(const std::string& path);

} // namespace torvo
