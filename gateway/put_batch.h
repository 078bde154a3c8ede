// Many who put pages into the queue at the same time share one transaction, and so one wait for
// stable storage.
#pragma once

#include <condition_variable>
#include <exception>
#include <mutex>
#include <string>
#include <vector>

#include "dispatch/queue.h"

namespace mvsms::gateway {

/// What became of a page that was put.
struct PutPage {
  bool is_new = false;
  dispatch::PageState state = dispatch::PageState::kReady;  // that it is in
  /// Whether the page of this id is the one that was put, and not another one with its id.
  bool is_same = true;
};

class PutBatch {
 public:
  /// `queue` is used by nobody else, and by one thread at a time.
  explicit PutBatch(dispatch::Queue& queue) : queue_(queue) {}

  /// From any thread. What became of each page, in their order; the pages are on stable storage
  /// when it returns. When one is not the page that its id stands for, none is put. Throws what the
  /// queue throws; then none was put either.
  std::vector<PutPage> Put(const std::vector<dispatch::Page>& pages);

 private:
  struct Waiting {
    const std::vector<dispatch::Page>& pages;
    std::vector<PutPage> result{};
    std::exception_ptr failure{};
    bool done = false;
  };

  void Write(const std::vector<Waiting*>& batch);
  void LookAtJoined(Waiting& one);
  void WriteAll(const std::vector<Waiting*>& batch);

  dispatch::Queue& queue_;
  std::mutex mutex_;  // for what follows
  std::condition_variable written_;
  std::vector<Waiting*> waiting_;
  bool writing_ = false;
};

}  // namespace mvsms::gateway
