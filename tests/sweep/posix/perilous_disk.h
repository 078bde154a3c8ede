// A disk under SQLite that may refuse a write, or be left in the middle of one: by a process that
// is killed, which leaves all that it wrote, or by a power failure, which leaves of every file what
// was there at its last sync.
#pragma once

#include <sqlite3.h>
#include <sys/types.h>

#include <functional>
#include <map>
#include <string>

namespace mvsms::sweep {

/// What is there afterwards.
enum class Left { kAllWritten, kAllSynced };

/// Every file that SQLite opens while this exists lies on it. One at a time.
class PerilousDisk {
 public:
  PerilousDisk();
  ~PerilousDisk();
  PerilousDisk(const PerilousDisk&) = delete;
  PerilousDisk& operator=(const PerilousDisk&) = delete;

  /// Asked before each write, sync, truncation and removal: SQLITE_OK, or the error with which it
  /// does not happen.
  std::function<int()> before = [] { return SQLITE_OK; };

  /// Nobody has files of this folder open any more: makes them what is left.
  void Leave(const std::string& folder, Left left);
  /// All files of this folder are safe as they are.
  void SyncAll(const std::string& folder);

 private:
  static int Open(sqlite3_vfs* vfs, const char* name, sqlite3_file* file, int flags, int* out);
  static int Delete(sqlite3_vfs* vfs, const char* name, int sync_folder);
  static int Close(sqlite3_file* file);
  static int Write(sqlite3_file* file, const void* bytes, int count, sqlite3_int64 offset);
  static int Truncate(sqlite3_file* file, sqlite3_int64 size);
  static int Sync(sqlite3_file* file, int flags);
  void Note(const std::string& path);

  static PerilousDisk* self_;
  sqlite3_vfs* const real_;
  sqlite3_vfs vfs_;
  struct OpenFile {
    std::string path;
    const sqlite3_io_methods* real;
  };
  std::map<sqlite3_file*, OpenFile> open_;
  std::map<const sqlite3_io_methods*, sqlite3_io_methods> replaced_;
  std::map<ino_t, std::string> synced_;  // by file, for a file may have several names
};

}  // namespace mvsms::sweep
