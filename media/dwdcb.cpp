// The port settings record.
#include "media/dwdcb.h"

#include <algorithm>
#include <array>

#include "base/raised_error.h"
#include "media/dwcomm.h"

namespace mvsms {
namespace {

constexpr std::int16_t kReceiveBufferSize = 2048;  // assumed, for the XOFF limit
constexpr std::int16_t kQueueReserve = 100;

constexpr std::array<std::int32_t, 15> kBaudRates = {110,   300,   600,    1200,   2400,
                                                     4800,  9600,  14400,  19200,  38400,
                                                     56000, 57600, 115200, 128000, 256000};

std::uint8_t InRange(std::int32_t value, std::int32_t low, std::int32_t high,
                     const char* description) {
  if (value < low || value > high) {
    throw RaisedError(ObjectError(kErrInvalidSetting), "dwDCB", description);
  }
  return static_cast<std::uint8_t>(value);
}

}  // namespace

bool IsBaudRate(std::int32_t rate) {
  return std::find(kBaudRates.begin(), kBaudRates.end(), rate) != kBaudRates.end();
}

dwDCB::dwDCB() {
  SetfParity(false);
  SetfOutxCtsFlow(true);
  SetfOutxDsrFlow(true);
  SetfDtrControl(1);
  SetfDsrSensitivity(true);
  SetfTXContinueOnXoff(true);
  SetfOutX(true);
  SetfInX(true);
  SetfErrorChar(true);
  SetfNull(true);
  SetfRtsControl(1);
  SetfAbortOnError(true);
  SetXonLim(kQueueReserve);
  SetXoffLim(kReceiveBufferSize - kQueueReserve);
  SetByteSize(8);
  SetParity(0);
  SetStopBits(0);
  SetXonChar("\x11");
  SetXoffChar("\x13");
  SetErrorChar("~");
  SetEofChar("\x1A");
  SetEvtChar("\xFF");
  SetBaudRate(2400);
}

void dwDCB::SetBaudRate(std::int32_t value) {
  if (value == 0) return;
  if (!IsBaudRate(value)) {
    throw RaisedError(ObjectError(kErrInvalidSetting), "dwDCB", "Invalid baud rate");
  }
  dcb_.BaudRate = static_cast<std::uint32_t>(value);
}

std::int16_t dwDCB::fDtrControl() const {
  return static_cast<std::int16_t>((dcb_.flags & dcb_flag::kDtrControlMask) >>
                                   dcb_flag::kDtrControlShift);
}

void dwDCB::SetfDtrControl(std::int16_t value) {
  InRange(value, 0, 2, "Invalid fDtrControl setting");
  SetField(dcb_flag::kDtrControlMask, dcb_flag::kDtrControlShift, value);
}

std::int16_t dwDCB::fRtsControl() const {
  return static_cast<std::int16_t>((dcb_.flags & dcb_flag::kRtsControlMask) >>
                                   dcb_flag::kRtsControlShift);
}

void dwDCB::SetfRtsControl(std::int16_t value) {
  InRange(value, 0, 3, "Invalid fRtsControl setting");
  SetField(dcb_flag::kRtsControlMask, dcb_flag::kRtsControlShift, value);
}

void dwDCB::SetByteSize(std::int32_t value) {
  dcb_.ByteSize = InRange(value, 4, 8, "Invalid Byte size setting");
}

void dwDCB::SetParity(std::int32_t value) {
  dcb_.Parity = InRange(value, 0, 4, "Invalid Parity setting");
}

void dwDCB::SetStopBits(std::int32_t value) {
  dcb_.StopBits = InRange(value, 0, 4, "Invalid Stop bits");
}

bool dwDCB::GetCommState(dwCOMM& comm) {
  return comm.hCommDev() != kNoComm && comm.driver().GetCommState(comm.hCommDev(), dcb_);
}

bool dwDCB::SetCommState(dwCOMM& comm) {
  return comm.hCommDev() != kNoComm && comm.driver().SetCommState(comm.hCommDev(), dcb_);
}

void dwDCB::SetFlag(std::uint32_t mask, bool value) {
  dcb_.flags &= ~mask;
  if (value) dcb_.flags |= mask;
}

/// Keeps the field and clears the rest of the word, not the other way round; see the header.
void dwDCB::SetField(std::uint32_t mask, unsigned shift, std::int16_t value) {
  dcb_.flags &= mask;
  dcb_.flags |= static_cast<std::uint32_t>(value) << shift;
}

void dwDCB::SetChar(std::uint8_t& code, const std::string& value) {
  if (!value.empty()) code = static_cast<std::uint8_t>(value.front());
}

}  // namespace mvsms
