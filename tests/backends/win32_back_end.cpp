// The Windows back end over an empty part of the registry and a temporary folder.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "backends/win32/handles.h"
#include "backends/win32/win32_platform.h"
#include "tests/backends/contract.h"

namespace mvsms {
namespace {

constexpr char kScratch[] = "Software\\mvSMS contract tests";

/// Gives this process an empty key in the place of a predefined one.
class EmptyRoot {
 public:
  EmptyRoot(HKEY root, const char* name) : root_(root) {
    HKEY key = nullptr;
    const std::string path = std::string(kScratch) + "\\" + name;
    if (::RegCreateKeyA(HKEY_CURRENT_USER, path.c_str(), &key) != ERROR_SUCCESS) {
      throw std::runtime_error("no scratch key");
    }
    key_.reset(key);
  }
  ~EmptyRoot() { ::RegOverridePredefKey(root_, nullptr); }
  void Show() const { ::RegOverridePredefKey(root_, key_.get()); }

 private:
  HKEY root_;
  win32::UniqueKey key_;
};

class OnWindows : public BackEnd {
 public:
  OnWindows() {
    std::filesystem::create_directories(folder_);
    machine_.Show();
    user_.Show();
  }
  ~OnWindows() override {
    ::RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
    ::RegDeleteTreeA(HKEY_CURRENT_USER, kScratch);
    std::error_code error;
    std::filesystem::remove_all(folder_, error);
  }
  Platform& platform() override { return *platform_; }
  std::string PathTo(const std::string& file_name) override {
    return (folder_ / file_name).string();
  }
  std::string PathNowhere() override { return (folder_ / "missing" / "Log.txt").string(); }
  std::string ComponentName() override { return "backends_test"; }
  std::optional<std::string> Contents(const std::string& path) override {
    std::ifstream file(path, std::ios::binary);
    if (!file) return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(file), {});
  }

 private:
  const std::filesystem::path folder_ =
      std::filesystem::temp_directory_path() /
      ("mvsms-contract-" + std::to_string(::GetCurrentProcessId()));
  EmptyRoot machine_{HKEY_LOCAL_MACHINE, "machine"};
  EmptyRoot user_{HKEY_CURRENT_USER, "user"};
  std::unique_ptr<Platform> platform_ = win32::MakeWin32Platform();
};

}  // namespace

NamedBackEnd SystemBackEnd() {
  return {"Windows", [] { return std::unique_ptr<BackEnd>(std::make_unique<OnWindows>()); }};
}

}  // namespace mvsms
