// A page on its way into the queue: what somebody asks for becomes what a worker can send. What is
// known to fail is found out now, while somebody listens.
#pragma once

#include <string>
#include <string_view>

#include "dispatch/queue.h"
#include "dispatch/way.h"
#include "platform/platform.h"

namespace mvsms::dispatch {

/// 32 hexadecimal digits that nobody else has: of a page, or of an attempt to send.
std::string FreshId();

inline constexpr std::size_t kLongestPageId = 100;

/// Letters, digits and - _ . : @ +, not too many: an id is typed, and stands in lists and logs.
bool IsPageId(std::string_view id);

/// What was found out about a page.
struct HandedOver {
  Way way;             // its obstacle is why the page cannot be put
  Way fallback;        // through the route's second service, where it has one; with an obstacle the
                       // page goes without
  std::string change;  // what fitting has changed, UTF-8; empty when nothing
};

/// Completes the page, which has its profile, recipient and originator, and the service that was
/// asked for, if any: with its number and services, the text, fitted where `fits`, and what the
/// profile says about joining. Throws what the settings throw.
HandedOver Complete(Platform& platform, Page& page, const std::string& utf8, bool fits);

}  // namespace mvsms::dispatch
