// mvsms journal: who was paged, when and with what result; the rows that every send leaves.
#include <pwd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <memory>
#include <ostream>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "backends/posix/store/journal.h"
#include "base/ansi.h"
#include "base/texts.h"
#include "cli/commands.h"
#include "cli/interrupt.h"
#include "cli/json.h"
#include "cli/posix/since.h"
#include "cli/posix/views.h"

namespace mvsms::cli {
namespace {

using posix::Journal;
using posix::JournalEntry;

constexpr std::chrono::milliseconds kLookAgain{500};
constexpr long long kLongestKept = 36500;   // days
constexpr std::int64_t kDay = 86400;        // seconds
constexpr std::size_t kNoPagersNumber = 8;  // digits: too many for one of a pager

struct JournalOptions {
  std::string since;
  std::string to;
  std::string outcome;
  std::string prune;
  bool csv = false;
  bool follow = false;
};

// --- which entries

// A number without what differs between the ways to write it: marks, "+", "00" and "0" in front.
std::string EndOfNumber(const std::string& number) {
  const std::string digits = KeepDigits(number);
  return digits.substr(std::min(digits.find_first_not_of('0'), digits.size()));
}

class Filter {
 public:
  /// An empty `profile` (ANSI) is any.
  Filter(const JournalOptions& options, const std::string& profile)
      : profile_(FoldCase(profile)),
        since_(options.since.empty() ? 0
                                     : ParseSince("--since", options.since, std::time(nullptr))),
        end_(EndOfNumber(options.to)),
        outcome_(options.outcome) {
    if (!options.to.empty() && end_.empty()) {
      throw UsageError("--to must be a number, not \"" + Printable(options.to) + "\"");
    }
  }

  std::int64_t since() const { return since_; }
  bool Takes(const JournalEntry& entry) const {
    return SameNumber(entry.row.recipient) && (outcome_.empty() || entry.row.outcome == outcome_) &&
           (profile_.empty() || FoldCase(entry.row.profile) == profile_);
  }

 private:
  /// A row without the code of the country is meant, too, by a number that has it.
  bool SameNumber(const std::string& recipient) const {
    const std::string end = EndOfNumber(recipient);
    return end.ends_with(end_) || (end.size() >= kNoPagersNumber && end_.ends_with(end));
  }

