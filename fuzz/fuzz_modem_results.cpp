// The AT dialogue with a modem that says whatever the input says. The first byte is a set of
// switches; then comes what the modem says, in which FF is a silence that lasts until the
// dialogue's next look has taken all its time.
#include "backends/posix/line/hayes_modem.h"
#include "fuzz/fuzz.h"

namespace mvsms::fuzz {
namespace {

class BabblingModem : public posix::ModemPort {
 public:
  BabblingModem(std::uint8_t switches, std::string says)
      : has_lines_((switches & 1) != 0),
        carrier_((switches & 2) != 0),
        cancelled_in_the_end_((switches & 4) != 0),
        gone_in_the_end_((switches & 8) != 0),
        says_(std::move(says)) {}

  void Write(std::string_view) override {}
  std::optional<char> Read(Millis time) override {
    if (position_ < says_.size() && says_[position_] != '\xFF') return says_[position_++];
    if (time == Millis::zero()) return std::nullopt;
    now_ += time;
    if (position_ < says_.size()) ++position_;
    return std::nullopt;
  }
  void Wait(Millis time) override { now_ += time; }
  bool SetDtr(bool on) override {
    carrier_ = carrier_ && on;
    return has_lines_;
  }
  std::optional<bool> Carrier() override {
    return has_lines_ ? std::optional(carrier_) : std::nullopt;
  }
  bool Cancelled() override { return cancelled_in_the_end_ && position_ == says_.size(); }
  bool Gone() override { return gone_in_the_end_ && position_ == says_.size(); }
  Millis Now() override { return now_; }

 private:
  const bool has_lines_;
  bool carrier_;
  const bool cancelled_in_the_end_;
  const bool gone_in_the_end_;
  const std::string says_;
  std::size_t position_ = 0;
  Millis now_{0};
};

void Run(Input input) {
  const std::uint8_t switches = input.Byte();
  const std::string says = input.Rest();
  posix::ParseResultCode(says);
  BabblingModem port(switches, says);
  posix::HayesModem modem(port, says.substr(0, 3), "");
  const posix::DialResult result = modem.Dial("0123");
  if (result.cause == CallCause::kNone) {
    std::string heard = says;
    std::erase(heard, '\xFF');
    const bool named = heard.find("CONNECT") != std::string::npos;
    Require(named || heard.find_first_of("0123456789") != std::string::npos,
            "no call without a CONNECT in words or digits");
  }
  Require(result.early_data.size() <= 1, "only the one byte that was looked at");
  modem.HangUp();
  modem.Ask("ATI", BabblingModem::Millis(500));
  // Three initialisations, one dialling, one hang-up, and what each silence of the input adds.
  Require(port.Now() < std::chrono::seconds(150), "every step ends in its time");
}

}  // namespace
}  // namespace mvsms::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  mvsms::fuzz::Run({data, size});
  return 0;
}
