// A call over an AT-command modem.
#include <unistd.h>

#include <utility>

#include "backends/posix/line/dialler.h"
#include "backends/posix/line/hayes_modem.h"
#include "backends/posix/line/modem_port.h"
#include "backends/posix/line/serial_channel.h"

namespace mvsms::posix {
namespace {

constexpr Channel::Millis kDrainTime{1000};

class HayesDialler : public Dialler {
 public:
  HayesDialler(LineConfig line, std::string destination)
      : line_(std::move(line)), destination_(std::move(destination)) {}
  ~HayesDialler() override { HangUp(); }

  void Prepare() override { dialogue_ = std::make_unique<Dialogue>(line_); }

  CallCause Dial(const std::stop_token& stop) override {
    dialogue_->port.SetStop(stop);
    const DialResult result = dialogue_->modem.Dial(destination_);
    obstacle_ = result.obstacle;
    if (result.cause != CallCause::kNone) return result.cause;
    dialogue_->channel->PutBack(result.early_data);
    dialogue_->channel->WatchCarrier(result.carrier_tells);
    channel_ = dialogue_->channel;
    return CallCause::kNone;
  }

  const std::shared_ptr<Channel>& channel() const override { return channel_; }
  bool NothingDialled() const override { return obstacle_ != Obstacle::kNone; }

  // What the modem says of a call is its cause; here it is about what the modem cannot say.
  std::string Trouble() const override {
    if (!dialogue_) return {};
    if (!dialogue_->channel->Lost()) return WordsFor(obstacle_);
    if (access(line_.device.c_str(), F_OK) != 0) {
      return "The device " + line_.device + " has gone; was the modem unplugged?";
    }
    return "The carrier was lost: the far end hung up, or the line broke";
  }

  void HangUp() override {
    if (!dialogue_) return;
    if (channel_) {
      channel_->Drain(kDrainTime);
      dialogue_->modem.HangUp();
    }
    dialogue_->channel->Close();
    channel_.reset();
    dialogue_.reset();
  }

 private:
  using Obstacle = DialResult::Obstacle;

  std::string WordsFor(Obstacle obstacle) const {
    if (obstacle == Obstacle::kSilent)
      return "No modem on " + line_.device + " says OK to its initialisation";
    if (obstacle == Obstacle::kNone) return {};
    return "The modem on " + line_.device + " hears no dial tone";
  }

  struct Dialogue {
    explicit Dialogue(const LineConfig& line)
        : channel(OpenLine(line)), port(*channel), modem(port, line.init, line.dial) {}
    std::shared_ptr<SerialChannel> channel;
    SerialModemPort port;
    HayesModem modem;
  };

  LineConfig line_;
  std::string destination_;
  std::unique_ptr<Dialogue> dialogue_;
  Obstacle obstacle_ = Obstacle::kNone;
  std::shared_ptr<Channel> channel_;  // while the call is up
};

}  // namespace

std::unique_ptr<Dialler> MakeHayesDialler(const LineConfig& line, const std::string& destination) {
  return std::make_unique<HayesDialler>(line, destination);
}

}  // namespace mvsms::posix
