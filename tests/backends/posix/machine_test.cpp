// What a machine is told by.
#include "backends/posix/system/machine.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "tests/support/temp_folder.h"

namespace mvsms::posix {
namespace {

std::string IdIn(const std::string& content) {
  const TempFolder folder;
  std::ofstream(folder / "machine-id") << content;
  return MachineId(folder / "machine-id");
}

TEST(Machine, IsToldByTheIdOfItsSystem) {
  EXPECT_EQ(IdIn("b08dfa6083e7567a1921a715000001fb\n"), "b08dfa6083e7567a1921a715000001fb");
}

TEST(Machine, WithoutAnIdIsToldByItsName) {
  EXPECT_EQ(MachineId("/nonexistent"), HostName());
  EXPECT_EQ(IdIn(""), HostName());
  EXPECT_EQ(IdIn("\n"), HostName());
  EXPECT_EQ(IdIn("uninitialized\n"), HostName());
}

}  // namespace
}  // namespace mvsms::posix
