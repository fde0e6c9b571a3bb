#include "presets/dataholder.h"

#include <cstdio>
#include <vector>

namespace torvo {

bool DataHolder::loadFile(const std::string& path, int a, int b) {
    std::FILE* f = std::fopen(path.c_str(), "rb");
    if (f == nullptr) return false;
    std::vector<uint8_t> bytes;
    uint8_t piece[65536];
    std::size_t got = 0;
    while ((got = std::fread(piece, 1, sizeof piece, f)) > 0)
        bytes.insert(bytes.end(), piece, piece + got);
    const bool ok = !std::ferror(f);
    std::fclose(f);
    if (!ok) return false;
    return parse(bytes.data(), bytes.size(), a, b, path);
}

} // namespace torvo
