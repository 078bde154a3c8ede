// The line drops after every single byte of a whole dialogue, in both directions: a message counts
// as sent only when its acknowledgement came through, the call is always over, and the same Sender
// sends the next message.
#include <gtest/gtest.h>

#include "tests/sweep/paging_host.h"

namespace mvsms::sweep {
namespace {

class LineDrop : public testing::TestWithParam<Protocol> {
 protected:
  /// Sends over a line that drops after `limit` bytes of a direction. Whether it dropped.
  bool SendOver(const std::string& direction, int limit) {
    SCOPED_TRACE(direction + " " + std::to_string(limit));
    PagingHost host(GetParam(), {"hang-up-after-" + direction + "=" + std::to_string(limit)});
    const bool sent = host.SendTwoPieces();
    const bool dropped = !sent;
    EXPECT_TRUE(!sent || host.Accepted() == 2) << host.sender.Status;
    host.ExpectToldHow(sent);
    host.ExpectNothingLeft();
    EXPECT_LE(host.platform.slept(), kLongestSend);
    ExpectUsable(host);
    return dropped;
  }
  /// A sound line takes the next message of the same object.
  void ExpectUsable(PagingHost& host) {
    PagingHost sound(GetParam());
    host.far_end = sound.far_end;
    EXPECT_TRUE(host.Send("Next")) << host.sender.Status;
    EXPECT_EQ(sound.Accepted(), 1U);
    EXPECT_FALSE(host.sender.RetrySuggested);
  }
  /// The bytes of a dialogue that nothing disturbs.
  int Length(const std::string& direction) {
    PagingHost host(GetParam());
    EXPECT_TRUE(host.SendTwoPieces());
    std::size_t sent_by_us = 0;
    for (const auto& write : host.platform.sent) sent_by_us += write.bytes.size();
    std::size_t sent_by_centre = 0;
    for (const auto& request : host.Requests()) sent_by_centre += request.answer.size();
    return static_cast<int>(direction == "received" ? sent_by_us : sent_by_centre);
  }
};

INSTANTIATE_TEST_SUITE_P(Every, LineDrop, testing::Values(kTap, kUcp, Protocol{"UCP", "01"}),
                         NameOf);

TEST_P(LineDrop, AfterAnyByteFromUs) {
  const int length = Length("received");
  ASSERT_GT(length, 60);
  for (int limit = 1; limit <= length; ++limit) EXPECT_TRUE(SendOver("received", limit)) << limit;
  EXPECT_FALSE(SendOver("received", length + 1));
}

TEST_P(LineDrop, AfterAnyByteFromTheCentre) {
  const int length = Length("sent");
  ASSERT_GT(length, 40);
  // The centre's last bytes are lost with the line when it drops before we look for them.
  for (int limit = 1; limit <= length; ++limit) EXPECT_TRUE(SendOver("sent", limit)) << limit;
  EXPECT_FALSE(SendOver("sent", 2 * length));
}

}  // namespace
}  // namespace mvsms::sweep
