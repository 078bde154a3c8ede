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

/// What an emulated machine may not be able to show.
enum class Ability {
  kExclusiveOpen,  // a device that is open cannot be opened once more
  kErrorChar,      // the replacement for bytes with a wrong parity is kept
  kDiscardNull,    // zero bytes are taken out
  kEvents,         // waiting for line events
  kReadPending,    // a read stays pending until its time-outs say otherwise
  kStrictFraming,  // framings that no serial driver should take are refused
};

class LineBackEnd {
 public:
  virtual ~LineBackEnd() = default;
  virtual Platform& platform() = 0;
  virtual bool Can(Ability) { return true; }
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
};

struct NamedLineBackEnd {
  std::string name;
  std::unique_ptr<LineBackEnd> (*make)();
};
inline void PrintTo(const NamedLineBackEnd& back_end, std::ostream* out) { *out << back_end.name; }

/// The lines of the system that the tests run on.
NamedLineBackEnd SystemLines();
std::vector<NamedLineBackEnd> AllLineBackEnds();

class LineContract : public testing::TestWithParam<NamedLineBackEnd> {
 protected:
  /// Lets the loop run until the condition holds, for a second or so at most.
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

/// Leaves out the rest of a test that this machine cannot show.
#define MVSMS_NEEDS(ability) \
  if (!back_end_->Can(ability)) GTEST_SKIP() << "this machine cannot: " #ability

/// Runs the tests of a fixture derived from LineContract over every back end.
#define MVSMS_FOR_EACH_LINE_BACK_END(fixture)                                       \
  INSTANTIATE_TEST_SUITE_P(BackEnds, fixture, testing::ValuesIn(AllLineBackEnds()), \
                           [](const auto& test) { return test.param.name; })
