// The steps of a send in their order, each with what it finds; nothing is dialled and no device
// opened.
#include "cli/dry_run.h"

#include <algorithm>
#include <cstdint>
#include <iomanip>
#include <memory>
#include <sstream>
#include <utility>
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
#include "platform/telephony.h"
#include "protocols/control_codes.h"
#include "protocols/waits.h"

namespace mvsms::cli {
namespace {

using dispatch::Exit;

Way WayOf(Context& context, const DryRun& run) {
  CheckReadable(context);
  return dispatch::FindWay(context.platform(), AnsiFromUtf8(context.profile), AnsiFromUtf8(run.to),
                           AnsiFromUtf8(run.service));
}

// --- What goes over the line.

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
      : context_(context), run_(run), way_(WayOf(context, run)) {
    if (!way_.service.Name.empty()) Prepare();
    way_ = InWords(std::move(way_), run);
  }

  int Print() {
    if (context_.json) {
      PrintAsJson();
    } else {
      PrintAsText();
    }
    return static_cast<int>(way_.exit);
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
    cargo_ = dispatch::Load(way_, AnsiFromUtf8(run_.from), message_);
    std::size_t bytes = LoginOf(service).size();
    for (const std::string& frame : cargo_.frames) bytes += frame.size();
    time_ = TimeFor(way_, cargo_.pieces.size(), bytes);
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
    return std::to_string(message_.size()) + " characters in " +
           std::to_string(cargo_.pieces.size()) +
           (cargo_.pieces.size() == 1 ? " piece" : " pieces");
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
    if (!cargo_.pieces.empty()) PrintPieces();
    Line("sent", way_.obstacle.empty() ? "nothing: this was a dry run"
                                       : "nothing could be: " + way_.obstacle);
  }

  void PrintPieces() {
    Line("text", LengthWords());
    for (const std::string& piece : cargo_.pieces)
      Line("is read", dispatch::AsRead(piece, way_.service));
    for (const std::string& loss : losses_) Line("is lost", loss);
    Line("takes", "about " + Seconds(time_.least) + ", at most " + Seconds(time_.most));
    for (const std::string& frame : Frames()) PrintExplanations(context_, dispatch::Explain(frame));
  }

  /// What we say, in its order; empty frames could not be built.
  std::vector<std::string> Frames() const {
    std::vector<std::string> frames{LoginOf(way_.service)};
    frames.insert(frames.end(), cargo_.frames.begin(), cargo_.frames.end());
    std::erase(frames, "");
    return frames;
  }

  void PrintAsJson() {
    const ServiceRecord& service = way_.service;
    Json pieces = Json::array(), frames = Json::array();
    for (const std::string& piece : cargo_.pieces) {
      pieces.push_back(
          {{"text", Utf8FromAnsi(piece)}, {"is_read", dispatch::AsRead(piece, service)}});
    }
    for (const std::string& frame : Frames()) {
      for (const Json& part : ExplanationsAsJson(dispatch::Explain(frame))) frames.push_back(part);
    }
    context_.PrintJson({{"dry_run", true},
                        {"can_be_sent", way_.obstacle.empty()},
                        {"reason", way_.obstacle},
                        {"exit_code", static_cast<int>(way_.exit)},
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
  dispatch::Cargo cargo_;
  Time time_{0, 0};
};

}  // namespace

Way InWords(Way way, const DryRun& run) {
  way.why = run.service.empty() ? Utf8FromAnsi(way.why) : "named by --service";
  way.obstacle = Utf8FromAnsi(way.obstacle);
  if (!way.fitting.empty()) way.obstacle += "; --fit " + way.fitting;
  const bool wrong_number = way.exit == Exit::kMessage && way.number.empty();
  if (wrong_number && run.to.starts_with('+')) way.obstacle = kPlusHint;
  return way;
}

Way Foresee(Context& context, const DryRun& run) { return Report(context, run).way(); }

int PrintDryRun(Context& context, const DryRun& run) { return Report(context, run).Print(); }

std::string FitForSend(Context& context, const DryRun& run) {
  const Way way = WayOf(context, run);
  const dispatch::Fitted fitted = dispatch::Fit(run.text, way.service);
  if (fitted.change.empty()) return run.text;
  if (!run.quiet) context.Warn("the text was fitted: " + fitted.change);
  return Utf8FromAnsi(fitted.text);
}

}  // namespace mvsms::cli
