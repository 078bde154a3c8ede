// The far end's part. A CR is what every caller of TAP begins with. A centre of UCP waits for a
// frame, and gets the keep-alive that its own clients send (operation 31) without anybody's number:
// it has nothing to deliver by it, and any answer, be it a refusal, shows what it speaks.
#include <algorithm>
#include <string>
#include <utility>

#include "backends/posix/line/line_doctor.h"
#include "backends/posix/line/modem_channel.h"
#include "backends/posix/line/ucp_login.h"

namespace mvsms::posix {
namespace {

using Millis = ModemPort::Millis;

constexpr Millis kGreetingTime{2000};
constexpr Millis kPromptTime{2000};
constexpr Millis kUcpTime{5000};
constexpr std::string_view kPrompt = "ID=";
constexpr char kEtx = '\x03';
constexpr int kOwnTries = 3;

class CentreDoctor {
 public:
  CentreDoctor(LineMonitor& line, Seen& seen, const Progress& progress,
               const std::function<std::string(char)>& framing_for)
      : line_(line), seen_(seen), progress_(progress), framing_for_(framing_for) {}

  void Look() {
    Listen();
    if (Lost()) return;
    if (seen_.centre.wanted == "UCP") {
      if (!SpeaksUcp() && !Lost()) AskForPrompt();
    } else if (!AskForPrompt() && !Lost()) {
      SpeaksUcp();
    }
    Lost();
  }

 private:
  void Listen() {
    Step("listening to the far end", kGreetingTime);
    line_.ListenAnew();
    line_.Listen(kGreetingTime, [this] { return line_.Gone(); });
    auto& greeting = seen_.centre.greeting;
    greeting.insert(greeting.end(), line_.pieces().begin(), line_.pieces().end());
    seen_.centre.ucp = HasUcpFrame(SevenBits(Joined(greeting)));
  }

  /// Whether it is TAP that is spoken.
  bool AskForPrompt() {
    if (seen_.centre.ucp) return false;
    Step("asking for the prompt of TAP (<CR>, up to " + std::to_string(kOwnTries + 1) + " times)",
         (kOwnTries + 1) * kPromptTime);
    seen_.centre.prompt = Prompt::kMissing;
    const char own = line_.parity();
    for (int turn = 0; turn < kOwnTries; ++turn) {
      if (HearsPrompt(own)) return true;
    }
    if (seen_.centre.prompt == Prompt::kMissing && HearsPrompt(own == 'N' ? 'E' : 'N')) return true;
    line_.SetParity(own);
    return seen_.centre.prompt != Prompt::kMissing;
  }

  /// Whether a CR of this parity brings an answer that begins with the prompt.
  bool HearsPrompt(char parity) {
    line_.SetParity(parity);
    line_.Forget();
    line_.Write("\r");
    line_.Listen(kPromptTime, [this] { return Said().find(kPrompt) != std::string::npos; });
    seen_.centre.answers += line_.bytes();
    const std::size_t place = Said().find(kPrompt);
    if (place == std::string::npos) return false;
    NoteParity(parity);
    seen_.centre.prompt_answer = Said();
    seen_.centre.prompt = place == 0 ? Prompt::kFirst : Prompt::kBehindText;
    return place == 0;
  }

  std::string Said() const {
    std::string said = SevenBits(line_.bytes());
    std::erase(said, '\0');
    return said;
  }

  /// What its bytes show counts; where they show nothing, what it understood.
  void NoteParity(char asked) {
    const char own = OwnParity();
    const char shown = ShownParity(line_.bytes());
    const char parity = shown == 'N' || shown == '?' ? asked : shown;
    if (parity == own) return;
    seen_.centre.parity = parity;
    if (seen_.line.kind == LineKind::kHayes) seen_.way.framing = framing_for_(parity);
  }

  char OwnParity() const {
    const auto framing = ParseFraming(seen_.way.framing);
    return seen_.line.kind == LineKind::kHayes && framing && framing->data_bits == 7
               ? framing->parity
               : 'N';
  }

  bool SpeaksUcp() {
    if (seen_.centre.ucp) return true;
    Step("asking for an answer of UCP (operation 31, keep-alive)", kUcpTime);
    seen_.centre.asked_ucp = true;
    line_.Forget();
    line_.Write(UcpFrame("31", "/0539/"));
    line_.Listen(kUcpTime, [this] { return EndsWithFrame(Said()) || Over(line_.bytes()); });
    seen_.centre.answers += line_.bytes();
    seen_.centre.ucp = HasUcpFrame(Said());
    return seen_.centre.ucp;
  }

  bool Lost() {
    const SeenCentre& centre = seen_.centre;
    const bool known = centre.ucp || centre.prompt > Prompt::kMissing;
    const bool over = line_.Gone() || Over(Joined(centre.greeting) + centre.answers);
    seen_.centre.lost = over && !known;
    return over;
  }

  static bool EndsWithFrame(const std::string& said) {
    return said.ends_with(kEtx) && HasUcpFrame(said);
  }

  static bool Over(const std::string& bytes) { return NoCarrierWatch().Feed(SevenBits(bytes)); }

  void Step(const std::string& step, Millis most) {
    if (line_.GivenUp()) throw GivenUp();
    progress_(step, most);
  }

  LineMonitor& line_;
  Seen& seen_;
  const Progress& progress_;
  const std::function<std::string(char)>& framing_for_;
};

}  // namespace

void LookAtCentre(LineMonitor& line, Seen& seen, const Progress& progress,
                  const std::function<std::string(char parity)>& framing_for) {
  seen.centre.reached = true;
  CentreDoctor(line, seen, progress, framing_for).Look();
}

}  // namespace mvsms::posix
