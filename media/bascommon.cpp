// Waiting in ten rounds.
#include "media/bascommon.h"

#include <chrono>

namespace mvsms::basCommon {
namespace {

constexpr int kPauseRounds = 10;

}  // namespace

void Pause(EventLoop& loop, std::int32_t Milliseconds) {
  const std::chrono::milliseconds slice(Milliseconds / kPauseRounds);
  for (int round = 0; round < kPauseRounds; ++round) {
    loop.Sleep(slice);
    loop.DoEvents();
  }
}

}  // namespace mvsms::basCommon
