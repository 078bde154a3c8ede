// What ends a command early, and the exit codes that commands end with.
#pragma once

#include <stdexcept>

namespace mvsms::cli {

inline constexpr int kExitAccepted = 0;
inline constexpr int kExitFailed = 1;
inline constexpr int kExitUsage = 2;

/// A wrong command line or value. Nothing was changed; ends the command with kExitUsage.
class UsageError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Something outside the command line stands in the way; ends the command with kExitFailed.
class Failure : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Something that ends by itself, such as another program's lock.
class Busy : public Failure {
  using Failure::Failure;
};

}  // namespace mvsms::cli
