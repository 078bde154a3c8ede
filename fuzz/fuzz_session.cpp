// Both dialogues as the sender has them, against a centre that says whatever the input says: the
// first byte chooses the protocol ("U" for UCP), then come pieces with a NUL between them. The
// first byte of a piece is the pause before it in units of 100 ms, with its top bit set counted
// from the next bytes that the sender sends; the rest is what the centre then says.
#include <deque>
#include <memory>

#include "fuzz/fuzz.h"
#include "tests/support/host.h"

namespace mvsms::fuzz {
namespace {

using memory::Millis;

/// Says the pieces in their order; hangs up after the last one when told so.
class Babbler : public memory::FarEnd {
 public:
  Babbler(std::vector<std::string> pieces, std::string& said)
      : pieces_(pieces.begin(), pieces.end()), said_(said) {}

  void Connected(memory::Wire& wire) override {
    wire_ = &wire;
    Next();
  }
  void Received(std::string_view) override {
    if (!waits_for_sender_) return;
    waits_for_sender_ = false;
    Schedule();
  }
  void HungUp() override {}

 private:
  std::uint8_t Code() const {
    return pieces_.front().empty() ? std::uint8_t{0}
                                   : static_cast<std::uint8_t>(pieces_.front()[0]);
  }
  void Next() {
    if (pieces_.empty()) return;
    waits_for_sender_ = (Code() & 0x80) != 0;
    if (!waits_for_sender_) Schedule();
  }
  void Schedule() {
    wire_->After(Millis((Code() & 0x7F) * 100), [this] { Say(); });
  }
  void Say() {
    const std::string piece = pieces_.front();
    pieces_.pop_front();
    if (piece == "\x7F") return wire_->HangUp();
    if (piece.size() > 1) {
      said_ += piece.substr(1);
      wire_->Write(piece.substr(1));
    }
    Next();
  }

  std::deque<std::string> pieces_;
  std::string& said_;
  memory::Wire* wire_ = nullptr;
  bool waits_for_sender_ = false;
};

bool Contains(const std::string& text, std::string_view part) {
  return text.find(part) != std::string::npos;
}

/// Whether it has in it what every acknowledgement has.
bool MayHaveAccepted(bool ucp, const std::string& said) {
  if (ucp) return Contains(said, "A");
  return Contains(said, "[p") && (Contains(said, "\x06") || Contains(said, "<ACK>"));
}

void Run(Input input) {
  const bool ucp = input.Byte() == 'U';
  const std::vector<std::string> pieces = input.Pieces('\0');
  std::string said;
  test::Host host;
  ucp ? host.AddUcpService() : host.AddTapService();
  host.far_end = [&](const std::string&) { return std::make_unique<Babbler>(pieces, said); };
  const bool accepted = host.Send("Pump 3 has stopped");

  Require(!accepted || MayHaveAccepted(ucp, said), "accepted only on an acknowledgement");
  Require(!accepted || !host.sender.RetrySuggested, "what was accepted needs no retry");
  Require(host.platform.active_calls() == 0 && host.platform.open_ports() == 0, "hung up");
  Require(host.Lines().back() == (accepted ? test::kSuccessLine : test::kFailedLine), "end line");
  // Every piece can prolong a login by one round of polls, nothing else can.
  const Millis limit = std::chrono::seconds(60) + pieces.size() * std::chrono::seconds(24);
  Require(host.platform.slept() < limit, "the prescribed waits");
}

}  // namespace
}  // namespace mvsms::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 4096) mvsms::fuzz::Run({data, size});
  return 0;
}
