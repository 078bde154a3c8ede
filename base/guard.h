// The boundary where an exception becomes an error report. The line classes answer to event loops
// and destructors, through which nothing may escape.
#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <utility>

#include "base/raised_error.h"

namespace mvsms {

/// Number reported for a failure that carries none of its own (E_FAIL).
inline constexpr std::int32_t kErrUnnumbered = -2147467259;

/// Runs `body` and returns its result. When it throws, calls report(number, description) and
/// returns `fallback`.
template <class Result, class Body, class Report>
Result Guarded(Result fallback, Body&& body, Report&& report) {
  try {
    return std::forward<Body>(body)();
  } catch (const RaisedError& error) {
    report(error.number(), error.description());
  } catch (const std::exception& error) {
    report(kErrUnnumbered, std::string(error.what()));
  } catch (...) {
    report(kErrUnnumbered, std::string("Unknown error"));
  }
  return fallback;
}

}  // namespace mvsms
