// A machine with one serial device and one telephone line, over each back end, and the far side of
// both as a test moves it.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace mvsms {

class LineBackEnd {
 public:
  virtual ~LineBackEnd() = default;
  virtual Platform& platform() = 0;
  /// A serial device for CreateFile.
  virtual std::string device() = 0;
  /// A number that answers, and one that does not (CallCause::kDisconnectNoAnswer).
  virtual std::string number() = 0;
  virtual std::string silent_number() = 0;
  /// The far side of the device, or of the call that is up, sends bytes, and has them arrive.
  virtual void Say(const std::string& bytes) = 0;
  /// All that the far side has got, as soon as it is this much.
  virtual std::string Heard(std::size_t count) = 0;
  /// The far side of the call hangs up.
  virtual void HangUp() = 0;
  /// False where a stand-in for the device lacks what every real one has: unshared opening, line
  /// events, discarding of bytes.
  virtual bool IsRealPort() { return true; }
};

struct NamedLineBackEnd {
  std::string name;
  std::unique_ptr<LineBackEnd> (*make)();
};
inline void PrintTo(const NamedLineBackEnd& back_end, std::ostream* out) { *out << back_end.name; }

/// The lines of this system: in posix_line_back_end.cpp or win32_line_back_end.cpp.
NamedLineBackEnd SystemLineBackEnd();
/// Those and the ones in memory.
std::vector<NamedLineBackEnd> AllLineBackEnds();
template <typename Kind>
std::unique_ptr<LineBackEnd> MakeLineBackEnd() {
  return std::make_unique<Kind>();
}

class LineContract : public testing::TestWithParam<NamedLineBackEnd> {
 protected:
  /// Lets the loop run until something is so, for a second or so at most.
  template <typename Condition>
  bool Await(Condition condition) {
    for (int turn = 0; turn < 1000 && !condition(); ++turn) {
      platform_.loop().Sleep(std::chrono::milliseconds(2));
      platform_.loop().DoEvents();
    }
    return condition();
  }

  std::unique_ptr<LineBackEnd> back_end_ = GetParam().make();
  Platform& platform_ = back_end_->platform();
  Comm& comm_ = platform_.comm();
};

}  // namespace mvsms

/// Runs the tests of a fixture derived from LineContract over every back end.
#define MVSMS_FOR_EACH_LINE_BACK_END(fixture)                                       \
  INSTANTIATE_TEST_SUITE_P(BackEnds, fixture, testing::ValuesIn(AllLineBackEnds()), \
                           [](const auto& test) { return test.param.name; })
