// Pools: several modems that are one line to everything above. The first free member takes a call;
// one that does not answer, or hears no dial tone, rests for the time that its pool says, and the
// next one is tried within the same call, as long as no number was dialled.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "backends/posix/line/dialler.h"
#include "backends/posix/store/line_store.h"

namespace mvsms::posix {

/// The modems of a line, and why others of a pool are not among them.
struct Modems {
  std::vector<LineConfig> ready;  // in the order in which they are tried
  std::vector<std::string> away;  // sentences, UTF-8
};

/// A hayes line is its own only modem, a TCP line has none. Of a pool these are the members,
/// without those that rest or are not plugged in; where that leaves none, all of them. Reads the
/// store.
Modems ModemsOf(const std::string& home, const LineConfig& line);

/// Who has the modems of a line, as a sentence (UTF-8); empty when one of them is free, or none is
/// needed.
std::string LineInUse(const std::string& home, const LineConfig& line);

/// The sentence for a line of which no modem is free: for `reasons`, one for each ready modem, and
/// because the others are away. Empty when there are no reasons.
std::string WhyNoneIsFree(const LineConfig& line, std::vector<std::string> reasons,
                          const std::vector<std::string>& away);

/// One call over a pool. Prepare throws EBUSY when a member is in use and no other can be had.
std::unique_ptr<Dialler> MakePoolDialler(const std::string& home, const LineConfig& pool,
                                         const std::string& destination);

}  // namespace mvsms::posix
