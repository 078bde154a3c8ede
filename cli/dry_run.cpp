// The steps of a send in their order, each with what it finds; nothing is dialled and no device
// opened.
#include "cli/dry_run.h"

#include <algorithm>
#include <cstdint>
#include <iomanip>
#include <memory>
#include <sstream>
#include <vector>

#include "base/ansi.h"
#include "base/numbers.h"
#include "base/raised_error.h"
#include "base/texts.h"
#include "cli/explanation.h"
#include "cli/json.h"
#include "cli/store.h"
#include "cli/system.h"
#include "dispatch/fit.h"
#include "dispatch/notation.h"
#include "dispatch/outcome.h"
#include "dispatch/reader.h"
#include "engine/routing.h"
#include "engine/sender.h"
#include "engine/settings.h"
#include "platform/telephony.h"
#include "protocols/bastap.h"
#include "protocols/basucp.h"
#include "protocols/control_codes.h"
#include "protocols/waits.h"

namespace mvsms::cli {
namespace {

constexpr int kExitUnusable = static_cast<int>(dispatch::Exit::kMessage);
constexpr int kExitNotConfigured = static_cast<int>(dispatch::Exit::kSettings);

// --- The way.

void Stop(Way& way, int exit_code, const std::string& obstacle) {
  if (!way.obstacle.empty()) return;
  way.obstacle = obstacle;
  way.exit_code = exit_code;
}

/// The longest route that the number begins with; empty without one.
std::string RouteOf(ProfileStore& store, const std::string& number) {
  std::string best;
  for (const std::string& prefix : store.Routes()) {
    if (number.starts_with(prefix) && prefix.size() > best.size()) best = prefix;
  }
  return best;
}

/// The service's name, and into `way` why it is this one.
std::string ChooseService(ProfileStore& store, Way& way, const std::string& asked) {
  if (!asked.empty()) {
    way.why = "named by --service";
    return AnsiFromUtf8(asked);
  }
  const std::string route = RouteOf(store, way.number);
  std::string routed = route.empty() ? "" : store.Get(store.Route(route), setting::kUseService);
  if (!routed.empty()) {
    way.why = "route " + Utf8FromAnsi(route) + " is the longest that the number begins with";
    return routed;
  }
  way.why = route.empty() ? "DefaultService, for no route begins like the number"
                          : "DefaultService, for route " + Utf8FromAnsi(route) + " names none";
  return {};
}

void CheckService(Context& context, ProfileStore& store, Way& way) {
  const ServiceRecord& service = way.service;
  const std::string name = "\"" + Utf8FromAnsi(service.Name) + "\"";
  if (!store.Exists(store.Service(service.Name))) {
    return Stop(way, kExitNotConfigured, "there is no service " + name);
  }
  if (service.Protocol != "TAP" && service.Protocol != "UCP") {
    Stop(way, kExitNotConfigured, "service " + name + " has no protocol, TAP or UCP");
  }
  if (!ModemExists(context, service.ModemName)) {
    Stop(way, kExitNotConfigured, "there is no modem \"" + Utf8FromAnsi(service.ModemName) + "\"");
  }
}

// --- The text in pieces, and what goes over the line for each.

std::string TapBlock(const std::string& pager, const std::string& piece,
                     const ServiceRecord& service, std::string& error) {
  const std::string text = basTAP::CheckTAPMessageText(piece, error, service.MessageType);
  if (text.empty()) return {};
  const std::string block = kSTX + pager + kCR + text + kCR + kETX;
  return block + basTAP::CalcTAPCheckSum(block, error) + kCR;
}

std::string FrameOf(const Way& way, const std::string& from, const std::string& piece,
                    std::string& error) {
  if (way.service.Protocol == "TAP") return TapBlock(way.number, piece, way.service, error);
  return basUCP::BuildUCPMessage(way.number, from, piece, 0, way.service, error);
}

std::string LoginOf(const ServiceRecord& service) {
  if (service.Protocol != "TAP") return {};
  return kESC + (service.Password.empty() ? "PG1" : service.Password) + kCR;
}

/// Letters that the reader does not see as they were written, each once.
std::vector<std::string> LossesOf(const std::string& utf8, const ServiceRecord& service) {
  std::vector<std::string> losses;
  for (const Utf8Character& character : Utf8Characters(utf8)) {
    const std::string seen = dispatch::AsRead(AnsiFromUtf8(character.bytes), service);
    if (seen == character.bytes) continue;
    const bool steers = character.point < ' ' || character.point == kMalformed ||
                        (character.point >= 0x7F && character.point < 0xA0);
    const std::string shown(steers ? dispatch::NotationOf(character.bytes) : character.bytes);
    const std::string loss = "\"" + shown + "\" is read as \"" + seen + "\"";
    if (std::find(losses.begin(), losses.end(), loss) == losses.end()) losses.push_back(loss);
  }
  return losses;
}

// --- Time, in milliseconds.

struct Time {
  double least = 0;
  double most = 0;
};

// The telephone network, which nobody knows: ringing and the modems' tones take some twenty
// seconds, and after forty the attempt is given up.
constexpr double kRinging = 20000;
constexpr double kAttempt = 40000;

constexpr int kBitsPerCharacter = 10;  // with start and stop bit
constexpr double kSlowestLine = 300;   // bits a second
constexpr char kUsualLine[] = "2400";

constexpr Time LoginOfTap() {
  using namespace tap_wait;
  constexpr int kSettled = kAfterConnect + 2 * kAroundPrompt;
  return {kSettled + kPromptPoll + kLoginPoll,
          kSettled + kPromptAttempts * kPromptPoll + kLoginPolls * kLoginPoll};
}
constexpr Time kTapLogin = LoginOfTap();

Time TapPiece(double timeout) {
  using namespace tap_wait;
  return {timeout + kAcknowledgementPoll, timeout + kAcknowledgementPolls * kAcknowledgementPoll};
}

Time UcpPiece(double timeout) {
  using namespace ucp_wait;
  return {kAfterConnect + timeout, kAfterConnect + kAnswerPolls * timeout};
}

double OnTheLine(const ServiceRecord& service, std::size_t bytes) {
  const double speed = Val(service.BaudRate.empty() ? kUsualLine : service.BaudRate);
  return static_cast<double>(bytes) * kBitsPerCharacter * 1000 / std::max(kSlowestLine, speed);
}

/// In seconds: the waits of the dialogues, the time on the line itself, and the network.
Time TimeFor(const Way& way, std::size_t pieces, std::size_t bytes) {
  const ServiceRecord& service = way.service;
  const bool network = service.PhoneNumber.find(':') != std::string::npos;
  const double timeout = std::max(0, service.TimeOut);
  const Time login = service.Protocol == "TAP" ? kTapLogin : Time{};
  const Time piece = service.Protocol == "TAP" ? TapPiece(timeout) : UcpPiece(timeout);
  const Time dialling{network ? 0 : kRinging, kAttempt};
  const double line = network ? 0 : OnTheLine(service, bytes);
  const auto count = static_cast<double>(pieces);
  return {(dialling.least + login.least + count * piece.least + line) / 1000,
          (dialling.most + login.most + count * piece.most + line) / 1000};
}

std::string Seconds(double seconds) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(0) << seconds << " s";
  return text.str();
}

// --- The report.

class Report {
 public:
  Report(Context& context, const DryRun& run)
      : context_(context), run_(run), way_(FindWay(context, run.to, run.service)) {
    if (!way_.service.Name.empty()) Prepare();
  }

