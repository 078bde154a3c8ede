// Real time and a real device for the modem dialogue.
#include "backends/posix/line/modem_port.h"

#include <thread>

namespace mvsms::posix {
namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kWriteTime{2000};
constexpr milliseconds kStep{10};

}  // namespace

void ChannelPort::Write(std::string_view bytes) {
  const Millis deadline = Now() + kWriteTime;
  bytes.remove_prefix(channel_.Write(bytes));
  while (!bytes.empty() && Now() < deadline) {
    Wait(kStep);
    bytes.remove_prefix(channel_.Write(bytes));
  }
}

std::optional<char> ChannelPort::Read(Millis time) {
  char code = 0;
  const Millis deadline = Now() + time;
  do {
    channel_.WaitForInput(deadline - Now());
    if (channel_.Read(&code, 1) == 1) return code;
  } while (Now() < deadline);
  return std::nullopt;
}

void ChannelPort::Wait(Millis time) { std::this_thread::sleep_for(time); }

std::optional<bool> ChannelPort::Carrier() {
  const auto lines = channel_.ModemLines();
  if (!lines) return std::nullopt;
  return (*lines & kMsRlsdOn) != 0;
}

ModemPort::Millis ChannelPort::Now() {
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch());
}

}  // namespace mvsms::posix
