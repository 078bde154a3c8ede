// See line_store.h. One row per line; a replaced line keeps its row and with it its place.
#include "backends/posix/store/line_store.h"

#include <sstream>
#include <utility>

#include "backends/posix/store/sqlite.h"
#include "backends/posix/store/store.h"
#include "base/ansi.h"
#include "base/raised_error.h"

namespace mvsms::posix {
namespace {

constexpr char kList[] =
    "SELECT name, kind, device, init, dial, speed, framing, flow FROM lines ORDER BY position";
constexpr char kFind[] =
    "SELECT name, kind, device, init, dial, speed, framing, flow FROM lines WHERE name = ?1";
constexpr char kPut[] =
    "INSERT INTO lines(name, kind, device, init, dial, speed, framing, flow)"
    " VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8)"
    " ON CONFLICT(name) DO UPDATE SET kind = excluded.kind, device = excluded.device,"
    " init = excluded.init, dial = excluded.dial, speed = excluded.speed,"
    " framing = excluded.framing, flow = excluded.flow";
// Made with the first pool, so that a file without one is also for programs that know none.
constexpr const char* kPoolTables[] = {
    "CREATE TABLE IF NOT EXISTS pools("
    " name TEXT PRIMARY KEY, members TEXT NOT NULL, rest INTEGER NOT NULL) WITHOUT ROWID",
    "CREATE TABLE IF NOT EXISTS rests("
    " name TEXT PRIMARY KEY, until INTEGER NOT NULL) WITHOUT ROWID"};
constexpr char kFindPool[] = "SELECT members, rest FROM pools WHERE name = ?1";
constexpr char kPutPool[] = "REPLACE INTO pools(name, members, rest) VALUES(?1, ?2, ?3)";
constexpr char kPutRest[] = "REPLACE INTO rests(name, until) VALUES(?1, ?2)";
constexpr char kHasPools[] = "SELECT count(*) FROM sqlite_master WHERE name = 'rests'";
constexpr char kEndRest[] = "DELETE FROM rests WHERE name = ?1";
constexpr char kFindRest[] = "SELECT until FROM rests WHERE name = ?1";

// Made with the first line that needs it, likewise.
constexpr char kAccessTable[] =
    "CREATE TABLE IF NOT EXISTS line_access("
    " name TEXT PRIMARY KEY, ca TEXT NOT NULL, certificate TEXT NOT NULL, key TEXT NOT NULL,"
    " login TEXT NOT NULL, password_file TEXT NOT NULL) WITHOUT ROWID";
constexpr char kHasAccess[] = "SELECT count(*) FROM sqlite_master WHERE name = 'line_access'";
constexpr char kFindAccess[] =
    "SELECT ca, certificate, key, login, password_file FROM line_access WHERE name = ?1";
constexpr char kPutAccess[] =
    "REPLACE INTO line_access(name, ca, certificate, key, login, password_file)"
    " VALUES(?1, ?2, ?3, ?4, ?5, ?6)";
constexpr char kDeleteAccess[] = "DELETE FROM line_access WHERE name = ?1";
constexpr char kRenameAccess[] = "UPDATE line_access SET name = ?2 WHERE name = ?1";

constexpr char kRename[] = "UPDATE lines SET name = ?2 WHERE name = ?1";
constexpr char kRenameMember[] =
    "UPDATE pools SET members = trim(replace(char(9) || members || char(9),"
    " char(9) || ?1 || char(9), char(9) || ?2 || char(9)), char(9))";
constexpr const char* kRenameInPools[] = {"UPDATE pools SET name = ?2 WHERE name = ?1",
                                          "UPDATE rests SET name = ?2 WHERE name = ?1",
                                          kRenameMember};
constexpr char kDelete[] = "DELETE FROM lines WHERE name = ?1";

/// What a host knows as "Path/File access error".
constexpr std::int32_t kAccessError = 75;
/// What a host knows as "Invalid procedure call".
constexpr std::int32_t kInvalidLine = 5;

constexpr char kSeparator = '\t';

[[noreturn]] void Fail(std::int32_t number, const std::string& description) {
  throw RaisedError(number, "LineStore", description);
}

LineKind KindOf(const std::string& text, const std::string& line) {
  for (std::size_t kind = 0; kind < kLineKindNames.size(); ++kind) {
    if (kLineKindNames[kind] == text) return static_cast<LineKind>(kind);
  }
  Fail(kInvalidLine, "The line \"" + line + "\" is of the unknown kind \"" + text + "\".");
}

std::string Joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : "\t") + name;
  return text;
}

