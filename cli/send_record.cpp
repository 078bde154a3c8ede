// See send_record.h.
#include "cli/send_record.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <exception>

#include "base/ansi.h"
#include "base/raised_error.h"
#include "base/texts.h"
#include "cli/store.h"
#include "cli/system.h"
#include "dispatch/hand_over.h"
#include "engine/settings.h"

namespace mvsms::cli {
namespace {

using dispatch::JournalRow;

JournalRow RowOf(const Context& context, const SendOptions& options) {
  JournalRow row;
  row.id = dispatch::FreshId();
  row.profile = AnsiFromUtf8(context.profile);
  row.recipient = AnsiFromUtf8(options.to);
  row.service = AnsiFromUtf8(options.service);
  return row;
}

/// Why the row cannot be written, UTF-8; empty when it was.
std::string Trouble(Context& context, const JournalRow& row) try {
  WriteJournal(context, row);
  return "";
} catch (const RaisedError& error) {
  return Utf8FromAnsi(error.description());
} catch (const std::exception& error) {
  return std::string("The journal cannot be used: ") + error.what() + ".";
}

std::string Quoted(const std::string& ansi) {
  return '"' + ReplaceAll(Printable(Utf8FromAnsi(ansi)), "\"", "'") + '"';
}

std::string Seconds(std::chrono::milliseconds duration) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.1f", static_cast<double>(duration.count()) / 1000);
  return text.data();
}

void TellSystem(Context& context, const JournalRow& row) {
  if (SettingOrInitial(context, setting::kSyslog) != "1") return;
  if (!WriteSystemLog(row.exit_code == kExitAccepted, SystemLogLine(row))) {
    context.Warn("the system's log took no line about this send");
  }
}

}  // namespace

std::string SystemLogLine(const JournalRow& row) {
  return "id=" + row.id + " outcome=" + row.outcome + " exit=" + std::to_string(row.exit_code) +
         " to=" + Quoted(row.recipient) + " service=" + Quoted(row.service) +
         " modem=" + Quoted(row.modem) + " pieces=" + std::to_string(row.pieces_accepted) + "/" +
         std::to_string(row.pieces) + " seconds=" + Seconds(row.duration) +
         " reason=" + Quoted(dispatch::WithoutQuotation(row.reason));
}

SendRecord::SendRecord(Context& context, const SendOptions& options)
    : context_(context), row_(RowOf(context, options)) {
  TakeText(row_, AnsiFromUtf8(options.text), SettingOrInitial(context, setting::kJournalText));
  const std::string trouble = Trouble(context, row_);
  told_ = !trouble.empty();
  if (told_) context_.Warn(trouble + " The message goes out all the same.");
}

void SendRecord::Close(const std::string& recipient, const std::string& service,
                       const std::string& member, const SendReport& report,
                       const dispatch::Judgement& judgement) {
  // One that cannot be sent to has no form for the frame.
  if (!recipient.empty()) row_.recipient = recipient;
  row_.service = service;
  dispatch::Close(row_, report, judgement);
  if (!member.empty()) row_.modem += "/" + member;
  const std::string trouble = Trouble(context_, row_);
  if (!trouble.empty() && !told_)
    context_.Warn(trouble + " The journal has this send without its end.");
  TellSystem(context_, row_);
}

std::string RecordNotBegun(Context& context, const SendOptions& options,
                           const dispatch::Judgement& judgement) {
  JournalRow row = RowOf(context, options);
  row.outcome = NameOf(judgement.outcome);
  row.reason = judgement.reason;
  row.exit_code = judgement.exit_code;
  const std::string trouble = Trouble(context, row);
  if (!trouble.empty()) context.Warn(trouble);
  return row.id;
}

}  // namespace mvsms::cli
