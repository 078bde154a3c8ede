// What must hold whatever a message centre, the line or the machine does: a message is called
// accepted only when the centre recorded that it took this text, unreachable only when it recorded
// nothing of it, and refused only when it did not take it as a whole.
#include <gmock/gmock.h>

#include <map>
#include <sstream>

#include "dispatch/outcome.h"
#include "tests/sweep/paging_host.h"

namespace mvsms::dispatch {
namespace {

using sweep::kTap;
using sweep::kUcp;
using sweep::PagingHost;
using sweep::Protocol;
using Words = std::vector<std::string>;

constexpr char kOnePiece[] = "Pump 3 has stopped";
constexpr char kTwoPieces[] = "Pump 3 of tank 12 has stopped at noon";

std::string TextTaken(const PagingHost& host) {
  std::string text;
  for (const centre::Request& request : host.Requests()) {
    if (request.accepted && !request.type.empty()) text += request.text;
  }
  return text;
}

/// Messages that reached the centre, whatever it said to them.
bool AnyRecorded(const PagingHost& host) {
  const auto& requests = host.Requests();
  return std::any_of(requests.begin(), requests.end(), [](const centre::Request& request) {
    return !request.recipient.empty() && !request.text.empty();
  });
}

class Truth : public testing::TestWithParam<Protocol> {
 protected:
  void ExpectNoLie(const PagingHost& host, const std::string& text) {
    const Judgement judgement = Judge(host.sender.Report());
    ++seen_[judgement.outcome];
    const bool taken = TextTaken(host) == text;
    EXPECT_TRUE(judgement.outcome != Outcome::kAccepted || taken) << host.sender.Status;
    EXPECT_TRUE(judgement.outcome != Outcome::kRefused || !taken) << host.sender.Status;
    EXPECT_TRUE(judgement.outcome != Outcome::kUnusable || !AnyRecorded(host));
    EXPECT_TRUE(judgement.outcome != Outcome::kUnreachable || !AnyRecorded(host))
        << judgement.reason << host.sender.Status;
    EXPECT_EQ(judgement.exit_code == 0, judgement.outcome == Outcome::kAccepted);
  }
  void SendAgainst(const Words& settings) {
    for (const char* text : {kOnePiece, kTwoPieces}) SendOnce(settings, text);
  }
  void SendOnce(const Words& settings, const char* text) {
    SCOPED_TRACE(testing::PrintToString(settings));
    PagingHost host(GetParam(), settings);
    host.Send(text);
    ExpectNoLie(host, text);
  }
  void SendAgainst(const std::string& settings) {
    std::istringstream words(settings);
    SendAgainst(Words{std::istream_iterator<std::string>(words), {}});
  }

  std::map<Outcome, int> seen_;
};

INSTANTIATE_TEST_SUITE_P(Every, Truth, testing::Values(kTap, kUcp), sweep::NameOf);

constexpr const char* kFaults[] = {
    "",
    "answer-delay=60000",
    "noise=~x~",
    "noise=<ACK><CR>",
    "noise=~x~<CR>ID=",
    "garbage=50",
    "garbage=5000",
    "garbage=1000000",
    "flood=50",
    "flood=1000000",
    "silent-at=prompt",
    "silent-at=login",
    "silent-at=go-ahead",
    "silent-at=message",
    "silent-at=logout",
    "prompt=ID=<CR><LF>",
    "prompt=<CR>ID=",
    "prompt-delay=2500",
    "prompt-delay=20000",
    "ignored-crs=6",
    "even-parity=on",
    "identifier=XX9",
    "password=secret",
    "login-refusals=1",
    "login-refusals=20",
    "login-refusals=1 login-refusal=rs",
    "login-refusals=1 login-refusal=end",
    "go-ahead-delay=1000",
    "go-ahead-delay=9000",
    "go-ahead=<ESC>[q<CR>",
    "go-ahead=<ESC>[p<CR><ACK><CR>",
    "t5=100",
    "codes=off",
    "ack=<ACK>",
    "ack=ok",
    "nak=<NAK><ACK>",
    "rs=<RS><ACK>",
    "refuse=1",
    "refuse=all refusal=nak",
    "refuse=all refusal=rs",
    "refuse=all refusal=end",
    "refuse=all refusal-text=<xFF>ACK<xFF>",
    "recipients=999",
    "max-block=30",
    "wrong-checksums=1",
    "wrong-checksums=all",
    "refuse=all ucp-refusal=2",
    "refuse=all ucp-refusal=6",
    "refuse=all ucp-refusal=10",
    "refuse=all ucp-refusal=24",
    "refuse=all ucp-refusal=33",
    "refuse=all ucp-refusal=99",
    "login-required=on",
    "idle-time=500",
    "validity=010101",
    "system-message=",
    "system-message={recipient}:{time}",
};

TEST_P(Truth, IsToldWhateverTheCentreDoes) {
  for (const char* fault : kFaults) SendAgainst(fault);
  EXPECT_GE(seen_[Outcome::kAccepted], 10);
  EXPECT_GE(seen_[Outcome::kRefused], 10);
  EXPECT_GE(seen_[Outcome::kUnknown], 3);
}

TEST_P(Truth, IsToldHoweverLateTheAnswersAre) {
  for (int delay = 0; delay <= 12000; delay += 300) {
    SendAgainst("answer-delay=" + std::to_string(delay));
  }
}

TEST_P(Truth, IsToldHoweverTheAnswersAreCut) {
  for (const int gap : {10, 150, 1100, 3000}) {
    for (const int bytes : {1, 2, 3, 5, 8, 13, 24}) {
      SendAgainst({"chunk-bytes=" + std::to_string(bytes), "chunk-gap=" + std::to_string(gap)});
    }
  }
  for (int bytes = 1; bytes <= 45; bytes += 2) {
    SendAgainst("truncate-answers=" + std::to_string(bytes));
  }
}

TEST_P(Truth, IsToldWhereverTheLineDrops) {
  for (const char* direction : {"received", "sent"}) {
    const int beyond_all = seen_[Outcome::kAccepted] + 1;
    for (int bytes = 1; seen_[Outcome::kAccepted] < beyond_all; ++bytes) {
      SendOnce({std::string("hang-up-after-") + direction + "=" + std::to_string(bytes)},
               kTwoPieces);
    }
  }
  EXPECT_GT(seen_[Outcome::kUnknown], 20);
  EXPECT_GT(seen_[Outcome::kUnreachable], GetParam().name == std::string("TAP") ? 20 : -1);
}

TEST_P(Truth, IsToldWhicheverOperationOfTheMachineFails) {
  bool touched = true;
  for (int n = 1; touched; ++n) {
    SCOPED_TRACE(n);
    PagingHost host(GetParam());
    int countdown = n;
    host.platform.fail = [&](const std::string& operation) {
      const bool counts = !operation.starts_with("EventLoop.") && !operation.starts_with("Clock.");
      return counts && --countdown == 0;
    };
    host.Send(kTwoPieces);
    host.platform.fail = nullptr;
    ExpectNoLie(host, kTwoPieces);
    touched = countdown <= 0;
  }
}

}  // namespace
}  // namespace mvsms::dispatch
