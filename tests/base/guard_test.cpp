// The boundary of exceptions.
#include "base/guard.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace mvsms {
namespace {

TEST(Guarded, GivesTheResultWhenNothingIsThrown) {
  EXPECT_EQ(Guarded(-1, [] { return 7; }, [](std::int32_t, const std::string&) { FAIL(); }), 7);
}

TEST(Guarded, ReportsARaisedErrorByItsNumber) {
  std::string report;
  const int result = Guarded(
      -1, []() -> int { throw RaisedError(4457, "SetDevice", "in use"); },
      [&](std::int32_t number, const std::string& text) {
        report = std::to_string(number) + " " + text;
      });
  EXPECT_EQ(result, -1);
  EXPECT_EQ(report, "4457 in use");
}

TEST(Guarded, ReportsAnyOtherExceptionAsUnnumbered) {
  std::string report;
  Guarded(
      false, []() -> bool { throw std::runtime_error("odd"); },
      [&](std::int32_t number, const std::string& text) {
        report = std::to_string(number) + " " + text;
      });
  EXPECT_EQ(report, "-2147467259 odd");
}

TEST(Guarded, ReportsWhateverElseIsThrown) {
  std::string report;
  Guarded(
      false, []() -> bool { throw 5; },
      [&](std::int32_t number, const std::string& text) {
        report = std::to_string(number) + " " + text;
      });
  EXPECT_EQ(report, "-2147467259 Unknown error");
}

}  // namespace
}  // namespace mvsms
