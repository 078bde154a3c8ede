// The centre on the machine in memory: our own sender dials it and both agree on what was said.
#include <gtest/gtest.h>

#include "tests/support/centre_call.h"
#include "tests/support/centre_far_end.h"
#include "tests/support/host.h"

namespace mvsms::centre::test {
namespace {

using mvsms::test::CentreFarEnd;
using mvsms::test::Host;

struct DialledHost : Host {
  void Dials(TestCentre& centre) {
    far_end = [&centre](const std::string&) {
      return CentreFarEnd::Answering(centre.centre().AnswerCall());
    };
  }
};

TEST(SenderAndCentre, AgreeOverTap) {
  DialledHost host;
  host.AddTapService();
  TapTest tap;
  host.Dials(tap);
  EXPECT_TRUE(host.Send("Pump 3 has stopped"));
  ASSERT_EQ(tap.requests.size(), 2u);
  EXPECT_EQ(tap.requests[1].text, "Pump 3 has stopped");
  EXPECT_TRUE(tap.requests[1].accepted);
}

TEST(SenderAndCentre, AgreeOverUcp) {
  for (const char* operation : {"1", "51"}) {
    DialledHost host;
    host.AddUcpService({{"UCPCommand", operation}});
    UcpTest ucp;
    host.Dials(ucp);
    EXPECT_TRUE(host.Send("Door 7 is open [now]"));
    ASSERT_EQ(ucp.requests.size(), 1u);
    EXPECT_EQ(ucp.requests[0].text, "Door 7 is open [now]");
  }
}

TEST(SenderAndCentre, AgreeThatAMessageWasRefused) {
  DialledHost host;
  host.AddTapService();
  TapTest tap({"refuse=all"});
  host.Dials(tap);
  EXPECT_FALSE(host.Send("Nobody reads this"));
  EXPECT_TRUE(host.sender.RetrySuggested);
  EXPECT_FALSE(tap.requests.back().accepted);
}

TEST(SenderAndCentre, SurviveAHangUpAfterAnyByte) {
  for (int limit = 1; limit < 40; ++limit) {
    DialledHost host;
    host.AddTapService();
    TapTest tap({"hang-up-after-sent=" + std::to_string(limit)});
    host.Dials(tap);
    host.Send("Hello");
    EXPECT_EQ(host.platform.active_calls(), 0u) << limit;
  }
}

}  // namespace
}  // namespace mvsms::centre::test
