// The code that pagers and message centres use for each character of the ANSI code page. Both
// tables follow the GSM default alphabet for most accented letters and depart from it on purpose
// where the pagers in use do ("Ñ" is 95, "ü" 125, "¹" and "½" are 64): the lists below are the
// reference, not the standard.
//
// The tables are compile-time constants, so there is no moment at which one is not filled yet, and
// no InitTAPCharTable or InitUCPCharTable that a reader must remember to call.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace mvsms {

/// The code of a character, 0 to 255, whatever the sign of char.
constexpr std::size_t CodeOf(char c) { return static_cast<unsigned char>(c); }

/// Indexed by the code of a character; the entry is the code, 0 to 127, sent in its place.
using CharTable = std::array<std::int16_t, 256>;

namespace char_tables {

struct Entry {
  std::size_t code;
  std::int16_t sent;
};

// What differs from "basic Latin stands for itself, everything else is a space", for both tables.
inline constexpr Entry kAccented[] = {
    {94, 20},    // ^
    {161, 0},    // ¡
    {163, 1},    // £
    {164, 2},    // ¤
    {165, 3},    // ¥
    {167, 94},   // §
    {185, 64},   // ¹
    {189, 64},   // ½
    {191, 96},   // ¿
    {196, 91},   // Ä
    {197, 14},   // Å
    {198, 28},   // Æ
    {199, 9},    // Ç
    {201, 31},   // É
    {209, 95},   // Ñ
    {214, 92},   // Ö
    {216, 11},   // Ø
    {220, 93},   // Ü
    {223, 126},  // ß
    {224, 127},  // à
    {228, 123},  // ä
    {229, 15},   // å
    {230, 29},   // æ
    {232, 4},    // è
    {233, 5},    // é
    {236, 7},    // ì
    {241, 30},   // ñ
    {242, 8},    // ò
    {246, 124},  // ö
    {248, 12},   // ø
    {249, 6},    // ù
    {252, 125},  // ü
};

// What a UCP text keeps and a TAP text does not: line breaks and the underscore.
inline constexpr Entry kUCPOnly[] = {
    {10, 10},  // LF
    {13, 13},  // CR
    {95, 17},  // _
};

constexpr CharTable MakeTAPTable() {
  CharTable table{};
  for (std::size_t code = 0; code < table.size(); ++code) {
    const bool stands_for_itself = (code >= 32 && code <= 90) || (code >= 97 && code <= 122);
    table[code] = stands_for_itself ? static_cast<std::int16_t>(code) : std::int16_t{32};
  }
  for (const Entry& entry : kAccented) table[entry.code] = entry.sent;
  return table;
}

constexpr CharTable MakeUCPTable() {
  CharTable table = MakeTAPTable();
  for (const Entry& entry : kUCPOnly) table[entry.code] = entry.sent;
  return table;
}

constexpr bool IsSevenBit(const CharTable& table) {
  return std::all_of(table.begin(), table.end(), [](auto sent) { return sent >= 0 && sent < 128; });
}

constexpr bool Yields(const CharTable& table, std::int16_t code) {
  return std::find(table.begin(), table.end(), code) != table.end();
}

}  // namespace char_tables

namespace basTAP {
inline constexpr CharTable TAPCharTable = char_tables::MakeTAPTable();
}

namespace basUCP {
inline constexpr CharTable UCPCharTable = char_tables::MakeUCPTable();
}

static_assert(char_tables::IsSevenBit(basTAP::TAPCharTable));
static_assert(char_tables::IsSevenBit(basUCP::UCPCharTable));
// A TAP text must never hold what ends a field or a block, nor the codes of the escape mechanism.
static_assert(!char_tables::Yields(basTAP::TAPCharTable, 10));
static_assert(!char_tables::Yields(basTAP::TAPCharTable, 13));
static_assert(!char_tables::Yields(basTAP::TAPCharTable, 23));
static_assert(!char_tables::Yields(basTAP::TAPCharTable, 26));
static_assert(!char_tables::Yields(basTAP::TAPCharTable, 27));

}  // namespace mvsms
