// SQLite behind four small classes: a connection that keeps its statements prepared, the rows of
// one query, a transaction, and the one exception they throw. Only what the stores need.
#pragma once

#include <sqlite3.h>

#include <chrono>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>

namespace mvsms::posix {

/// What SQLite (or the system, on the way to it) refused, with its own words.
class SqliteError : public std::runtime_error {
 public:
  SqliteError(int code, const std::string& message) : std::runtime_error(message), code_(code) {}
  /// Primary result code, such as SQLITE_FULL.
  int code() const { return code_; }

 private:
  int code_;
};

struct Text {
  std::string_view utf8;
};
struct Blob {
  std::string_view bytes;
};
using Parameter = std::variant<std::int64_t, Text, Blob>;

/// The rows of one query. It borrows a prepared statement from its connection until it is
/// destroyed, so at most one Rows per statement exists at a time, and none outlives a transaction
/// around it.
class Rows {
 public:
  explicit Rows(sqlite3_stmt* statement) : statement_(statement) {}
  ~Rows();
  Rows(const Rows&) = delete;
  Rows& operator=(const Rows&) = delete;

  /// Moves to the next row, the first time to the first one; false when there is none.
  bool Next();
  /// A column of the current row, from 0; valid for the current row only.
  std::int64_t Int(int column) const;
  /// Bytes of a text or a blob.
  std::string Bytes(int column) const;

 private:
  sqlite3_stmt* statement_;
};

class Connection {
 public:
  /// Opens an existing database file, for reading only where writing is not permitted.
  explicit Connection(const std::string& path);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  /// Starts a query with parameters ?1, ?2 … bound. `sql` is one statement and lives as long as
  /// the connection: the prepared statement is kept under its address.
  Rows Query(const char* sql, std::initializer_list<Parameter> parameters = {});
  /// Runs a statement that gives no rows, or whose rows do not matter.
  void Execute(const char* sql, std::initializer_list<Parameter> parameters = {});
  /// The first column of the first row; 0 when there is no row.
  std::int64_t Value(const char* sql, std::initializer_list<Parameter> parameters = {});
  /// Row id of the last insertion.
  std::int64_t LastInsertId() const;
  /// Rows changed by the last statement.
  int Changes() const;
  bool InTransaction() const;
  /// How long to wait for another's transaction before giving up; ten seconds unless set.
  void SetPatience(std::chrono::milliseconds patience);
  /// Leaves the write-ahead log and its index in place when the last connection closes: whoever may
  /// read, but make no file in the folder, needs them. The last one leaves the log empty, or each
  /// would read what all before had written; until then it is cut to a megabyte when it begins
  /// anew.
  void KeepLog();
  /// True when the file was moved or removed, so that its path now names another one or none.
  bool HasMoved() const;

 private:
  struct Closer {
    void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
  };
  struct Finalizer {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };

  /// Who waits for another's transaction, and since when.
  struct Patience {
    std::chrono::milliseconds longest{0};
    std::chrono::steady_clock::time_point since{};
  };

  static int WaitAgain(void* patience, int waits);
  sqlite3_stmt* Prepared(const char* sql);

  Patience patience_;
  std::unique_ptr<sqlite3, Closer> database_;
  std::map<const char*, std::unique_ptr<sqlite3_stmt, Finalizer>> statements_;
};

/// Rolls back what was not committed. One inside another is a part of it: only the outer one
/// commits, and whoever fails inside must not let the outer one commit.
class Transaction {
 public:
  enum class Kind {
    kRead,   // several reads see one state
    kWrite,  // takes the write lock at once, waiting for other writers
  };

  Transaction(Connection& connection, Kind kind);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  /// On return the changes are on stable storage.
  void Commit();

 private:
  Connection& connection_;
  bool outermost_;
};

}  // namespace mvsms::posix
