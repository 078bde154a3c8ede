// Every operation of the platform is refused at its n-th call, once or from then on, n rising until
// a send passes untouched: the send ends in its time and says how, nothing counts as sent that the
// centre did not take, nothing is left open, and the same Sender works again afterwards.
#include <gtest/gtest.h>

#include <set>

#include "tests/sweep/paging_host.h"

namespace mvsms::sweep {
namespace {

enum class Lasting { kOnce, kForEver };

/// What leaves something open by its very refusal: the operations that close.
const std::set<std::string> kClosing = {"Comm.CloseHandle", "ITBasicCallControl.Disconnect",
                                        "ITTAPI.Shutdown", "ITTAPI.UnregisterNotifications",
                                        "Registry.CloseKey"};

bool CanBeRefused(const std::string& operation) {
  return !operation.starts_with("EventLoop.") && !operation.starts_with("Clock.") &&
         !operation.starts_with("Locale.");
}

class Refusal : public testing::TestWithParam<Protocol> {
 protected:
  /// Refuses the n-th call of `only` (of any operation when empty), and all after it when that
  /// lasts. Whether there was an n-th call.
  static bool SendWithRefusal(int n, Lasting lasting, const std::string& only = "") {
    PagingHost host(GetParam());
    std::string refused;
    int countdown = n;
    host.platform.fail = [&](const std::string& operation) {
      if (!CanBeRefused(operation) || (!only.empty() && operation != only)) return false;
      if (--countdown == 0) refused = operation;
      return countdown == 0 || (countdown < 0 && lasting == Lasting::kForEver);
    };
    SCOPED_TRACE("call " + std::to_string(n) + " of " + (only.empty() ? "all" : only));
    const bool sent = host.SendTwoPieces();
    const bool touched = countdown <= 0;
    Judge(host, sent, touched);
    host.platform.fail = nullptr;
    ExpectUsable(host, lasting == Lasting::kForEver || kClosing.count(refused) > 0);
    return touched;
  }

  /// What a send that nothing disturbs asks of the platform.
  static std::set<std::string> Operations() {
    PagingHost untouched(GetParam());
    untouched.platform.calls.clear();
    EXPECT_TRUE(untouched.SendTwoPieces());
    std::set<std::string> operations;
    for (const std::string_view operation : untouched.platform.calls) {
      if (CanBeRefused(std::string(operation))) operations.emplace(operation);
    }
    return operations;
  }

 private:
  static void Judge(PagingHost& host, bool sent, bool touched) {
    EXPECT_TRUE(touched || sent) << host.sender.Status;
    EXPECT_TRUE(!sent || host.Accepted() == 2) << host.sender.Status;
    EXPECT_LE(host.platform.slept(), kLongestSend);
    const std::string last = host.Lines().back();
    const bool ended = last == test::kSuccessLine || last == test::kFailedLine;
    // A send that an unforeseen error ended has that error as its last line.
    EXPECT_TRUE(ended || (!sent && !host.errors.empty())) << host.sender.Status;
    if (ended) host.ExpectToldHow(sent);
  }

  /// The next message of the same object goes out, and then nothing is open that could be closed.
  static void ExpectUsable(PagingHost& host, bool closing_was_refused) {
    EXPECT_TRUE(host.Send("Next")) << host.sender.Status;
    if (!closing_was_refused) host.ExpectNothingLeft();
  }
};

INSTANTIATE_TEST_SUITE_P(Every, Refusal, testing::Values(kTap, kUcp), NameOf);

TEST_P(Refusal, OfAnyOperationOnce) {
  int n = 1;
  while (SendWithRefusal(n, Lasting::kOnce)) ++n;
  EXPECT_GT(n, 50);
}

TEST_P(Refusal, OfEverythingFromAnyMomentOn) {
  int n = 1;
  while (SendWithRefusal(n, Lasting::kForEver)) ++n;
  EXPECT_GT(n, 50);
}

TEST_P(Refusal, OfEachOperationFromAnyMomentOn) {
  const std::set<std::string> operations = Operations();
  ASSERT_GT(operations.size(), 20U);
  for (const std::string& operation : operations) {
    int n = 1;
    while (SendWithRefusal(n, Lasting::kForEver, operation)) ++n;
    EXPECT_GT(n, 1) << operation;
  }
}

}  // namespace
}  // namespace mvsms::sweep
