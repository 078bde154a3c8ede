// A host that calls back from inside its own events, at every event of a send: it assigns Status,
// aborts, changes its settings, throws, or starts a second send, which is not supported but must
// not take the program down or leave the modem on the line.
#include <gtest/gtest.h>

#include "tests/sweep/paging_host.h"

namespace mvsms::sweep {
namespace {

class Reentrancy : public testing::TestWithParam<Protocol> {
 protected:
  /// A send in whose n-th event `action` runs. Whether there was an n-th event.
  static bool SendWith(PagingHost& host, int n, const std::function<void()>& action) {
    int countdown = n;
    const auto in_event = [&countdown, &action] {
      if (--countdown == 0) action();
    };
    host.on_status = [in_event](std::string&) { in_event(); };
    host.on_error = [in_event](std::int32_t&, std::string&, std::string&) { in_event(); };
    sent = host.SendTwoPieces();
    host.on_status = nullptr;
    host.on_error = nullptr;
    return countdown <= 0;
  }
  static inline bool sent = false;
};

INSTANTIATE_TEST_SUITE_P(Every, Reentrancy, testing::Values(kTap, kUcp), NameOf);

TEST_P(Reentrancy, StatusAssignedInAnyEventLosesNoMessage) {
  for (int n = 1;; ++n) {
    PagingHost host(GetParam());
    if (!SendWith(host, n, [&] { host.sender.Status = "mine"; })) break;
    EXPECT_TRUE(sent) << n;
    EXPECT_TRUE(host.sender.Status.starts_with("mine"));
    EXPECT_EQ(host.Accepted(), 2U);
  }
}

TEST_P(Reentrancy, AHandlerThatThrowsInAnyEventLosesNoMessage) {
  for (int n = 1;; ++n) {
    PagingHost host(GetParam());
    if (!SendWith(host, n, [] { throw std::runtime_error("no display"); })) break;
    EXPECT_TRUE(sent) << n;
    host.ExpectNothingLeft();
  }
}

TEST_P(Reentrancy, HandlersUnboundInAnyEventLoseNoMessage) {
  for (int n = 1;; ++n) {
    PagingHost host(GetParam());
    const bool reached = SendWith(host, n, [&] {
      host.sender.OnStatusChange = nullptr;
      host.sender.OnError = nullptr;
    });
    if (!reached) break;
    EXPECT_TRUE(sent) << n;
  }
}

TEST_P(Reentrancy, AbortInAnyEventHangsUp) {
  for (int n = 1;; ++n) {
    PagingHost host(GetParam());
    if (!SendWith(host, n, [&] { host.sender.AbortAction(); })) break;
    EXPECT_TRUE(!sent || host.Accepted() == 2) << n;
    host.ExpectNothingLeft();
  }
}

TEST_P(Reentrancy, ASecondSendInAnyEventHangsUpAndTellsNoLie) {
  for (int n = 1;; ++n) {
    SCOPED_TRACE(n);
    PagingHost host(GetParam());
    bool second_sent = false;
    std::string recipient = "0171", originator, message = "Second", service;
    const bool reached = SendWith(host, n, [&] {
      second_sent = host.sender.SendMessage(recipient, originator, message, service);
    });
    if (!reached) break;
    EXPECT_LE((sent ? 2U : 0U) + (second_sent ? 1U : 0U), host.Accepted());
    EXPECT_TRUE(host.Send("Next")) << host.sender.Status;
    host.ExpectNothingLeft();
  }
}

}  // namespace
}  // namespace mvsms::sweep
