// dwDCB: the line settings of a serial port (the Win32 device control block) as validated
// properties. Each port owns one and loads it from the device whenever it opens; the owner of the
// port changes what it needs and applies the record.
//
// A setter throws RaisedError (object error 31000, source "dwDCB") for a value outside its range
// and leaves the property as it was.
#pragma once

#include <cstdint>
#include <string>

#include "platform/comm.h"

namespace mvsms {

class dwCOMM;

inline constexpr std::int32_t kErrInvalidSetting = 31000;

/// Whether `rate`, in bits per second, is one that serial ports have: 110 to 256000.
bool IsBaudRate(std::int32_t rate);

class dwDCB {
 public:
  /// A record with defaults, which matter only until it is loaded from a device. Of its flags only
  /// RTS control 1 and fAbortOnError are set, see SetfRtsControl.
  dwDCB();

  /// Bits per second, one of the rates of serial ports. Setting 0 keeps the rate.
  std::int32_t BaudRate() const { return static_cast<std::int32_t>(dcb_.BaudRate); }
  void SetBaudRate(std::int32_t value);

  bool fParity() const { return Flag(dcb_flag::kParity); }
  void SetfParity(bool value) { SetFlag(dcb_flag::kParity, value); }
  bool fOutxCtsFlow() const { return Flag(dcb_flag::kOutxCtsFlow); }
  void SetfOutxCtsFlow(bool value) { SetFlag(dcb_flag::kOutxCtsFlow, value); }
  bool fOutxDsrFlow() const { return Flag(dcb_flag::kOutxDsrFlow); }
  void SetfOutxDsrFlow(bool value) { SetFlag(dcb_flag::kOutxDsrFlow, value); }
  /// 0 to 2. Setting ORs the value into the field and clears every other flag, as for fRtsControl.
  std::int16_t fDtrControl() const;
  void SetfDtrControl(std::int16_t value);
  bool fDsrSensitivity() const { return Flag(dcb_flag::kDsrSensitivity); }
  void SetfDsrSensitivity(bool value) { SetFlag(dcb_flag::kDsrSensitivity, value); }
  bool fTXContinueOnXoff() const { return Flag(dcb_flag::kTXContinueOnXoff); }
  void SetfTXContinueOnXoff(bool value) { SetFlag(dcb_flag::kTXContinueOnXoff, value); }
  bool fOutX() const { return Flag(dcb_flag::kOutX); }
  void SetfOutX(bool value) { SetFlag(dcb_flag::kOutX, value); }
  bool fInX() const { return Flag(dcb_flag::kInX); }
  void SetfInX(bool value) { SetFlag(dcb_flag::kInX, value); }
  bool fErrorChar() const { return Flag(dcb_flag::kErrorChar); }
  void SetfErrorChar(bool value) { SetFlag(dcb_flag::kErrorChar, value); }
  bool fNull() const { return Flag(dcb_flag::kNull); }
  void SetfNull(bool value) { SetFlag(dcb_flag::kNull, value); }
  /// 0 to 3. Setting ORs the value into the field and clears every other flag: a new value never
  /// clears bits of the old one, and the flags set before are lost. Kept for compatibility; set
  /// this one first.
  std::int16_t fRtsControl() const;
  void SetfRtsControl(std::int16_t value);
  bool fAbortOnError() const { return Flag(dcb_flag::kAbortOnError); }
  void SetfAbortOnError(bool value) { SetFlag(dcb_flag::kAbortOnError, value); }

  /// Limits of the receive queue, in bytes, for sending XON and XOFF.
  std::int16_t XonLim() const { return static_cast<std::int16_t>(dcb_.XonLim); }
  void SetXonLim(std::int16_t value) { dcb_.XonLim = static_cast<std::uint16_t>(value); }
  std::int16_t XoffLim() const { return static_cast<std::int16_t>(dcb_.XoffLim); }
  void SetXoffLim(std::int16_t value) { dcb_.XoffLim = static_cast<std::uint16_t>(value); }

  /// Data bits, 4 to 8.
  std::uint8_t ByteSize() const { return dcb_.ByteSize; }
  void SetByteSize(std::int32_t value);
  /// 0 none, 1 odd, 2 even, 3 mark, 4 space.
  std::uint8_t Parity() const { return dcb_.Parity; }
  void SetParity(std::int32_t value);
  /// 0 one, 1 one and a half, 2 two. 3 and 4 are accepted here; it is the device that refuses them.
  std::uint8_t StopBits() const { return dcb_.StopBits; }
  void SetStopBits(std::int32_t value);

  /// Special characters, as texts of one character. Of a longer text the first one counts; an
  /// empty one changes nothing.
  std::string XonChar() const { return Text(dcb_.XonChar); }
  void SetXonChar(const std::string& value) { SetChar(dcb_.XonChar, value); }
  std::string XoffChar() const { return Text(dcb_.XoffChar); }
  void SetXoffChar(const std::string& value) { SetChar(dcb_.XoffChar, value); }
  std::string ErrorChar() const { return Text(dcb_.ErrorChar); }
  void SetErrorChar(const std::string& value) { SetChar(dcb_.ErrorChar, value); }
  std::string EofChar() const { return Text(dcb_.EofChar); }
  void SetEofChar(const std::string& value) { SetChar(dcb_.EofChar, value); }
  std::string EvtChar() const { return Text(dcb_.EvtChar); }
  void SetEvtChar(const std::string& value) { SetChar(dcb_.EvtChar, value); }

  /// Reads the settings of the port's device into the record. False on failure and when the port
  /// is closed.
  bool GetCommState(dwCOMM& comm);
  /// Applies the record to the port's device. False when the device refuses it and when the port
  /// is closed.
  bool SetCommState(dwCOMM& comm);

  /// The record as the device takes it.
  const Dcb& record() const { return dcb_; }

 private:
  bool Flag(std::uint32_t mask) const { return (dcb_.flags & mask) != 0; }
  void SetFlag(std::uint32_t mask, bool value);
  void SetField(std::uint32_t mask, unsigned shift, std::int16_t value);
  static std::string Text(std::uint8_t code) { return {static_cast<char>(code)}; }
  static void SetChar(std::uint8_t& code, const std::string& value);

  Dcb dcb_;
};

}  // namespace mvsms
