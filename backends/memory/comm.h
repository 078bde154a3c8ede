// Serial ports by handle: the devices of the machine, and the ports of connected calls.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "backends/memory/machine.h"
#include "backends/memory/port.h"

namespace mvsms::memory {

class MemoryComm : public Comm {
 public:
  explicit MemoryComm(Machine& machine) : machine_(machine) {}

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

  /// A handle on the port of a call.
  CommHandle Open(std::shared_ptr<MemoryPort> port) { return Open(std::move(port), {}); }
  std::size_t open_ports() const { return open_.size(); }

 private:
  struct Opened {
    std::shared_ptr<MemoryPort> port;
    std::string device;  // empty: the port of a call
  };

  CommHandle Open(std::shared_ptr<MemoryPort> port, const std::string& device);
  /// The port behind `handle`; none when the handle is not open or the test refuses `operation`.
  MemoryPort* Use(const char* operation, CommHandle handle);
  /// Why Use gave no port.
  std::uint32_t ErrorOf(CommHandle handle) const;
  bool IsOpen(const std::string& device) const;

  Machine& machine_;
  std::map<CommHandle, Opened> open_;
  CommHandle last_handle_ = 0;
};

}  // namespace mvsms::memory
