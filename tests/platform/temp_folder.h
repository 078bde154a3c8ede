// A folder of its own for a test, gone with everything in it afterwards.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

namespace mvsms {

class TempFolder {
 public:
  TempFolder() : path_((std::filesystem::temp_directory_path() / "mvsms-XXXXXX").string()) {
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
  std::string path_;
};

}  // namespace mvsms
