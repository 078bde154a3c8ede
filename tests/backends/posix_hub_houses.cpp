// The hub on a server, for the contract of hubs: each who uses it has a connection of his own. The
// server's clock is the test's: one function there is replaced by one that reads it.
#include "backends/posix/hub/hub.h"
#include "tests/backends/contract_hub.h"
#include "tests/support/hub_server.h"

namespace mvsms {
namespace {

/// Tells the time before each statement.
class ClockedWire : public posix::HubWire {
 public:
  ClockedWire(std::unique_ptr<posix::HubWire> wire, std::function<dispatch::Moment()> now)
      : wire_(std::move(wire)), now_(std::move(now)) {}

  posix::HubAnswer Ask(const std::string& sql, const std::vector<std::string>& values) override {
    wire_->Ask("SELECT set_config('mvsms.test_clock', $1, false)",
               {std::to_string(now_().time_since_epoch().count())});
    return wire_->Ask(sql, values);
  }
  std::optional<std::vector<posix::HubNotice>> Hear(std::chrono::milliseconds longest) override {
    return wire_->Hear(longest);
  }

 private:
  std::unique_ptr<posix::HubWire> wire_;
  std::function<dispatch::Moment()> now_;
};

constexpr char kAnew[] =
    "TRUNCATE mvsms.pages, mvsms.tries, mvsms.machines RESTART IDENTITY;"
    "UPDATE mvsms.hub SET held = ''";
constexpr char kTestClock[] =
    "CREATE OR REPLACE FUNCTION mvsms.clock() RETURNS bigint LANGUAGE sql VOLATILE AS"
    " $$ SELECT current_setting('mvsms.test_clock')::bigint $$";

class ServerHouse : public HubHouse {
 public:
  explicit ServerHouse(std::function<dispatch::Moment()> now) : now_(std::move(now)) {
    const auto wire = HubServer::Get()->Wire();
    posix::ServerHub hub(*wire);
    if (!hub.Version()) hub.Init();
    for (const char* statement : {kAnew, kTestClock}) {
      const posix::HubAnswer answer = wire->Ask(statement, {});
      if (!answer.done) throw std::runtime_error(answer.trouble);
    }
  }
  dispatch::Hub& Another() override {
    wires_.push_back(std::make_unique<ClockedWire>(HubServer::Get()->Wire(), now_));
    return *hubs_.emplace_back(std::make_unique<posix::ServerHub>(*wires_.back()));
  }

 private:
  std::function<dispatch::Moment()> now_;
  std::vector<std::unique_ptr<ClockedWire>> wires_;
  std::vector<std::unique_ptr<posix::ServerHub>> hubs_;
};

}  // namespace

std::vector<NamedHub> SystemHubs() {
  if (!HubServer::IsInstalled()) return {};
  return {{"Server", [](std::function<dispatch::Moment()> now) -> std::unique_ptr<HubHouse> {
             return std::make_unique<ServerHouse>(std::move(now));
           }}};
}

}  // namespace mvsms
