// Puts a centre and a server together from the options, and prints what comes in. The settings
// and the dialogue language are the centre's own; nothing of them is known here.
#include "cli/posix/centre_command.h"

#include <unistd.h>

#include <atomic>
#include <csignal>
#include <exception>
#include <fstream>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>
#include <utility>

#include "backends/posix/line/tls_stream.h"
#include "centre/centre.h"
#include "centre/dialogue.h"
#include "centre/notation.h"
#include "centre/posix/server.h"
#include "centre/scripted.h"
#include "centre/traced.h"
#include "cli/errors.h"
#include "cli/json.h"

namespace mvsms::cli {
namespace {

using centre::Request;
using centre::Seen;
using centre::ToNotation;

constexpr char kExamples[] =
    "Examples:\n"
    "  mvsms centre --pty --link modem\n"
    "  mvsms centre --tcp 4000 --protocol ucp --set refuse=2 --set ucp-refusal=4\n"
    "  mvsms centre --pty --set call=busy --set failed-calls=1\n"
    "  mvsms centre --tcp 4001 --modem rfc2217\n"
    "  mvsms centre --tcp 0 --script slow.dialogue --once --trace";

Json ToJson(const Request& request) {
  return {{"protocol", request.protocol},   {"operation", request.operation},
          {"recipient", request.recipient}, {"originator", request.originator},
          {"text", request.text},           {"raw", ToNotation(request.raw)},
          {"type", request.type},           {"coding", request.coding},
          {"header", request.header},       {"trn", request.trn},
          {"accepted", request.accepted},   {"answer", ToNotation(request.answer)}};
}

std::string ToLine(const Request& request) {
  std::string out = request.protocol + "  " + request.operation;
  if (!request.recipient.empty()) out += "  " + Printable(request.recipient);
  if (!request.originator.empty()) out += "  from " + Printable(request.originator);
  if (request.coding == "binary")
    out += "  binary " + request.text;
  else if (!request.type.empty())
    out += "  \"" + Printable(request.text) + "\"";
  if (request.accepted) return out + "  accepted";
  return out +
         (request.answer.empty() ? "  not answered" : "  refused: " + ToNotation(request.answer));
}

/// How a trace shows something: in front of it for people, its name for programs.
struct Sign {
  const char* text;
  const char* name;
};
// In the order of Seen.
constexpr Sign kSigns[] = {{"* the call begins", "call"},
                           {"* the call is over", "call"},
                           {"< ", "received"},
                           {"> ", "sent"},
                           {"modem < ", "modem_received"},
                           {"modem > ", "modem_sent"},
                           {"dropped for its parity: ", "dropped"}};

/// TLS as the wire of a connection.
class TlsWire : public centre::Wire {
 public:
  /// `complain` is told what was wrong when the connection breaks.
  TlsWire(std::unique_ptr<posix::NetStream> stream,
          std::function<void(const std::string&)> complain)
      : stream_(std::move(stream)), complain_(std::move(complain)) {}
  ssize_t Read(char* buffer, std::size_t count) override {
    const long got = stream_->Read(buffer, count);
    if (got < 0 && !stream_->trouble().empty() && complain_)
      std::exchange(complain_, nullptr)(stream_->trouble());
    return got;
  }
  ssize_t Write(std::string_view bytes) override { return stream_->Write(bytes); }
  void Finish() override { stream_->Finish(); }

 private:
  std::unique_ptr<posix::NetStream> stream_;
  std::function<void(const std::string&)> complain_;
};

/// One run of the command: the centre, its server and its outputs.
class Run {
 public:
  Run(const CentreOptions& options, std::ostream& out, std::ostream& err)
      : options_(options), out_(out), err_(err) {
    centre::Settings settings;
    if (!options.script.empty()) dialogue_ = centre::LoadDialogue(options.script);
    for (const std::string& setting : options.settings) centre::Set(settings, setting);
    if (!options.record.empty()) OpenRecord();
    centre_.emplace(
        Speaker(), settings, [this](const Request& request) { Record(request); }, Tracer());
    if (options.tcp_port >= 0)
      ListenOnTcp();
    else
      ListenOnPty();
  }

  int Serve(const std::function<void(centre::Server*)>& serving) {
    serving(server_.get());
    // For programs, too: it comes whole, at once, and even if all else is quiet.
    out_ << (options_.json ? JsonText(where_) : "Listening on " + Printable(where_shown_))
         << std::endl;
    server_->Run();
    serving(nullptr);
    return complaints_ == 0 ? 0 : 1;
  }

 private:
  void OpenRecord() {
    record_.open(options_.record, std::ios::app);
    if (!record_) throw std::runtime_error(options_.record + ": cannot be written");
  }

  centre::Speaker Speaker() {
    const centre::Speaker protocol =
        options_.protocol == "ucp" ? centre::SpeakUcp() : centre::SpeakTap();
    return [this, protocol](centre::Desk& desk) -> std::unique_ptr<centre::Answerer> {
      if (!dialogue_) return Watched(protocol(desk));
      return Watched(std::make_unique<centre::Scripted>(
          *dialogue_, [this](const std::string& complaint) { Played(complaint); }));
    };
  }

