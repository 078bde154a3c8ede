// How long the dialogues wait, in milliseconds, and how often.
#pragma once

#include <cstdint>

namespace mvsms {

// Modems chatter after they have connected, and centres print a banner around their prompt; both
// are left to finish before we speak. Answers are polled at the pace of the slowest centres, which
// look up the identifier or the pager before they answer. After a block the service's own time-out
// comes first.
namespace tap_wait {
inline constexpr std::int32_t kAfterConnect = 1000;
inline constexpr std::int32_t kPromptPoll = 2000;
inline constexpr std::int32_t kAroundPrompt = 500;  // before and after
inline constexpr std::int32_t kLoginPoll = 1000;
inline constexpr std::int32_t kAcknowledgementPoll = 2000;

inline constexpr int kPromptAttempts = 6;  // a centre finds out the line speed from the first CRs
inline constexpr int kLoginPolls = 10;     // empty ones, after each login frame
inline constexpr int kAcknowledgementPolls = 9;
}  // namespace tap_wait

namespace ucp_wait {
inline constexpr std::int32_t kAfterConnect = 1000;  // for the modems to fall silent
inline constexpr int kAnswerPolls = 21;              // one per time-out of the service
}  // namespace ucp_wait

}  // namespace mvsms
