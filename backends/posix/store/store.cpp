// See store.h. The schema is here, once.
#include "backends/posix/store/store.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <span>
#include <system_error>
#include <utility>

#include "backends/posix/store/database_file.h"
#include "backends/posix/store/sqlite.h"
#include "backends/posix/system/home.h"

namespace mvsms::posix {
namespace {

/// Row ids of keys are never reused, so an open key that was deleted stays deleted. The one key
/// without a parent is the hive, with the row id 1.
constexpr const char* kFirstFormat[] = {
    R"(CREATE TABLE keys(
        id INTEGER PRIMARY KEY AUTOINCREMENT,
        parent INTEGER REFERENCES keys(id),
        name TEXT NOT NULL,
        folded BLOB NOT NULL,
        UNIQUE(parent, folded)))",
    R"(CREATE TABLE key_values(
        key INTEGER NOT NULL REFERENCES keys(id),
        name TEXT NOT NULL,
        folded BLOB NOT NULL,
        type INTEGER NOT NULL,
        data BLOB NOT NULL,
        PRIMARY KEY(key, folded)) WITHOUT ROWID)",
    R"(CREATE TABLE user_settings(
        application TEXT NOT NULL,
        section TEXT NOT NULL,
        key TEXT NOT NULL,
        value TEXT NOT NULL,
        PRIMARY KEY(application, section, key)) WITHOUT ROWID)",
    R"(CREATE TABLE lines(
        position INTEGER PRIMARY KEY AUTOINCREMENT,
        name TEXT NOT NULL UNIQUE,
        kind TEXT NOT NULL,
        device TEXT NOT NULL,
        init TEXT NOT NULL,
        dial TEXT NOT NULL,
        speed INTEGER NOT NULL,
        framing TEXT NOT NULL,
        flow TEXT NOT NULL))",
    R"(INSERT INTO keys(id, name, folded)
        VALUES(1, 'HKEY_LOCAL_MACHINE', CAST('HKEY_LOCAL_MACHINE' AS BLOB)))",
    "PRAGMA user_version = 1"};
constexpr std::span<const char* const> kFormats[] = {kFirstFormat};

std::string FileIn(const std::string& home) { return home + "/settings.db"; }

std::unique_ptr<Connection> Open(const std::string& file) {
  auto connection = std::make_unique<Connection>(file);
  // A truncated journal is synchronised at the commit; a deleted one (the default) is not.
  connection->Execute("PRAGMA journal_mode = TRUNCATE");
  connection->Execute("PRAGMA synchronous = FULL");
  connection->Execute("PRAGMA foreign_keys = ON");
  return connection;
}

/// Makes the file with its mode from the start. mknod opens nothing: closing a descriptor of the
/// file would drop the locks that another thread of this process holds on it.
void MakeFile(const std::string& home) {
  const std::string file = FileIn(home);
  if (mknod(file.c_str(), S_IFREG | 0600, 0) == 0) {
    if (IsShared(home)) chmod(file.c_str(), 0660);
  } else if (errno != EEXIST) {
    FailWithErrno(SQLITE_CANTOPEN, file);
  }
}

/// Whether the file holds what SQLite wrote.
void ProbeReading(Connection& connection) {
  Rows check = connection.Query("PRAGMA quick_check(1)");
  if (check.Next() && check.Bytes(0) != "ok") throw SqliteError(SQLITE_CORRUPT, check.Bytes(0));
}

/// Whether it accepts another write, which is rolled back.
void ProbeWriting(Connection& connection) {
  Transaction writing(connection, Transaction::Kind::kWrite);
  connection.Execute("CREATE TABLE probe(x)");
}

/// Whether a home that is not there yet could be made.
void ProbeMissing(const std::string& home) {
  std::filesystem::path folder = home;
  while (access(folder.c_str(), F_OK) != 0 && errno == ENOENT) {
    folder = folder.has_relative_path() ? folder.parent_path() : ".";
  }
  const std::string probe = folder.string() + "/.";  // with the dot, a file in the way fails too
  if (access(probe.c_str(), W_OK | X_OK) != 0) FailWithErrno(SQLITE_CANTOPEN, folder.string());
}

}  // namespace

Store::Store(std::string home) : home_(std::move(home)) {}

Store::~Store() = default;

bool Store::OpenExisting() {
  if (connection_ && !connection_->InTransaction() && connection_->HasMoved()) {
    connection_.reset();
    has_tables_ = false;
    ++generation_;
  }
  if (connection_) return true;
  if (access(FileIn(home_).c_str(), F_OK) != 0 && errno == ENOENT) return false;
  connection_ = Open(FileIn(home_));
  return true;
}

Connection* Store::Read() {
  if (!OpenExisting()) return nullptr;
  if (!has_tables_) has_tables_ = HasTables(*connection_, kFormats);
  return has_tables_ ? connection_.get() : nullptr;
}

Connection& Store::Write() {
  if (Connection* connection = Read()) return *connection;
  MakeHome(home_);
  MakeFile(home_);
  if (!connection_) connection_ = Open(FileIn(home_));
  MakeNewest(*connection_, kFormats);
  has_tables_ = true;
  return *connection_;
}

std::string ProblemSentence(const std::string& home, const SqliteError& error) {
  return TroubleWith("settings file", FileIn(home), error);
}

std::string StoreProblem(const std::string& home, bool* passes) try {
  Store store(home);
  if (Connection* const connection = store.Read()) ProbeReading(*connection);
  return {};
} catch (const SqliteError& error) {
  if (passes) *passes = error.code() == SQLITE_BUSY;
  return ProblemSentence(home, error);
}

StoreMark MarkOfStore(const std::string& home) {
  struct stat facts{};
  if (stat(FileIn(home).c_str(), &facts) != 0) return {};
  return {static_cast<std::int64_t>(facts.st_ino), facts.st_size, facts.st_mtim.tv_sec,
          facts.st_mtim.tv_nsec};
}

std::string WriteProblem(const std::string& home) try {
  Store store(home);
  if (Connection* const connection = store.Read()) {
    ProbeReading(*connection);
    ProbeWriting(*connection);
  } else {
    ProbeMissing(home);
  }
  return {};
} catch (const SqliteError& error) {
  return ProblemSentence(home, error);
}

}  // namespace mvsms::posix
