// The user's language from the environment; place and name of a component that has no file of its
// own.
#include "platform/locale.h"

#include <cerrno>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "backends/posix/system/backend.h"
#include "base/ansi.h"

namespace mvsms::posix {
namespace {

/// The locale of messages, by the precedence that setlocale has; empty when none is set.
std::string_view MessageLocale() {
  for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* value = std::getenv(variable);
    if (value && *value) return value;
  }
  return {};
}

class PosixLocale : public Locale {
 public:
  explicit PosixLocale(std::string home) : home_(std::move(home)) {}

  std::uint16_t UserLanguage() override {
    return MessageLocale().starts_with("de") ? kLanguageGerman : kLanguageEnglish;
  }
  /// The home folder: the logs and the catalogue lie beside the settings. See also SystemPath in
  /// text_file.cpp, for homes whose name has characters that the ANSI code page lacks.
  std::string ComponentFolder() override { return AnsiFromUtf8(home_); }
  char PathSeparator() override { return '/'; }
  std::string ComponentName() override { return "mvSMS"; }
  std::string ComponentVersion() override { return MVSMS_VERSION; }
  std::string HostTitle() override { return AnsiFromUtf8(program_invocation_short_name); }
  /// The record has no way to express the kernel's version.
  bool GetOsVersion(OsVersion&) override { return false; }

 private:
  std::string home_;
};

}  // namespace

std::unique_ptr<Locale> MakeLocale(const std::string& home) {
  return std::make_unique<PosixLocale>(home);
}

}  // namespace mvsms::posix
