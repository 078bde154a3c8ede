// The control characters of both protocols, as they go over the line.
#pragma once

namespace mvsms {

inline constexpr char kSTX = 2;
inline constexpr char kETX = 3;
inline constexpr char kEOT = 4;
inline constexpr char kACK = 6;
inline constexpr char kLF = 10;
inline constexpr char kCR = 13;
inline constexpr char kXON = 17;
inline constexpr char kXOFF = 19;
inline constexpr char kNAK = 21;
inline constexpr char kETB = 23;
inline constexpr char kSUB = 26;
inline constexpr char kESC = 27;
inline constexpr char kRS = 30;
inline constexpr char kUS = 31;

}  // namespace mvsms
