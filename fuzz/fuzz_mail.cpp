// A mail of any bytes, as the page that is made of it.
#include "fuzz/fuzz.h"
#include "gateway/mail.h"

namespace mvsms::fuzz {
namespace {

void RequireLine(const std::string& text) {
  Require(IsUtf8(text), "UTF-8");
  Require(std::ranges::none_of(text, [](char c) { return c >= 0 && c < ' '; }),
          "one line without control characters");
}

void Run(const std::string& bytes) {
  const gateway::Mail mail = gateway::ReadMail(bytes);
  for (const std::string* text : {&mail.subject, &mail.sender, &mail.text, &mail.message_id}) {
    RequireLine(*text);
  }
  RequireLine(gateway::PageText(mail, gateway::kMailTemplate));
  Require(gateway::PageIdOf(mail, bytes, "0171").size() == 37, "an id that the queue takes");
}

}  // namespace
}  // namespace mvsms::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 65536) mvsms::fuzz::Run({reinterpret_cast<const char*>(data), size});
  return 0;
}
