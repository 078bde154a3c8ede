// A folder of its own for a test, gone with everything in it afterwards. It lies in memory where
// the system has such a place, for the store puts every write on stable storage.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

namespace mvsms {

class TempFolder {
 public:
  TempFolder() : path_(Place() + "/mvsms-XXXXXX") {
    if (!mkdtemp(path_.data())) throw std::runtime_error("no temporary folder");
  }
  ~TempFolder() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::string& path() const { return path_; }
  /// Path of an entry of the folder, which need not exist.
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  static std::string Place() {
    const char* const memory = "/dev/shm";
    return access(memory, W_OK) == 0 ? memory : std::filesystem::temp_directory_path().string();
  }

  std::string path_;
};

}  // namespace mvsms
