// A command that is told of each page what became of it: worker --on-result.
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <thread>

namespace mvsms::cli {

class ResultHook {
 public:
  /// Watches the queue in `home` on a thread of its own, and runs the command for each page whose
  /// try has ended, or that is over, with the page as JSON on its standard input: one after the
  /// other, each with a time limit. `tell` gets a sentence, UTF-8, when that fails; it is called on
  /// that thread. All texts are UTF-8.
  ResultHook(const std::string& home, const std::string& profile, const std::string& command,
             std::function<void(const std::string& sentence)> tell);
  /// Runs the command for what has ended by now, as far as that does not take long.
  ~ResultHook();
  ResultHook(const ResultHook&) = delete;
  ResultHook& operator=(const ResultHook&) = delete;

 private:
  std::atomic<bool> ending_ = false;
  std::thread thread_;
};

}  // namespace mvsms::cli
