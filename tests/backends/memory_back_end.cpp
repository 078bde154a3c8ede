// The back ends of this program: the one in memory, and the one of the system that it runs on.
#include "backends/memory/memory_platform.h"
#include "tests/backends/contract.h"

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

}  // namespace

std::vector<NamedBackEnd> AllBackEnds() {
  return {{"Memory", [] { return std::unique_ptr<BackEnd>(std::make_unique<InMemory>()); }},
          SystemBackEnd()};
}

}  // namespace mvsms