  int Print() {
    if (context_.json) {
      PrintAsJson();
    } else {
      PrintAsText();
    }
    return way_.exit_code;
  }

  const Way& way() const { return way_; }

 private:
  void Prepare() {
    const ServiceRecord& service = way_.service;
    const dispatch::Fitted fitted = run_.fit ? dispatch::Fit(run_.text, service)
                                             : dispatch::Fitted{Trim(AnsiFromUtf8(run_.text)), {}};
    message_ = fitted.text;
    change_ = fitted.change;
    losses_ = LossesOf(run_.fit ? Utf8FromAnsi(message_) : Trim(run_.text), service);
    if (!CheckLength()) return;
    pieces_ = CutMessage(message_, service.MaxLength);
    for (const std::string& piece : pieces_) AddFrame(piece);
    bytes_ += LoginOf(service).size();
    time_ = TimeFor(way_, pieces_.size(), bytes_);
  }

  bool CheckLength() {
    const ServiceRecord& service = way_.service;
    if (message_.empty()) Stop(way_, kExitUnusable, "the text is empty");
    if (service.MaxLength < 1 || service.MaxMessages < 1) {
      Stop(way_, kExitNotConfigured, "the service has no room: MaxLength and MaxMessages");
    }
    const auto room = std::int64_t{service.MaxLength} * service.MaxMessages;
    if (static_cast<std::int64_t>(message_.size()) > room) {
      Stop(way_, kExitUnusable,
           "the text has " + std::to_string(message_.size()) + " characters, the service takes " +
               std::to_string(room) + "; --fit cuts it");
    }
    return !message_.empty() && service.MaxLength > 0 && way_.exit_code != kExitUnusable;
  }

  void AddFrame(const std::string& piece) {
    std::string error;
    const std::string frame = FrameOf(way_, AnsiFromUtf8(run_.from), piece, error);
    if (frame.empty()) {
      Stop(way_, kExitUnusable,
           "the protocol cannot carry the text: " + Utf8FromAnsi(error) + "; --fit spells it anew");
    }
    bytes_ += frame.size();
    frames_.push_back(frame);
  }

  /// The form of the service's number that the modem dials; the number itself without that modem.
  std::string Dialled() {
    const ServiceRecord& service = way_.service;
    try {
      const auto tapi = context_.platform().telephony().CreateTapi();
      tapi->Initialize();
      for (const auto& address : tapi->GetAddresses()) {
        if (address->AddressName() != service.ModemName) continue;
        return address->TranslateAddress(service.PhoneNumber, 0, 0)->DialableString();
      }
    } catch (const std::exception&) {
      // The obstacle tells of a modem that is not there.
    }
    return service.PhoneNumber;
  }

