// Puts the answerers together: modem, line faults, protocol.
#include "centre/centre.h"

#include <utility>

#include "centre/line_faults.h"
#include "centre/modem_emulator.h"
#include "centre/serial_server.h"
#include "centre/tap_centre.h"
#include "centre/ucp_centre.h"

namespace mvsms::centre {
namespace {

/// A call that fails, on a line that is connected before anybody can say so.
class FailedCall : public Answerer {
 public:
  explicit FailedCall(Millis ring_time) : ring_time_(ring_time) {}
  void Connected(Line& line) override {
    line.After(ring_time_, [&line] { line.HangUp(); });
  }
  void Received(std::string_view) override {}
  void HungUp() override {}

 private:
  Millis ring_time_;
};

}  // namespace

Speaker SpeakTap() {
  return [](Desk& desk) { return std::make_unique<TapCentre>(desk); };
}

Speaker SpeakUcp() {
  return [](Desk& desk) { return std::make_unique<UcpCentre>(desk); };
}

Centre::Centre(Speaker speaker, Settings settings, Recorder recorder, Tracer tracer)
    : desk_(std::move(settings), std::move(recorder), std::move(tracer)),
      speaker_(std::move(speaker)) {}

std::unique_ptr<Answerer> Centre::AnswerCall() {
  if (desk_.settings.call != CallOutcome::kConnect && Take(desk_.calls_to_fail))
    return std::make_unique<FailedCall>(desk_.settings.ring_time);
  return Established();
}

std::unique_ptr<Answerer> Centre::AnswerModem(CarrierWatch carrier) {
  return std::make_unique<ModemEmulator>(
      desk_, [this](const std::string&) { return Established(); }, std::move(carrier));
}

std::unique_ptr<Answerer> Centre::AnswerSerialServer() {
  return std::make_unique<SerialServer>(
      [this](CarrierWatch carrier) { return AnswerModem(std::move(carrier)); });
}

std::unique_ptr<Answerer> Centre::Established() {
  return std::make_unique<LineFaults>(desk_.settings, speaker_(desk_));
}

}  // namespace mvsms::centre
