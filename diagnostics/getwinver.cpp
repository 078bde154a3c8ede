// A table of the versions that have a name.
#include "diagnostics/getwinver.h"

#include <cstdint>
#include <iterator>

namespace mvsms {
namespace {

constexpr std::uint32_t kAny = 0xFFFFFFFF;

struct VersionName {
  std::uint32_t platform, major, minor;
  const char* name;
};

/// The first row that matches counts.
constexpr VersionName kVersionNames[] = {
    {0, kAny, kAny, "32s"},  //
    {1, kAny, 0, "95"},      //
    {1, kAny, 90, "ME"},     //
    {1, kAny, kAny, "98"},   //
    {2, 3, 0, "NT3"},        //
    {2, 3, 1, "NT3.1"},      //
    {2, 3, 5, "NT3.5"},      //
    {2, 3, 51, "NT3.51"},    //
    {2, 4, kAny, "NT 4"},    //
    {2, 5, 0, "Win2000"},    //
    {2, 5, 1, "WinXP"},
};

bool Matches(std::uint32_t pattern, std::uint32_t value) {
  return pattern == kAny || pattern == value;
}

const char* NameOf(const OsVersion& version) {
  for (const VersionName& row : kVersionNames) {
    if (Matches(row.platform, version.platform) && Matches(row.major, version.major) &&
        Matches(row.minor, version.minor)) {
      return row.name;
    }
  }
  return "";
}

}  // namespace

std::string GetWinVer(Locale& locale) {
  OsVersion version;
  if (!locale.GetOsVersion(version)) return "";
  return NameOf(version) + (" Build:" + std::to_string(version.build)) + " " +
         version.service_pack.substr(0, version.service_pack.find('\0'));
}

}  // namespace mvsms