  std::string LengthWords() const {
    return std::to_string(message_.size()) + " characters in " + std::to_string(pieces_.size()) +
           (pieces_.size() == 1 ? " piece" : " pieces");
  }

  void Line(const std::string& name, const std::string& text) {
    if (!text.empty()) {
      context_.out << std::left << std::setw(11) << name << std::right << Printable(text) << '\n';
    }
  }

  void PrintAsText() {
    const ServiceRecord& service = way_.service;
    Line("recipient", Utf8FromAnsi(way_.number));
    if (!service.Name.empty()) {
      Line("service", Utf8FromAnsi(service.Name) + " (" + way_.why + ")");
      Line("protocol", Utf8FromAnsi(service.Protocol +
                                    (service.Protocol == "UCP" ? " " + service.UCPCommand : "")));
      Line("modem", Utf8FromAnsi(service.ModemName) + ", dials " + Utf8FromAnsi(Dialled()));
    }
    Line("fitted", change_);
    if (!pieces_.empty()) PrintPieces();
    Line("sent", way_.obstacle.empty() ? "nothing: this was a dry run"
                                       : "nothing could be: " + way_.obstacle);
  }

  void PrintPieces() {
    Line("text", LengthWords());
    for (const std::string& piece : pieces_) Line("is read", dispatch::AsRead(piece, way_.service));
    for (const std::string& loss : losses_) Line("is lost", loss);
    Line("takes", "about " + Seconds(time_.least) + ", at most " + Seconds(time_.most));
    for (const std::string& frame : Frames()) PrintExplanations(context_, dispatch::Explain(frame));
  }

  /// What we say, in its order; empty frames could not be built.
  std::vector<std::string> Frames() const {
    std::vector<std::string> frames{LoginOf(way_.service)};
    frames.insert(frames.end(), frames_.begin(), frames_.end());
    std::erase(frames, "");
    return frames;
  }

  void PrintAsJson() {
    const ServiceRecord& service = way_.service;
    Json pieces = Json::array(), frames = Json::array();
    for (const std::string& piece : pieces_) {
      pieces.push_back(
          {{"text", Utf8FromAnsi(piece)}, {"is_read", dispatch::AsRead(piece, service)}});
    }
    for (const std::string& frame : Frames()) {
      for (const Json& part : ExplanationsAsJson(dispatch::Explain(frame))) frames.push_back(part);
    }
    context_.PrintJson({{"dry_run", true},
                        {"can_be_sent", way_.obstacle.empty()},
                        {"reason", way_.obstacle},
                        {"exit_code", way_.exit_code},
                        {"recipient", Utf8FromAnsi(way_.number)},
                        {"service", Utf8FromAnsi(service.Name)},
                        {"why", way_.why},
                        {"protocol", Utf8FromAnsi(service.Protocol)},
                        {"modem", Utf8FromAnsi(service.ModemName)},
                        {"dialled", service.Name.empty() ? "" : Utf8FromAnsi(Dialled())},
                        {"fitted", change_},
                        {"pieces", pieces},
                        {"lost", losses_},
                        {"seconds_about", time_.least},
                        {"seconds_at_most", time_.most},
                        {"frames", frames}});
  }

  Context& context_;
  const DryRun& run_;
  Way way_;
  std::string message_;
  std::string change_;
  std::vector<std::string> losses_;
  std::vector<std::string> pieces_;
  std::vector<std::string> frames_;
  std::size_t bytes_ = 0;
  Time time_{0, 0};
};

}  // namespace

Way FindWay(Context& context, const std::string& to, const std::string& service) {
  Way way;
  ProfileStore store(context);
  Registry& registry = context.platform().registry();
  std::string profile = AnsiFromUtf8(context.profile);
  Settings settings;
  if (!GetSettings(registry, profile, settings)) {
    Stop(way, kExitNotConfigured, "choose a DefaultModem and a DefaultService first");
  }
  std::string address = AnsiFromUtf8(to);
  way.number = FixAddress(registry, profile, address,
                          [](std::int32_t, const std::string&, const std::string&) {});
  if (way.number.empty()) {
    Stop(way, kExitUnusable, to.starts_with('+') ? kPlusHint : "the recipient is no number: " + to);
  }
  std::string name = ChooseService(store, way, service);
  if (!GetServiceInfo(registry, profile, settings, way.service, name)) {
    Stop(way, kExitNotConfigured, "a number of the service cannot be read as one");
  }
  way.service.Name = name;
  if (!name.empty()) CheckService(context, store, way);
  return way;
}

Way Foresee(Context& context, const DryRun& run) { return Report(context, run).way(); }

int PrintDryRun(Context& context, const DryRun& run) { return Report(context, run).Print(); }

std::string FitForSend(Context& context, const DryRun& run) {
  const Way way = FindWay(context, run.to, run.service);
  const dispatch::Fitted fitted = dispatch::Fit(run.text, way.service);
  if (fitted.change.empty()) return run.text;
  if (!run.quiet) context.Warn("the text was fitted: " + fitted.change);
  return Utf8FromAnsi(fitted.text);
}

}  // namespace mvsms::cli
