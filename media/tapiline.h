// TAPILine: the one medium of the system, a TAPI line in data-modem mode. It dials through its
// TapiObject, takes over the serial port of the connected call, and polls the port every 100 ms
// from a timer, collecting what arrives. Sending is fire-and-forget.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "media/apartment.h"
#include "media/ctimer.h"
#include "media/dwcomm.h"
#include "media/ismsmedium.h"
#include "media/log_sink.h"
#include "media/tapiobject.h"

namespace mvsms {

class TAPILine : public ISMSMedium, private CommNotify {
 public:
  /// Receives the failures of the line and, unchanged, those of its device object.
  using ErrorHandler = std::function<void(std::int32_t ErrNumber, const std::string& FunctionName,
                                          const std::string& ErrMsg)>;

  /// `on_error` must not throw and must not destroy the line; it is bound before the device object
  /// is initialised, so that it hears of failures during construction too. `send_log` receives the
  /// port's diagnostic lines.
  TAPILine(Apartment& apartment, ErrorHandler on_error, LogSink send_log);
  ~TAPILine() override;
  TAPILine(const TAPILine&) = delete;
  TAPILine& operator=(const TAPILine&) = delete;

  /// Number to dial; the device object translates it.
  std::string PhoneNumber;
  /// The dialable form of the number that the last Connect produced.
  std::string TranslatedNumber() const;
  /// Whether the call stands, as far as the last look at the line told.
  bool HasCall() const { return device_.HasCall(); }
  /// Why the latest call ended, or did not come up.
  CallCause LastCause() const { return device_.LastCause(); }
  const std::string& LastWords() const { return device_.LastWords(); }
  /// How many bytes the next Receive would give.
  std::size_t Waiting() const { return input_.size(); }
  /// Names of the usable modems, separated by TABs.
  std::string GetDeviceList();
  bool SetDevice(const std::string& DeviceName);
  /// Line settings for the next Connect. Every parity letter but "N" gives code 1. Always returns
  /// false.
  bool SetParams(const std::string& NewBaudrate, const std::string& NewParity,
                 std::int32_t NewDatabits, std::int32_t NewStopbits, bool NewUseXonXoff);
  /// The same as Receive.
  std::string InputString();

  bool Connect(std::int32_t& ErrNumber, std::string& ErrMsg) override;
  bool Disconnect(std::int32_t& ErrNumber, std::string& ErrMsg) override;
  bool Send(const std::string& Message) override;
  std::string Receive() override;
  void AbortAction() override;

  void CommInput(dwCOMM& thiscomm, const std::string& commdata) override;
  /// Line events are ignored: a damaged frame is found out by its checksum.
  void CommEvent(dwCOMM& thiscomm, const std::string& ev) override;

 private:
  void mTimer_ThatTime();
  void TapiObject_Error(std::int32_t ErrNumber, const std::string& FunctionName,
                        const std::string& ErrMsg);
  dwCOMM& Port();
  void ProgramPort(dwCOMM& port);
  void StartPolling();
  void ReleaseTimer();
  template <class Body>
  bool Reporting(const char* function, Body&& body);

  Apartment& apartment_;
  ErrorHandler on_error_;
  std::string input_;
  std::int32_t baud_rate_ = 0;
  std::uint8_t parity_ = 0;
  std::int32_t data_bits_ = 0;
  std::int32_t stop_bits_ = 0;
  bool use_xon_xoff_ = false;
  std::unique_ptr<dwCOMM> port_;
  TapiObject device_;  // destroyed before the port: the call is dropped, then its port closed
  std::shared_ptr<CTimer> mTimer_;  // while connected
};

}  // namespace mvsms