  std::unique_ptr<centre::Answerer> Watched(std::unique_ptr<centre::Answerer> answerer) {
    return std::make_unique<centre::Traced>(std::move(answerer), Tracer(), [this] { CallEnded(); });
  }

  centre::Tracer Tracer() {
    if (!options_.trace) return {};
    return [this](Seen what, std::string_view bytes) { Trace(what, bytes); };
  }

  void ListenOnTcp() {
    auto server = std::make_unique<centre::TcpServer>(
        static_cast<std::uint16_t>(options_.tcp_port), [this] { return AnswerOnTcp(*centre_); },
        options_.address, Wires());
    where_ = {{"listening", "tcp"}, {"address", options_.address}, {"port", server->port()}};
    if (!options_.certificate.empty()) where_["tls"] = true;
    if (!options_.modem.empty()) where_["modem"] = options_.modem;
    where_shown_ = options_.address + ":" + std::to_string(server->port());
    server_ = std::move(server);
  }

  std::unique_ptr<centre::Answerer> AnswerOnTcp(centre::Centre& called) const {
    if (options_.modem == "rfc2217") return called.AnswerSerialServer();
    return options_.modem == "raw" ? called.AnswerModem() : called.AnswerCall();
  }

  centre::WireFactory Wires() {
    if (options_.certificate.empty()) return {};
    std::string trouble;
    auto answer = posix::AnswerByTls(options_.certificate, options_.key, trouble);
    if (!answer) throw std::runtime_error(trouble);
    return [this, answer](int socket) {
      return std::make_unique<TlsWire>(answer(posix::UniqueFd(::dup(socket))),
                                       [this](const std::string& words) { Complain(words); });
    };
  }

  void Complain(const std::string& trouble) {
    err_ << "mvsms centre: The caller" << Printable(trouble) << std::endl;
  }

  void ListenOnPty() {
    using Connects = centre::PtyServer::Connects;
    auto server = std::make_unique<centre::PtyServer>(
        options_.link,
        [this] { return options_.line ? centre_->AnswerCall() : centre_->AnswerModem(); },
        options_.line ? Connects::kWhenOpened : Connects::kAtOnce);
    where_ = {{"listening", "pty"}, {"path", server->path()}, {"link", options_.link}};
    where_shown_ = options_.link.empty() ? server->path() : options_.link;
    server_ = std::move(server);
  }

  void Record(const Request& request) {
    const std::string line = JsonText(ToJson(request));
    if (record_.is_open()) record_ << line << std::endl;
    Print(line, ToLine(request));
  }

  void Trace(Seen what, std::string_view bytes) {
    const Sign& sign = kSigns[static_cast<std::size_t>(what)];
    std::string shown = ToNotation(bytes);
    const std::string line = sign.text + shown;
    if (what == Seen::kCallBegun) shown = "begins";
    if (what == Seen::kCallEnded) shown = "is over";
    Print(JsonText(Json{{sign.name, shown}}), line);
  }

  void Played(const std::string& complaint) {
    if (!dialogue_) return;
    if (!complaint.empty()) ++complaints_;
    const std::string result = complaint.empty() ? dialogue_->name + ": played" : complaint;
    Print(JsonText(Json{{"script", dialogue_->name}, {"complaint", complaint}}), result);
    if (!complaint.empty() && options_.quiet) err_ << complaint << std::endl;
  }

  void CallEnded() {
    ++ended_;
    if (options_.calls > 0 && ended_ == options_.calls) server_->Finish();
  }

  void Print(const std::string& machine, const std::string& human) {
    if (!options_.quiet) out_ << (options_.json ? machine : human) << std::endl;
  }

