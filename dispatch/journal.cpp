// See journal.h.
#include "dispatch/journal.h"

#include "base/ansi.h"
#include "base/sha256.h"
#include "engine/settings.h"

namespace mvsms::dispatch {

std::string WithoutQuotation(const std::string& reason) {
  return reason.substr(0, reason.find(": "));
}

void TakeText(JournalRow& row, const std::string& text, const std::string& keep) {
  const auto& [full, hash, none] = setting::kJournalText.choices;
  if (keep == full) row.text = text;
  if (keep == hash) row.text_digest = Sha256(Utf8FromAnsi(text));
}

void Close(JournalRow& row, const SendReport& report, const Judgement& judgement) {
  const bool open = !row.text.empty();
  row.modem = report.modem;
  row.dialled = report.dialled;
  row.outcome = NameOf(judgement.outcome);
  row.reason = open ? judgement.reason : WithoutQuotation(judgement.reason);
  row.answer = open ? DecidingAnswer(report) : "";
  row.exit_code = judgement.exit_code;
  row.pieces = report.pieces_in_all;
  row.pieces_accepted = judgement.pieces_accepted;
  row.duration = report.duration;
}

}  // namespace mvsms::dispatch
