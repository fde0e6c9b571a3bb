#include "presets/chunk.h"

#include "presets/chunkdetail.h"
#include "presets/codec.h"
#include "presets/jsonnumbers.h"
#include "presets/legacybank.h"
#include "presets/legacypreset.h"
#include "presets/pathobject.h"
#include "presets/presetjson.h"
#include "presets/snapping.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <filesystem>

namespace torvo {

using namespace chunkdetail;

Chunk::Chunk(Bank& b, ChunkContext* c) : bank(b), context(c != nullptr ? c : &noContext) {
    buffer.resize(kBufferBytes, 0);
}

void Chunk::setHostName(const std::string& name) {
    const std::size_t begin = name.find_first_not_of(" \t\r\n");
    hostWordText.clear();
    if (begin == std::string::npos) return;
    const std::size_t end = name.find_first_of(" \t\r\n", begin);
    hostWordText = name.substr(begin, end == std::string::npos ? std::string::npos : end - begin);
    for (char& ch : hostWordText) ch = char(std::tolower((unsigned char)ch));
}

void Chunk::setControllerValues(float* values, int count) {
    ctrlValues = values;
    ctrlCount = values != nullptr ? std::max(count, 0) : 0;
}

float* Chunk::controllerValues(int& count) {
    count = ctrlCount;
    return ctrlValues;
}

void Chunk::setLegacyMode(bool active, bool locked) {
    legacyActiveFlag = active || locked;
    legacyLockedFlag = locked;
}

void Chunk::ensureBuffer(std::size_t size) {
    if (size > buffer.size()) {
        buffer = std::vector<uint8_t>();
        buffer.resize(size + 256, 0);
    }
}

std::size_t Chunk::save(const uint8_t** out) {
    bank.captureToCurrent();
    const std::size_t size = legacyActiveFlag ? saveLegacy() : saveCurrent();
    if (out != nullptr) *out = buffer.data();
    return size;
}

std::size_t Chunk::saveCurrent() {
    const Preset& live = bank.preset(-1);
    OrderedJson root = OrderedJson::object();
    OrderedJson params = OrderedJson::array();
    for (int i = 0; i < kParamCount; ++i) params.push_back(sixDigitNumber(live.params()[i]));
    root["preset"]["params"] = std::move(params);
    root["preset"]["current"] = bank.currentIndex();
    if (ctrlValues != nullptr && ctrlCount > 0) {
        OrderedJson ctrl = OrderedJson::array();
        for (int i = 0; i < ctrlCount; ++i) ctrl.push_back(sixDigitNumber(ctrlValues[i]));
        root["ctrl"]["params"] = std::move(ctrl);
    }
    root["plug_uuid"] = plugUuid;
    root["selected_bank"] = bank.selectedBank();
    root["gui_scale"] = bank.guiScale();
    root["perf_panel_show"] = bank.perfPanelShown();
    root["theme_id"] = bank.themeId();
    root["version"] = kBuildIdentity;
    root["scala"] = context->scalaState();
    root["uuid"] = context->workspaceUuid();
    OrderedJson where = OrderedJson::parse(live.pathObject(), nullptr, false);
    root["preset_path_obj"] = where.is_object() ? std::move(where) : OrderedJson::object();
    root["factory_expanded"] = bank.factoryExpanded();
    OrderedJson meta = OrderedJson::object();
    meta["name"] = std::string(live.name());
    meta["author"] = live.author();
    meta["vendor"] = live.vendor();
    meta["bank"] = live.bank();
    meta["notes"] = live.notes();
    meta["icon"] = live.icon();
    meta["tags"] = live.tags();
    root["preset_meta"] = std::move(meta);
    OrderedJson browser = OrderedJson::parse(context->presetManagerState(), nullptr, false);
    root["preset_manager"] = browser.is_object() ? std::move(browser) : OrderedJson::object();

    const std::string text = dumpJson(root);
    std::vector<uint8_t> packed;
    codec::rawDeflate(reinterpret_cast<const uint8_t*>(text.data()), text.size(), packed);
    const std::string encoded = codec::base64Encode(packed.data(), packed.size());
    ensureBuffer(encoded.size() + 1);
    std::memcpy(buffer.data(), encoded.data(), encoded.size());
    buffer[encoded.size()] = 0;
    return encoded.size() + 1;
}

bool Chunk::load(const uint8_t* bytes, std::size_t size) {
    if (bytes == nullptr || size == 0) return false;
    if (!legacyLockedFlag) {
        const uint8_t* content = bytes;
        std::size_t contentSize = size;
        skipHostWrapper(content, contentSize);
        if (loadCurrent(content, contentSize)) return true;
    }
    return loadLegacy(bytes, size);
}

bool Chunk::loadCurrent(const uint8_t* bytes, std::size_t size) {
    const char* text = reinterpret_cast<const char*>(bytes);
    const std::size_t textSize = strnlen(text, size);
    std::vector<uint8_t> packed;
    std::vector<uint8_t> plain;
    if (!codec::base64Decode(text, textSize, packed) ||
        !codec::rawInflate(packed.data(), packed.size(), plain) || plain.empty())
        return false;
    const OrderedJson root = OrderedJson::parse(plain.begin(), plain.end(), nullptr, false);
    if (!root.is_object()) return false;

    long long number = 0;
    if (const OrderedJson* preset = member(root, "preset")) {
        if (integerMember(*preset, "current", number))
            bank.setCurrentIndexOnly(number > 127 ? 0 : int(number));
        const OrderedJson* params = member(*preset, "params");
        if (params != nullptr && params->is_array()) {
            float* values = bank.preset(-1).params();
            const std::size_t n = std::min<std::size_t>(params->size(), kParamCount);
            for (std::size_t i = 0; i < n; ++i) {
                float v = 0.0f;
                readDecimal((*params)[i], v);
                values[i] = v;
            }
        }
        bank.applyCurrent();
        // The controller array is restored from the preset's own values: `ctrl` only says that
        // the project had one. States in the wild depend on exactly this.
        if (ctrlValues != nullptr && member(root, "ctrl") != nullptr && params != nullptr &&
            params->is_array()) {
            const std::size_t n = std::min<std::size_t>(params->size(), std::size_t(ctrlCount));
            for (std::size_t i = 0; i < n; ++i) {
                float v = 0.0f;
                readDecimal((*params)[i], v);
                ctrlValues[i] = v;
            }
        }
    }
    std::string text2;
    if (textMember(root, "selected_bank", text2)) bank.setSelectedBank(text2);
    if (textMember(root, "plug_uuid", text2)) plugUuid = text2;
    if (integerMember(root, "gui_scale", number)) bank.setGuiScale(int(number));
    if (integerMember(root, "perf_panel_show", number)) bank.setPerfPanelShown(int(number));
    if (integerMember(root, "theme_id", number)) bank.setThemeId(themeFromState(number));

    // A project opened on another machine keeps its sound but not its place in the workspace.
    const bool sameWorkspace = textMember(root, "uuid", text2) && text2 == context->workspaceUuid();
    if (textMember(root, "scala", text2)) context->applyScalaState(text2);
    auto pathText = [](const OrderedJson& v, std::string& out) {
        if (v.is_string()) {
            out = v.get_ref<const std::string&>();
            return true;
        }
        if (!v.is_object()) return false;
        out = v.empty() ? std::string() : dumpJson(v);
        return true;
    };
    if (const OrderedJson* where = member(root, "preset_path"); where && sameWorkspace)
        if (pathText(*where, text2)) takePathObject(text2);
    if (integerMember(root, "factory_expanded", number))
        bank.setFactoryExpanded(number < 0 || number > 1 ? -1 : int(number));
    if (const OrderedJson* where = member(root, "preset_path_obj"); where && sameWorkspace) {
        context->refreshStore();
        if (pathText(*where, text2)) takePathObject(text2);
    }
    if (const OrderedJson* meta = member(root, "preset_meta"); meta && meta->is_object()) {
        Preset& live = bank.preset(-1);
        for (const auto& item : meta->items()) {
            const std::string& key = item.key();
            if (key == "tags") {
                if (!item.value().is_array()) continue;
                std::vector<std::string> tags;
                for (std::size_t i = 0; i < item.value().size() && i < kMaxTags; ++i)
                    if (readText(item.value()[i], text2)) tags.push_back(text2);
                live.setTags(tags);
                continue;
            }
            if (!readText(item.value(), text2)) continue;
            if (key == "name")
                live.setName(text2);
            else if (key == "author")
                live.setAuthor(text2);
            else if (key == "vendor")
                live.setVendor(text2);
            else if (key == "bank")
                live.setBank(text2);
            else if (key == "notes")
                live.setNotes(text2);
            else if (key == "icon")
                live.setIcon(text2);
        }
    }
    if (const OrderedJson* browser = member(root, "preset_manager"); browser && sameWorkspace)
        context->applyPresetManagerState(dumpJson(*browser));
    return true;
}

void Chunk::takePathObject(const std::string& text) {
    Preset& live = bank.preset(-1);
    live.setPathObject(text);
    PathObject where;
    if (text.empty() || !where.parse(text) || !where.hasId) {
        live.setId(-1);
        return;
    }
    live.setId(where.id);
    std::string path;
    if (where.id != -1 && context->presetPathForRow(where.id, path)) live.setPath(path);
}

} // namespace torvo
