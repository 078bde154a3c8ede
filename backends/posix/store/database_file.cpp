// See database_file.h.
#include "backends/posix/store/database_file.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "backends/posix/system/home.h"
#include "base/ansi.h"
#include "base/raised_error.h"

namespace mvsms::posix {
namespace {

/// What a host knows as "Path/File access error".
constexpr std::int32_t kAccessError = 75;

/// Whether somebody with other rights might have fared better.
bool IsRefusal(int code) {
  return code == SQLITE_READONLY || code == SQLITE_CANTOPEN || code == SQLITE_PERM ||
         code == SQLITE_AUTH;
}

std::string UserName(uid_t user) {
  const passwd* const entry = getpwuid(user);
  return entry != nullptr ? entry->pw_name : "user " + std::to_string(user);
}

const char* AdviceFor(int code) {
  switch (code) {
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
      return "The file is damaged. Move it away and put a backup in its place, or begin again "
             "without one.";
    case SQLITE_MISMATCH:
      return "It was written by a newer version of this program: install that version, or set "
             "MVSMS_HOME to another folder.";
    case SQLITE_FULL:
      return "Free some space on the disk and try again; nothing that was stored is lost.";
    case SQLITE_BUSY:
      return "Another program keeps the file locked. Try again when it has finished.";
    case SQLITE_READONLY:
    case SQLITE_CANTOPEN:
    case SQLITE_PERM:
    case SQLITE_AUTH:
      return "Check that you may write to the file and its folder, or set MVSMS_HOME to a folder "
             "of your own.";
    default:
      return "Check the disk and the rights on the file and its folder, then try again.";
  }
}

/// The number of the file's format, 0 while it is empty; an error for one after `known`.
std::size_t FormatOf(Connection& connection, std::size_t known) {
  const auto format = static_cast<std::size_t>(connection.Value("PRAGMA user_version"));
  if (format <= known) return format;
  throw SqliteError(SQLITE_MISMATCH, "the file has format " + std::to_string(format) +
                                         ", this program knows formats up to " +
                                         std::to_string(known));
}

/// A file under another name.
class Draft {
 public:
  explicit Draft(const std::string& file) : path_(file + ".XXXXXX") {
    const int made = mkstemp(path_.data());
    if (made < 0) FailWithErrno(SQLITE_CANTOPEN, file);
    close(made);
  }
  ~Draft() { unlink(path_.c_str()); }
  Draft(const Draft&) = delete;
  Draft& operator=(const Draft&) = delete;

  const std::string& path() const { return path_; }
  /// Whoever was faster has made the same.
  void Become(const std::string& file) const {
    if (link(path_.c_str(), file.c_str()) != 0 && errno != EEXIST) {
      FailWithErrno(SQLITE_CANTOPEN, file);
    }
  }

 private:
  std::string path_;
};

}  // namespace

void FailWithErrno(int code, const std::string& what) {
  throw SqliteError(code, what + ": " + std::strerror(errno));
}

void MakeHome(const std::string& home) {
  const std::filesystem::path folder = (std::filesystem::path(home) / "").parent_path();
  std::error_code error;
  std::filesystem::create_directories(folder.parent_path(), error);
  if (mkdir(home.c_str(), 0700) != 0 && errno != EEXIST) FailWithErrno(SQLITE_CANTOPEN, home);
}

void MakeWhole(const std::string& home, const std::string& file,
               const std::function<void(Connection&)>& make_tables) {
  MakeHome(home);
  const Draft draft(file);
  chmod(draft.path().c_str(), IsShared(home) ? 0660 : 0640);
  {
    Connection connection(draft.path());
    make_tables(connection);
    // Closing would do it, too, but say nothing when it fails; and only the file itself gets the
    // name.
    connection.Execute("PRAGMA wal_checkpoint(TRUNCATE)");
  }
  draft.Become(file);
}

void MakeNewest(Connection& connection, Formats formats) {
  Transaction writing(connection, Transaction::Kind::kWrite);
  const std::size_t had = FormatOf(connection, formats.size());
  if (had == formats.size()) return;  // another process was faster
  for (const auto& format : formats.subspan(had)) {
    for (const char* statement : format) connection.Execute(statement);
  }
  writing.Commit();
}

void MakeTables(Connection& connection, Formats formats) {
  connection.Execute("PRAGMA journal_mode = WAL");
  MakeNewest(connection, formats);
}

bool HasTables(Connection& connection, Formats formats) {
  const std::size_t format = FormatOf(connection, formats.size());
  if (format == 0) return false;
  if (format < formats.size()) MakeNewest(connection, formats);
  return true;
}

std::string Ownership(const std::string& path) {
  std::filesystem::path seen = path;
  struct stat status{};
  while (stat(seen.c_str(), &status) != 0) {
    if (!seen.has_relative_path()) return "";
    seen = seen.parent_path();
  }
  if (status.st_uid == geteuid()) return "";
  const std::string which = seen == path ? "it" : seen.string();
  return " (" + which + " belongs to " + UserName(status.st_uid) + ", and this runs as " +
         UserName(geteuid()) + ")";
}

std::string TroubleWith(const std::string& what, const std::string& path,
                        const SqliteError& error) {
  const std::string owner = IsRefusal(error.code()) ? Ownership(path) : "";
  return "The " + what + " " + path + " cannot be used: " + error.what() + owner + ". " +
         AdviceFor(error.code());
}

void RaiseTrouble(const char* source, const std::string& what, const std::string& path,
                  const SqliteError& error) {
  throw RaisedError(kAccessError, source, AnsiFromUtf8(TroubleWith(what, path, error)));
}

}  // namespace mvsms::posix
