// The queue in a file, for the contract of queues: each who uses it opens it for himself.
#include "backends/posix/store/queue.h"
#include "tests/backends/contract_queue.h"
#include "tests/support/temp_folder.h"

namespace mvsms {
namespace {

class FileHouse : public QueueHouse {
 public:
  explicit FileHouse(std::function<dispatch::Moment()> now) : now_(std::move(now)) {}
  dispatch::Queue& Another() override {
    return *queues_.emplace_back(std::make_unique<posix::PageQueue>(folder_ / "state", now_));
  }

 private:
  TempFolder folder_;
  std::function<dispatch::Moment()> now_;
  std::vector<std::unique_ptr<posix::PageQueue>> queues_;
};

}  // namespace

std::vector<NamedQueue> SystemQueues() {
  return {{"File", [](std::function<dispatch::Moment()> now) -> std::unique_ptr<QueueHouse> {
             return std::make_unique<FileHouse>(std::move(now));
           }}};
}

}  // namespace mvsms
