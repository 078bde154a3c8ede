// The doctor's report, for people as it comes and for programs as one object.
#include "cli/posix/modem_test.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ostream>
#include <vector>

#include "backends/posix/line/line_check.h"
#include "backends/posix/line/line_doctor.h"
#include "base/ansi.h"
#include "cli/interrupt.h"
#include "cli/json.h"
#include "cli/posix/state.h"
#include "cli/store.h"
#include "dispatch/outcome.h"

namespace mvsms::cli {
namespace {

using posix::Finding;
using posix::Seen;
using posix::Setting;

void EndRest(Context& context, const std::string& modem) {
  posix::LineStore store = Lines(context);
  if (store.RestsUntil(modem) != 0) store.SetRest(modem, 0);
}

// --- texts ---------------------------------------------------------------------------------------

std::string Hex(const std::string& bytes) {
  std::string hex;
  for (const char code : bytes) {
    std::array<char, 4> digits{};
    std::snprintf(digits.data(), digits.size(), "%02X ",
                  static_cast<unsigned>(static_cast<unsigned char>(code)));
    hex += digits.data();
  }
  if (!hex.empty()) hex.pop_back();
  return hex;
}

std::string Shown(const std::string& ansi) { return Printable(Utf8FromAnsi(ansi)); }

/// A word as a shell takes it.
std::string Word(const std::string& text) {
  constexpr char kPlain[] =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_./:=,@%[]";
  if (!text.empty() && text.find_first_not_of(kPlain) == std::string::npos) return text;
  std::string quoted = "'";
  for (const char code : text) quoted += code == '\'' ? "'\\''" : std::string(1, code);
  return quoted + "'";
}

const ValueInfo& ValueOf(const Setting& setting) {
  return setting.name == "command" ? setting::kUCPCommand : setting::kProtocol;
}

std::string NameOf(const Setting& setting) {
  return setting.of_service ? std::string(ValueOf(setting).name) : setting.name;
}

std::string Whole(const std::string& value) { return value.empty() ? "nothing" : value; }

std::string AtMost(std::chrono::milliseconds most) {
  return " (at most " + std::to_string((most.count() + 999) / 1000) + " s)";
}

/// What was seen of a call, in words: "2400 bit/s, V.22bis, error correction V.42".
std::string Facts(const posix::ConnectText& connect) {
  const std::pair<std::string, std::string> kParts[] = {
      {"", connect.modulation},
      {connect.speed, connect.speed.empty() ? "" : " bit/s"},
      {"error correction ", connect.correction},
      {"compression ", connect.compression},
  };
  std::string facts;
  for (const auto& [label, value] : kParts) {
    if (!value.empty()) facts += (facts.empty() ? "" : ", ") + label + value;
  }
  return facts;
}

std::string Speaks(const posix::SeenCentre& centre) {
  if (centre.prompt == posix::Prompt::kFirst) return "TAP";
  if (centre.prompt == posix::Prompt::kBehindText) return "TAP";
  return centre.ucp ? "UCP" : "";
}

// --- one line ------------------------------------------------------------------------------------

class LineTest {
 public:
  LineTest(Context& context, posix::LineConfig line, const TestOrder& order)
      : context_(context), line_(std::move(line)), order_(order) {}

  /// Looks, and sets what is to be set; the exit code.
  int Run() {
    TakeService();
    RequireNumber();
    seen_ = posix::Examine(
        line_, {number_, protocol_, command_, [this] { return watch_.Interrupted(); }},
        [this](const std::string& step, std::chrono::milliseconds most) { Tell(step, most); });
    findings_ = posix::Diagnose(seen_);
    settings_ = posix::SettingsOf(findings_);
    if (seen_.initialised) EndRest(context_, line_.name);
    if (order_.fix && !settings_.empty()) Fix();
    return ExitCode();
  }

  void Print() const {
    PrintSeen();
    for (const Finding& finding : findings_) {
      Say(finding.sentence);
      if (!finding.advice.empty()) Say("advice: " + finding.advice);
    }
    if (findings_.empty()) Say(Health());
    for (const Setting& setting : settings_) Say(order_.fix ? Change(setting) : Advice(setting));
  }

  Json ToJson() const {
    Json json{{"modem", Utf8FromAnsi(line_.name)}, {"well", findings_.empty()}};
    json["seen"] = SeenJson();
    json["findings"] = Json::array();
    for (const Finding& finding : findings_) json["findings"].push_back(FindingJson(finding));
    json["settings"] = Json::array();
    for (const Setting& setting : settings_) json["settings"].push_back(SettingJson(setting));
    return json;
  }

