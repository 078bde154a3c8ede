// A call over an AT-command modem.
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "backends/posix/line/device_lock.h"
#include "backends/posix/line/dialler.h"
#include "backends/posix/line/hayes_modem.h"
#include "backends/posix/line/modem_channel.h"
#include "backends/posix/line/modem_port.h"
#include "backends/posix/line/network_modem.h"
#include "base/ansi.h"
#include "base/raised_error.h"

namespace mvsms::posix {
namespace {

constexpr Channel::Millis kDrainTime{1000};

class HayesDialler : public Dialler {
 public:
  HayesDialler(LineConfig line, std::string destination)
      : line_(std::move(line)), destination_(std::move(destination)) {}
  ~HayesDialler() override { HangUp(); }

  // A serial server is reached while dialling, which may take long and be given up.
  void Prepare() override {
    if (!NamesNetwork(line_.device)) {
      dialogue_ = std::make_unique<Dialogue>(line_, std::stop_token());
    } else if (const std::string use = DeviceInUse(line_.device); !use.empty()) {
      throw RaisedError(EBUSY, "OpenModem", AnsiFromUtf8(use));
    }
  }

  CallCause Dial(const std::stop_token& stop) override {
    if (!dialogue_ && !ReachServer(stop)) return CallCause::kDisconnectFailed;
    dialogue_->port.SetStop(stop);
    const DialResult result = dialogue_->modem.Dial(destination_);
    obstacle_ = result.obstacle;
    remark_ = result.remark;
    if (result.cause != CallCause::kNone) return result.cause;
    dialogue_->channel->PutBack(result.early_data);
    dialogue_->channel->WatchCarrier(result.carrier_tells);
    channel_ = dialogue_->channel;
    return CallCause::kNone;
  }

  const std::shared_ptr<Channel>& channel() const override { return channel_; }
  bool NothingDialled() const override { return obstacle_ != Obstacle::kNone; }

  // What the modem says of a call is mostly its cause; here it is about the rest.
  std::string Trouble() const override {
    if (!dialogue_) return no_server_;
    if (!dialogue_->channel->Lost()) return WordsOfTheModem();
    if (NamesNetwork(line_.device)) return "The line over " + line_.device + " was lost";
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

  bool ReachServer(const std::stop_token& stop) try {
    obstacle_ = Obstacle::kSilent;
    dialogue_ = std::make_unique<Dialogue>(line_, stop);
    return true;
  } catch (const RaisedError& error) {
    no_server_ = Utf8FromAnsi(error.description());
    return false;
  }

  std::string WordsOfTheModem() const {
    if (obstacle_ == Obstacle::kSilent)
      return "No modem on " + line_.device + " says OK to its initialisation";
    return remark_.empty() ? "" : "The modem on " + line_.device + " " + std::string(remark_);
  }

  struct Dialogue {
    Dialogue(const LineConfig& line, const std::stop_token& stop)
        : channel(OpenModem(line, stop)), port(*channel), modem(port, line.init, line.dial) {}
    std::shared_ptr<ModemChannel> channel;
    SerialModemPort port;
    HayesModem modem;
  };

  LineConfig line_;
  std::string destination_;
  std::unique_ptr<Dialogue> dialogue_;
  std::string no_server_;  // why a serial server could not be reached
  Obstacle obstacle_ = Obstacle::kNone;
  std::string_view remark_;
  std::shared_ptr<Channel> channel_;  // while the call is up
};

}  // namespace

std::unique_ptr<Dialler> MakeHayesDialler(const LineConfig& line, const std::string& destination) {
  return std::make_unique<HayesDialler>(line, destination);
}

}  // namespace mvsms::posix