  std::string profile_;
  std::int64_t since_;
  std::string end_;
  std::string outcome_;
};

// --- how an entry looks

// The name that the number of a user has now.
std::string UserName(std::uint32_t user) {
  const passwd* const entry = getpwuid(user);
  return entry != nullptr ? entry->pw_name : std::to_string(user);
}

Json OrNull(const std::string& ansi) {
  return ansi.empty() ? Json(nullptr) : Json(Utf8FromAnsi(ansi));
}

double SecondsOf(const JournalEntry& entry) {
  return static_cast<double>(entry.row.duration.count()) / 1000;
}

}  // namespace

// What nobody knows, for the send has not come to its end, is null.
Json AttemptJson(const JournalEntry& entry) {
  const auto& row = entry.row;
  const bool closed = entry.ended != 0;
  const auto known = [&](Json value) { return closed ? std::move(value) : Json(nullptr); };
  return {{"id", Utf8FromAnsi(row.id)},
          {"begun", LocalMoment(entry.begun)},
          {"ended", known(LocalMoment(entry.ended))},
          {"user", UserName(entry.user)},
          {"profile", Utf8FromAnsi(row.profile)},
          {"recipient", Utf8FromAnsi(row.recipient)},
          {"text", OrNull(row.text)},
          {"text_sha256", OrNull(row.text_digest)},
          {"service", Utf8FromAnsi(row.service)},
          {"modem", known(Utf8FromAnsi(row.modem))},
          {"dialled", known(Utf8FromAnsi(row.dialled))},
          {"outcome", Utf8FromAnsi(row.outcome)},
          {"reason", Utf8FromAnsi(row.reason)},
          {"exit_code", known(row.exit_code)},
          {"pieces", known(row.pieces)},
          {"pieces_accepted", known(row.pieces_accepted)},
          {"seconds", known(SecondsOf(entry))},
          {"answer", known(Printable(Utf8FromAnsi(row.answer)))}};
}

namespace {

// RFC 4180. What a spreadsheet would take for a formula gets a "'" in front, which makes it a text.
std::string CsvCell(const std::string& text) {
  const bool formula = !text.empty() && std::string_view("=+-@").find(text[0]) != std::string::npos;
  std::string cell = (formula ? "'" : "") + Printable(text);
  if (cell.find_first_of("\",") == std::string::npos) return cell;
  return '"' + ReplaceAll(cell, "\"", "\"\"") + '"';
}

std::string CsvCell(const Json& value) {
  if (value.is_null()) return "";
  return value.is_string() ? CsvCell(value.get<std::string>()) : value.dump();
}

template <typename Cell>
std::string CsvLine(const Json& object, Cell cell) {
  std::string line;
  for (const auto& item : object.items()) line += (line.empty() ? "" : ",") + cell(item);
  return line + "\r\n";
}

std::string CsvHeading() {
  return CsvLine(AttemptJson({}), [](const auto& item) { return item.key(); });
}

std::string CsvOf(const JournalEntry& entry) {
  return CsvLine(AttemptJson(entry), [](const auto& item) { return CsvCell(item.value()); });
}

// Control characters of both sets are escaped: a line is safe on a terminal, and exact.
std::string JsonOf(const JournalEntry& entry) { return JsonText(AttemptJson(entry)) + '\n'; }

std::string ShownText(const dispatch::JournalRow& row) {
  if (!row.text.empty()) return '"' + row.text + '"';
  return row.text_digest.empty() ? "(text not kept)" : "sha256:" + row.text_digest;
}

std::string Padded(std::string text, std::size_t width) {
  text.resize(std::max(text.size(), width), ' ');
  return text;
}

// To be read by people, and by grep: 2026-11-22 03:12:04  accepted     0171…  Pager  12.3 s  "Text"
std::string LineOf(const JournalEntry& entry) {
  const auto& row = entry.row;
  std::array<char, 32> seconds{};
  std::snprintf(seconds.data(), seconds.size(), "%.1f s", SecondsOf(entry));
  std::string begun = LocalMoment(entry.begun).substr(0, 19);
  begun[10] = ' ';
  std::string line = begun + "  " + Padded(row.outcome, 11) + "  " + row.recipient;
  for (const std::string& part : {row.service, row.modem}) line += part.empty() ? "" : "  " + part;
  if (entry.ended != 0) line += "  " + std::string(seconds.data());
  line += "  " + ShownText(row);
  if (row.outcome != NameOf(dispatch::Outcome::kAccepted) && !row.reason.empty())
    line += "  " + row.reason;
  return Printable(Utf8FromAnsi(line)) + '\n';
}

std::string Shown(const Context& context, const JournalOptions& options,
                  const JournalEntry& entry) {
  if (context.json) return JsonOf(entry);
  return options.csv ? CsvOf(entry) : LineOf(entry);
}

// --- the three uses

void PrintAll(Context& context, const JournalOptions& options, const Filter& filter) {
  Journal journal(context.home);
  if (!journal.Exists()) {
    throw Failure("there is no journal at " + journal.file() + "; every 'mvsms send' writes one");
  }
  for (const JournalEntry& entry : journal.Read(filter.since(), 0)) {
    if (filter.Takes(entry)) context.out << Shown(context, options, entry);
  }
}

// Prints each entry once, when its send has ended.
class Follower {
 public:
  Follower(Context& context, const JournalOptions& options, const Filter& filter)
      : context_(context), options_(options), filter_(filter) {}

  void Look() {
    bool all_ended = true;
    for (const JournalEntry& entry : Journal(context_.home).Read(filter_.since(), done_)) {
      all_ended = all_ended && !entry.IsOpen();
      if (!entry.IsOpen()) Print(entry);
      if (!all_ended) continue;
      done_ = entry.number;
      printed_.erase(entry.number);
    }
    context_.out.flush();
  }