 private:
  void TakeService() {
    number_ = AnsiFromUtf8(order_.number);
    if (order_.service.empty()) return;
    ProfileStore store = ExistingProfile(context_);
    service_ = ExistingService(store, order_.service);
    const std::string key = store.Service(service_);
    protocol_ = store.Get(key, setting::kProtocol);
    command_ = store.Get(key, setting::kUCPCommand);
    if (number_.empty()) number_ = store.Get(key, setting::kPhoneNumber);
    if (number_.empty()) {
      throw UsageError("the service \"" + order_.service +
                       "\" has no PhoneNumber; --dial names one");
    }
  }

  void RequireNumber() const {
    const bool tcp = line_.kind == posix::LineKind::kTcp;
    if (tcp && number_.empty()) {
      throw UsageError(
          "a tcp modem has nothing to ask by itself; --dial HOST:PORT or --service NAME says what "
          "to connect to");
    }
    if (!tcp && !number_.empty() && posix::DialString(number_).empty()) {
      throw UsageError("there is nothing to dial in \"" + Utf8FromAnsi(number_) + "\"");
    }
  }

  void Tell(const std::string& step, std::chrono::milliseconds most) {
    if (!context_.json) context_.out << "  " << Printable(step) << AtMost(most) << std::endl;
  }

  // What others changed meanwhile stays.
  void Fix() {
    ProfileStore store(context_);
    store.Together([&] {
      const auto now = Lines(context_).Find(line_.name);
      if (!now) throw Failure("\"" + Utf8FromAnsi(line_.name) + "\" was deleted meanwhile");
      Lines(context_).Put(posix::WithSettings(*now, settings_));
      for (const Setting& setting : settings_) {
        if (!setting.of_service) continue;
        store.Set(store.Service(service_), {{ValueOf(setting), TextValue(setting.to)}});
      }
    });
  }

  int ExitCode() const {
    const auto any = [this](posix::FindingKind kind) {
      return std::any_of(findings_.begin(), findings_.end(),
                         [&](const Finding& finding) { return finding.kind == kind; });
    };
    if (any(posix::FindingKind::kSetting) && !order_.fix)
      return static_cast<int>(dispatch::Exit::kSettings);
    if (any(posix::FindingKind::kOther)) return kExitFailed;
    return any(posix::FindingKind::kPassing) ? static_cast<int>(dispatch::Exit::kRetry)
                                             : kExitAccepted;
  }

  // --- for people

  void Say(const std::string& sentence) const {
    context_.out << Printable(Utf8FromAnsi(line_.name)) << ": " << Printable(sentence) << '\n';
  }

  void PrintSeen() const {
    if (!seen_.model.empty()) Say("the modem says that it is " + Utf8FromAnsi(seen_.model));
    if (!seen_.call.words.empty()) {
      const std::string facts = Facts(seen_.call.connect);
      Say("the call to " + Utf8FromAnsi(seen_.call.number) + ": " + Utf8FromAnsi(seen_.call.words) +
          (facts.empty() ? "" : " (" + facts + ")"));
    }
    if (!seen_.centre.reached) return;
    PrintGreeting();
    if ((Joined(seen_.centre.greeting) + seen_.centre.answers).find('\0') != std::string::npos) {
      Say("the far end pads with NULs, which are dropped and do no harm");
    }
    if (!findings_.empty() && !Protocol().empty() && !FindingSays(Protocol())) Say(Protocol());
  }

  /// "the centre speaks TAP", or nothing.
  std::string Protocol() const {
    const std::string speaks = Speaks(seen_.centre);
    return speaks.empty() ? "" : "the centre speaks " + speaks;
  }

  bool FindingSays(const std::string& words) const {
    return std::any_of(findings_.begin(), findings_.end(),
                       [&](const Finding& finding) { return finding.sentence.starts_with(words); });
  }

  void PrintGreeting() const {
    Say(seen_.centre.greeting.empty() ? "the far end said nothing by itself in two seconds"
                                      : "the far end's first two seconds:");
    for (const posix::Piece& piece : seen_.centre.greeting) {
      std::array<char, 16> time{};
      std::snprintf(time.data(), time.size(), "%.2f", static_cast<double>(piece.at.count()) / 1000);
      context_.out << "  " << time.data() << " s  " << Hex(piece.bytes) << "  "
                   << Shown(piece.bytes) << '\n';
    }
  }

  std::string Health() const {
    if (!seen_.centre.reached) return "the modem on " + line_.device + " answers; nothing is wrong";
    const std::string protocol = Protocol();
    return "connected to " + Utf8FromAnsi(seen_.call.number) + " and hung up; " +
           (protocol.empty() ? "the centre is there" : protocol) + "; nothing is wrong";
  }

