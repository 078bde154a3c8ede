// Profiles of set-ups in which 32-bit hosts had settings of their own: Windows redirected them to a
// key that nobody looks into any more.
#pragma once

#include <string>
#include <vector>

namespace mvsms::win32 {

/// Where they lie, below HKEY_LOCAL_MACHINE.
inline constexpr char kRedirectedRoot[] = "Software\\WOW6432Node\\MIRVALEN\\PAGOREX";

/// Copies each of them that was not copied before and has no namesake among the profiles in use;
/// whole, or not at all. They themselves stay, with a mark. Returns a sentence for each copied one
/// and, until it is marked, for each that its namesake keeps out; none without the right to write.
std::vector<std::string> TakeOverRedirectedProfiles();

}  // namespace mvsms::win32
