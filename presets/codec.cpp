#include "presets/codec.h"

#include <openssl/evp.h>
#include <openssl/sha.h>
#include <zlib.h>

#include <algorithm>
#include <climits>

namespace torvo::codec {
namespace {

std::string toHex(const unsigned char* digest, std::size_t size) {
    static const char kDigits[] = "0123456789abcdef";
    std::string text(size * 2, '0');
    for (std::size_t i = 0; i < size; ++i) {
        text[2 * i] = kDigits[digest[i] >> 4];
        text[2 * i + 1] = kDigits[digest[i] & 15];
    }
    return text;
}

bool isBlank(char c) {
    return c == ' ' || c == '\n' || c == '\r' || c == '\t' || c == '\0';
}

} // namespace

std::string base64Encode(const uint8_t* bytes, std::size_t size) {
    std::string text;
    if (size == 0) return text;
    text.resize(4 * ((size + 2) / 3) + 1);
    // The encoder takes an int length: feed it in slices that are a multiple of 3 bytes.
    constexpr std::size_t kSlice = 3u << 20;
    std::size_t written = 0;
    for (std::size_t at = 0; at < size; at += kSlice) {
        const std::size_t n = std::min(kSlice, size - at);
        written += std::size_t(
            EVP_EncodeBlock(reinterpret_cast<unsigned char*>(&text[written]), bytes + at, int(n)));
    }
    text.resize(written);
    return text;
}

bool base64Decode(const char* text, std::size_t size, std::vector<uint8_t>& out) {
    out.clear();
    while (size > 0 && isBlank(text[size - 1])) --size;
    while (size > 0 && isBlank(*text)) {
        ++text;
        --size;
    }
    if (size == 0 || size % 4 != 0 || size > std::size_t(INT_MAX)) return false;
    // The block decoder lets '=' pass anywhere; only up to two at the very end are padding.
    std::size_t padding = 0;
    while (padding < 2 && text[size - 1 - padding] == '=') ++padding;
    for (std::size_t i = 0; i < size - padding; ++i) {
        const char c = text[i];
        const bool ok = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                        (c >= '0' && c <= '9') || c == '+' || c == '/';
        if (!ok) return false;
    }
    out.resize(size / 4 * 3);
    const int n =
        EVP_DecodeBlock(out.data(), reinterpret_cast<const unsigned char*>(text), int(size));
    if (n < 0) {
        out.clear();
        return false;
    }
    // The block decoder counts padding as zero bytes: take them off again.
    out.resize(std::size_t(n) - padding);
    return true;
}

bool rawDeflate(const uint8_t* bytes, std::size_t size, std::vector<uint8_t>& out) {
    out.clear();
    z_stream z{};
    if (deflateInit2(&z, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        return false;
    out.resize(deflateBound(&z, uLong(size)));
    z.next_in = const_cast<Bytef*>(bytes);
    z.avail_in = uInt(size);
    z.next_out = out.data();
    z.avail_out = uInt(out.size());
    const int rc = deflate(&z, Z_FINISH);
    out.resize(z.total_out);
    deflateEnd(&z);
    if (rc != Z_STREAM_END) {
        out.clear();
        return false;
    }
    return true;
}

bool rawInflate(const uint8_t* bytes, std::size_t size, std::vector<uint8_t>& out,
                std::size_t maxOut) {
    out.clear();
    z_stream z{};
    if (inflateInit2(&z, -15) != Z_OK) return false;
    z.next_in = const_cast<Bytef*>(bytes);
    z.avail_in = uInt(size);
    uint8_t piece[16384];
    int rc = Z_OK;
    while (rc == Z_OK) {
        z.next_out = piece;
        z.avail_out = sizeof piece;
        rc = inflate(&z, Z_NO_FLUSH);
        if (rc != Z_OK && rc != Z_STREAM_END) break;
        const std::size_t got = sizeof piece - z.avail_out;
        if (out.size() + got > maxOut) {
            rc = Z_MEM_ERROR;
            break;
        }
        out.insert(out.end(), piece, piece + got);
        if (rc == Z_OK && got == 0 && z.avail_in == 0) {
            rc = Z_BUF_ERROR; // truncated stream: no more input, no end marker
            break;
        }
    }
    inflateEnd(&z);
    if (rc != Z_STREAM_END) {
        out.clear();
        return false;
    }
    return true;
}

std::string sha256Hex(const void* bytes, std::size_t size) {
    unsigned char digest[SHA256_DIGEST_LENGTH];
    SHA256(static_cast<const unsigned char*>(bytes), size, digest);
    return toHex(digest, sizeof digest);
}

std::string sha512Hex(const void* bytes, std::size_t size) {
    unsigned char digest[SHA512_DIGEST_LENGTH];
    SHA512(static_cast<const unsigned char*>(bytes), size, digest);
    return toHex(digest, sizeof digest);
}

} // namespace torvo::codec
