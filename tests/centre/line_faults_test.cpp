// Bad lines, over the TAP centre whose answers are known.
#include "centre/line_faults.h"

#include <gtest/gtest.h>

#include "tests/support/centre_call.h"

namespace mvsms::centre::test {
namespace {

TEST(LineFaults, ACleanLineChangesNothing) {
  TapTest tap;
  Call call = tap.Dialled();
  EXPECT_EQ(call.Answer("<CR>" + kLogin + kPage), kPrompt + kLoggedIn + kPageAccepted);
}

TEST(LineFaults, AnswersCanBeLateAndKeepTheirOrder) {
  TapTest tap({"answer-delay=300"});
  Call call = tap.Dialled();
  call.Sends("<CR>");
  call.Waits(299);
  EXPECT_EQ(call.Hears(), "");
  call.Waits(1);
  EXPECT_EQ(call.Hears(), kPrompt);
  call.Sends(kLogin);
  call.Waits(100);
  call.Sends(kPage);
  call.Waits(200);
  EXPECT_EQ(call.Hears(), kLoggedIn);
  call.Waits(100);
  EXPECT_EQ(call.Hears(), kPageAccepted);
}

TEST(LineFaults, AnswersCanComeInPieces) {
  TapTest tap({"chunk-bytes=2", "chunk-gap=50"});
  Call call = tap.Dialled();
  EXPECT_EQ(call.Answer("<CR>"), "ID");
  call.Waits(49);
  EXPECT_EQ(call.Hears(), "");
  call.Waits(1);
  EXPECT_EQ(call.Hears(), "=");
}

TEST(LineFaults, TheNextAnswerWaitsForThePiecesOfTheLast) {
  TapTest tap({"chunk-bytes=1", "chunk-gap=10", "codes=off"});
  Call call = tap.Dialled();
  call.Sends("<CR><CR>");
  EXPECT_EQ(call.Hears(), "I");
  call.Waits(50);
  EXPECT_EQ(call.Hears(), "D=ID=");
}

TEST(LineFaults, AHangUpWaitsForThePiecesOfTheAnswer) {
  TapTest tap({"chunk-bytes=1", "chunk-gap=10", "codes=off"});
  Call call = tap.Prompted();
  call.Waits(50);
  call.Sends("<EOT><CR>");
  call.Hears();
  call.Waits(29);
  EXPECT_FALSE(call.IsOver());
  call.Waits(1);
  EXPECT_TRUE(call.IsOver());
}

TEST(LineFaults, AnswersCanBeCutOff) {
  TapTest tap({"truncate-answers=2"});
  Call call = tap.Dialled();
  EXPECT_EQ(call.Answer("<CR>"), "ID");
  EXPECT_EQ(call.Answer("<CR>"), "ID");
}

TEST(LineFaults, NoiseComesBeforeThePrompt) {
  TapTest tap({"noise=~<FF>x"});
  Call call = tap.Dialled();
  EXPECT_EQ(call.Hears(), "~<FF>x");
  EXPECT_EQ(call.Answer("<CR>"), kPrompt);
}

TEST(LineFaults, GarbageAndFloodAreAsLongAsAskedAndTheSameEachTime) {
  TapTest tap({"garbage=100", "flood=5000"});
  Call call = tap.Dialled();
  const std::string garbage = call.HearsBytes();
  EXPECT_EQ(garbage.size(), 100u);
  call.Sends("<CR>");
  const std::string flood = call.HearsBytes();
  EXPECT_EQ(flood.size(), 5003u);
  EXPECT_TRUE(flood.ends_with(kPrompt));
  EXPECT_EQ(call.Answer("<CR>"), kPrompt);
  EXPECT_EQ(tap.Dialled().HearsBytes(), garbage);
  TapTest other({"garbage=100", "seed=2"});
  EXPECT_NE(other.Dialled().HearsBytes(), garbage);
}

TEST(LineFaults, AFloodWithoutEndIsAMillionBytes) {
  TapTest tap({"garbage=all"});
  EXPECT_EQ(tap.Dialled().HearsBytes().size(), 1048576u);
}

TEST(LineFaults, HangsUpAfterAnyReceivedByte) {
  const std::string all = FromNotation("<CR>" + kLogin + kPage);
  for (std::size_t limit = 1; limit <= all.size(); ++limit) {
    TapTest tap({"hang-up-after-received=" + std::to_string(limit)});
    Call call = tap.Dialled();
    call.SendsBytes(all.substr(0, limit - 1));
    EXPECT_FALSE(call.IsOver());
    call.SendsBytes(all.substr(limit - 1));
    EXPECT_TRUE(call.IsOver());
    EXPECT_EQ(tap.requests.size(), limit < 6 ? 0u : limit < all.size() ? 1u : 2u) << limit;
  }
}

TEST(LineFaults, HangsUpAfterAnySentByte) {
  const std::string answers = FromNotation(kPrompt + kLoggedIn + kPageAccepted);
  for (std::size_t limit = 1; limit <= answers.size(); ++limit) {
    TapTest tap({"hang-up-after-sent=" + std::to_string(limit)});
    Call call = tap.Dialled();
    for (const char c : FromNotation("<CR>" + kLogin + kPage)) {
      call.SendsBytes({c});
      call.Waits(0);
    }
    EXPECT_TRUE(call.IsOver()) << limit;
    EXPECT_EQ(call.HearsBytes(), answers.substr(0, limit));
  }
}

TEST(LineFaults, AHangUpInTheMiddleOfALastAnswerHappensOnce) {
  TapTest tap({"hang-up-after-sent=10", "codes=off"});
  Call call = tap.Prompted();
  call.Sends("<EOT><CR>");
  call.Waits(0);
  EXPECT_TRUE(call.IsOver());
}

TEST(LineFaults, AFailedCallIsHungUpAfterTheRingTime) {
  TapTest tap({"call=busy", "failed-calls=1", "ring-time=500"});
  Call failed = tap.Dialled();
  EXPECT_EQ(failed.Answer("<CR>"), "");
  failed.Waits(500);
  EXPECT_TRUE(failed.IsOver());
  EXPECT_EQ(tap.Dialled().Answer("<CR>"), kPrompt);
}

TEST(LineFaults, NothingIsLeftBehindWhenTheCallerGoes) {
  TapTest tap({"answer-delay=100", "chunk-bytes=1", "chunk-gap=10"});
  Call call = tap.Dialled();
  call.Sends("<CR>" + kLogin);
  call.Waits(105);
  call.HangsUp();
  call.Waits(10000);
  EXPECT_EQ(call.Hears(), "I");
}

}  // namespace
}  // namespace mvsms::centre::test
