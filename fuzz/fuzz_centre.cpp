// The message centre, called by somebody who says whatever the input says. The first byte chooses
// who answers (a TAP centre, a UCP centre, a modem with a TAP centre behind it, or such a modem
// behind a serial server), the second one the settings; then come pieces with a NUL between them,
// each after a pause of its first byte in units of 100 ms. The protocols carry NULs, too: the byte
// FF stands for one, and for the serial server, which is told apart by FF, FE stands for that.
#include "fuzz/fuzz.h"
#include "tests/support/centre_call.h"

namespace mvsms::fuzz {
namespace {

using centre::test::Call;
using centre::test::TestCentre;

const std::vector<std::vector<std::string>> kSettings = {
    {},
    {"strip-bit-7=off", "tap-alphabet=german", "max-block=0"},
    {"even-parity=on"},
    {"tap-alphabet=gsm", "codes=off", "refuse=1", "login-refusals=1"},
    {"login-required=on", "password=secret", "ucp-alphabet=ascii", "wrong-checksums=1"},
    {"recipients=01,02", "refusal=nak", "logout-refusal=on", "chunk-bytes=3", "chunk-gap=50"},
    {"noise=<xFF><CR>", "hang-up-after-received=40", "truncate-answers=9"},
};

struct Heard {
  std::string sent;
  std::vector<centre::Request> requests;
};

bool operator==(const Heard& one, const Heard& other) {
  return one.sent == other.sent && one.requests.size() == other.requests.size();
}

enum Who { kTap, kUcp, kModem, kSerialServer };

Call Answered(TestCentre& centre, int who) {
  if (who == kSerialServer) return Call(centre.centre().AnswerSerialServer());
  return who == kModem ? centre.Modem() : centre.Dialled();
}

/// Calls the centre and says the pieces, each at once or byte by byte.
Heard Run(int who, const std::vector<std::string>& settings, const std::vector<std::string>& pieces,
          bool byte_by_byte) {
  TestCentre centre(who == kUcp ? centre::SpeakUcp() : centre::SpeakTap(), settings);
  Call call = Answered(centre, who);
  for (std::string piece : pieces) {
    if (piece.empty()) continue;
    call.Waits(static_cast<std::uint8_t>(piece[0]) * 100);
    piece.erase(0, 1);
    std::replace(piece.begin(), piece.end(), '\xFF', '\0');
    if (who == kSerialServer) std::replace(piece.begin(), piece.end(), '\xFE', '\xFF');
    if (!byte_by_byte && !piece.empty()) call.SendsBytes(piece);
    for (const char byte : byte_by_byte ? piece : std::string()) call.SendsBytes({byte});
  }
  call.Waits(120000);
  call.HangsUp();
  return {call.HearsBytes(), centre.requests};
}

void Run(Input input) {
  const int who = input.Byte() % 4;
  std::vector<std::string> settings = kSettings[input.Byte() % kSettings.size()];
  settings.push_back("system-message={recipient}");  // without the time of day
  const std::vector<std::string> pieces = input.Pieces('\0');
  std::size_t said = 0;
  for (const std::string& piece : pieces) said += piece.size();
  const Heard whole = Run(who, settings, pieces, false);
  for (const centre::Request& request : whole.requests) {
    Require(IsUtf8(request.recipient) && IsUtf8(request.originator) && IsUtf8(request.text),
            "texts of a record are UTF-8");
  }
  Require(whole.requests.size() <= said, "no more requests than bytes");
  const Heard bytes = Run(who, settings, pieces, true);
  // After the end of a call a modem takes what comes for commands, so there the cut does matter.
  Require(who == kModem || who == kSerialServer || whole == bytes,
          "the cut of the bytes does not matter");
}

}  // namespace
}  // namespace mvsms::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 4096) mvsms::fuzz::Run({data, size});
  return 0;
}
