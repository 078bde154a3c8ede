// mvsms serve: other programs and machines hand pages over to the queue, and see what becomes of
// them.
#include <memory>
#include <utility>

#include "cli/posix/doors.h"

namespace mvsms::cli {
namespace {

struct Limit {
  const char* name;
  int Limits::* value;
  int low;
  int high;
  const char* what;
};

constexpr Limit kLimits[] = {
    {"--max-body", &Limits::body, 1, 65536, "KiB of one request"},
    {"--max-unanswered", &Limits::unanswered, 1, 65536,
     "MiB of all requests that are not answered yet, then 503"},
    {"--max-pages", &Limits::pages, 1, 100000, "Pages of one request"},
    {"--max-waiting", &Limits::waiting, 1, 100000000, "Pages that wait, then 503"},
    {"--max-rate", &Limits::rate, 0, 100000000, "Pages a minute of one token, then 429; 0: any"},
    {"--max-connections", &Limits::connections, 1, 100000, "Connections that are open at once"},
    {"--max-streams", &Limits::streams, 1, 100000, "Streams of events among them"},
    {"--request-time", &Limits::request_time, 1, 3600, "Seconds for a request to come in whole"},
    {"--reply-time", &Limits::reply_time, 1, 3600, "Seconds for a client to take an answer"},
    {"--idle-time", &Limits::idle_time, 1, 3600, "Seconds between requests"},
    {"--snpp-clients", &Limits::snpp_clients, 1, 1000, "Paging clients at once"},
    {"--snpp-time", &Limits::snpp_time, 1, 3600, "Seconds for a line of theirs"},
    {"--threads", &Limits::threads, 1, 256, "Requests that are answered at once"},
};

void AddLimits(Command& command, ServeOptions& options) {
  for (const Limit& limit : kLimits) {
    command.AddOption(limit.name, options.limits.*limit.value, limit.what)
        ->InRange(limit.low, limit.high)
        ->ShowDefault();
  }
}

}  // namespace

void AddServeCommand(Command& app, Context& context, ServeDoor serve) {
  auto options = std::make_shared<ServeOptions>();
  Command* const command = AddCommand(
      app, context, "serve", "Take pages over the network, and show what becomes of them",
      "  mvsms serve --http 127.0.0.1:8026\n"
      "  mvsms serve --snpp 127.0.0.1:4444\n"
      "  mvsms serve --http 0.0.0.0:8026 --tokens tokens --certificate site.pem --key site.key\n"
      "The pages go into the queue, and 'mvsms worker' sends them; each runs without the other.\n"
      "Without tokens only this machine is served. A file of tokens has a line for each: a name,\n"
      "what it is for (read, submit, operate; each includes those before), and the token.\n"
      "Paging clients log in with the name and the token (LOGIn) where there are tokens; what "
      "they\n"
      "say is not encrypted. Group names are pager IDs.\n"
      "SIGTERM and Ctrl-C end it; SIGHUP reads tokens and certificate again.");
  command->AddOption("--http", options->http, "Listen here; port 0 is any")
      ->OneValueEach()
      ->TypeName("HOST:PORT");
  command->AddOption("--snpp", options->snpp, "Listen here for paging clients (SNPP, RFC 1861)")
      ->OneValueEach()
      ->TypeName("HOST:PORT");
  command->AddOption("--tokens", options->tokens, "Who may do what")->Path();
  Option* const certificate =
      command->AddOption("--certificate", options->certificate, "Speak TLS with this (PEM)");
  Option* const key =
      command->AddOption("--key", options->key, "The key of the certificate (PEM)")->Path();
  certificate->Path()->Needs(key);
  key->Needs(certificate);
  command
      ->AddOption("--templates", options->templates,
                  "A folder with the texts of alerts: NAME.tpl for the receiver NAME, default.tpl")
      ->Path();
  AddLimits(*command, *options);
  command->Callback([&context, options, serve = std::move(serve)] { serve(context, *options); });
}

}  // namespace mvsms::cli
