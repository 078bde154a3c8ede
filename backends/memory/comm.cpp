// See comm.h.
#include "backends/memory/comm.h"

#include <algorithm>
#include <utility>

#include "platform/win32_codes.h"

namespace mvsms::memory {
namespace {

/// Starts an operation on `port` and, when it did start, lets `overlapped` watch it.
template <typename Start>
std::uint32_t Begin(MemoryPort& port, Overlapped& overlapped, std::uint32_t& transferred,
                    Start start) {
  const auto operation = std::make_shared<Operation>();
  const std::uint32_t result = start(operation);
  if (result == 0) transferred = operation->transferred;
  if (result == 0 || result == kErrorIoPending) {
    static_cast<MemoryOverlapped&>(overlapped).Watch(operation, port.weak_from_this());
  }
  return result;
}

}  // namespace

std::unique_ptr<Overlapped> MemoryComm::CreateOverlapped() {
  machine_.Refuses("Comm.CreateOverlapped");
  return std::make_unique<MemoryOverlapped>();
}

CommHandle MemoryComm::CreateFile(const std::string& device_name) {
  if (machine_.Refuses("Comm.CreateFile")) return kInvalidComm;
  const auto found = machine_.platform.devices.find(device_name);
  if (found == machine_.platform.devices.end() || IsOpen(device_name)) return kInvalidComm;
  const Device& device = found->second;
  auto port = std::make_shared<MemoryPort>(machine_, device.port);
  machine_.platform.ports.push_back(port);
  const CommHandle handle = Open(port, device_name);
  port->Connect(device.far_end ? device.far_end() : nullptr, {});
  return handle;
}

bool MemoryComm::CloseHandle(CommHandle handle) {
  if (!Use("Comm.CloseHandle", handle)) return false;
  const Opened closing = std::move(open_.extract(handle).mapped());
  closing.port->Close();
  if (!closing.device.empty()) closing.port->HangUp();
  return true;
}

bool MemoryComm::SetupComm(CommHandle handle, std::uint32_t in_queue, std::uint32_t out_queue) {
  MemoryPort* port = Use("Comm.SetupComm", handle);
  if (port) port->requests.queues.emplace_back(in_queue, out_queue);
  return port;
}

bool MemoryComm::GetCommTimeouts(CommHandle handle, CommTimeouts& timeouts) {
  const MemoryPort* port = Use("Comm.GetCommTimeouts", handle);
  if (port) timeouts = port->hardware.timeouts;
  return port;
}

bool MemoryComm::SetCommTimeouts(CommHandle handle, const CommTimeouts& timeouts) {
  MemoryPort* port = Use("Comm.SetCommTimeouts", handle);
  if (!port) return false;
  port->requests.timeouts.push_back(timeouts);
  port->hardware.timeouts = timeouts;
  return true;
}

bool MemoryComm::GetCommState(CommHandle handle, Dcb& dcb) {
  const MemoryPort* port = Use("Comm.GetCommState", handle);
  if (port) dcb = port->hardware.dcb;
  return port;
}

bool MemoryComm::SetCommState(CommHandle handle, const Dcb& dcb) {
  MemoryPort* port = Use("Comm.SetCommState", handle);
  if (!port) return false;
  port->requests.dcbs.push_back(dcb);
  if (!IsValidFraming(dcb.ByteSize, dcb.Parity, dcb.StopBits)) return false;
  port->hardware.dcb = dcb;
  return true;
}

bool MemoryComm::SetCommMask(CommHandle handle, std::uint32_t events) {
  MemoryPort* port = Use("Comm.SetCommMask", handle);
  if (!port) return false;
  port->requests.masks.push_back(events);
  port->SetMask(events);
  return true;
}

bool MemoryComm::GetCommModemStatus(CommHandle handle, std::uint32_t& status) {
  const MemoryPort* port = Use("Comm.GetCommModemStatus", handle);
  if (!port || !port->hardware.modem_status) return false;
  status = *port->hardware.modem_status;
  return true;
}

std::uint32_t MemoryComm::ReadFile(CommHandle handle, char* buffer, std::uint32_t count,
                                   std::uint32_t& transferred, Overlapped& overlapped) {
  MemoryPort* port = Use("Comm.ReadFile", handle);
  if (!port) return ErrorOf(handle);
  return Begin(*port, overlapped, transferred,
               [&](const auto& operation) { return port->Read(buffer, count, operation); });
}

std::uint32_t MemoryComm::WriteFile(CommHandle handle, const char* buffer, std::uint32_t count,
                                    std::uint32_t& transferred, Overlapped& overlapped) {
  MemoryPort* port = Use("Comm.WriteFile", handle);
  if (!port) return ErrorOf(handle);
  return Begin(*port, overlapped, transferred, [&](const auto& operation) {
    return port->Write(std::string(buffer, count), operation);
  });
}

std::uint32_t MemoryComm::WaitCommEvent(CommHandle handle, std::uint32_t& events,
                                        Overlapped& overlapped) {
  MemoryPort* port = Use("Comm.WaitCommEvent", handle);
  if (!port) return ErrorOf(handle);
  std::uint32_t transferred = 0;
  return Begin(*port, overlapped, transferred,
               [&](const auto& operation) { return port->Wait(events, operation); });
}

bool MemoryComm::ClearCommError(CommHandle handle, std::uint32_t& errors) {
  MemoryPort* port = Use("Comm.ClearCommError", handle);
  if (port) errors = port->TakeLineErrors();
  return port;
}

CommHandle MemoryComm::Open(std::shared_ptr<MemoryPort> port, const std::string& device) {
  open_[++last_handle_] = {std::move(port), device};
  return last_handle_;
}

MemoryPort* MemoryComm::Use(const char* operation, CommHandle handle) {
  if (machine_.Refuses(operation)) return nullptr;
  const auto found = open_.find(handle);
  return found == open_.end() ? nullptr : found->second.port.get();
}

std::uint32_t MemoryComm::ErrorOf(CommHandle handle) const {
  return open_.count(handle) > 0 ? kRefusedByComm : kErrorInvalidHandle;
}

bool MemoryComm::IsOpen(const std::string& device) const {
  return std::any_of(open_.begin(), open_.end(),
                     [&](const auto& entry) { return entry.second.device == device; });
}

}  // namespace mvsms::memory
