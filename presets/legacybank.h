#pragma once
// The legacy bank image (.tbf): a header, the 128 records of the bank's presets and, in the
// full form, a tail block with the three values a 722-value record cannot hold.
//
//   0     4    "tbf" and a NUL
//   4     4    version digits, "0920" on writing ("0910": 438 values per record, whatever n says)
//   8     1    0
//   9     256  bank name       265  256  title       521  256  author       777  252  link
//   1029  4    n, values per record: 722, or 714 in the short form
//   1033  128 records of 277 + 4n bytes (plain, no side channel)
//   records end - 2: tail block of 384 floats (params 722 of presets 0..127, then 723, then 724)
//
// The tail overlaps the last two bytes of the records on purpose, and its reader takes the
// lowest byte of each entry as a signed integer: both are how the files in the wild are made.
// The Bank operations on bank images live in legacybank.cpp.

#include <cstddef>

namespace torvo::legacy {

constexpr std::size_t kBankHeaderBytes = 1033;
constexpr std::size_t kBankVersionOffset = 4;
constexpr std::size_t kBankNameOffset = 9;
constexpr std::size_t kBankTitleOffset = 265;
constexpr std::size_t kBankAuthorOffset = 521;
constexpr std::size_t kBankLinkOffset = 777;
constexpr std::size_t kBankCountOffset = 1029;
constexpr int kOldestBankCount = 438;
constexpr std::size_t kTailBytes = 1536;
constexpr std::size_t kFullBankBytes = 407687;
/// Reported length of a short image: two bytes short of its records' end.
constexpr std::size_t kShortBankBytes = 402055;

} // namespace torvo::legacy
