// The one exception of the system: an error with number, source and description, as a COM host
// would see it. Numbers and texts live next to the code that raises them.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

namespace mvsms {

class RaisedError : public std::runtime_error {
 public:
  RaisedError(std::int32_t number, std::string source, const std::string& description)
      : std::runtime_error(description), number_(number), source_(std::move(source)) {}

  /// Error number, 32-bit signed. Errors of the port and timer classes lie on kObjectErrorBase.
  std::int32_t number() const { return number_; }
  /// Object or procedure that raised the error, such as "dwComm".
  const std::string& source() const { return source_; }
  /// Text for the user, in the ANSI code page.
  std::string description() const { return what(); }

 private:
  std::int32_t number_;
  std::string source_;
};

/// The object-error base 0x80040000 plus `code`, as a 32-bit signed number.
constexpr std::int32_t ObjectError(std::int32_t code) {
  return static_cast<std::int32_t>(0x80040000U + static_cast<std::uint32_t>(code));
}

}  // namespace mvsms
