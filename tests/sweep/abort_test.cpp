// The host aborts at every moment at which its events are processed, from the dialling to the last
// answer: the send stops at its next check, hangs up, and the object sends no more.
#include <gtest/gtest.h>

#include "tests/sweep/paging_host.h"

namespace mvsms::sweep {
namespace {

/// The sessions check after every answer that they waited for: the service's time-out before a
/// block and the two seconds for its answer are the longest way to the next check.
constexpr Millis kLongestReaction{4000};

class Abort : public testing::TestWithParam<Protocol> {
 protected:
  /// Runs `action` at the n-th processing of events. Whether there was one.
  bool SendWith(PagingHost& host, int n, const std::function<void()>& action) {
    int countdown = n;
    host.platform.fail = [&](const std::string& operation) {
      if (operation == "EventLoop.DoEvents" && --countdown == 0) action();
      return false;
    };
    sent_ = host.SendTwoPieces();
    host.platform.fail = nullptr;
    return countdown <= 0;
  }
  bool sent_ = false;
};

INSTANTIATE_TEST_SUITE_P(Every, Abort, testing::Values(kTap, kUcp), NameOf);

TEST_P(Abort, AtAnyMomentEndsTheSendInItsPause) {
  int aborted_sends = 0;
  for (int n = 1;; ++n) {
    SCOPED_TRACE(n);
    PagingHost host(GetParam());
    Millis aborted{0};
    const bool reached = SendWith(host, n, [&] {
      aborted = host.platform.slept();
      host.sender.AbortAction();
    });
    if (!reached) break;
    EXPECT_LE(host.platform.slept() - aborted, kLongestReaction) << host.sender.Status;
    EXPECT_TRUE(!sent_ || host.Accepted() == 2);
    host.ExpectToldHow(sent_);
    host.ExpectNothingLeft();
    if (!sent_) ++aborted_sends;
    EXPECT_FALSE(host.Send("Next"));
    host.ExpectNothingLeft();
  }
  EXPECT_GT(aborted_sends, 30);
}

TEST_P(Abort, WhileTheCallIsSetUpIsToldByTheMedium) {
  PagingHost host(GetParam());
  EXPECT_TRUE(SendWith(host, 3, [&] { host.sender.AbortAction(); }));
  EXPECT_FALSE(sent_);
  EXPECT_TRUE(host.HasLine("4570: Unable to connect to the specified phone number"));
  EXPECT_TRUE(host.Requests().empty());
}

}  // namespace
}  // namespace mvsms::sweep
