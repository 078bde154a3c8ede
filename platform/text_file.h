// Text files in the ANSI code page.
#pragma once

#include <cstdint>
#include <string>

#include "base/raised_error.h"

namespace mvsms {

inline constexpr std::int32_t kErrFileAccess = 75;

/// Throws what Read throws.
[[noreturn]] inline void RaiseFileAccess(const std::string& path) {
  throw RaisedError(kErrFileAccess, "mvSMS", "Path/File access error: " + path);
}

class TextFile {
 public:
  virtual ~TextFile() = default;
  /// Opens the file for appending (creating it when missing), writes `text` as it stands and closes
  /// it again, so that the file can be read, moved or deleted between two calls. What two processes
  /// append at the same time is not mixed within one call. False on any failure.
  virtual bool Append(const std::string& path, const std::string& text) = 0;
  /// Reads the whole file. False, leaving `text` as it was, when there is no such file; throws
  /// RaisedError 75 with the path when there is one that cannot be read.
  virtual bool Read(const std::string& path, std::string& text) = 0;
};

}  // namespace mvsms