std::vector<std::string> Parts(const std::string& text) {
  std::vector<std::string> names;
  std::istringstream stream(text);
  for (std::string name; std::getline(stream, name, kSeparator);) names.push_back(name);
  return names;
}

void ReadPool(Connection& connection, LineConfig& line) {
  Rows rows = connection.Query(kFindPool, {Text{Utf8FromAnsi(line.name)}});
  if (!rows.Next()) return;
  line.members = Parts(AnsiFromUtf8(rows.Bytes(0)));
  line.rest = static_cast<std::uint32_t>(rows.Int(1));
}

void WritePool(Connection& connection, const LineConfig& line) {
  for (const char* statement : kPoolTables) connection.Execute(statement);
  connection.Execute(kPutPool, {Text{Utf8FromAnsi(line.name)},
                                Text{Utf8FromAnsi(Joined(line.members))}, std::int64_t{line.rest}});
}

// Where each of them stands, in the order of the columns.
constexpr std::string LineAccess::* kAccessFields[] = {&LineAccess::ca, &LineAccess::certificate,
                                                       &LineAccess::key, &LineAccess::login,
                                                       &LineAccess::password_file};

void ReadAccess(Connection& connection, LineConfig& line) {
  if (connection.Value(kHasAccess) == 0) return;
  Rows rows = connection.Query(kFindAccess, {Text{Utf8FromAnsi(line.name)}});
  if (!rows.Next()) return;
  int column = 0;
  for (const auto field : kAccessFields) line.access.*field = rows.Bytes(column++);
}

void ForgetAccess(Connection& connection, const std::string& name) {
  if (connection.Value(kHasAccess) == 0) return;
  connection.Execute(kDeleteAccess, {Text{Utf8FromAnsi(name)}});
}

void WriteAccess(Connection& connection, const LineConfig& line) {
  if (line.access == LineAccess()) return ForgetAccess(connection, line.name);
  connection.Execute(kAccessTable);
  const LineAccess& access = line.access;
  connection.Execute(kPutAccess,
                     {Text{Utf8FromAnsi(line.name)}, Text{access.ca}, Text{access.certificate},
                      Text{access.key}, Text{access.login}, Text{access.password_file}});
}

LineConfig LineIn(Connection& connection, const Rows& rows) {
  LineConfig line;
  line.name = AnsiFromUtf8(rows.Bytes(0));
  line.kind = KindOf(rows.Bytes(1), line.name);
  line.device = rows.Bytes(2);
  line.init = AnsiFromUtf8(rows.Bytes(3));
  line.dial = AnsiFromUtf8(rows.Bytes(4));
  line.speed = static_cast<std::uint32_t>(rows.Int(5));
  line.framing = rows.Bytes(6);
  line.flow = rows.Bytes(7);
  if (line.kind == LineKind::kPool) ReadPool(connection, line);
  if (line.kind != LineKind::kPool) ReadAccess(connection, line);
  return line;
}

/// A rest was the former modem's: the one that comes under its name has done nothing yet.
void EndRest(Connection& connection, const std::string& name) {
  if (connection.Value(kHasPools) != 0) connection.Execute(kEndRest, {Text{Utf8FromAnsi(name)}});
}

/// A list of lines is handed around as one text with TABs between the names.
void CheckName(const std::string& name) {
  if (name.empty()) Fail(kInvalidLine, "A line needs a name.");
  if (name.find('\t') != std::string::npos) {
    Fail(kInvalidLine, "The name of the line \"" + name + "\" must not contain a TAB.");
  }
}

}  // namespace

