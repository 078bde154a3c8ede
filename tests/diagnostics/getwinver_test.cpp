// Names of operating system versions, row by row.
#include <gtest/gtest.h>

#include "backends/memory/memory_platform.h"
#include "diagnostics/frmerror.h"

namespace mvsms {
namespace {

std::string NameOf(std::uint32_t platform, std::uint32_t major, std::uint32_t minor) {
  memory::MemoryPlatform machine;
  machine.os_version = {.platform = platform, .major = major, .minor = minor, .build = 1};
  const std::string text = GetWinVer(machine.locale());
  return text.substr(0, text.find(" Build:1 "));
}

TEST(GetWinVer, NamesEveryVersion) {
  const struct {
    std::uint32_t platform, major, minor;
    const char* name;
  } rows[] = {
      {0, 3, 10, "32s"},  {0, 0, 0, "32s"},     {1, 4, 0, "95"},      {1, 5, 0, "95"},
      {1, 4, 90, "ME"},   {1, 4, 10, "98"},     {1, 4, 91, "98"},     {2, 3, 0, "NT3"},
      {2, 3, 1, "NT3.1"}, {2, 3, 5, "NT3.5"},   {2, 3, 51, "NT3.51"}, {2, 4, 0, "NT 4"},
      {2, 4, 77, "NT 4"}, {2, 5, 0, "Win2000"}, {2, 5, 1, "WinXP"},   {2, 5, 2, ""},
      {2, 3, 2, ""},      {2, 6, 1, ""},        {2, 10, 0, ""},       {3, 1, 0, ""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(NameOf(row.platform, row.major, row.minor), row.name)
        << row.platform << " " << row.major << "." << row.minor;
  }
}

TEST(GetWinVer, AddsBuildAndServicePack) {
  memory::MemoryPlatform machine;
  machine.os_version.service_pack = std::string("Service Pack 2\0garbage", 22);
  EXPECT_EQ(GetWinVer(machine.locale()), "WinXP Build:2600 Service Pack 2");
  machine.os_version = {.platform = 2, .major = 5, .minor = 2, .build = 3790};
  EXPECT_EQ(GetWinVer(machine.locale()), " Build:3790 ");
}

TEST(GetWinVer, IsEmptyWhenTheSystemDoesNotTell) {
  memory::MemoryPlatform machine;
  machine.fail = [](const std::string& operation) { return operation == "Locale.GetOsVersion"; };
  EXPECT_EQ(GetWinVer(machine.locale()), "");
}

}  // namespace
}  // namespace mvsms
