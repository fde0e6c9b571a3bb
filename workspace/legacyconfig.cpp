#include "workspace/legacyconfig.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <vector>

namespace torvo {

namespace {

constexpr std::size_t kHeadBytes = 20;
constexpr std::size_t kMaxFolderBytes = 1023;
constexpr int32_t kReadableVersion = 2;

int32_t intAt(const uint8_t* bytes, std::size_t offset) {
    return int32_t(uint32_t(bytes[offset]) | uint32_t(bytes[offset + 1]) << 8 |
                   uint32_t(bytes[offset + 2]) << 16 | uint32_t(bytes[offset + 3]) << 24);
}

} // namespace

std::string legacyConfigName(int n) {
    return n <= 1 ? std::string("torvo.cfg") : "torvo" + std::to_string(n) + ".cfg";
}

bool readLegacyConfig(const uint8_t* bytes, std::size_t size, ConfigValues& values) {
    if (bytes == nullptr || size < 4 || intAt(bytes, 0) != kReadableVersion) return false;
    if (size >= 8) values.guiScaleIndex = normalisedGuiScale(intAt(bytes, 4));
    if (size >= 12) values.showPerfPanel = intAt(bytes, 8) != 0 ? 1 : 0;
    if (size >= 16) values.themeId = normalisedTheme(intAt(bytes, 12));
    if (size >= 20) values.expandFactory = normalisedExpandFactory(intAt(bytes, 16));
    if (size > kHeadBytes) {
        const std::size_t available = std::min(size - kHeadBytes, kMaxFolderBytes);
        const char* text = reinterpret_cast<const char*>(bytes + kHeadBytes);
        values.workspaceDir.assign(text, strnlen(text, available));
    }
    return true;
}

bool readLegacyConfigFile(const std::string& path, ConfigValues& values) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return false;
    std::vector<uint8_t> bytes;
    bytes.resize(kHeadBytes + kMaxFolderBytes + 1);
    file.read(reinterpret_cast<char*>(bytes.data()), std::streamsize(bytes.size()));
    bytes.resize(std::size_t(file.gcount()));
    return readLegacyConfig(bytes.data(), bytes.size(), values);
}

} // namespace torvo
