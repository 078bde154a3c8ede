// The hub in memory, for the contract of hubs: all who use it share one object.
#include "backends/memory/hub.h"
#include "tests/backends/contract_hub.h"

namespace mvsms {
namespace {

class MemoryHouse : public HubHouse {
 public:
  explicit MemoryHouse(std::function<dispatch::Moment()> now) : hub_(std::move(now)) {}
  dispatch::Hub& Another() override { return hub_; }

 private:
  memory::MemoryHub hub_;
};

}  // namespace

NamedHub MemoryHubHouse() {
  return {"Memory", [](std::function<dispatch::Moment()> now) -> std::unique_ptr<HubHouse> {
            return std::make_unique<MemoryHouse>(std::move(now));
          }};
}

}  // namespace mvsms
