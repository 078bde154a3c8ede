// The service's thread, see service_thread.h. It is never ended, as the service's process is not,
// and it keeps clear of the tool chain's storage for threads (see backends/win32/per_thread.h).
#include "tests/com/fake_tapi/service_thread.h"

#include <climits>
#include <deque>
#include <mutex>
#include <utility>

#include "backends/win32/handles.h"

namespace mvsms::fake_tapi {
namespace {

class ServiceThread {
 public:
  ServiceThread() { thread_.reset(::CreateThread(nullptr, 0, &Run, this, 0, nullptr)); }

  void Add(std::function<void()> action) {
    {
      const std::lock_guard lock(mutex_);
      waiting_.push_back(std::move(action));
    }
    ::ReleaseSemaphore(count_.get(), 1, nullptr);
  }

 private:
  static DWORD WINAPI Run(void* thread) {
    for (;;) static_cast<ServiceThread*>(thread)->Next()();
  }
  std::function<void()> Next() {
    ::WaitForSingleObject(count_.get(), INFINITE);
    const std::lock_guard lock(mutex_);
    std::function<void()> action = std::move(waiting_.front());
    waiting_.pop_front();
    return action;
  }

  std::mutex mutex_;
  std::deque<std::function<void()>> waiting_;
  const win32::UniqueHandle count_{::CreateSemaphoreW(nullptr, 0, LONG_MAX, nullptr)};
  win32::UniqueHandle thread_;
};

}  // namespace

void OnServiceThread(std::function<void()> action) {
  static auto& thread = *new ServiceThread;
  thread.Add(std::move(action));
}

void AwaitServiceThread() {
  const win32::UniqueHandle done(::CreateEventW(nullptr, FALSE, FALSE, nullptr));
  OnServiceThread([&done] { ::SetEvent(done.get()); });
  ::WaitForSingleObject(done.get(), INFINITE);
}

}  // namespace mvsms::fake_tapi
