// The table of resources/strings.def, in the language of the user interface.
#include "resources/string_table.h"

#include <algorithm>
#include <charconv>
#include <iterator>

#include "base/ansi.h"
#include "base/raised_error.h"

namespace mvsms {
namespace {

struct Text {
  std::uint16_t id;
  const char* english;  // UTF-8
  const char* german;
};

constexpr Text kTexts[] = {
#define MVSMS_STRING(id, english, german) {id, english, german},
#include "resources/strings.def"
#undef MVSMS_STRING
};

/// Every German-speaking country: the low ten bits of a language identifier name the language.
bool IsGerman(std::uint16_t language) { return (language & 0x3FFU) == (kLanguageGerman & 0x3FFU); }

[[noreturn]] void RaiseNoSuchString(const std::string& id) {
  throw RaisedError(kErrNoSuchString, "LoadResString",
                    "Resource with identifier '" + id + "' not found");
}

bool ParseWhole(std::string_view text, long& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

}  // namespace

std::string LoadResString(Locale& locale, std::uint16_t id) {
  const auto text = std::find_if(std::begin(kTexts), std::end(kTexts),
                                 [id](const Text& candidate) { return candidate.id == id; });
  if (text == std::end(kTexts)) RaiseNoSuchString(std::to_string(id));
  return AnsiFromUtf8(IsGerman(locale.UserLanguage()) ? text->german : text->english);
}

std::string LoadResString(Locale& locale, const std::string& id) {
  long number = 0;
  if (!ParseWhole(id, number) || number < 0 || number > 0xFFFF) RaiseNoSuchString(id);
  return LoadResString(locale, static_cast<std::uint16_t>(number));
}

bool IsNumeric(std::string_view text) {
  long number = 0;
  return ParseWhole(text, number);
}

}  // namespace mvsms
