// What a row of the journal keeps of a send, and what it does not where texts are private.
#include "dispatch/journal.h"

#include <gtest/gtest.h>

#include "tests/sweep/paging_host.h"

namespace mvsms::dispatch {
namespace {

using sweep::kTap;
using sweep::kUcp;
using sweep::PagingHost;

JournalRow RowOf(PagingHost& host, const std::string& keep) {
  const std::string text = "Pump 3 has stopped";
  JournalRow row;
  TakeText(row, text, keep);
  host.Send(text);
  Close(row, host.sender.Report(), Judge(host.sender.Report()));
  return row;
}

TEST(Journal, ATextIsKeptAsFarAsTheSettingSays) {
  const std::string text =
      "Gr\xFC\xDF"
      "e";
  JournalRow full, hash, none, unknown;
  TakeText(full, text, "full");
  TakeText(hash, text, "hash");
  TakeText(none, text, "none");
  TakeText(unknown, text, "Hash");
  EXPECT_EQ(full.text, text);
  EXPECT_EQ(full.text_digest, "");
  EXPECT_EQ(hash.text, "");
  // printf 'Grüße' | sha256sum
  EXPECT_EQ(hash.text_digest, "f83e039796c6453a10f5519e39fd113901572316a1a8ea07cb525d2801dfd074");
  EXPECT_EQ(none.text + none.text_digest, "");
  EXPECT_EQ(unknown.text + unknown.text_digest, "");
}

TEST(Journal, ARowHasTheOutcomeOfTheJudgement) {
  PagingHost host(kUcp, {"refuse=all", "ucp-refusal=2"});
  const JournalRow row = RowOf(host, "full");
  EXPECT_EQ(row.outcome, "refused");
  EXPECT_EQ(row.exit_code, 1);
  EXPECT_EQ(row.reason, Judge(host.sender.Report()).reason);
  EXPECT_EQ(row.answer, DecidingAnswer(host.sender.Report()));
  EXPECT_NE(row.answer, "");
  EXPECT_EQ(row.pieces, 1);
  EXPECT_EQ(row.pieces_accepted, 0);
  EXPECT_EQ(row.modem, host.sender.Report().modem);
  EXPECT_GT(row.duration.count(), 0);
}

TEST(Journal, WithoutTheTextTheCentresWordsAreNotKeptEither) {
  for (const char* keep : {"hash", "none"}) {
    PagingHost host(kTap, {"refuse=all"});
    const JournalRow row = RowOf(host, keep);
    EXPECT_EQ(row.answer, "");
    EXPECT_EQ(row.reason, "the message centre refused the message");
    EXPECT_EQ(row.exit_code, 1);
  }
}

}  // namespace
}  // namespace mvsms::dispatch
