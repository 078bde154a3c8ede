// Puts the services of the Linux back end together. Serial ports and telephony come into being on
// first use: most commands never touch them.
#include "platform/posix/posix_platform.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

#include "platform/posix/backend.h"
#include "platform/posix/event_loop.h"

namespace mvsms::posix {
namespace {

class PosixPlatform : public Platform {
 public:
  explicit PosixPlatform(const std::string& home)
      : home_(home),
        registry_(MakeRegistry(home)),
        clock_(MakeClock()),
        text_file_(MakeTextFile(home)),
        locale_(MakeLocale(home)),
        user_settings_(MakeUserSettings(home)) {}

  Registry& registry() override { return *registry_; }
  Comm& comm() override {
    if (!comm_) comm_ = MakeComm();
    return *comm_;
  }
  Telephony& telephony() override {
    if (!telephony_) telephony_ = MakeTelephony(comm(), loop_, home_);
    return *telephony_;
  }
  EventLoop& loop() override { return loop_; }
  Timers& timers() override { return loop_; }
  Clock& clock() override { return *clock_; }
  TextFile& text_file() override { return *text_file_; }
  Locale& locale() override { return *locale_; }
  UserSettings& user_settings() override { return *user_settings_; }

 private:
  std::string home_;
  PosixEventLoop loop_;
  std::unique_ptr<Registry> registry_;
  std::unique_ptr<Clock> clock_;
  std::unique_ptr<TextFile> text_file_;
  std::unique_ptr<Locale> locale_;
  std::unique_ptr<UserSettings> user_settings_;
  std::unique_ptr<Comm> comm_;
  std::unique_ptr<Telephony> telephony_;  // after what it uses
};

/// The value of an environment variable; empty when it is not set.
std::string Environment(const char* variable) {
  const char* value = std::getenv(variable);
  return value ? value : "";
}

std::string UserFolder() {
  if (std::string home = Environment("HOME"); !home.empty()) return home;
  const passwd* user = getpwuid(geteuid());
  return user && user->pw_dir ? user->pw_dir : "";
}

/// Relative paths in XDG_CONFIG_HOME are invalid and ignored, as its definition asks.
std::string ConfigFolder() {
  const std::string folder = Environment("XDG_CONFIG_HOME");
  return folder.starts_with('/') ? folder : UserFolder() + "/.config";
}

}  // namespace

std::string DefaultHome() {
  if (std::string home = Environment("MVSMS_HOME"); !home.empty()) return home;
  return geteuid() == 0 ? "/var/lib/mvsms" : ConfigFolder() + "/mvsms";
}

std::unique_ptr<Platform> MakePosixPlatform(const std::string& home) {
  return std::make_unique<PosixPlatform>(home);
}

}  // namespace mvsms::posix
