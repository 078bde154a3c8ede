// mvsms modem: the lines of this machine, which services name as their modem.
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <memory>
#include <string>
#include <system_error>

#include "backends/posix/line/line_check.h"
#include "backends/posix/store/line_store.h"
#include "base/ansi.h"
#include "cli/commands.h"
#include "cli/json.h"
#include "cli/posix/modem_test.h"
#include "cli/store.h"
#include "engine/settings.h"

namespace mvsms::cli {
namespace {

using posix::LineConfig;
using posix::LineKind;
using posix::LineStore;

// The options of add and set: what is not given stays as it was.
struct LineOptions {
  std::string name;
  std::optional<std::string> kind, device, init, dial, speed, framing, flow;
  bool force = false;  // the device need not be there now
};

std::string KindName(LineKind kind) { return kind == LineKind::kTcp ? "tcp" : "hayes"; }

// A modem's name goes into lists joined by TABs, and some names stand for the default modem.
void CheckName(const std::string& name) {
  const bool control = std::any_of(name.begin(), name.end(),
                                   [](char c) { return static_cast<unsigned char>(c) < ' '; });
  if (name.empty() || control || !HasAnsiForm(name)) {
    throw UsageError("\"" + Printable(name) + "\" cannot be the name of a modem");
  }
  if (NamesDefaultModem(name)) {
    throw UsageError("\"" + name + "\" means the default modem; choose another name");
  }
}

LineKind ParseKind(const std::string& kind) {
  if (kind == "hayes") return LineKind::kHayes;
  if (kind == "tcp") return LineKind::kTcp;
  throw UsageError("\"" + kind + "\" is not a kind of modem; use hayes or tcp");
}

bool HasHayesOptions(const LineOptions& options) {
  return options.device || options.init || options.dial || options.speed || options.framing ||
         options.flow;
}

void Require(const std::string& problem) {
  if (!problem.empty()) throw UsageError(Printable(problem));
}

// For programs that start in another folder. A link stays: it may be what names the device for
// good.
std::string WholePath(const std::string& path) {
  return path.empty() ? path : std::filesystem::absolute(path).string();
}

void CheckDevice(const std::string& device, bool force) {
  std::error_code error;
  const bool there = std::filesystem::exists(device, error);
  if (!there && force) return;
  const std::string problem = posix::CheckDevice(device);
  Require(there ? problem : problem + "; --force takes it all the same");
}

void TakeHayesOptions(const LineOptions& options, LineConfig& line) {
  if (options.device) line.device = WholePath(*options.device);
  if (options.init) line.init = AnsiFromUtf8(*options.init);
  if (options.dial) line.dial = AnsiFromUtf8(*options.dial);
  line.framing = options.framing.value_or(line.framing);
  line.flow = options.flow.value_or(line.flow);
  if (options.speed) {
    line.speed = static_cast<std::uint32_t>(
        ParseNumber("--speed", *options.speed, posix::kSlowestLine, posix::kFastestLine));
  }
  if (line.device.empty()) throw UsageError("a hayes modem needs --device");
  if (options.device) CheckDevice(line.device, options.force);
  Require(posix::CheckSettings(line));
}

LineConfig WithOptions(LineConfig line, const LineOptions& options) {
  if (options.kind) line.kind = ParseKind(*options.kind);
  if (line.kind == LineKind::kHayes) {
    TakeHayesOptions(options, line);
  } else if (HasHayesOptions(options)) {
    throw UsageError("a tcp modem takes no other options: the number to dial is host:port");
  }
  return line;
}

LineConfig Existing(Context& context, const std::string& name) {
  const auto line = LineStore(context.home).Find(AnsiFromUtf8(name));
  if (!line) throw UsageError("there is no modem \"" + name + "\"");
  return *line;
}

Json ToJson(const LineConfig& line) {
  Json json{{"name", Utf8FromAnsi(line.name)}, {"kind", KindName(line.kind)}};
  if (line.kind == LineKind::kTcp) return json;
  json["device"] = line.device;
  json["init"] = Utf8FromAnsi(line.init);
  json["dial"] = Utf8FromAnsi(line.dial);
  json["speed"] = line.speed;
  json["framing"] = line.framing;
  json["flow"] = line.flow;
  return json;
}

// What a modem follows is one of these; what is between them is a slip of the finger.
void WarnOfSpeed(Context& context, const LineOptions& options, const LineConfig& line) {
  constexpr std::uint32_t kUsual[] = {50,    75,    110,   134,   150,   200,    300,    600,
                                      1200,  1800,  2400,  4800,  7200,  9600,   14400,  19200,
                                      28800, 33600, 38400, 56000, 57600, 115200, 128000, 230400};
  if (!options.speed || line.speed > 230400) return;
  if (std::find(std::begin(kUsual), std::end(kUsual), line.speed) != std::end(kUsual)) return;
  context.Warn(*options.speed + " bit/s is no usual speed: the modem may not follow it");
}

void Put(Context& context, const LineOptions& options, const LineConfig& before) {
  const LineConfig line = WithOptions(before, options);
  LineStore(context.home).Put(line);
  WarnOfSpeed(context, options, line);
}

void Add(Context& context, const LineOptions& options) {
  LineConfig line;
  line.name = AnsiFromUtf8(options.name);
  CheckName(options.name);
  if (LineStore(context.home).Find(line.name)) {
    throw UsageError("there is a modem \"" + options.name + "\" already");
  }
  Put(context, options, line);
}

void Set(Context& context, const LineOptions& options) {
  Put(context, options, Existing(context, options.name));
}

void List(Context& context) {
  Json json = Json::array();
  std::vector<std::vector<std::string>> rows{{"NAME", "KIND", "DEVICE", "SPEED", "FRAMING"}};
  for (const LineConfig& line : LineStore(context.home).List()) {
    json.push_back(ToJson(line));
    const bool tcp = line.kind == LineKind::kTcp;
    rows.push_back({Utf8FromAnsi(line.name), KindName(line.kind), tcp ? "-" : line.device,
                    tcp ? "-" : std::to_string(line.speed), tcp ? "-" : line.framing});
  }
  context.json ? context.PrintJson(json) : context.PrintTable(rows);
}

void Show(Context& context, const std::string& name) {
  const Json json = ToJson(Existing(context, name));
  if (context.json) return context.PrintJson(json);
  for (const auto& [key, value] : json.items()) {
    context.out << key << " = "
                << (value.is_string() ? Printable(value.get<std::string>()) : value.dump()) << '\n';
  }
}

void WarnOfUses(Context& context, const std::string& modem) {
  ProfileStore store(context);
  const std::string name = "\"" + Utf8FromAnsi(modem) + "\"";
  if (store.Get(setting::kDefaultModem) == modem) {
    context.Warn(name + " is the default modem; 'mvsms config set DefaultModem' names another");
  }
  for (const std::string& service : store.Services()) {
    if (store.Get(store.Service(service), setting::kModemName) != modem) continue;
    context.Warn(name + " is the modem of the service \"" + Utf8FromAnsi(service) + "\"");
  }
}

void Delete(Context& context, const std::string& name) {
  const std::string modem = Existing(context, name).name;
  WarnOfUses(context, modem);
  LineStore(context.home).Delete(modem);
}

void Test(Context& context, const std::string& name, const std::string& number) {
  const LineConfig line = Existing(context, name);
  const std::string finding =
      number.empty() ? TestModem(line) : TestCall(context, line, AnsiFromUtf8(number));
  if (context.json) return context.PrintJson({{"modem", name}, {"finding", finding}});
  context.out << name << ": " << finding << '\n';
}

void AddLineOptions(Command& command, LineOptions& options) {
  command.AddOption("NAME", options.name, "Name of the modem, as services refer to it")->Required();
  command.AddOption("--kind", options.kind,
                    "hayes: an AT-command modem on a serial device; "
                    "tcp: a connection, the number to dial being host:port");
  command.AddOption("--device", options.device, "hayes: the serial device, such as /dev/ttyUSB0");
  command.AddFlag("--force", options.force,
                  "hayes: take a device that is not there now, as of an unplugged modem");
  command.AddOption("--init", options.init, "hayes: AT command before dialling (default: ATZ)");
  command.AddOption("--dial", options.dial, "hayes: what the number is put behind (ATD)");
  command.AddOption("--speed", options.speed, "hayes: bit/s between computer and modem (9600)");
  command.AddOption("--framing", options.framing,
                    "hayes: data bits, parity, stop bits; \"-soft\" makes 7E1 on an 8N1 device "
                    "(8N1)");
  command.AddOption("--flow", options.flow, "hayes: rtscts, xonxoff or none (rtscts)");
}

void AddAddCommand(Command& group, Context& context) {
  auto options = std::make_shared<LineOptions>();
  Command* const command = AddCommand(
      group, context, "add", "Add a modem",
      "  mvsms modem add Modem1 --kind hayes --device /dev/ttyUSB0 --init \"ATZ\" --speed 9600\n"
      "  mvsms modem add Internet --kind tcp");
  AddLineOptions(*command, *options);
  command->Find("--kind")->Required();
  command->Callback([&context, options] { Add(context, *options); });
}

void AddSetCommand(Command& group, Context& context) {
  auto options = std::make_shared<LineOptions>();
  Command* const command =
      AddCommand(group, context, "set", "Change a modem; what is not named stays as it is",
                 "  mvsms modem set Modem1 --dial ATDT0, --speed 2400");
  AddLineOptions(*command, *options);
  command->Callback([&context, options] { Set(context, *options); });
}

// A command whose only argument is a modem's name.
void AddNameCommand(Command& group, Context& context, const std::string& name,
                    const std::string& what, void (*run)(Context&, const std::string&)) {
  auto modem = std::make_shared<std::string>();
  Command* const command =
      AddCommand(group, context, name, what, "  mvsms modem " + name + " Modem1");
  command->AddOption("NAME", *modem, "Name of the modem")->Required();
  command->Callback([&context, modem, run] { run(context, *modem); });
}

void AddTestCommand(Command& group, Context& context) {
  auto modem = std::make_shared<std::string>();
  auto number = std::make_shared<std::string>();
  Command* const command =
      AddCommand(group, context, "test",
                 "Ask the modem whether it is there, or dial a number and hang up again",
                 "  mvsms modem test Modem1\n"
                 "  mvsms modem test Modem1 --dial 0123456789");
  command->AddOption("NAME", *modem, "Name of the modem")->Required();
  command->AddOption("--dial", *number, "Number to dial; for a tcp modem host:port");
  command->Callback([&context, modem, number] { Test(context, *modem, *number); });
}

}  // namespace

void AddModemCommand(Command& app, Context& context) {
  Command* const group = AddGroup(app, "modem", "The modems of this machine");
  AddAddCommand(*group, context);
  AddSetCommand(*group, context);
  AddNameCommand(*group, context, "show", "Show one modem", Show);
  AddNameCommand(*group, context, "delete", "Delete a modem", Delete);
  AddTestCommand(*group, context);
  Command* const list =
      AddCommand(*group, context, "list", "List the modems", "  mvsms modem list --json");
  list->Callback([&context] { List(context); });
}

}  // namespace mvsms::cli
