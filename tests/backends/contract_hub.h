// The contract of the hub over every hub that this system has.
#pragma once

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "dispatch/hub.h"

namespace mvsms {

/// A fresh hub, and everything that looks at it.
class HubHouse {
 public:
  virtual ~HubHouse() = default;
  /// Another machine's way to it; where the hub allows it, a connection of its own.
  virtual dispatch::Hub& Another() = 0;
};

struct NamedHub {
  std::string name;
  std::unique_ptr<HubHouse> (*make)(std::function<dispatch::Moment()> now);
};
inline void PrintTo(const NamedHub& hub, std::ostream* out) { *out << hub.name; }

NamedHub MemoryHubHouse();
/// Those of the system that the tests run on.
std::vector<NamedHub> SystemHubs();

inline std::vector<NamedHub> EveryHub() {
  std::vector<NamedHub> all = SystemHubs();
  all.push_back(MemoryHubHouse());
  return all;
}

}  // namespace mvsms
