// Reading ahead, and swallowing what is written to a lost line.
#include "backends/posix/line/channel.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace mvsms::posix {
namespace {

// What is kept here while nobody reads; the rest waits in the system, where flow control sees it.
constexpr std::size_t kBufferSize = 8192;

bool MeansLater(int error) { return error == EAGAIN || error == EINTR; }

}  // namespace

std::size_t Channel::Available(std::size_t wanted) {
  Fill(wanted);
  return input_.size();
}

std::size_t Channel::Read(char* buffer, std::size_t count) {
  Fill();
  const std::size_t taken = input_.copy(buffer, count);
  input_.erase(0, taken);
  return taken;
}

std::size_t Channel::Write(std::string_view bytes) {
  if (Lost()) return bytes.size();
  std::size_t taken = 0;
  while (taken < bytes.size()) {
    const long count = Transmit(bytes.substr(taken));
    if (count == 0 || (count < 0 && MeansLater(errno))) break;
    if (count < 0) {
      lost_ = true;
      return bytes.size();
    }
    taken += static_cast<std::size_t>(count);
  }
  return taken;
}

void Channel::WaitForInput(Millis timeout) {
  Fill();
  if (!input_.empty() || timeout.count() <= 0) return;
  pollfd wait = {fd_.get(), POLLIN, 0};
  // A lost line would end every wait at once.
  poll(&wait, lost_ ? 0 : 1, static_cast<int>(timeout.count()));
}

bool Channel::Lost() {
  // The carrier is checked first: what came before it was lost is then there to be read.
  const bool carrier_lost = fd_ && CarrierLost();
  Fill();
  if (carrier_lost) lost_ = true;
  return lost_;
}

bool Channel::Ended() { return Lost() && input_.empty(); }

void Channel::Close() {
  if (!fd_) return;
  Closing();
  fd_.Reset();
  lost_ = true;
  input_.clear();
}

bool Channel::SetState(const Dcb& state) {
  if (!IsValidFraming(state.ByteSize, state.Parity, state.StopBits)) return false;
  state_ = state;
  return true;
}

void Channel::Fill(std::size_t wanted) {
  std::array<char, 1024> chunk{};
  const std::size_t limit = std::max(wanted, kBufferSize);
  while (fd_ && input_.size() < limit) {
    const long count = Receive(chunk.data(), chunk.size());
    if (count < 0 && MeansLater(errno)) return;
    if (count <= 0) {
      lost_ = true;
      return;
    }
    std::string bytes(chunk.data(), static_cast<std::size_t>(count));
    Arrived(bytes);
    if (!keeps_nuls_) std::erase(bytes, '\0');
    input_ += bytes;
  }
}

long Channel::Receive(char* buffer, std::size_t count) { return read(fd_.get(), buffer, count); }

// A descriptor of its own, which is there to be waited for.
SocketChannel::SocketChannel(std::unique_ptr<NetStream> stream)
    : Channel(UniqueFd(dup(stream->fd()))), stream_(std::move(stream)) {}

void SocketChannel::Closing() {
  stream_->Finish();
  stream_.reset();
}

}  // namespace mvsms::posix
