// Moments as a command line names them.
#include "cli/posix/since.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ctime>

#include "cli/context.h"
#include "tests/backends/posix/environment.h"

namespace mvsms::cli {
namespace {

constexpr std::int64_t kNow = 1795316400;  // 2026-11-22 03:00 in London

class Since : public testing::Test {
 protected:
  Since() { tzset(); }
  static std::int64_t Parse(const std::string& text) { return ParseSince("--since", text, kNow); }
  static std::int64_t In(const std::string& zone, const std::string& text) {
    const ScopedVariable variable("TZ", zone);
    tzset();
    return Parse(text);
  }

  const ScopedVariable zone_{"TZ", "UTC0"};
};

TEST_F(Since, ALengthOfTimeBeforeNow) {
  EXPECT_EQ(Parse("90s"), kNow - 90);
  EXPECT_EQ(Parse("15m"), kNow - 15 * 60);
  EXPECT_EQ(Parse("2h"), kNow - 2 * 3600);
  EXPECT_EQ(Parse("7d"), kNow - 7 * 86400);
  EXPECT_EQ(Parse("4w"), kNow - 28 * 86400);
  EXPECT_EQ(Parse("0s"), kNow);
}

TEST_F(Since, ALengthOfTimeFromNowOn) {
  EXPECT_EQ(ParseAhead("--not-before", "15m", kNow), kNow + 15 * 60);
  EXPECT_EQ(ParseAhead("--not-before", "2026-11-23", kNow), kNow + 21 * 3600);
  EXPECT_EQ(ParseAhead("--not-before", "2026-11-23T00:00:00Z", 0),
            ParseAhead("--not-before", "2026-11-23T02:30+02:30", 0));
  EXPECT_EQ(ParseAhead("--not-before", "1970-01-02T00:00Z", 0), 86400);
  EXPECT_THROW(ParseAhead("--not-before", "2026-02-30T00:00Z", kNow), UsageError);
  EXPECT_THROW(ParseAhead("--not-before", "soon", kNow), UsageError);
}

TEST_F(Since, ADateWithOrWithoutTime) {
  EXPECT_EQ(Parse("2026-11-22"), kNow - 3 * 3600);
  EXPECT_EQ(Parse("2026-11-22 03:00"), kNow);
  EXPECT_EQ(Parse("2026-11-22T02:59:58"), kNow - 2);
}

TEST_F(Since, ADateIsLocalInSummerToo) {
  const std::string zone = "CET-1CEST,M3.5.0,M10.5.0/3";
  EXPECT_EQ(In(zone, "2026-11-22 04:00"), kNow);
  EXPECT_EQ(In(zone, "2026-07-01 02:00"), In("UTC0", "2026-07-01 00:00"));
}

TEST_F(Since, AnythingElseIsWrongUsage) {
  for (const char* text : {"", "h", "2", "2x", "-2h", "1.5h", "1234567s", "yesterday", "2026-02-30",
                           "2026-13-01", "2026-11-22 25:00", "2026-11-22x", "2h "}) {
    EXPECT_THROW(Parse(text), UsageError) << text;
  }
}

TEST_F(Since, AMomentIsShownInLocalTimeWithItsDistanceFromUtc) {
  EXPECT_EQ(LocalMoment(kNow), "2026-11-22T03:00:00+00:00");
  const ScopedVariable variable("TZ", "IST-5:30");
  tzset();
  EXPECT_EQ(LocalMoment(kNow), "2026-11-22T08:30:00+05:30");
}

}  // namespace
}  // namespace mvsms::cli
