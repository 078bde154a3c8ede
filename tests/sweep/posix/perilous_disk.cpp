// See perilous_disk.h. It is the system's own disk with some of its operations replaced.
#include "tests/sweep/posix/perilous_disk.h"

#include <sys/stat.h>

#include <filesystem>
#include <fstream>

namespace mvsms::sweep {
namespace {

ino_t NumberOf(const std::string& path) {
  struct stat status{};
  return stat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

std::string ContentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::string content(std::filesystem::file_size(path), '\0');
  file.read(content.data(), static_cast<std::streamsize>(content.size()));
  return content;
}

}  // namespace

PerilousDisk* PerilousDisk::self_ = nullptr;

PerilousDisk::PerilousDisk() : real_(sqlite3_vfs_find(nullptr)), vfs_(*real_) {
  self_ = this;
  vfs_.zName = "perilous";
  vfs_.xOpen = Open;
  vfs_.xDelete = Delete;
  sqlite3_vfs_register(&vfs_, 1);
}

PerilousDisk::~PerilousDisk() {
  sqlite3_vfs_unregister(&vfs_);
  sqlite3_vfs_register(real_, 1);
  self_ = nullptr;
}

void PerilousDisk::Leave(const std::string& folder, Left left) {
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const std::string path = entry.path();
    if (path.ends_with("-shm")) {
      std::filesystem::remove(path);
    } else if (left == Left::kAllSynced) {
      std::ofstream(path, std::ios::binary) << synced_[NumberOf(path)];
    }
  }
}

void PerilousDisk::SyncAll(const std::string& folder) {
  for (const auto& entry : std::filesystem::directory_iterator(folder)) Note(entry.path());
}

int PerilousDisk::Open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* out) {
  const int code = self_->real_->xOpen(self_->real_, name, file, flags, out);
  if (code != SQLITE_OK || name == nullptr) return code;
  self_->open_[file] = {name, file->pMethods};
  sqlite3_io_methods& replaced = self_->replaced_[file->pMethods];
  replaced = *file->pMethods;
  replaced.xClose = Close;
  replaced.xWrite = Write;
  replaced.xTruncate = Truncate;
  replaced.xSync = Sync;
  file->pMethods = &replaced;
  return code;
}

int PerilousDisk::Delete(sqlite3_vfs*, const char* name, int sync_folder) {
  const int code = self_->before();
  return code != SQLITE_OK ? code : self_->real_->xDelete(self_->real_, name, sync_folder);
}

int PerilousDisk::Close(sqlite3_file* file) {
  const sqlite3_io_methods* const real = self_->open_.at(file).real;
  self_->open_.erase(file);
  return real->xClose(file);
}

int PerilousDisk::Write(sqlite3_file* file, const void* bytes, int count, sqlite3_int64 offset) {
  const int code = self_->before();
  return code != SQLITE_OK ? code : self_->open_.at(file).real->xWrite(file, bytes, count, offset);
}

int PerilousDisk::Truncate(sqlite3_file* file, sqlite3_int64 size) {
  const int code = self_->before();
  return code != SQLITE_OK ? code : self_->open_.at(file).real->xTruncate(file, size);
}

int PerilousDisk::Sync(sqlite3_file* file, int flags) {
  int code = self_->before();
  if (code == SQLITE_OK) code = self_->open_.at(file).real->xSync(file, flags);
  if (code == SQLITE_OK) self_->Note(self_->open_.at(file).path);
  return code;
}

void PerilousDisk::Note(const std::string& path) { synced_[NumberOf(path)] = ContentOf(path); }

}  // namespace mvsms::sweep
