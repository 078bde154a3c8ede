// The back ends of this system: the one in memory, and the Linux one in a temporary folder.
#include <filesystem>
#include <fstream>
#include <iterator>

#include "platform/memory/memory_platform.h"
#include "platform/posix/posix_platform.h"
#include "tests/platform/contract.h"
#include "tests/platform/temp_folder.h"

namespace mvsms {
namespace {

class InMemory : public BackEnd {
 public:
  InMemory() { platform_.folders = {"C:\\Logs"}; }
  Platform& platform() override { return platform_; }
  std::string PathTo(const std::string& file_name) override { return "C:\\Logs\\" + file_name; }
  std::string PathNowhere() override { return "C:\\Missing\\Log.txt"; }
  std::optional<std::string> Contents(const std::string& path) override {
    const auto found = platform_.files.find(path);
    if (found == platform_.files.end()) return std::nullopt;
    return found->second;
  }

 private:
  memory::MemoryPlatform platform_;
};

class OnPosix : public BackEnd {
 public:
  Platform& platform() override { return *platform_; }
  std::string PathTo(const std::string& file_name) override { return folder_ / file_name; }
  std::string PathNowhere() override { return folder_ / "missing/Log.txt"; }
  std::optional<std::string> Contents(const std::string& path) override {
    std::ifstream file(path, std::ios::binary);
    if (!file) return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(file), {});
  }

 private:
  TempFolder folder_;
  std::unique_ptr<Platform> platform_ = posix::MakePosixPlatform(folder_ / "home");
};

template <typename Kind>
std::unique_ptr<BackEnd> Make() {
  return std::make_unique<Kind>();
}

}  // namespace

std::vector<NamedBackEnd> AllBackEnds() {
  return {{"Memory", Make<InMemory>}, {"Posix", Make<OnPosix>}};
}

}  // namespace mvsms