  const CentreOptions& options_;
  std::ostream& out_;
  std::ostream& err_;
  std::ofstream record_;
  std::optional<centre::Dialogue> dialogue_;
  std::optional<centre::Centre> centre_;
  std::unique_ptr<centre::Server> server_;
  Json where_;
  std::string where_shown_;
  int ended_ = 0;
  int complaints_ = 0;
};

std::atomic<centre::Server*> g_serving{nullptr};

void StopOnSignal(int) {
  if (centre::Server* const server = g_serving) server->Stop();
}

void ListSettings(bool as_json) {
  std::string group;
  Json all = Json::array();
  for (const centre::SettingInfo& setting : centre::ListSettings()) {
    all.push_back({{"name", setting.name},
                   {"default", setting.value},
                   {"values", setting.values},
                   {"help", setting.help},
                   {"group", setting.group}});
    if (as_json) continue;
    if (std::exchange(group, setting.group) != setting.group)
      std::cout << (all.size() > 1 ? "\n" : "") << setting.group << ":\n";
    std::cout << "  " << setting.name << "=" << setting.value << "  (" << setting.values << ")\n"
              << "      " << setting.help << "\n";
  }
  if (as_json) std::cout << JsonText(all, 2) << "\n";
}

std::string CheckSetting(const std::string& assignment) {
  try {
    centre::Settings trial;
    centre::Set(trial, assignment);
    return {};
  } catch (const centre::SettingError& error) {
    return error.what();
  }
}

int ServeUntilSignalled(const CentreOptions& options) {
  struct sigaction act{};
  act.sa_handler = StopOnSignal;
  ::sigaction(SIGINT, &act, nullptr);
  ::sigaction(SIGTERM, &act, nullptr);
  const int result =
      RunCentre(options, std::cout, std::cerr, [](centre::Server* server) { g_serving = server; });
  g_serving = nullptr;  // also when it ended before it could say so
  return result;
}

struct Arguments : CentreOptions {
  bool pty = false;
  bool once = false;
  bool list_settings = false;
};

void AddOptions(Command& command, Arguments& arguments) {
  auto* const tcp = command.AddOption("--tcp", arguments.tcp_port,
                                      "Listen on this port of 127.0.0.1; 0: any free one");
  command
      .AddOption("--address", arguments.address,
                 "Listen on this address instead; 0.0.0.0: on all that the machine has")
      ->TypeName("IPV4")
      ->Needs(tcp);
  auto* const certificate = command
                                .AddOption("--certificate", arguments.certificate,
                                           "Speak TLS with this on the port (PEM)")
                                ->Path()
                                ->Needs(tcp);
  command.AddOption("--key", arguments.key, "Its key (PEM; the same file)")
      ->Path()
      ->Needs(certificate);
  command
      .AddOption("--modem", arguments.modem,
                 "Emulated modem on the port, as behind a serial server: raw or rfc2217")
      ->OneOf({"raw", "rfc2217"})
      ->TypeName("")
      ->Needs(tcp);
  auto* const pty =
      command.AddFlag("--pty", arguments.pty, "Offer a pseudo-terminal with an emulated modem");
  tcp->InRange(0, 65535)->TypeName("PORT")->Excludes(pty);
  command.AddFlag("--line", arguments.line, "No modem: opening the pseudo-terminal is the call")
      ->Needs(pty);
  command.AddOption("--link", arguments.link, "Symbolic link to the pseudo-terminal")
      ->Path()
      ->TypeName("PATH")
      ->Needs(pty);
  command.AddOption("--protocol", arguments.protocol, "What it speaks, tap or ucp")
      ->OneOf({"tap", "ucp"})
      ->TypeName("")
      ->ShowDefault();
  command.AddOption("--set", arguments.settings, "A behaviour of the centre, see --settings")
      ->CheckedBy(CheckSetting)
      ->TypeName("NAME=VALUE")
      ->OneValueEach();
  command.AddFlag("--settings", arguments.list_settings, "List what can be set, and end");
  command.AddOption("--script", arguments.script, "Play this dialogue file to every caller")
      ->Path()
      ->ExistingFile();
  command.AddOption("--record", arguments.record, "Append what was received, as JSON lines")
      ->Path()
      ->TypeName("FILE");
  auto* const once = command.AddFlag("--once", arguments.once, "End after one answered call");
  command.AddOption("--calls", arguments.calls, "End after so many answered calls")
      ->InRange(1, std::numeric_limits<int>::max())
      ->TypeName("N")
      ->Excludes(once);
  command.AddFlag("--quiet", arguments.quiet, "Print only where the centre listens");
  command.AddFlag("--trace", arguments.trace, "Print every byte of every call");
  command.AddFlag("--json", arguments.json, "Print JSON lines");
}

int Execute(const Arguments& arguments) {
  if (arguments.list_settings) {
    ListSettings(arguments.json);
    return 0;
  }
  if (arguments.tcp_port < 0 && !arguments.pty) {
    throw UsageError("--tcp PORT or --pty is required\nTry 'mvsms centre --help'.");
  }
  CentreOptions options = arguments;
  if (arguments.once) options.calls = 1;
  return ServeUntilSignalled(options);
}

}  // namespace

int RunCentre(const CentreOptions& options, std::ostream& out, std::ostream& err,
              const std::function<void(centre::Server*)>& serving) {
  try {
    return Run(options, out, err).Serve(serving);
  } catch (const std::exception& error) {
    err << "mvsms centre: " << Printable(error.what()) << std::endl;
    return 1;
  }
}

void AddCentreCommand(Command& app, int& exit_code) {
  auto* const command =
      app.AddSubcommand("centre", "Answer calls as a message centre, to try and to test with");
  const auto arguments = std::make_shared<Arguments>();
  AddOptions(*command, *arguments);
  command->Footer(kExamples);
  command->Callback([&app, arguments, &exit_code] {
    const Option* const json_for_all = app.Find("--json");
    if (json_for_all != nullptr && json_for_all->Given()) arguments->json = true;
    exit_code = Execute(*arguments);
  });
}

}  // namespace mvsms::cli
