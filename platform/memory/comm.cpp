// Handles, settings and overlapped records, see comm.h.
#include "platform/memory/comm.h"

#include <utility>

namespace mvsms::memory {
namespace {

class MemoryOverlapped : public Overlapped {
 public:
  bool Completed() override {
    if (!operation) return false;
    if (!operation->done) operation->Settle();
    return operation->done;
  }
  std::uint32_t Transferred() override { return operation ? operation->transferred : 0; }

  std::shared_ptr<Operation> operation;
};

/// Ties a started operation to its record; the result is the seam's.
std::uint32_t Started(std::shared_ptr<Operation> operation, Overlapped& overlapped,
                      std::uint32_t& transferred) {
  const bool done = operation->done;
  if (done) transferred = operation->transferred;
  static_cast<MemoryOverlapped&>(overlapped).operation = std::move(operation);
  return done ? 0 : kErrorIoPending;
}

}  // namespace

std::unique_ptr<Overlapped> MemoryComm::CreateOverlapped() {
  return std::make_unique<MemoryOverlapped>();
}

CommHandle MemoryComm::Open(std::shared_ptr<MemoryPort> port) {
  open_[++last_] = std::move(port);
  return last_;
}

CommHandle MemoryComm::CreateFile(const std::string& device_name) {
  if (machine_.Refuses("Comm.CreateFile")) return kInvalidComm;
  const auto device = machine_.platform().devices.find(device_name);
  if (device == machine_.platform().devices.end() || open_devices_.contains(device_name)) {
    return kInvalidComm;
  }
  auto port = std::make_shared<MemoryPort>(machine_, device->second.port);
  machine_.platform().ports.push_back(port);
  if (device->second.far_end) {
    port->connection =
        std::make_shared<Connection>(machine_, *port, device->second.far_end(), nullptr);
    port->connection->Start();
  }
  return open_devices_[device_name] = Open(std::move(port));
}

bool MemoryComm::CloseHandle(CommHandle handle) {
  MemoryPort* port = Admit("Comm.CloseHandle", handle);
  if (!port) return false;
  port->Close();
  const bool is_device =
      std::erase_if(open_devices_, [&](const auto& entry) { return entry.second == handle; }) > 0;
  if (is_device && port->connection) port->connection->NearHangUp();
  open_.erase(handle);
  return true;
}

MemoryPort* MemoryComm::Admit(std::string_view operation, CommHandle handle) {
  if (machine_.Refuses(operation)) return nullptr;
  const auto found = open_.find(handle);
  return found == open_.end() ? nullptr : found->second.get();
}

bool MemoryComm::SetupComm(CommHandle handle, std::uint32_t in_queue, std::uint32_t out_queue) {
  MemoryPort* port = Admit("Comm.SetupComm", handle);
  if (port) port->requests.queues.emplace_back(in_queue, out_queue);
  return port != nullptr;
}

bool MemoryComm::GetCommTimeouts(CommHandle handle, CommTimeouts& timeouts) {
  MemoryPort* port = Admit("Comm.GetCommTimeouts", handle);
  if (port) timeouts = port->hardware.timeouts;
  return port != nullptr;
}

bool MemoryComm::SetCommTimeouts(CommHandle handle, const CommTimeouts& timeouts) {
  MemoryPort* port = Admit("Comm.SetCommTimeouts", handle);
  if (!port) return false;
  port->requests.timeouts.push_back(timeouts);
  port->hardware.timeouts = timeouts;
  return true;
}

bool MemoryComm::GetCommState(CommHandle handle, Dcb& dcb) {
  MemoryPort* port = Admit("Comm.GetCommState", handle);
  if (port) dcb = port->hardware.dcb;
  return port != nullptr;
}

bool MemoryComm::SetCommState(CommHandle handle, const Dcb& dcb) {
  MemoryPort* port = Admit("Comm.SetCommState", handle);
  if (!port) return false;
  port->requests.dcbs.push_back(dcb);
  if (!IsValidFraming(dcb.ByteSize, dcb.Parity, dcb.StopBits)) return false;
  port->hardware.dcb = dcb;
  return true;
}

bool MemoryComm::SetCommMask(CommHandle handle, std::uint32_t events) {
  MemoryPort* port = Admit("Comm.SetCommMask", handle);
  if (!port) return false;
  port->requests.masks.push_back(events);
  port->SetMask(events);
  return true;
}

bool MemoryComm::GetCommModemStatus(CommHandle handle, std::uint32_t& status) {
  MemoryPort* port = Admit("Comm.GetCommModemStatus", handle);
  if (!port || !port->hardware.modem_status) return false;
  status = *port->hardware.modem_status;
  return true;
}

std::uint32_t MemoryComm::ReadFile(CommHandle handle, char* buffer, std::uint32_t count,
                                   std::uint32_t& transferred, Overlapped& overlapped) {
  MemoryPort* port = Admit("Comm.ReadFile", handle);
  if (!port) return kRefusedByComm;
  return Started(port->StartRead(buffer, count), overlapped, transferred);
}

std::uint32_t MemoryComm::WriteFile(CommHandle handle, const char* buffer, std::uint32_t count,
                                    std::uint32_t& transferred, Overlapped& overlapped) {
  MemoryPort* port = Admit("Comm.WriteFile", handle);
  if (!port) return kRefusedByComm;
  return Started(port->StartWrite({buffer, count}), overlapped, transferred);
}

std::uint32_t MemoryComm::WaitCommEvent(CommHandle handle, std::uint32_t& events,
                                        Overlapped& overlapped) {
  MemoryPort* port = Admit("Comm.WaitCommEvent", handle);
  if (!port) return kRefusedByComm;
  std::uint32_t none = 0;
  return Started(port->StartEventWait(events), overlapped, none);
}

bool MemoryComm::ClearCommError(CommHandle handle, std::uint32_t& errors) {
  MemoryPort* port = Admit("Comm.ClearCommError", handle);
  if (port) errors = port->TakeLineErrors();
  return port != nullptr;
}

}  // namespace mvsms::memory
