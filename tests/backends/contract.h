// The contract of the seam as tests that every back end passes: contract_*.cpp hold the tests,
// memory_back_end.cpp and posix_back_end.cpp or win32_back_end.cpp the back ends.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace mvsms {

/// A fresh machine without settings and files, and a look at it from outside the seam.
class BackEnd {
 public:
  virtual ~BackEnd() = default;
  virtual Platform& platform() = 0;
  /// A path in a folder that can be written.
  virtual std::string PathTo(const std::string& file_name) = 0;
  /// A path in a folder that does not exist.
  virtual std::string PathNowhere() = 0;
  /// What the component is called here: a file's name on Windows, where this is the test program.
  virtual std::string ComponentName() { return "mvSMS"; }
  /// What a file holds; nothing when it does not exist.
  virtual std::optional<std::string> Contents(const std::string& path) = 0;
};

struct NamedBackEnd {
  std::string name;
  std::unique_ptr<BackEnd> (*make)();
};
inline void PrintTo(const NamedBackEnd& back_end, std::ostream* out) { *out << back_end.name; }

/// The back end of the system that the tests run on.
NamedBackEnd SystemBackEnd();
std::vector<NamedBackEnd> AllBackEnds();
inline std::string BackEndName(const testing::TestParamInfo<NamedBackEnd>& test) {
  return test.param.name;
}

class Contract : public testing::TestWithParam<NamedBackEnd> {
 protected:
  std::unique_ptr<BackEnd> back_end_ = GetParam().make();
  Platform& platform_ = back_end_->platform();
};

}  // namespace mvsms

/// Runs the tests of a fixture derived from Contract over every back end.
#define MVSMS_FOR_EACH_BACK_END(fixture) \
  INSTANTIATE_TEST_SUITE_P(BackEnds, fixture, testing::ValuesIn(AllBackEnds()), BackEndName)
