// The open line of a call, or a serial device opened by name: bytes both ways without waiting, and
// whether the far end is still there.
//
// Everything that arrives first goes into a buffer of the channel, so a line whose far end has gone
// counts as ended only when all that came before has been read.
//
// NUL bytes are dropped on every line, whatever its settings say: old centres and terminal servers
// pad with them, and nothing that is spoken here has a use for one. Who looks for what is wrong
// with a line wants to see them.
//
// Thread: one at a time. A line is dialled on a worker thread and then used on its owner's.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "backends/posix/line/net_stream.h"
#include "backends/posix/line/tty.h"
#include "backends/posix/system/unique_fd.h"
#include "platform/comm.h"

namespace mvsms::posix {

class Channel {
 public:
  using Millis = std::chrono::milliseconds;

  explicit Channel(UniqueFd fd) : fd_(std::move(fd)) {}
  virtual ~Channel() = default;
  Channel(const Channel&) = delete;
  Channel& operator=(const Channel&) = delete;

  /// How many bytes can be read; counting may stop at `wanted`.
  std::size_t Available(std::size_t wanted);
  /// Takes up to `count` bytes of what is there and returns how many.
  std::size_t Read(char* buffer, std::size_t count);
  /// Returns how many bytes the line took. One without a far end takes everything and drops it, as
  /// a modem without carrier does.
  std::size_t Write(std::string_view bytes);
  /// Puts bytes in front of everything that is still to be read.
  void PutBack(std::string_view bytes) { input_.insert(0, bytes); }
  /// From now on NULs come like every other byte.
  void KeepNuls() { keeps_nuls_ = true; }
  /// Waits until there is something to read, the line is lost, or the time is up.
  void WaitForInput(Millis timeout);
  /// Waits until everything written has been sent, or the time is up.
  virtual void Drain(Millis /*timeout*/) {}

  /// The far end has gone.
  bool Lost();
  /// The far end has gone and all that it sent was read.
  bool Ended();
  /// Releases the device. A closed channel counts as lost.
  void Close();

  // --- what only serial devices have ---------------------------------------------------------
  const Dcb& state() const { return state_; }
  /// As Comm::SetCommState. On a connection valid settings have no effect.
  virtual bool SetState(const Dcb& state);
  /// Modem lines as kMs* bits; nothing when there are none.
  virtual std::optional<std::uint32_t> ModemLines() { return std::nullopt; }
  virtual LineErrorCounts Errors() { return {}; }

 protected:
  int fd() const { return fd_.get(); }
  void KeepState(const Dcb& state) { state_ = state; }
  void MarkLost() { lost_ = true; }

 private:
  /// One write to the system; a negative result with errno as usual.
  virtual long Transmit(std::string_view bytes) = 0;
  /// One read, likewise; 0 at the end.
  virtual long Receive(char* buffer, std::size_t count);
  /// What arrived, to be converted in place.
  virtual void Arrived(std::string& /*bytes*/) {}
  /// Whether a line beside the data shows that the far end has gone.
  virtual bool CarrierLost() { return false; }
  /// Just before the descriptor is closed.
  virtual void Closing() {}

  void Fill(std::size_t wanted = 0);

  UniqueFd fd_;
  Dcb state_{.BaudRate = 9600, .flags = dcb_flag::kBinary, .ByteSize = 8};
  std::string input_;
  bool lost_ = false;
  bool keeps_nuls_ = false;
};

/// A connection over the network as the line of a call.
class SocketChannel : public Channel {
 public:
  explicit SocketChannel(std::unique_ptr<NetStream> stream);
  ~SocketChannel() override { Close(); }
  /// Why the far end broke the connection off, to be put behind its name; empty when it did not
  /// say.
  std::string Trouble() const { return stream_ ? stream_->trouble() : ""; }

 private:
  long Transmit(std::string_view bytes) override { return stream_->Write(bytes); }
  long Receive(char* buffer, std::size_t count) override { return stream_->Read(buffer, count); }
  void Closing() override;

  std::unique_ptr<NetStream> stream_;
};

}  // namespace mvsms::posix
