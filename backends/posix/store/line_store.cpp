// See line_store.h. One row per line; a replaced line keeps its row and with it its place.
#include "backends/posix/store/line_store.h"

#include <iterator>
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
constexpr char kDelete[] = "DELETE FROM lines WHERE name = ?1";

/// What a host knows as "Path/File access error".
constexpr std::int32_t kAccessError = 75;
/// What a host knows as "Invalid procedure call".
constexpr std::int32_t kInvalidLine = 5;

constexpr std::string_view kKindNames[] = {"hayes", "tcp"};

[[noreturn]] void Fail(std::int32_t number, const std::string& description) {
  throw RaisedError(number, "LineStore", description);
}

LineKind KindOf(const std::string& text, const std::string& line) {
  for (std::size_t kind = 0; kind < std::size(kKindNames); ++kind) {
    if (kKindNames[kind] == text) return static_cast<LineKind>(kind);
  }
  Fail(kInvalidLine, "The line \"" + line + "\" is of the unknown kind \"" + text + "\".");
}

LineConfig LineIn(const Rows& rows) {
  LineConfig line;
  line.name = AnsiFromUtf8(rows.Bytes(0));
  line.kind = KindOf(rows.Bytes(1), line.name);
  line.device = rows.Bytes(2);
  line.init = AnsiFromUtf8(rows.Bytes(3));
  line.dial = AnsiFromUtf8(rows.Bytes(4));
  line.speed = static_cast<std::uint32_t>(rows.Int(5));
  line.framing = rows.Bytes(6);
  line.flow = rows.Bytes(7);
  return line;
}

/// A list of lines is handed around as one text with TABs between the names.
void CheckName(const std::string& name) {
  if (name.empty()) Fail(kInvalidLine, "A line needs a name.");
  if (name.find('\t') != std::string::npos) {
    Fail(kInvalidLine, "The name of the line \"" + name + "\" must not contain a TAB.");
  }
}

/// Runs an operation on the store, turning its failure into a sentence about the file.
template <typename Operation>
auto Explained(const std::string& home, Operation operation) {
  try {
    Store store(home);
    return operation(store);
  } catch (const SqliteError& error) {
    Fail(kAccessError, AnsiFromUtf8(ProblemSentence(home, error)));
  }
}

}  // namespace

LineStore::LineStore(std::string home) : home_(std::move(home)) {}

std::vector<LineConfig> LineStore::List() {
  return Explained(home_, [](Store& store) {
    std::vector<LineConfig> lines;
    if (Connection* connection = store.Read()) {
      Rows rows = connection->Query(kList);
      while (rows.Next()) lines.push_back(LineIn(rows));
    }
    return lines;
  });
}

std::optional<LineConfig> LineStore::Find(const std::string& name) {
  return Explained(home_, [&name](Store& store) -> std::optional<LineConfig> {
    Connection* connection = store.Read();
    if (!connection) return std::nullopt;
    Rows rows = connection->Query(kFind, {Text{Utf8FromAnsi(name)}});
    if (!rows.Next()) return std::nullopt;
    return LineIn(rows);
  });
}

void LineStore::Put(const LineConfig& line) {
  CheckName(line.name);
  Explained(home_, [&line](Store& store) {
    Connection& connection = store.Write();
    Transaction writing(connection, Transaction::Kind::kWrite);
    connection.Execute(
        kPut, {Text{Utf8FromAnsi(line.name)}, Text{kKindNames[static_cast<int>(line.kind)]},
               Text{line.device}, Text{Utf8FromAnsi(line.init)}, Text{Utf8FromAnsi(line.dial)},
               std::int64_t{line.speed}, Text{line.framing}, Text{line.flow}});
    writing.Commit();
  });
}

bool LineStore::Delete(const std::string& name) {
  return Explained(home_, [&name](Store& store) {
    Connection* connection = store.Read();
    if (!connection) return false;
    Transaction writing(*connection, Transaction::Kind::kWrite);
    connection->Execute(kDelete, {Text{Utf8FromAnsi(name)}});
    const bool deleted = connection->Changes() > 0;
    writing.Commit();
    return deleted;
  });
}

}  // namespace mvsms::posix
