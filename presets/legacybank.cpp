#include "presets/legacybank.h"

#include "presets/bank.h"
#include "presets/legacypreset.h"

#include <algorithm>
#include <cstring>

namespace torvo {

const uint8_t* Bank::toBankImage(std::size_t& size, bool shortForm) {
    uint8_t* out = image.data();
    const int n = shortForm ? legacy::kShortCount : legacy::kFullCount;
    std::memset(out, 0, legacy::kBankHeaderBytes);
    std::memcpy(out, "tbf", 4);
    std::memcpy(out + legacy::kBankVersionOffset, "0920", 4);
    std::memcpy(out + legacy::kBankNameOffset, nameText, sizeof nameText);
    std::memcpy(out + legacy::kBankTitleOffset, titleText, sizeof titleText);
    std::memcpy(out + legacy::kBankAuthorOffset, authorText, sizeof authorText);
    std::memcpy(out + legacy::kBankLinkOffset, linkText, sizeof linkText);
    legacy::putInt(out + legacy::kBankCountOffset, n);
    const std::size_t stride = legacy::recordBytes(n);
    uint8_t* record = out + legacy::kBankHeaderBytes;
    for (const Preset& p : workPresets) {
        legacy::writeRecord(p, n, record);
        record += stride;
    }
    if (shortForm) {
        size = legacy::kShortBankBytes;
        return out;
    }
    uint8_t* tail = record - 2;
    for (int q = 722; q < kParamCount; ++q)
        for (const Preset& p : workPresets) {
            legacy::putFloat(tail, p.params()[q]);
            tail += 4;
        }
    size = legacy::kFullBankBytes;
    return out;
}

bool Bank::saveBankFile(const std::string& path, bool shortForm) {
    setFileNameFromPath(path);
    std::size_t size = 0;
    const uint8_t* bytes = toBankImage(size, shortForm);
    return writeFile(path, bytes, size);
}

bool Bank::loadBankFile(const std::string& path, bool takeFileName) {
    std::size_t size = 0;
    if (!readFile(path, image.data(), kBankImageBytes, size)) return false;
    if (takeFileName) setFileNameFromPath(path);
    return loadBankImage(image.data(), size);
}

bool Bank::loadBankImage(const uint8_t* bytes, std::size_t size) {
    if (bytes == nullptr || size < legacy::kBankHeaderBytes) return false;
    if (std::memcmp(bytes, "tbf", 4) != 0) return false;
    const bool oldest = std::memcmp(bytes + legacy::kBankVersionOffset, "0910", 4) == 0;
    int n = legacy::getInt(bytes + legacy::kBankCountOffset);
    if (oldest) {
        n = legacy::kOldestBankCount;
    } else if (n < 0) {
        return false;
    }
    n = std::min(n, legacy::kFullCount);

    // The image is read in the bank's own buffer, as long as the longest image: a file cut
    // short reads zeros behind its end (a short image lacks the last two bytes of its records).
    size = std::min(size, kBankImageBytes);
    if (bytes != image.data()) std::memmove(image.data(), bytes, size);
    std::memset(image.data() + size, 0, kBankImageBytes - size);
    const uint8_t* in = image.data();

    std::memcpy(versionText, in + legacy::kBankVersionOffset, 4);
    versionText[4] = '\0';
    auto takeText = [in](char* field, std::size_t fieldSize, std::size_t offset) {
        std::memcpy(field, in + offset, fieldSize);
        field[fieldSize - 1] = '\0';
    };
    takeText(nameText, sizeof nameText, legacy::kBankNameOffset);
    takeText(titleText, sizeof titleText, legacy::kBankTitleOffset);
    takeText(authorText, sizeof authorText, legacy::kBankAuthorOffset);
    takeText(linkText, sizeof linkText, legacy::kBankLinkOffset);

    const std::size_t stride = legacy::recordBytes(n);
    const uint8_t* record = in + legacy::kBankHeaderBytes;
    for (Preset& p : storedPresets) {
        legacy::readRecordHead(record, p);
        p.setParamCount(n);
        p.setAllParams(defaultValues);
        float* values = p.params();
        for (int i = 0; i < n; ++i)
            values[i] = legacy::getFloat(record + legacy::kRecordHeadBytes + 4 * std::size_t(i));
        record += stride;
    }

    const std::size_t recordsEnd = legacy::kBankHeaderBytes + kPresetCount * stride;
    long long left = (long long)size - (long long)recordsEnd;
    if (left <= 0) {
        for (Preset& p : storedPresets) p.setParam(722, 1.0f);
    } else {
        std::size_t at = recordsEnd - 2;
        left += 2;
        int p = 0;
        int q = 722;
        while (left > 0 && q < kParamCount) {
            storedPresets[p].setParam(q, float(int8_t(in[at])));
            at += 4;
            left -= 4;
            if (++p == kPresetCount) {
                p = 0;
                ++q;
            }
        }
    }

    for (int i = 0; i < kPresetCount; ++i) {
        workPresets[i].copyLegacyPart(storedPresets[i], kParamCount);
        workPresets[i].setParamCount(kParamCount);
    }
    current = 0;
    applyCurrent();
    return true;
}

} // namespace torvo
