// See sqlite.h. A prepared statement is reset as soon as its rows are done with, because an
// unfinished one keeps the file locked against writers.
#include "backends/posix/store/sqlite.h"

#include <thread>

namespace mvsms::posix {
namespace {

constexpr std::chrono::seconds kUsualPatience{10};

[[noreturn]] void Fail(sqlite3* database) {
  throw SqliteError(sqlite3_errcode(database), sqlite3_errmsg(database));
}

/// A null pointer would bind NULL instead of an empty text or blob.
const char* NotNull(std::string_view bytes) { return bytes.empty() ? "" : bytes.data(); }

struct Binder {
  sqlite3_stmt* statement;
  int index;

  int operator()(std::int64_t number) const { return sqlite3_bind_int64(statement, index, number); }
  int operator()(Text text) const {
    return sqlite3_bind_text64(statement, index, NotNull(text.utf8), text.utf8.size(),
                               SQLITE_TRANSIENT, SQLITE_UTF8);
  }
  int operator()(Blob blob) const {
    return sqlite3_bind_blob64(statement, index, NotNull(blob.bytes), blob.bytes.size(),
                               SQLITE_TRANSIENT);
  }
};

}  // namespace

Rows::~Rows() {
  sqlite3_reset(statement_);
  sqlite3_clear_bindings(statement_);
}

bool Rows::Next() {
  const int code = sqlite3_step(statement_);
  if (code == SQLITE_ROW) return true;
  if (code != SQLITE_DONE) Fail(sqlite3_db_handle(statement_));
  return false;
}

std::int64_t Rows::Int(int column) const { return sqlite3_column_int64(statement_, column); }

std::string Rows::Bytes(int column) const {
  const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement_, column));
  const int size = sqlite3_column_bytes(statement_, column);
  return bytes ? std::string(bytes, static_cast<std::size_t>(size)) : std::string();
}

Connection::Connection(const std::string& path) {
  sqlite3* opened = nullptr;
  const int code =
      sqlite3_open_v2(path.c_str(), &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
  database_.reset(opened);  // SQLite hands one out even when it failed
  if (code != SQLITE_OK) throw SqliteError(code & 0xFF, sqlite3_errmsg(opened));
  SetPatience(kUsualPatience);
}

sqlite3_stmt* Connection::Prepared(const char* sql) {
  auto& statement = statements_[sql];
  if (!statement) {
    sqlite3_stmt* prepared = nullptr;
    const int code =
        sqlite3_prepare_v3(database_.get(), sql, -1, SQLITE_PREPARE_PERSISTENT, &prepared, nullptr);
    if (code != SQLITE_OK) Fail(database_.get());
    statement.reset(prepared);
  }
  return statement.get();
}

Rows Connection::Query(const char* sql, std::initializer_list<Parameter> parameters) {
  sqlite3_stmt* statement = Prepared(sql);
  int index = 0;
  for (const Parameter& parameter : parameters) {
    if (std::visit(Binder{statement, ++index}, parameter) != SQLITE_OK) Fail(database_.get());
  }
  return Rows(statement);
}

void Connection::Execute(const char* sql, std::initializer_list<Parameter> parameters) {
  Rows rows = Query(sql, parameters);
  while (rows.Next()) {
  }
}

std::int64_t Connection::Value(const char* sql, std::initializer_list<Parameter> parameters) {
  Rows rows = Query(sql, parameters);
  return rows.Next() ? rows.Int(0) : 0;
}

std::int64_t Connection::LastInsertId() const { return sqlite3_last_insert_rowid(database_.get()); }

int Connection::Changes() const { return sqlite3_changes(database_.get()); }

bool Connection::InTransaction() const { return sqlite3_get_autocommit(database_.get()) == 0; }

void Connection::SetPatience(std::chrono::milliseconds patience) {
  patience_.longest = patience;
  sqlite3_busy_handler(database_.get(), WaitAgain, &patience_);
}

/// Transactions here last for as long as the disk needs. SQLite's own way of waiting sleeps longer
/// each time, up to a tenth of a second: of many who write, all would sleep while the file is free,
/// and the one who has waited longest would get it last. A few milliseconds, not always the same,
/// so that many do not wake each other's processor for nothing.
int Connection::WaitAgain(void* patience, int waits) {
  auto& [longest, since] = *static_cast<Patience*>(patience);
  const auto now = std::chrono::steady_clock::now();
  if (waits == 0) since = now;
  if (now - since >= longest) return 0;
  constexpr int kLongest = 8;
  std::this_thread::sleep_for(std::chrono::milliseconds(1 + 5 * waits % kLongest));
  return 1;
}

void Connection::KeepLog() {
  int keep = 1;
  sqlite3_file_control(database_.get(), "main", SQLITE_FCNTL_PERSIST_WAL, &keep);
  Execute("PRAGMA journal_size_limit = 1048576");
}

bool Connection::HasMoved() const {
  int moved = 0;
  sqlite3_file_control(database_.get(), "main", SQLITE_FCNTL_HAS_MOVED, &moved);
  return moved != 0;
}

Transaction::Transaction(Connection& connection, Kind kind)
    : connection_(connection), outermost_(!connection.InTransaction()) {
  if (!outermost_) return;
  connection_.Execute(kind == Kind::kRead ? "BEGIN" : "BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
  if (!outermost_ || !connection_.InTransaction()) return;
  try {
    connection_.Execute("ROLLBACK");
  } catch (const SqliteError&) {
    // The file could not be restored; SQLite does it with its journal at the next opening.
  }
}

void Transaction::Commit() {
  if (outermost_) connection_.Execute("COMMIT");
}

}  // namespace mvsms::posix
