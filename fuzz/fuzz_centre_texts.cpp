// The texts that configure a message centre: the notation of control characters, settings on the
// command line, dialogue files. Refusing one is fine, if by the exception that says what is wrong.
#include "centre/dialogue.h"
#include "centre/notation.h"
#include "centre/settings.h"
#include "fuzz/fuzz.h"

namespace mvsms::fuzz {
namespace {

void Run(Input input) {
  const std::string text = input.Rest();
  Require(centre::FromNotation(centre::ToNotation(text)) == text, "notation gives the bytes back");
  try {
    centre::FromNotation(text);
  } catch (const std::invalid_argument&) {
  }
  try {
    centre::Settings settings;
    centre::Set(settings, text);
    // Whatever was accepted is listed in a form that is accepted again.
    for (const centre::SettingInfo& info : centre::ListSettings(settings)) {
      centre::Set(settings, info.name + "=" + info.value);
    }
  } catch (const centre::SettingError&) {
  }
  try {
    centre::ParseDialogue(text, "fuzz");
  } catch (const centre::DialogueError&) {
  }
}

}  // namespace
}  // namespace mvsms::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  mvsms::fuzz::Run({data, size});
  return 0;
}
