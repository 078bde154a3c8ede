// Files that lie beside the component.
#include "engine/component_file.h"

#include <gtest/gtest.h>

#include "backends/memory/memory_platform.h"

namespace mvsms {
namespace {

TEST(ComponentFile, LiesInTheFolderWithSingleSeparators) {
  memory::MemoryPlatform platform;
  EXPECT_EQ(ComponentFile(platform.locale(), "a.inf"), "C:\\Programs\\mvSMS\\a.inf");
  platform.component_folder = "D:\\";
  EXPECT_EQ(ComponentFile(platform.locale(), "a.inf"), "D:\\a.inf");
  // One of a network folder's two backslashes goes as well.
  platform.component_folder = "\\\\server\\share";
  EXPECT_EQ(ComponentFile(platform.locale(), "a.inf"), "\\server\\share\\a.inf");
}

}  // namespace
}  // namespace mvsms
