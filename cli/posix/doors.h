// The doors by which other programs and machines hand pages over: `serve` and `mail`. They are
// commands of `mvsms` like all others, with their help, options and completions; at work they are a
// program of their own, mvsms-gateway, for the libraries that they need take longer to load than a
// page takes to be queued, and have other names in every release of a system.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "cli/commands.h"
#include "cli/queue_send.h"
#include "gateway/mail.h"

namespace mvsms::cli {

/// What strangers may use of this machine. Times are in seconds.
struct Limits {
  int body = 1024;      // KiB
  int unanswered = 64;  // MiB
  int pages = 1000;
  int waiting = 100'000;
  int rate = 60'000;  // pages a minute
  int connections = 2000;
  int streams = 1000;
  int request_time = 10;
  int reply_time = 30;
  int idle_time = 60;
  int snpp_clients = 50;
  int snpp_time = 300;
  int threads = 16;
};

/// UTF-8; empty where nothing is said.
struct ServeOptions {
  std::vector<std::string> http;  // HOST:PORT
  std::vector<std::string> snpp;
  std::string tokens;  // files
  std::string certificate;
  std::string key;
  std::string templates;  // a folder
  Limits limits;
};

struct MailOptions {
  std::vector<std::string> recipients;  // addresses of the envelope
  std::string text_template = gateway::kMailTemplate;
  SendOptions send;
  QueueOptions queue;
};

using ServeDoor = std::function<void(Context&, const ServeOptions&)>;
using MailDoor = std::function<void(Context&, MailOptions&)>;

void AddServeCommand(Command& app, Context& context, ServeDoor serve);
/// What `mail` throws becomes the exit code by which a mail system tries again.
void AddMailCommand(Command& app, Context& context, MailDoor mail);

/// Goes on as mvsms-gateway, with the same command line. Returns never; throws Failure where that
/// program is not installed or cannot be started.
[[noreturn]] void BecomeGateway(Context& context);

}  // namespace mvsms::cli