/// Runs an operation on the store, turning its failure into a sentence about the file.
template <typename Operation>
auto LineStore::Explained(Operation operation) {
  try {
    if (shared_ != nullptr) return operation(*shared_);
    Store own(home_);
    return operation(own);
  } catch (const SqliteError& error) {
    Fail(kAccessError, AnsiFromUtf8(ProblemSentence(home_, error)));
  }
}

LineStore::LineStore(std::string home, Store* shared) : home_(std::move(home)), shared_(shared) {}

std::vector<LineConfig> LineStore::List() {
  return Explained([](Store& store) {
    std::vector<LineConfig> lines;
    if (Connection* connection = store.Read()) {
      Rows rows = connection->Query(kList);
      while (rows.Next()) lines.push_back(LineIn(*connection, rows));
    }
    return lines;
  });
}

std::optional<LineConfig> LineStore::Find(const std::string& name) {
  return Explained([&name](Store& store) -> std::optional<LineConfig> {
    Connection* connection = store.Read();
    if (!connection) return std::nullopt;
    Rows rows = connection->Query(kFind, {Text{Utf8FromAnsi(name)}});
    if (!rows.Next()) return std::nullopt;
    return LineIn(*connection, rows);
  });
}

void LineStore::Put(const LineConfig& line) {
  CheckName(line.name);
  Explained([&line](Store& store) {
    Connection& connection = store.Write();
    Transaction writing(connection, Transaction::Kind::kWrite);
    connection.Execute(
        kPut,
        {Text{Utf8FromAnsi(line.name)}, Text{kLineKindNames[static_cast<std::size_t>(line.kind)]},
         Text{line.device}, Text{Utf8FromAnsi(line.init)}, Text{Utf8FromAnsi(line.dial)},
         std::int64_t{line.speed}, Text{line.framing}, Text{line.flow}});
    if (line.kind == LineKind::kPool) WritePool(connection, line);
    WriteAccess(connection, line);
    EndRest(connection, line.name);
    writing.Commit();
  });
}

bool LineStore::Delete(const std::string& name) {
  return Explained([&name](Store& store) {
    Connection* connection = store.Read();
    if (!connection) return false;
    Transaction writing(*connection, Transaction::Kind::kWrite);
    connection->Execute(kDelete, {Text{Utf8FromAnsi(name)}});
    const bool found = connection->Changes() > 0;
    EndRest(*connection, name);
    ForgetAccess(*connection, name);
    writing.Commit();
    return found;
  });
}

bool LineStore::Rename(const std::string& from, const std::string& to) {
  CheckName(to);
  const std::string before = Utf8FromAnsi(from), after = Utf8FromAnsi(to);
  return Explained([&](Store& store) {
    Connection* connection = store.Read();
    if (!connection) return false;
    Transaction writing(*connection, Transaction::Kind::kWrite);
    connection->Execute(kRename, {Text{before}, Text{after}});
    const bool found = connection->Changes() > 0;
    if (found && connection->Value(kHasPools) != 0) {
      for (const char* statement : kRenameInPools)
        connection->Execute(statement, {Text{before}, Text{after}});
    }
    if (found && connection->Value(kHasAccess) != 0) {
      connection->Execute(kRenameAccess, {Text{before}, Text{after}});
    }
    writing.Commit();
    return found;
  });
}

void LineStore::SetRest(const std::string& name, std::int64_t until) {
  Explained([&](Store& store) {
    Connection& connection = store.Write();
    Transaction writing(connection, Transaction::Kind::kWrite);
    for (const char* statement : kPoolTables) connection.Execute(statement);
    connection.Execute(kPutRest, {Text{Utf8FromAnsi(name)}, until});
    writing.Commit();
  });
}

std::int64_t LineStore::RestsUntil(const std::string& name) {
  return Explained([&name](Store& store) -> std::int64_t {
    Connection* connection = store.Read();
    if (!connection || connection->Value(kHasPools) == 0) return 0;
    Rows rows = connection->Query(kFindRest, {Text{Utf8FromAnsi(name)}});
    return rows.Next() ? rows.Int(0) : 0;
  });
}

}  // namespace mvsms::posix
