#include "workspace/browserstate.h"

#include <algorithm>

namespace torvo {

namespace {

using Json = nlohmann::ordered_json;

const Json* member(const Json& object, const char* key) {
    if (!object.is_object()) return nullptr;
    auto it = object.find(key);
    if (it == object.end() || it->is_null()) return nullptr;
    return &*it;
}

void take(const Json& object, const char* key, std::string& out) {
    if (const Json* v = member(object, key); v && v->is_string()) out = v->get<std::string>();
}

void take(const Json& object, const char* key, bool& out) {
    const Json* v = member(object, key);
    if (!v) return;
    if (v->is_boolean())
        out = v->get<bool>();
    else if (v->is_number())
        out = v->get<double>() != 0.0;
}

template <typename Int> void take(const Json& object, const char* key, Int& out) {
    const Json* v = member(object, key);
    if (v && v->is_number()) out = Int(v->get<double>());
}

} // namespace

void BrowserState::save(Json& json) const {
    json["filter"] = filter;
    json["fav_only"] = fav_only;
    Json& folder = json["sel_folder"];
    folder = Json::object();
    folder["id"] = sel_folder.id;
    folder["label"] = sel_folder.label;
    folder["index"] = sel_folder.index;
    json["from_history"] = from_history;
    json["show_history"] = show_history;
    Json& preset = json["sel_preset"];
    preset = Json::object();
    preset["index"] = sel_preset.index;
    preset["id"] = sel_preset.id;
    preset["type"] = sel_preset.type;
    preset["name"] = sel_preset.name;
    preset["dir_id"] = sel_preset.dir_id;
    Json rows = Json::array();
    for (const SelectedMetadata& m : metadata) {
        Json row = Json::object();
        row["m_id"] = m.m_id;
        row["m_type"] = m.m_type;
        row["m_name"] = m.m_name;
        row["md_id"] = m.md_id;
        row["md_dir_id"] = m.md_dir_id;
        row["md_type"] = m.md_type;
        row["md_is_factory"] = m.md_is_factory;
        rows.push_back(std::move(row));
    }
    json["metadata"] = std::move(rows);
    Json ids = Json::array();
    const std::size_t kept = std::min(presets.size(), kMaxSavedPresets);
    for (std::size_t i = 0; i < kept; ++i) ids.push_back(presets[i]);
    json["presets"] = std::move(ids);
}

void BrowserState::restore(const Json& json) {
    take(json, "filter", filter);
    take(json, "fav_only", fav_only);
    if (const Json* folder = member(json, "sel_folder")) {
        take(*folder, "id", sel_folder.id);
        take(*folder, "label", sel_folder.label);
        take(*folder, "index", sel_folder.index);
    }
    take(json, "from_history", from_history);
    take(json, "show_history", show_history);
    if (const Json* preset = member(json, "sel_preset")) {
        take(*preset, "index", sel_preset.index);
        take(*preset, "id", sel_preset.id);
        take(*preset, "type", sel_preset.type);
        take(*preset, "name", sel_preset.name);
        take(*preset, "dir_id", sel_preset.dir_id);
    }
    if (const Json* rows = member(json, "metadata"); rows && rows->is_array()) {
        for (std::size_t i = 0; i < 2 && i < rows->size(); ++i) {
            const Json& row = (*rows)[i];
            SelectedMetadata& m = metadata[i];
            take(row, "m_id", m.m_id);
            take(row, "m_type", m.m_type);
            take(row, "m_name", m.m_name);
            take(row, "md_id", m.md_id);
            take(row, "md_dir_id", m.md_dir_id);
            take(row, "md_type", m.md_type);
            take(row, "md_is_factory", m.md_is_factory);
        }
    }
    if (const Json* ids = member(json, "presets"); ids && ids->is_array()) {
        presets.clear();
        for (const Json& id : *ids) {
            if (presets.size() >= kMaxSavedPresets) break;
            if (id.is_number()) presets.push_back(int64_t(id.get<double>()));
        }
    }
}

} // namespace torvo
