// An environment variable that a test sets or removes, and that comes back afterwards.
#pragma once

#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

namespace mvsms {

class ScopedVariable {
 public:
  /// No value removes the variable.
  ScopedVariable(std::string name, const std::optional<std::string>& value)
      : name_(std::move(name)) {
    if (const char* before = getenv(name_.c_str())) before_ = before;
    Set(value);
  }
  ~ScopedVariable() { Set(before_); }
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;

 private:
  void Set(const std::optional<std::string>& value) const {
    if (value) {
      setenv(name_.c_str(), value->c_str(), 1);
    } else {
      unsetenv(name_.c_str());
    }
  }

  std::string name_;
  std::optional<std::string> before_;
};

}  // namespace mvsms
