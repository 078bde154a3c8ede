// A host that pages through a real message centre on a machine in memory, and the promises that
// hold for every send, whatever was done to it: it ends in its time, says how, and leaves nothing
// behind.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/centre_call.h"
#include "tests/support/centre_far_end.h"
#include "tests/support/host.h"

namespace mvsms::sweep {

using memory::Millis;

struct Protocol {
  const char* name;
  const char* operation;  // UCP only
};
inline constexpr Protocol kTap = {"TAP", ""};
inline constexpr Protocol kUcp = {"UCP", "51"};

/// As part of a test's name.
inline std::string NameOf(const testing::TestParamInfo<Protocol>& protocol) {
  return std::string(protocol.param.name) + protocol.param.operation;
}

/// The longest that the waits of any send of two pieces add up to: a call that never comes up, or a
/// centre that answers at the last moment of every step.
inline constexpr Millis kLongestSend = std::chrono::seconds(40 + 13 + 2 + 30 + 2 * 42);

class PagingHost : public test::Host {
 public:
  explicit PagingHost(const Protocol& protocol, const std::vector<std::string>& settings = {})
      : centre_(protocol.name == std::string("TAP") ? centre::SpeakTap() : centre::SpeakUcp(),
                WithFixedAnswer(settings)) {
    AddService("Pager", protocol.name, {{"UCPCommand", protocol.operation}, {"MaxLength", "20"}});
    far_end = [this](const std::string&) {
      return test::CentreFarEnd::Answering(centre_.centre().AnswerCall());
    };
    profile.Set("WriteLogfile", 1);
  }

  /// A message of two pieces.
  bool SendTwoPieces() { return Send("Pump 3 of tank 12 has stopped at noon"); }

  /// The pages that the centre took.
  std::size_t Accepted() const {
    return static_cast<std::size_t>(std::count_if(
        centre_.requests.begin(), centre_.requests.end(),
        [](const centre::Request& request) { return request.accepted && !request.type.empty(); }));
  }
  const std::vector<centre::Request>& Requests() const { return centre_.requests; }

  /// Hung up, nothing left open. (Every connection leaves its timer running.)
  void ExpectNothingLeft() {
    EXPECT_EQ(platform.active_calls(), 0U);
    EXPECT_EQ(platform.open_ports(), 0U);
    EXPECT_EQ(platform.open_keys(), 0U);
    EXPECT_EQ(platform.tapi_sessions(), 0U);
    EXPECT_EQ(platform.registrations(), 0U);
  }
  /// The last line says how it ended, and a failure has said why before.
  void ExpectToldHow(bool sent) {
    EXPECT_EQ(Lines().back(), sent ? test::kSuccessLine : test::kFailedLine);
    EXPECT_TRUE(sent || !errors.empty() || sender.RetrySuggested ||
                HasLine("Sending was aborted!") || HasLinePrefix("Failed to send message: ") ||
                HasLine("No response received within timeout!"))
        << sender.Status;
  }
  bool HasLinePrefix(const std::string& start) {
    const auto lines = Lines();
    return std::any_of(lines.begin(), lines.end(),
                       [&](const std::string& line) { return line.starts_with(start); });
  }

 private:
  // Some answers have a checksum that the sender takes for a wrong one; here it must not depend on
  // the time of day.
  static std::vector<std::string> WithFixedAnswer(std::vector<std::string> settings) {
    settings.insert(settings.begin(), "system-message=pager");
    return settings;
  }

  centre::test::TestCentre centre_;
};

}  // namespace mvsms::sweep
