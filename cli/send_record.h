// What is remembered of one attempt of `mvsms send`: its row in the journal and, where the profile
// asks for it, its line in the system's log. A message never waits for long, and never fails, for
// the sake of its memory: what cannot be written is told in a sentence.
#pragma once

#include <string>

#include "cli/context.h"
#include "cli/send_run.h"
#include "dispatch/journal.h"

namespace mvsms::cli {

class SendRecord {
 public:
  /// Writes the row of a send that begins.
  SendRecord(Context& context, const SendOptions& options);

  /// Different from that of every other send, on whatever machine.
  const std::string& id() const { return row_.id; }

  /// Closes the row. Texts are in the ANSI code page, as the send has left them; `member` is
  /// the modem of a pool that the call went over.
  void Close(const std::string& recipient, const std::string& service, const std::string& member,
             const SendReport& report, const dispatch::Judgement& judgement);

 private:
  Context& context_;
  dispatch::JournalRow row_;
  bool told_ = false;  // that the journal cannot be written
};

/// What the system's log gets of a closed row, UTF-8: never the text, nor what the centre said, for
/// that may be the text. Such logs are read by many, and sent to other machines.
std::string SystemLogLine(const dispatch::JournalRow& row);

/// Writes the row of a send that ended before it began, for settings that cannot even be read. They
/// cannot say whether its text may be kept, so it is not. Returns its id.
std::string RecordNotBegun(Context& context, const SendOptions& options,
                           const dispatch::Judgement& judgement);

}  // namespace mvsms::cli
