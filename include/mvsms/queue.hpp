// The queue of the library in C++17: pages are handed over here, and `mvsms worker` sends them. A
// few lines over the functions of mvsms.h, whose words on texts, threads and settings hold here.
#pragma once

#include <mvsms/mvsms.h>

#include <cstdint>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>

namespace mvsms {
inline namespace v1 {

/// A page that was not taken, or a queue that cannot be used; what() says why.
class QueueError : public std::runtime_error {
 public:
  QueueError(mvsms_result result, const std::string& why)
      : std::runtime_error(why), result_(result) {}
  /// Such as MVSMS_RETRY: the same page may be put again, under the same id.
  mvsms_result result() const { return result_; }

 private:
  mvsms_result result_;
};

/// What is asked of a page beside its text.
struct PageOptions {
  std::string id{};                // empty: one is made
  std::string originator{};        // UCP only
  std::string service{};           // empty: the one of the routes, else of the profile
  std::int32_t priority = 5;       // 0 (the most urgent) to 9
  std::int32_t expires_after = 0;  // minutes; 0: never
  std::int64_t not_before = 0;     // seconds since 1970, UTC; 0: at once
};

class Queue {
 public:
  /// `home` and `profile` as for mvsms_queue_new. Throws std::bad_alloc.
  explicit Queue(const std::string& home = "", const std::string& profile = "")
      : queue_(mvsms_queue_new(home.c_str(), profile.c_str())) {
    if (!queue_) throw std::bad_alloc();
  }

  /// The id of the page, which is on stable storage. Throws QueueError.
  std::string Put(const std::string& recipient, const std::string& message,
                  const PageOptions& options = {}) {
    Check(mvsms_queue_set_priority(queue_.get(), options.priority));
    Check(mvsms_queue_set_expiry(queue_.get(), options.expires_after));
    Check(mvsms_queue_set_not_before(queue_.get(), options.not_before));
    Check(mvsms_queue_put(queue_.get(), options.id.c_str(), recipient.c_str(),
                          options.originator.c_str(), message.c_str(), options.service.c_str()));
    return mvsms_queue_id(queue_.get());
  }

  /// MVSMS_PAGE_NONE when there is no such page. Throws QueueError.
  mvsms_page_state State(const std::string& id) {
    const mvsms_page_state state = mvsms_queue_state(queue_.get(), id.c_str());
    if (state == MVSMS_PAGE_ERROR) Check(MVSMS_RETRY);
    return state;
  }
  /// Of the page that State was asked for last, see mvsms_queue_reason.
  std::string Reason() const { return mvsms_queue_reason(queue_.get()); }

  /// Whether it is cancelled now; false when there is no such page, or its state is another one.
  bool Cancel(const std::string& id) {
    const mvsms_result result = mvsms_queue_cancel(queue_.get(), id.c_str());
    if (result == MVSMS_RETRY) Check(result);
    return result == MVSMS_ACCEPTED;
  }

 private:
  struct Free {
    void operator()(mvsms_queue* queue) const { mvsms_queue_free(queue); }
  };

  void Check(mvsms_result result) const {
    if (result != MVSMS_ACCEPTED) throw QueueError(result, mvsms_queue_error(queue_.get()));
  }

  std::unique_ptr<mvsms_queue, Free> queue_;
};

}  // namespace v1
}  // namespace mvsms
