// Every way in which a message centre or the line to it can misbehave, against both protocols, with
// what the host is told: three tables, to be read as the behaviour of the whole.
#include <gtest/gtest.h>

#include <ostream>
#include <sstream>

#include "tests/sweep/paging_host.h"

namespace mvsms::sweep {
namespace {

/// How a send ends: whether it counts as sent, whether a retry is suggested, and a line of Status.
struct Report {
  bool sent;
  bool retry;
  const char* line;
};
constexpr Report kSent = {true, false, "Connection closed."};
// TAP
constexpr Report kNoPrompt = {false, false,
                              "58: Time limit exceeded waiting for TAP login prompt ('ID=')"};
constexpr Report kNotUnderstood = {false, false, "58: TAP response not understood: "};
constexpr Report kNoGoAhead = {false, false,
                               "59: Time limit exceeded waiting for TAP login acknowledge ('[p')"};
constexpr Report kNoAnswer = {
    false, false, "68: Retry limit exceeded waiting for TAP message response ('<ACK>')"};
constexpr Report kNotAcknowledged = {false, true, "Response received: "};
// UCP
constexpr Report kNoResponse = {false, true, "No response received within timeout!"};
constexpr Report kTooShort = {false, true,
                              "Failed to send message: Received response invalid (too short)!"};
constexpr Report kWrongChecksum = {
    false, true, "Failed to send message: Received response invalid (Wrong checksum)!"};
constexpr Report kRefusedForNow = {false, true, "Failed to send message: System message: "};
constexpr Report kRefusedForGood = {false, false, "Failed to send message: System message: "};

/// The call itself and the line, whatever is spoken. Settings of the centre, with blanks between.
constexpr struct {
  const char* settings;
  Report tap;
  Report ucp;
} kLineFaults[] = {
    {"", kSent, kSent},
    {"answer-delay=900", kSent, kSent},
    {"answer-delay=2500", kSent, kSent},           // the second <CR> meets the first one's prompt
    {"answer-delay=5000", kNotUnderstood, kSent},  // and here the login the second one's
    {"answer-delay=60000", kNoPrompt, kNoResponse},
    {"chunk-bytes=1 chunk-gap=10", kSent, kSent},
    {"chunk-bytes=1 chunk-gap=200", kNotUnderstood, kWrongChecksum},
    {"chunk-bytes=5 chunk-gap=3000", kNotUnderstood, kWrongChecksum},
    {"truncate-answers=1", kNoPrompt, kTooShort},
    {"truncate-answers=4", kNotAcknowledged, kTooShort},
    {"noise=~x~", kSent, kWrongChecksum},
    {"noise=~x~<CR>ID=", kSent, kWrongChecksum},
    {"garbage=50", kSent, kWrongChecksum},
    {"garbage=5000", kSent, kWrongChecksum},
    {"garbage=1000000", kNoPrompt, kWrongChecksum},
    {"flood=50", kSent, kWrongChecksum},
    {"flood=1000000", kNoPrompt, kWrongChecksum},
    {"hang-up-after-received=1", kNoPrompt, kNoResponse},
    {"hang-up-after-sent=1", kNoPrompt, kNoResponse},
    {"silent-at=message", kNoAnswer, kNoResponse},
};

constexpr struct {
  const char* settings;
  Report report;
} kTapFaults[] = {
    {"silent-at=prompt", kNoPrompt},
    {"silent-at=login", kNoGoAhead},
    {"silent-at=go-ahead", kNoGoAhead},
    {"prompt=ID=<CR><LF>", kSent},
    {"prompt=<CR>ID=", kNoPrompt},
    {"prompt-delay=1900", kSent},
    {"prompt-delay=2500", kSent},
    {"prompt-delay=20000", kNoPrompt},
    {"ignored-crs=5", kSent},
    {"ignored-crs=6", kNoPrompt},
    {"even-parity=on", kNoPrompt},
    {"identifier=XX9", kNoGoAhead},   // refused three times, then hung up
    {"password=secret", kNoGoAhead},  // likewise
    {"login-refusals=1", kSent},
    {"login-refusals=20", kSent},
    {"login-refusals=1 login-refusal=rs", kNotUnderstood},
    {"login-refusals=1 login-refusal=end", kNoGoAhead},  // the words are lost with the line
    {"go-ahead-delay=1000", kSent},
    {"go-ahead-delay=9000", kNoGoAhead},
    {"go-ahead=<ESC>[q<CR>", kNoGoAhead},
    {"t5=100", kNoGoAhead},
    {"codes=off", kSent},
    {"ack=<ACK>", kSent},
    {"ack=ok", kNotAcknowledged},
    {"refuse=1", kNotAcknowledged},
    {"refuse=all refusal=nak", kNotAcknowledged},
    {"refuse=all refusal=rs", kNotAcknowledged},
    {"refuse=all refusal=end", kNoAnswer},  // lost with the line, too
    {"recipients=999", kNotAcknowledged},
    {"max-block=30", kNotAcknowledged},
};

constexpr struct {
  const char* settings;
  Report report;
} kUcpFaults[] = {
    {"wrong-checksums=1", kWrongChecksum},
    {"wrong-checksums=all", kWrongChecksum},
    {"refuse=1", kRefusedForNow},  // "operation not allowed"
    {"refuse=all ucp-refusal=1", kRefusedForNow},
    {"refuse=all ucp-refusal=2", kRefusedForGood},
    {"refuse=all ucp-refusal=10", kRefusedForNow},
    {"refuse=all ucp-refusal=11", kRefusedForGood},
    {"refuse=all ucp-refusal=30", kRefusedForNow},
    {"refuse=all ucp-refusal=31", kRefusedForGood},
    {"refuse=all ucp-refusal=33", kRefusedForNow},
    {"refuse=all ucp-refusal=35", kRefusedForNow},
    {"refuse=all ucp-refusal=99", kRefusedForGood},
    {"recipients=999", kRefusedForGood},
    {"login-required=on", kRefusedForNow},
    {"idle-time=500", kNoResponse},
    {"validity=010101", kSent},
    {"system-message=", kSent},
};

std::vector<std::string> Words(const char* settings) {
  std::istringstream words(settings);
  return {std::istream_iterator<std::string>(words), {}};
}

void Expect(const Report& report, const Protocol& protocol, const char* settings) {
  SCOPED_TRACE(std::string(protocol.name) + ": " + settings);
  PagingHost host(protocol, Words(settings));
  const bool sent = host.SendTwoPieces();
  EXPECT_EQ(sent, report.sent);
  EXPECT_EQ(host.sender.RetrySuggested, report.retry);
  EXPECT_TRUE(host.HasLinePrefix(report.line)) << host.sender.Status;
  EXPECT_TRUE(!sent || host.Accepted() == 2);
  EXPECT_LE(host.platform.slept(), kLongestSend);
  host.ExpectToldHow(sent);
  host.ExpectNothingLeft();
}

TEST(CentreFault, OfTheLineIsReportedByBothProtocols) {
  for (const auto& fault : kLineFaults) {
    Expect(fault.tap, kTap, fault.settings);
    Expect(fault.ucp, kUcp, fault.settings);
  }
}

TEST(CentreFault, OfATapCentreIsReported) {
  for (const auto& fault : kTapFaults) Expect(fault.report, kTap, fault.settings);
}

TEST(CentreFault, OfAUcpCentreIsReported) {
  for (const auto& fault : kUcpFaults) Expect(fault.report, kUcp, fault.settings);
}

TEST(CentreFault, OfTheCallIsReportedWithItsCause) {
  constexpr std::pair<CallCause, const char*> kCauses[] = {
      {CallCause::kNone, "None"},
      {CallCause::kDisconnectNormal, "Normal"},
      {CallCause::kDisconnectBusy, "Busy"},
      {CallCause::kDisconnectBadAddress, "Invalid Number"},
      {CallCause::kDisconnectNoAnswer, "No answer"},
      {CallCause::kDisconnectCancelled, "Cancelled"},
      {CallCause::kDisconnectRejected, "Rejected"},
      {CallCause::kDisconnectFailed, "Failed"},
  };
  for (const Protocol& protocol : {kTap, kUcp}) {
    for (const auto& [cause, text] : kCauses) {
      PagingHost host(protocol);
      host.platform.lines[0].outcome = CallState::kDisconnected;
      host.platform.lines[0].cause = cause;
      EXPECT_FALSE(host.SendTwoPieces());
      EXPECT_TRUE(host.HasLine(std::string("4462: Unable to connect, reason: ") + text));
      EXPECT_TRUE(host.HasLine("4570: Unable to connect to the specified phone number"));
      EXPECT_FALSE(host.sender.RetrySuggested);
      host.ExpectNothingLeft();
    }
  }
}

}  // namespace
}  // namespace mvsms::sweep
