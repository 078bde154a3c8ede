// See journal.h. Every operation opens the file for itself: a send that lasts minutes holds nothing
// open meanwhile, and takes up a file that was moved away or pruned.
#include "backends/posix/store/journal.h"

#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <ctime>
#include <string_view>

#include "backends/posix/store/database_file.h"
#include "backends/posix/store/sqlite.h"
#include "backends/posix/system/process.h"
#include "base/ansi.h"
#include "base/raised_error.h"

namespace mvsms::posix {
namespace {

using dispatch::JournalRow;

constexpr const char* kFirstFormat[] = {
    R"(CREATE TABLE attempts(
        number INTEGER PRIMARY KEY AUTOINCREMENT,
        id TEXT NOT NULL UNIQUE,
        begun INTEGER NOT NULL,
        ended INTEGER NOT NULL,
        user INTEGER NOT NULL,
        process TEXT NOT NULL,
        profile TEXT NOT NULL,
        recipient TEXT NOT NULL,
        text TEXT NOT NULL,
        text_digest TEXT NOT NULL,
        service TEXT NOT NULL,
        modem TEXT NOT NULL,
        dialled TEXT NOT NULL,
        outcome TEXT NOT NULL,
        reason TEXT NOT NULL,
        answer TEXT NOT NULL,
        exit_code INTEGER NOT NULL,
        pieces INTEGER NOT NULL,
        pieces_accepted INTEGER NOT NULL,
        milliseconds INTEGER NOT NULL))",
    "CREATE INDEX attempts_by_time ON attempts(begun)", "PRAGMA user_version = 1"};
constexpr std::span<const char* const> kFormats[] = {kFirstFormat};

constexpr char kPut[] =
    "INSERT INTO attempts(id, begun, ended, user, process, profile, recipient, text, text_digest,"
    " service, modem, dialled, outcome, reason, answer, exit_code, pieces, pieces_accepted,"
    " milliseconds)"
    " VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14, ?15, ?16, ?17, ?18, ?19)"
    " ON CONFLICT(id) DO UPDATE SET ended = excluded.ended, recipient = excluded.recipient,"
    " service = excluded.service, modem = excluded.modem, dialled = excluded.dialled,"
    " outcome = excluded.outcome, reason = excluded.reason, answer = excluded.answer,"
    " exit_code = excluded.exit_code, pieces = excluded.pieces,"
    " pieces_accepted = excluded.pieces_accepted, milliseconds = excluded.milliseconds";
#define MVSMS_SELECT_ATTEMPTS                                                              \
  "SELECT number, begun, ended, user, process, id, profile, recipient, text, text_digest," \
  " service, modem, dialled, outcome, reason, answer, exit_code, pieces, pieces_accepted," \
  " milliseconds FROM attempts WHERE "
constexpr char kRead[] = MVSMS_SELECT_ATTEMPTS "begun >= ?1 AND number > ?2 ORDER BY number";
constexpr char kReadNewest[] = MVSMS_SELECT_ATTEMPTS "begun >= ?1 ORDER BY number DESC";
constexpr char kFind[] = MVSMS_SELECT_ATTEMPTS "id = ?1";
constexpr char kPrune[] = "DELETE FROM attempts WHERE begun < ?1";

/// Runs an operation on the file, turning its failure into a sentence about it.
template <typename Operation>
auto Explained(const std::string& file, Operation operation) {
  return WithTrouble("Journal", "journal", file, operation);
}

void MakeOwnTables(Connection& connection) { MakeTables(connection, kFormats); }

void PrepareToWrite(Connection& connection, std::chrono::milliseconds patience) {
  connection.SetPatience(patience);
  connection.Execute("PRAGMA synchronous = FULL");
  connection.KeepLog();
  if (!HasTables(connection, kFormats)) MakeOwnTables(connection);
}

constexpr std::string JournalRow::* kTexts[] = {
    &JournalRow::id,          &JournalRow::profile, &JournalRow::recipient, &JournalRow::text,
    &JournalRow::text_digest, &JournalRow::service, &JournalRow::modem,     &JournalRow::dialled,
    &JournalRow::outcome,     &JournalRow::reason,  &JournalRow::answer};

JournalRow Converted(JournalRow row, std::string (*convert)(std::string_view)) {
  for (const auto text : kTexts) row.*text = convert(row.*text);
  return row;
}

