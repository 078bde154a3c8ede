// The Linux back end in a temporary folder.
#include <fstream>
#include <iterator>

#include "backends/posix/posix_platform.h"
#include "tests/backends/contract.h"
#include "tests/support/temp_folder.h"

namespace mvsms {
namespace {

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

}  // namespace

NamedBackEnd SystemBackEnd() {
  return {"Posix", [] { return std::unique_ptr<BackEnd>(std::make_unique<OnPosix>()); }};
}

}  // namespace mvsms
