// See hand_over.h.
#include "dispatch/hand_over.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <exception>
#include <random>

#include "base/ansi.h"
#include "base/texts.h"
#include "dispatch/fit.h"
#include "engine/profile.h"
#include "engine/settings.h"

namespace mvsms::dispatch {
namespace {

/// A machine without a source of chance has at least the time to tell its pages apart.
unsigned Random() try {
  thread_local std::random_device source;
  return source();
} catch (const std::exception&) {
  return static_cast<unsigned>(std::chrono::system_clock::now().time_since_epoch().count());
}

std::chrono::minutes JoinTime(Platform& platform, std::string profile) {
  const Profile settings(platform.registry(), BaseKey(profile));
  return std::chrono::minutes(std::max(settings.NumberOrInitial(setting::kJoinMinutes), 0));
}

}  // namespace

std::string FreshId() {
  std::string id;
  for (int i = 0; i < 4; ++i) {
    std::array<char, 9> digits{};
    std::snprintf(digits.data(), digits.size(), "%08x", Random());
    id += digits.data();
  }
  return id;
}

bool IsPageId(std::string_view id) {
  constexpr std::string_view kTaken =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.:@+";
  return !id.empty() && id.size() <= kLongestPageId &&
         id.find_first_not_of(kTaken) == std::string_view::npos;
}

HandedOver Complete(Platform& platform, Page& page, const std::string& utf8, bool fits) {
  const auto way_through = [&](const std::string& service) {
    return FindWay(platform, page.profile, page.recipient, service);
  };
  HandedOver found;
  found.way = way_through(page.service);
  page.text = Trim(AnsiFromUtf8(utf8));
  if (fits && !found.way.service.Name.empty()) {
    Fitted fitted = Fit(utf8, found.way.service);
    page.text = fitted.text;
    found.change = fitted.change;
  }
  if (!found.way.service.Name.empty()) Load(found.way, page.originator, page.text);
  page.number = found.way.number;
  page.service = found.way.service.Name;
  page.joins = JoinTime(platform, page.profile);
  if (found.way.fallback.empty() || !found.way.obstacle.empty()) return found;
  found.fallback = way_through(found.way.fallback);
  Load(found.fallback, page.originator, page.text);
  if (found.fallback.obstacle.empty()) page.fallback = found.way.fallback;
  return found;
}

}  // namespace mvsms::dispatch