void Write(Connection& connection, const JournalRow& ansi) {
  const JournalRow row = Converted(ansi, Utf8FromAnsi);
  const std::string process = ProcessMark();
  const std::int64_t now =
      std::time(nullptr) - std::chrono::round<std::chrono::seconds>(row.ago).count();
  // A row that could not be written before the call began when that did.
  const std::int64_t begun = now - std::chrono::round<std::chrono::seconds>(row.duration).count();
  const std::int64_t ended = row.outcome.empty() ? 0 : now;
  connection.Execute(
      kPut, {Text{row.id}, begun, ended, std::int64_t{getuid()}, Text{process}, Text{row.profile},
             Text{row.recipient}, Text{row.text}, Text{row.text_digest}, Text{row.service},
             Text{row.modem}, Text{row.dialled}, Text{row.outcome}, Text{row.reason},
             Text{row.answer}, std::int64_t{row.exit_code}, std::int64_t{row.pieces},
             std::int64_t{row.pieces_accepted}, std::int64_t{row.duration.count()}});
}

/// What a row that nobody closed says by now.
void TellState(JournalRow& row, const std::string& process) {
  const bool runs = StillRuns(process);
  row.outcome = runs ? dispatch::kOutcomeOpen : NameOf(dispatch::Outcome::kUnknown);
  row.reason = runs ? "" : dispatch::kInterrupted;
}

JournalEntry EntryIn(const Rows& rows) {
  JournalEntry entry;
  int column = 0;
  entry.number = rows.Int(column++);
  entry.begun = rows.Int(column++);
  entry.ended = rows.Int(column++);
  entry.user = static_cast<std::uint32_t>(rows.Int(column++));
  const std::string process = rows.Bytes(column++);
  for (const auto text : kTexts) entry.row.*text = rows.Bytes(column++);
  entry.row = Converted(entry.row, AnsiFromUtf8);
  entry.row.exit_code = static_cast<std::int32_t>(rows.Int(column++));
  entry.row.pieces = static_cast<std::int32_t>(rows.Int(column++));
  entry.row.pieces_accepted = static_cast<std::int32_t>(rows.Int(column++));
  entry.row.duration = std::chrono::milliseconds(rows.Int(column++));
  if (entry.row.outcome.empty()) TellState(entry.row, process);
  return entry;
}

}  // namespace

Journal::Journal(const std::string& home, std::chrono::milliseconds patience)
    : home_(home), file_(home + "/journal.db"), patience_(patience) {}

bool Journal::Exists() const { return access(file_.c_str(), F_OK) == 0 || errno != ENOENT; }

void Journal::Put(const JournalRow& row) {
  Explained(file_, [&] {
    if (!Exists()) MakeWhole(home_, file_, MakeOwnTables);
    Connection connection(file_);
    PrepareToWrite(connection, patience_);
    Write(connection, row);
  });
}

void Journal::Select(const char* sql, std::initializer_list<Parameter> parameters,
                     const std::function<bool(const JournalEntry&)>& take) {
  Explained(file_, [&] {
    if (!Exists()) return;
    Connection connection(file_);
    if (!HasTables(connection, kFormats)) return;
    Rows rows = connection.Query(sql, parameters);
    while (rows.Next() && take(EntryIn(rows))) {
    }
  });
}

std::vector<JournalEntry> Journal::Read(std::int64_t since, std::int64_t after) {
  std::vector<JournalEntry> entries;
  Select(kRead, {since, after}, [&](const JournalEntry& entry) {
    entries.push_back(entry);
    return true;
  });
  return entries;
}

void Journal::ReadNewest(std::int64_t since, const std::function<bool(const JournalEntry&)>& take) {
  Select(kReadNewest, {since}, take);
}

std::optional<JournalEntry> Journal::Find(const std::string& id) {
  std::optional<JournalEntry> found;
  const std::string utf8 = Utf8FromAnsi(id);
  Select(kFind, {Text{utf8}}, [&](const JournalEntry& entry) {
    found = entry;
    return false;
  });
  return found;
}

std::optional<JournalRow> Journal::Known(const std::string& id,
                                         std::chrono::system_clock::time_point since) try {
  const auto second = std::chrono::floor<std::chrono::seconds>(since).time_since_epoch().count();
  const auto entry = Find(id);
  return entry && entry->begun >= second ? std::optional(entry->row) : std::nullopt;
} catch (const RaisedError&) {
  return std::nullopt;
}

std::int64_t Journal::Prune(std::int64_t before) {
  return Explained(file_, [&]() -> std::int64_t {
    if (!Exists()) return 0;
    Connection connection(file_);
    PrepareToWrite(connection, patience_);
    connection.Execute("PRAGMA secure_delete = ON");
    connection.Execute(kPrune, {before});
    const int deleted = connection.Changes();
    connection.Execute("PRAGMA wal_checkpoint(TRUNCATE)");
    return deleted;
  });
}

}  // namespace mvsms::posix
