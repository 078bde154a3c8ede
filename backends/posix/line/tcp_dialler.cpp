// A call over the network: the connection, and the login where the centre wants one before all
// else.
#include <utility>

#include "backends/posix/line/dialler.h"
#include "backends/posix/line/net_stream.h"
#include "backends/posix/line/network_modem.h"
#include "backends/posix/line/ucp_login.h"
#include "base/ansi.h"

namespace mvsms::posix {
namespace {

class TcpDialler : public Dialler {
 public:
  TcpDialler(LineConfig line, const std::string& destination)
      : line_(std::move(line)), destination_(Utf8FromAnsi(destination)) {}
  ~TcpDialler() override { HangUp(); }

  void Prepare() override {}

  CallCause Dial(const std::stop_token& stop) override {
    const auto address = ParseCentreAddress(destination_, HasTlsFiles(line_.access));
    if (!address) return Fail(CallCause::kDisconnectBadAddress, destination_ + " is not host:port");
    NetResult result = OpenNetStream(address->host, destination_,
                                     address->scheme == NetScheme::kTls, line_.access, stop);
    if (!result.stream) return Fail(result.cause, result.trouble);
    channel_ = std::make_shared<SocketChannel>(std::move(result.stream));
    const CallCause cause = LogInIfWanted(stop);
    if (cause != CallCause::kNone) HangUp();
    return cause;
  }

  std::string Trouble() const override {
    if (!channel_) return trouble_;
    const std::string objection = static_cast<const SocketChannel&>(*channel_).Trouble();
    return objection.empty() ? "The far end closed the connection to " + destination_
                             : destination_ + objection;
  }
  std::string Refusal() const override { return refusal_; }

  const std::shared_ptr<Channel>& channel() const override { return channel_; }
  bool NothingDialled() const override { return false; }

  void HangUp() override {
    if (channel_) channel_->Close();
    channel_.reset();
  }

 private:
  CallCause Fail(CallCause cause, const std::string& trouble) {
    trouble_ = trouble;
    return cause;
  }

  CallCause LogInIfWanted(const std::stop_token& stop) {
    if (line_.access.login.empty()) return CallCause::kNone;
    std::string password, problem;
    if (!ReadPassword(line_.access.password_file, password, problem)) {
      return Fail(CallCause::kDisconnectFailed, problem);
    }
    const LoginResult result = LogIn(*channel_, line_.access.login, password, stop);
    refusal_ = result.words;
    return Fail(result.cause, result.trouble.empty() ? "" : destination_ + result.trouble);
  }

  LineConfig line_;
  std::string destination_;
  std::string trouble_;
  std::string refusal_;
  std::shared_ptr<Channel> channel_;
};

}  // namespace

std::unique_ptr<Dialler> MakeTcpDialler(const LineConfig& line, const std::string& destination) {
  return std::make_unique<TcpDialler>(line, destination);
}

}  // namespace mvsms::posix