 private:
  void Print(const JournalEntry& entry) {
    if (!printed_.insert(entry.number).second || !filter_.Takes(entry)) return;
    context_.out << Shown(context_, options_, entry);
  }

  Context& context_;
  const JournalOptions& options_;
  const Filter& filter_;
  std::int64_t done_ = 0;           // up to this number all have ended and were printed
  std::set<std::int64_t> printed_;  // beyond it
};

void Follow(Context& context, const JournalOptions& options, const Filter& filter) {
  const InterruptWatch watch;
  Follower follower(context, options, filter);
  for (follower.Look(); !watch.Interrupted() && context.out; follower.Look()) {
    context.platform().loop().Sleep(kLookAgain);
  }
}

void Prune(Context& context, const std::string& days) {
  const long long kept = ParseNumber("--prune", days, 1, kLongestKept);
  const std::int64_t deleted = Journal(context.home).Prune(std::time(nullptr) - kept * kDay);
  if (context.json) return context.PrintJson({{"deleted", deleted}});
  context.out << deleted << (deleted == 1 ? " attempt" : " attempts") << " deleted\n";
}

void Run(Context& context, const JournalOptions& options) {
  if (options.csv && context.json) throw UsageError("--csv and --json exclude each other");
  if (!options.prune.empty()) return Prune(context, options.prune);
  const bool one_profile = std::ranges::any_of(context.profile_options, &Option::Given);
  const Filter filter(options, one_profile ? AnsiFromUtf8(context.profile) : "");
  if (options.csv) context.out << CsvHeading();
  options.follow ? Follow(context, options, filter) : PrintAll(context, options, filter);
}

}  // namespace

void AddJournalCommand(Command& app, Context& context) {
  auto options = std::make_shared<JournalOptions>();
  Command* const command = AddCommand(
      app, context, "journal", "Print who was paged, when, and with what result",
      "  mvsms journal --since 2h\n"
      "  mvsms journal --since \"2026-11-22 03:00\" --to 01711234567\n"
      "  mvsms journal --outcome unknown --json\n"
      "  mvsms journal --csv > pages.csv\n"
      "  mvsms journal --follow\n"
      "  mvsms journal --prune 90\n"
      "Every 'mvsms send' is one entry, written before the call and closed after it. Outcomes are\n"
      "those of send, and open while it runs; unknown also when its program was killed meanwhile.\n"
      "All profiles are in it; --profile chooses one.\n"
      "--json prints an object a line: id (that of send --json), begun, ended, user, profile,\n"
      "recipient, text or text_sha256 (see the setting JournalText), service, modem, dialled,\n"
      "outcome, reason, exit_code, pieces, pieces_accepted, seconds, answer; null is what is not\n"
      "known or not kept. In --csv a \"'\" stands before what a spreadsheet would calculate.");
  Option* const since =
      command
          ->AddOption("--since", options->since, "Only what began so long ago, or since that date")
          ->TypeName("2h|DATE");
  Option* const to = command
                         ->AddOption("--to", options->to,
                                     "Only to numbers that end so; + and 0 in front do not count")
                         ->TypeName("NUMBER");
  Option* const outcome =
      command->AddOption("--outcome", options->outcome, "Only what ended so")
          ->OneOf({"accepted", "refused", "unreachable", "unknown", "unusable", "open"});
  command->AddFlag("--csv", options->csv, "Print a table for spreadsheets");
  Option* const follow = command->AddFlag(
      "-f,--follow", options->follow, "Print what has ended, and go on until Ctrl-C as sends end");
  command->AddOption("--prune", options->prune, "Delete what began more than so many days ago")
      ->TypeName("DAYS")
      ->Excludes(since)
      ->Excludes(to)
      ->Excludes(outcome)
      ->Excludes(follow);
  command->Callback([&context, options] { Run(context, *options); });
}

}  // namespace mvsms::cli
