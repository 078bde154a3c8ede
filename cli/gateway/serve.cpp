// See serve.h.
#include "cli/gateway/serve.h"

#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <fstream>
#include <mutex>
#include <ostream>
#include <sstream>
#include <thread>
#include <utility>

#include "backends/posix/store/queue.h"
#include "backends/posix/system/service_manager.h"
#include "cli/gateway/serve_desk.h"
#include "cli/gateway/serve_watch.h"
#include "cli/gateway/snpp_desk.h"
#include "cli/posix/service_signals.h"
#include "dispatch/hand_over.h"
#include "gateway/access.h"
#include "gateway/api.h"
#include "gateway/connections.h"
#include "gateway/listen.h"
#include "gateway/snpp_server.h"

namespace mvsms::cli {
namespace {

using namespace std::chrono_literals;
using gateway::Access;
using gateway::Certificate;
using gateway::Listening;

constexpr auto kLook = 500ms;      // for signals
constexpr rlim_t kOwnFiles = 128;  // descriptors for other things than connections and desks
constexpr rlim_t kDeskFiles = 8;   // settings, queue and journal, with what belongs to them
constexpr char kSnpp[] = "snpp";   // the name of sockets that are handed over; others are for HTTP

/// The tokens of a file, which nobody else may read.
void ReadTokens(Access& access, const std::string& path) {
  if (path.empty()) return;
  struct stat facts{};
  std::ifstream file(path);
  if (!file || stat(path.c_str(), &facts) != 0)
    throw Failure("the tokens " + path + " cannot be read");
  if ((facts.st_mode & S_IRWXO) != 0) {
    throw Failure("the tokens " + path + " are open to every user; chmod o= " + path);
  }
  std::ostringstream text;
  text << file.rdbuf();
  try {
    access.SetTokens(text.str());
  } catch (const std::runtime_error& error) {
    throw Failure(path + ": " + error.what());
  }
}

std::shared_ptr<Certificate> ReadCertificate(const ServeOptions& options) {
  if (options.certificate.empty()) return nullptr;
  return std::make_shared<Certificate>(options.certificate, options.key);
}

std::size_t Number(int value) { return static_cast<std::size_t>(value); }

gateway::ConnectionLimits ConnectionLimitsOf(const Limits& limits) {
  const std::size_t body = Number(limits.body) << 10;
  return {.connections = Number(limits.connections),
          .longest_body = body,
          .held = std::max(Number(limits.unanswered) << 20, 2 * body),
          .request = std::chrono::seconds(limits.request_time),
          .reply = std::chrono::seconds(limits.reply_time),
          .idle = std::chrono::seconds(limits.idle_time),
          .threads = Number(limits.threads)};
}

gateway::SnppLimits SnppLimitsOf(const Limits& limits) {
  return {.connections = Number(limits.snpp_clients),
          .idle = std::chrono::seconds(limits.snpp_time)};
}

gateway::ApiLimits ApiLimitsOf(const Limits& limits) {
  return {.pages = Number(limits.pages),
          .waiting = limits.waiting,
          .pages_a_minute = limits.rate,
          .streams = Number(limits.streams)};
}

/// A descriptor for each connection, and what a desk needs for each thread.
void RaiseFileLimit(const Limits& limits) {
  const rlim_t desks = Number(limits.threads + limits.snpp_clients);
  const rlim_t files =
      Number(limits.connections + limits.snpp_clients) + desks * kDeskFiles + kOwnFiles;
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = std::min(limit.rlim_max, std::max(limit.rlim_cur, files));
  setrlimit(RLIMIT_NOFILE, &limit);
}

class Service {
 public:
  Service(Context& context, const ServeOptions& options)
      : context_(context),
        options_(options),
        batch_queue_(context.home),
        batch_(batch_queue_),
        tally_(context.home) {
    ReadTokens(shared_.access, options.tokens);
    if (!options.templates.empty()) shared_.templates = gateway::AlertTemplates(options.templates);
    shared_.tell = [this](const std::string& sentence) { Tell(sentence); };
  }

