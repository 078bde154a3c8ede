// What is remembered of one attempt to send: a row of the journal, written once before the call and
// once after it, so that a send whose process was killed leaves a row that says so. The journal
// answers who was paged, when, and with what result; where its rows lie is the business of a back
// end.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "dispatch/outcome.h"

namespace mvsms::dispatch {

/// Texts are in the ANSI code page.
struct JournalRow {
  std::string id;  // of this attempt alone
  std::string profile;
  std::string recipient;    // as it was given; after the send as it went into the frame
  std::string text;         // empty where texts are not kept
  std::string text_digest;  // SHA-256 of the text in UTF-8, where that is kept instead
  std::string service;      // as it was asked for; after the send the one that was used

  // Known after the send.
  std::string modem;
  std::string dialled;
  std::string outcome;  // its name; empty until then
  std::string reason;
  std::string answer;  // of the centre, the one that decided
  std::int32_t exit_code = 0;
  std::int32_t pieces = 0;
  std::int32_t pieces_accepted = 0;
  std::chrono::milliseconds duration{0};
  std::chrono::milliseconds ago{0};  // that it ended, when the row is written
};

/// Of a row that nobody closed: while its process runs, and when that is gone, which leaves unknown
/// what became of the message.
inline constexpr char kOutcomeOpen[] = "open";
inline constexpr char kInterrupted[] =
    "the program was ended before it could say what became of the message; it may have gone out";

/// A reason without what it quotes, which stands behind its first colon: a centre's words, and with
/// them perhaps the text.
std::string WithoutQuotation(const std::string& reason);

/// Puts the text into the row as far as `keep` says, one of the choices of setting::kJournalText:
/// the whole text, its digest, or nothing. Anything else keeps nothing.
void TakeText(JournalRow& row, const std::string& text, const std::string& keep);

/// Closes the row with what became of the message. Where its text is not kept, nothing that the
/// centre said is either: it may have said the text.
void Close(JournalRow& row, const SendReport& report, const Judgement& judgement);

}  // namespace mvsms::dispatch
