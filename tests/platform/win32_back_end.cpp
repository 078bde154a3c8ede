// The Windows back end, with the two hives of the registry that it uses replaced by empty keys for
// the time of a test, and a temporary folder.
#include "platform/win32/handles.h"
//
#include <shlwapi.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "platform/win32/win32_platform.h"
#include "tests/platform/contract.h"

namespace mvsms {
namespace {

/// Stands in for a predefined key of this process.
class EmptyHive {
 public:
  EmptyHive(HKEY hive, const char* name) : hive_(hive), path_(std::string(kPlace) + name) {
    ::SHDeleteKeyA(HKEY_CURRENT_USER, path_.c_str());
    HKEY key = nullptr;
    ::RegCreateKeyA(HKEY_CURRENT_USER, path_.c_str(), &key);
    key_.reset(key);
    ::RegOverridePredefKey(hive_, key);
  }
  EmptyHive(const EmptyHive&) = delete;
  EmptyHive& operator=(const EmptyHive&) = delete;
  ~EmptyHive() {
    ::RegOverridePredefKey(hive_, nullptr);
    ::SHDeleteKeyA(HKEY_CURRENT_USER, path_.c_str());
  }

 private:
  static constexpr const char* kPlace = "Software\\mvSMS tests\\";
  const HKEY hive_;
  const std::string path_;
  win32::UniqueKey key_;
};

class Folder {
 public:
  Folder()
      : path_(std::filesystem::temp_directory_path() /
              ("mvsms-" + std::to_string(::GetCurrentProcessId()))) {
    std::filesystem::create_directory(path_);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  std::string operator/(const std::string& name) const { return (path_ / name).string(); }

 private:
  const std::filesystem::path path_;
};

class OnWindows : public BackEnd {
 public:
  Platform& platform() override { return *platform_; }
  std::string PathTo(const std::string& file_name) override { return folder_ / file_name; }
  std::string PathNowhere() override { return folder_ / "missing\\Log.txt"; }
  std::optional<std::string> Contents(const std::string& path) override {
    std::ifstream file(path, std::ios::binary);
    if (!file) return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(file), {});
  }
  std::string ComponentName() override { return "platform_test"; }
  std::string DateForm() override { return "9/9/9"; }
  std::string TimeForm() override { return "9:9:9 " + std::string(IsMorning() ? "AM" : "PM"); }

 private:
  static bool IsMorning() {
    SYSTEMTIME now;
    ::GetLocalTime(&now);
    return now.wHour < 12;
  }

  // The machine's hive last, and gone first: both stand below the user's own.
  EmptyHive user_{HKEY_CURRENT_USER, "user"};
  EmptyHive machine_{HKEY_LOCAL_MACHINE, "machine"};
  Folder folder_;
  std::unique_ptr<Platform> platform_ = win32::MakeWin32Platform();
};

}  // namespace

NamedBackEnd SystemBackEnd() { return {"Windows", MakeBackEnd<OnWindows>}; }

}  // namespace mvsms