  std::string Advice(const Setting& setting) const {
    const std::string name = Word(Utf8FromAnsi(setting.of_service ? service_ : line_.name));
    return setting.of_service
               ? "set this: mvsms service set " + name + " " + NameOf(setting) + "=" + setting.to
               : "set this: mvsms modem set " + name + " --" + setting.name + " " +
                     Word(setting.to);
  }

  std::string Change(const Setting& setting) const {
    return "changed: " + NameOf(setting) + " from " + Whole(setting.from) + " to " + setting.to;
  }

  // --- for programs

  Json SeenJson() const {
    Json json{{"answer", Shown(seen_.own.text)}, {"answer_hex", Hex(seen_.own.bytes)}};
    json["model"] = Utf8FromAnsi(seen_.model);
    if (seen_.cts) json["cts"] = *seen_.cts;
    if (seen_.dsr) json["dsr"] = *seen_.dsr;
    if (!seen_.call.number.empty()) json["call"] = CallJson();
    if (seen_.centre.reached) json["centre"] = CentreJson();
    return json;
  }

  Json CallJson() const {
    const posix::SeenCall& call = seen_.call;
    Json json{{"number", Utf8FromAnsi(call.number)},
              {"words", Utf8FromAnsi(call.words)},
              {"seconds", static_cast<double>(call.took.count()) / 1000},
              {"speed", call.connect.speed},
              {"modulation", call.connect.modulation},
              {"correction", call.connect.correction},
              {"compression", call.connect.compression}};
    if (call.tone) json["dial_tone"] = *call.tone;
    return json;
  }

  Json CentreJson() const {
    Json greeting = Json::array();
    for (const posix::Piece& piece : seen_.centre.greeting) {
      greeting.push_back(
          {{"ms", piece.at.count()}, {"hex", Hex(piece.bytes)}, {"text", Shown(piece.bytes)}});
    }
    return {{"greeting", greeting},
            {"answers_hex", Hex(seen_.centre.answers)},
            {"answers", Shown(seen_.centre.answers)},
            {"speaks", Speaks(seen_.centre)}};
  }

  static Json FindingJson(const Finding& finding) {
    Json json{{"id", finding.id}, {"sentence", finding.sentence}};
    if (!finding.advice.empty()) json["advice"] = finding.advice;
    return json;
  }

  Json SettingJson(const Setting& setting) const {
    return {{"of", setting.of_service ? "service" : "modem"},
            {"name", NameOf(setting)},
            {"from", setting.from},
            {"to", setting.to},
            {"set", order_.fix}};
  }

  Context& context_;
  posix::LineConfig line_;
  const TestOrder& order_;
  const InterruptWatch watch_;
  std::string number_, protocol_, command_, service_;  // ANSI
  Seen seen_;
  std::vector<Finding> findings_;
  std::vector<Setting> settings_;
};

std::vector<posix::LineConfig> ModemsOf(Context& context, const posix::LineConfig& line) {
  if (line.kind != posix::LineKind::kPool) return {line};
  std::vector<posix::LineConfig> members;
  for (const std::string& name : line.members) {
    if (auto member = Lines(context).Find(name)) members.push_back(*std::move(member));
  }
  return members;
}

// A setting that is wrong comes first, for that can be helped; what ends by itself comes last.
int Worse(int one, int other) {
  for (const int code : {static_cast<int>(dispatch::Exit::kSettings), kExitFailed,
                         static_cast<int>(dispatch::Exit::kRetry)}) {
    if (one == code || other == code) return code;
  }
  return kExitAccepted;
}

}  // namespace

std::string AskModem(Context& context, const posix::LineConfig& line) {
  std::string report;
  const std::string problem = posix::TestLine(line, report);
  if (!problem.empty()) throw Failure(problem);
  EndRest(context, line.name);
  return "the modem on " + line.device + " answers";
}

void TestModem(Context& context, const posix::LineConfig& line, const TestOrder& order) try {
  Json members = Json::array();
  for (const posix::LineConfig& modem : ModemsOf(context, line)) {
    LineTest test(context, modem, order);
    context.exit_code = Worse(context.exit_code, test.Run());
    context.json ? members.push_back(test.ToJson()) : test.Print();
  }
  if (!context.json) return;
  const bool pool = line.kind == posix::LineKind::kPool;
  context.PrintJson(pool ? Json{{"modem", Utf8FromAnsi(line.name)}, {"members", members}}
                         : members.front());
} catch (const posix::GivenUp&) {
  throw Failure("interrupted; no call is up");
}

}  // namespace mvsms::cli
