// The legacy host state block: written while an old project is being converted (or for good
// when its conversion failed), read from projects of old versions, and the conversion of such a
// project's presets into preset files of the workspace.
//
//   0          3     "tbf" (readers also take "tbx"); without "tb" the oldest form: no header,
//                    438 values from byte 0
//   3          4     n, 725 on writing
//   7          4n    the live values
//   7 + 4n     4     the live preset's index
//              128 x (277 + 4n)  stored presets, then 128 records of the edited presets
//              1     unspecified, then "|" and a NUL-terminated, indented JSON text

#include "presets/chunk.h"

#include "presets/chunkdetail.h"
#include "presets/codec.h"
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

namespace {
constexpr int kLegacyWrittenCount = kParamCount;
} // namespace

std::string Chunk::legacyJsonText() {
    OrderedJson root = OrderedJson::object();
    root["selected_bank"] = bank.selectedBank();
    root["gui_scale"] = bank.guiScale();
    root["perf_panel_show"] = bank.perfPanelShown();
    root["theme_id"] = bank.themeId();
    root["version"] = kBuildIdentity;
    root["scala"] = context->scalaState();
    return dumpJson(root, 4);
}

std::size_t Chunk::saveLegacy() {
    const std::string text = legacyJsonText();
    const std::size_t size = kLegacyFixedBytes + text.size();
    ensureBuffer(std::max(size, kBufferBytes));
    uint8_t* out = buffer.data();
    std::memcpy(out, "tbf", 3);
    legacy::putInt(out + 3, kLegacyWrittenCount);
    std::size_t at = 7;
    for (int i = 0; i < kParamCount; ++i, at += 4)
        legacy::putFloat(out + at, bank.paramState(i).value);
    legacy::putInt(out + at, bank.currentIndex());
    at += 4;
    const std::size_t stride = legacy::recordBytes(kLegacyWrittenCount);
    for (const Preset* set : {bank.storedPresets, bank.workPresets})
        for (int i = 0; i < Bank::kPresetCount; ++i, at += stride)
            legacy::writeRecord(set[i], kLegacyWrittenCount, out + at);
    out[at++] = 0;
    out[at++] = '|';
    std::memcpy(out + at, text.data(), text.size());
    at += text.size();
    out[at++] = 0;
    return at;
}

bool Chunk::loadLegacy(const uint8_t* bytes, std::size_t size) {
    if (size < kMinLegacyBytes) return false;
    skipHostWrapper(bytes, size);
    const uint8_t* end = bytes + size;
    const uint8_t* data = bytes;
    long long n = legacy::kOldestBankCount;
    if (size >= 7 && bytes[0] == 't' && bytes[1] == 'b' && (bytes[2] == 'f' || bytes[2] == 'x')) {
        n = std::max(0, legacy::getInt(bytes + 3));
        data = bytes + 7;
    }
    // The value array and the index must be there; anything less is not a state of ours.
    if ((long long)(end - data) < 4 * n + 4) return false;
    const int taken = int(std::min<long long>(n, kParamCount));
    for (int i = 0; i < taken; ++i)
        if (i != kBendWheel)
            writeSnapped(bank.paramState(i), legacy::getFloat(data + 4 * std::size_t(i)));
    const uint8_t* at = data + 4 * n;
    const int32_t index = legacy::getInt(at);
    bank.setCurrentIndexOnly(index);
    at += 4;

    const long long stride = (long long)legacy::kRecordHeadBytes + 4 * n;
    std::vector<uint8_t> identity;
    for (Preset* set : {bank.storedPresets, bank.workPresets}) {
        for (int i = 0; i < Bank::kPresetCount && end - at >= stride; ++i, at += stride) {
            Preset& p = set[i];
            legacy::readRecordHead(at, p);
            float* values = p.params();
            std::fill(values, values + kParamCount, 0.0f);
            for (int k = 0; k < taken; ++k)
                values[k] = legacy::getFloat(at + legacy::kRecordHeadBytes + 4 * std::size_t(k));
            p.snapToTable(bank);
            if (set == bank.workPresets) {
                identity.insert(identity.end(), at, at + Preset::kNameBytes);
                identity.insert(identity.end(), at + legacy::kRecordHeadBytes, at + stride);
            }
        }
    }

    if (end - at > 1 && at[1] == '|') {
        const char* text = reinterpret_cast<const char*>(at + 2);
        const std::size_t textSize = strnlen(text, std::size_t(end - (at + 2)));
        const OrderedJson root = OrderedJson::parse(text, text + textSize, nullptr, false);
        std::string value;
        long long number = 0;
        if (textMember(root, "selected_bank", value)) bank.setSelectedBank(value);
        if (integerMember(root, "gui_scale", number)) bank.setGuiScale(int(number));
        if (integerMember(root, "perf_panel_show", number))
            bank.setPerfPanelShown(number > 1 ? 0 : int(number));
        if (integerMember(root, "theme_id", number)) bank.setThemeId(themeFromState(number));
        if (textMember(root, "scala", value)) context->applyScalaState(value);
    }
    if (legacyLockedFlag) return false;
    return convertLegacyProject(identity);
}

bool Chunk::convertLegacyProject(const std::vector<uint8_t>& identity) {
    namespace fs = std::filesystem;
    legacyActiveFlag = true;
    bool ok = true;
    std::string hash = codec::sha512Hex(identity.data(), identity.size());
    if (hash.size() > 8) hash.resize(12);
    for (char& c : hash) c = char(std::tolower((unsigned char)c));
    const std::string relFolder =
        "/Old Projects Presets/" + fileSafe(hostWordText) + "_" + hash + "/";
    const std::string root = context->workspaceFolder();
    const std::string folder = root + relFolder;
    std::error_code error;
    if (root.empty()) {
        ok = false;
    } else {
        fs::create_directories(folder, error);
        ok = !error;
    }
    if (ok) {
        const bool indexing = context->openIndexer(root);
        // Paths are registered relative to the workspace, without their leading separator.
        const std::string registered = relFolder.substr(1);
        for (int i = 0; i < Bank::kPresetCount; ++i) {
            Preset& p = bank.workPresets[i];
            const std::string numbered = std::to_string(i + 1) + ". " + fileSafe(p.name());
            const std::string fileName = numbered + ".tpf2";
            const std::string tag = context->tagForName(p.name());
            if (!tag.empty()) {
                std::vector<std::string> tags = p.tags();
                tags.push_back(tag);
                p.setTags(tags);
            }
            const std::string path = folder + fileName;
            if (!fs::exists(path, error) && !writeConvertedPresetFile(path, p, bank)) {
                ok = false;
                continue;
            }
            const int row = indexing ? context->registerFile(registered + fileName) : -1;
            if (i == bank.currentIndex()) {
                PathObject where;
                where.name = numbered;
                where.type = PathObject::kPresetFile;
                where.index = -1;
                where.relPath = registered;
                where.filename = fileName;
                where.factory = 0;
                where.id = row;
                p.setPathObject(where.toText());
            }
        }
        if (indexing) context->closeIndexer();
    }
    legacyActiveFlag = false;
    if (!ok) {
        // The project keeps saving its legacy block; no half-converted folder stays behind.
        legacyActiveFlag = true;
        legacyLockedFlag = true;
        if (!root.empty()) fs::remove_all(folder, error);
    }
    return ok;
}

} // namespace torvo
