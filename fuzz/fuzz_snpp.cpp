// A client's session of any bytes, cut into lines: each answer has its form, and whatever page
// comes of it is one.
#include "fuzz/fuzz.h"
#include "gateway/snpp.h"

namespace mvsms::fuzz {
namespace {

using gateway::SnppSession;

/// Refuses and fails now and then, as a byte of the input says.
struct Sink : gateway::SnppSink {
  explicit Sink(std::uint8_t mood) : mood_(mood) {}

  bool IsOpen() override { return (mood_ & 1) == 0; }
  bool LogIn(const std::string&, const std::string& password) override { return password == "a"; }
  Found Find(const std::string& pager) override { return {pager, pager.size() > 20 ? pager : ""}; }
  Answer Send(const gateway::PageRequest& page) override {
    Require(!page.to.empty() && page.to.size() <= SnppSession::kMostRecipients, "recipients");
    Require(!page.text.empty() && IsUtf8(page.text) && IsUtf8(page.from), "a text");
    Require(page.text.find_first_of("\r\n") == page.text.npos, "one line");
    Require(!page.id.empty(), "an id");
    return {(mood_ & 2) != 0   ? End::kRefused
            : (mood_ & 4) != 0 ? End::kUnavailable
                               : End::kQueued,
            page.text};
  }

 private:
  const std::uint8_t mood_;
};

std::string Id() { return "id"; }

void RequireForm(const std::string& answer) {
  Require(answer.empty() || answer.ends_with("\r\n"), "whole lines");
  for (std::size_t at = 0; at < answer.size(); at = answer.find("\r\n", at) + 2) {
    const bool has_code = answer.size() - at > 4 && answer[at + 3] == ' ' &&
                          answer.substr(at, 3).find_first_not_of("0123456789") == answer.npos;
    Require(has_code, "a code before each line");
  }
}

void Run(Input input) {
  Sink sink(input.Byte());
  SnppSession session(sink, Id);
  for (const std::string& line : input.Pieces('\n')) {
    const bool was_over = session.over();
    const std::string answer = session.Take(line);
    RequireForm(answer);
    Require(!was_over || answer.empty(), "nothing after the end");
  }
}

}  // namespace
}  // namespace mvsms::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 65536) mvsms::fuzz::Run({data, size});
  return 0;
}