  void Run() {
    std::vector<Listening> listeners, snpp_listeners;
    FindListeners(listeners, snpp_listeners);
    RaiseFileLimit(options_.limits);
    gateway::Connections connections(ConnectionLimitsOf(options_.limits),
                                     [this] { return MakeHandler(); });
    shared_.published = [&] { return connections.published(); };
    shared_.connections = [&] { return connections.open(); };
    shared_.streams = [&] { return connections.streams(); };
    const auto certificate = ReadCertificate(options_);
    for (Listening& listener : listeners) {
      Check(listener, certificate != nullptr);
      context_.out << "Serving http" << (certificate ? "s" : "") << "://" << listener.address
                   << std::endl;
      connections.Listen(std::move(listener.socket), certificate);
    }
    gateway::SnppServer snpp(
        SnppLimitsOf(options_.limits), [this] { return MakeSnppDesk(); }, dispatch::FreshId);
    for (Listening& listener : snpp_listeners) {
      Check(listener, false);
      context_.out << "Serving snpp://" << listener.address << std::endl;
      snpp.Listen(std::move(listener.socket));
    }
    std::thread mover([&] { connections.Run(); });
    posix::TellServiceManager("READY=1");
    ServeWatch watch(context_, [&](std::string event) { connections.Publish(std::move(event)); });
    for (int signal = 0; signal == 0 || signal == SIGHUP; signal = signals_.Wait(kLook)) {
      if (signal == SIGHUP) ReadAgain(certificate.get());
      posix::TellServiceManager("WATCHDOG=1");
      Look(watch, connections.streams() > 0);
    }
    posix::TellServiceManager("STOPPING=1");
    connections.Stop();
    mover.join();
  }

 private:
  void FindListeners(std::vector<Listening>& http, std::vector<Listening>& snpp) const {
    for (auto& [listening, name] : gateway::ListenersHandedOver()) {
      (name == kSnpp ? snpp : http).push_back(std::move(listening));
    }
    for (const std::string& address : options_.http) http.push_back(gateway::ListenOn(address));
    for (const std::string& address : options_.snpp) snpp.push_back(gateway::ListenOn(address));
    if (!http.empty() || !snpp.empty()) return;
    throw UsageError("say where to listen: --http 127.0.0.1:8026, --snpp 127.0.0.1:4444");
  }

  void Check(const Listening& listener, bool by_tls) {
    if (listener.is_local) return;
    if (!shared_.access.has_tokens()) {
      throw Failure(listener.address + " can be reached from other machines: that takes --tokens");
    }
    if (!by_tls) {
      context_.Warn("tokens go over the network in the clear to " + listener.address +
                    "; see --certificate");
    }
  }

  /// Trouble is told once, until it is over.
  void Look(ServeWatch& watch, bool anybody_listens) try {
    shared_.waiting = watch.Waiting();
    watch.Look(anybody_listens);
    trouble_.clear();
  } catch (const std::exception& error) {
    if (trouble_ != error.what()) Tell(trouble_ = error.what());
  }

  /// What is wrong with the files now is told, and what they said before goes on.
  void ReadAgain(Certificate* certificate) try {
    ReadTokens(shared_.access, options_.tokens);
    if (certificate != nullptr) certificate->ReadAgain();
    Tell("tokens and certificate were read again");
  } catch (const std::runtime_error& error) {
    Tell(std::string(error.what()) + "; what was read before goes on");
  }

  gateway::HttpHandler MakeHandler() {
    auto desk = std::make_shared<ServeDesk>(context_.home, context_.profile, batch_, tally_);
    auto api = std::make_shared<gateway::Api>(*desk, shared_);
    return [desk, api](const gateway::HttpRequest& request) { return api->Answer(request); };
  }

  std::unique_ptr<gateway::SnppSink> MakeSnppDesk() {
    return std::make_unique<SnppDesk>(
        context_.home, context_.profile, shared_,
        std::make_unique<ServeDesk>(context_.home, context_.profile, batch_, tally_));
  }

  void Tell(const std::string& sentence) {
    const std::lock_guard lock(telling_);
    context_.Warn(Printable(sentence));
  }

  Context& context_;
  const ServeOptions& options_;
  const ServiceSignals signals_;
  posix::PageQueue batch_queue_;
  gateway::PutBatch batch_;
  AttemptTally tally_;
  std::mutex telling_;
  std::string trouble_;
  gateway::ApiShared shared_{ApiLimitsOf(options_.limits)};
};

}  // namespace

void Serve(Context& context, const ServeOptions& options) try {
  Service(context, options).Run();
} catch (const UsageError&) {
  throw;
} catch (const std::runtime_error& error) {
  throw Failure(error.what());
}

}  // namespace mvsms::cli
