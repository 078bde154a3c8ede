// How many pages a client may put in a time: as many at once as in a minute, then as they run in.
#pragma once

#include <algorithm>
#include <chrono>
#include <cmath>
#include <map>
#include <mutex>
#include <string>

namespace mvsms::gateway {

class RateLimit {
 public:
  using Moment = std::chrono::steady_clock::time_point;

  /// 0 is no limit.
  explicit RateLimit(int pages_a_minute) : rate_(pages_a_minute) {}

  /// 0 when the client may put so many pages now; else after how many seconds. A request for more
  /// than a minute's pages is taken when nothing else was for a minute. From any thread.
  int SecondsUntil(const std::string& client, std::size_t pages, Moment now) {
    if (rate_ == 0) return 0;
    const std::lock_guard lock(mutex_);
    auto& [left, at] = clients_.try_emplace(client, Bucket{rate_, now}).first->second;
    left = std::min(rate_, left + std::chrono::duration<double>(now - at).count() * rate_ / 60);
    at = now;
    const double wanted = std::min(static_cast<double>(pages), rate_);
    if (left < wanted) return static_cast<int>(std::ceil((wanted - left) * 60 / rate_));
    left -= static_cast<double>(pages);
    return 0;
  }

 private:
  struct Bucket {
    double left;
    Moment at;
  };

  const double rate_;
  std::mutex mutex_;
  std::map<std::string, Bucket> clients_;  // as many as there are tokens, or addresses of our own
};

}  // namespace mvsms::gateway
