// Comm over channels. Known to the telephony service, which hands over the ports of its calls.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "backends/posix/line/channel.h"
#include "platform/comm.h"

namespace mvsms::posix {

/// An open port: a channel with what Win32 keeps for each handle.
struct Port {
  std::shared_ptr<Channel> channel;
  CommTimeouts timeouts;
  std::uint32_t mask = 0;
  unsigned mask_changes = 0;  // each one ends a pending wait
  LineErrorCounts counts;     // of errors noted so far
  std::uint32_t errors = 0;   // kCe* since the last ClearCommError
  std::uint32_t events = 0;   // kEv* of the mask since the last wait

  /// Notes line errors that happened since the last call.
  void NoteErrors();
};

class PosixComm : public Comm {
 public:
  /// A handle for an open channel. Closing the handle leaves the channel open for its other users.
  CommHandle Adopt(std::shared_ptr<Channel> channel);

  std::unique_ptr<Overlapped> CreateOverlapped() override;
  CommHandle CreateFile(const std::string& device_name) override;
  bool CloseHandle(CommHandle handle) override;
  bool SetupComm(CommHandle handle, std::uint32_t in_queue, std::uint32_t out_queue) override;
  bool GetCommTimeouts(CommHandle handle, CommTimeouts& timeouts) override;
  bool SetCommTimeouts(CommHandle handle, const CommTimeouts& timeouts) override;
  bool GetCommState(CommHandle handle, Dcb& dcb) override;
  bool SetCommState(CommHandle handle, const Dcb& dcb) override;
  bool SetCommMask(CommHandle handle, std::uint32_t events) override;
  bool GetCommModemStatus(CommHandle handle, std::uint32_t& status) override;
  std::uint32_t ReadFile(CommHandle handle, char* buffer, std::uint32_t count,
                         std::uint32_t& transferred, Overlapped& overlapped) override;
  std::uint32_t WriteFile(CommHandle handle, const char* buffer, std::uint32_t count,
                          std::uint32_t& transferred, Overlapped& overlapped) override;
  std::uint32_t WaitCommEvent(CommHandle handle, std::uint32_t& events,
                              Overlapped& overlapped) override;
  bool ClearCommError(CommHandle handle, std::uint32_t& errors) override;

 private:
  std::shared_ptr<Port> Find(CommHandle handle) const;

  std::map<CommHandle, std::shared_ptr<Port>> ports_;
  CommHandle last_handle_ = 0;
};

}  // namespace mvsms::posix
