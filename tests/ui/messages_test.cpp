// Opening a document with its program, and what is said of each result.
#include "ui/messages.h"

#include <gtest/gtest.h>

#include "backends/memory/memory_platform.h"

namespace mvsms {
namespace {

TEST(OpenDocument, AsksTheShellFromTheRootOfDriveC) {
  memory::MemoryPlatform platform;
  EXPECT_EQ(basCommon::OpenDocument(platform.shell(), "C:\\log.txt"), 33);
  EXPECT_EQ(platform.opened, std::vector<std::string>{"Open|C:\\log.txt||C:\\|1"});
  platform.shell_result = 2;
  EXPECT_EQ(basCommon::OpenDocument(platform.shell(), "missing"), 2);
}

TEST(OpenDocument, HasATextForEachResult) {
  const std::pair<int, const char*> rows[] = {
      {2, "The file does not exist!"},
      {3, "Path not found"},
      {5, "Access denied"},
      {8, "Out of memory"},
      {11, "Invalid EXE file or error in EXE image"},
      {26, "A sharing violation occurred"},
      {27, "Incomplete or invalid file association"},
      {28, "DDE Time out"},
      {29, "DDE transaction failed"},
      {30, "DDE busy"},
      {31, "No association for file extension"},
      {32, "DLL not found"},
      {0, "Unknown error (hr=0)"},
      {1, "Unknown error (hr=1)"},
      {10, "Unknown error (hr=10)"},
      {-5, "Unknown error (hr=-5)"},
  };
  for (const auto& [result, text] : rows) {
    EXPECT_EQ(basCommon::OpenDocumentError(result), text) << result;
  }
}

}  // namespace
}  // namespace mvsms
