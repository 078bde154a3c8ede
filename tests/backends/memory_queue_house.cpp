// The queue in memory, for the contract of queues: all who use it share one object.
#include "backends/memory/queue.h"
#include "tests/backends/contract_queue.h"

namespace mvsms {
namespace {

class MemoryHouse : public QueueHouse {
 public:
  explicit MemoryHouse(std::function<dispatch::Moment()> now) : queue_(std::move(now)) {}
  dispatch::Queue& Another() override { return queue_; }

 private:
  memory::MemoryQueue queue_;
};

}  // namespace

NamedQueue MemoryQueueHouse() {
  return {"Memory", [](std::function<dispatch::Moment()> now) -> std::unique_ptr<QueueHouse> {
            return std::make_unique<MemoryHouse>(std::move(now));
          }};
}

}  // namespace mvsms
