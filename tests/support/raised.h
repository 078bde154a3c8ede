// Catches the error that a piece of code raises, so that a test can look at all three of its parts.
#pragma once

#include <cstdint>
#include <string>
#include <tuple>

#include "base/raised_error.h"

namespace mvsms {

/// Number, source, description; zero and empty when nothing was raised.
using Raised = std::tuple<std::int32_t, std::string, std::string>;

template <class Body>
Raised RaisedBy(Body&& body) {
  try {
    body();
  } catch (const RaisedError& error) {
    return {error.number(), error.source(), error.description()};
  }
  return {};
}

inline const Raised kNothingRaised{};

}  // namespace mvsms
