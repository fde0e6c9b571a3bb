#pragma once
// Byte codecs the sound formats are built on: base64, raw deflate (no zlib header, as the host
// state chunk stores it) and the SHA digests, as lower-case hexadecimal text. Thin wrappers over
// the system's zlib and crypto libraries, so every format speaks one vocabulary.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace torvo::codec {

/// Standard alphabet with '=' padding, no line breaks.
std::string base64Encode(const uint8_t* bytes, std::size_t size);
/// Decodes standard base64; surrounding blanks, line ends and NULs are ignored. False (and
/// `out` empty) on any other character or a bad length.
bool base64Decode(const char* text, std::size_t size, std::vector<uint8_t>& out);

/// Raw deflate stream (window bits -15) at the default level.
bool rawDeflate(const uint8_t* bytes, std::size_t size, std::vector<uint8_t>& out);
/// Inflates a raw deflate stream. False on a broken stream or when the result would exceed
/// `maxOut` bytes (a bomb guard: no state of ours comes near it).
bool rawInflate(const uint8_t* bytes, std::size_t size, std::vector<uint8_t>& out,
                std::size_t maxOut = std::size_t(32) << 20);

std::string sha256Hex(const void* bytes, std::size_t size);
std::string sha512Hex(const void* bytes, std::size_t size);

} // namespace torvo::codec
