// Puts the services of the Linux back end together. Serial ports and telephony are created on first
// use, because most commands never touch them.
#include "backends/posix/posix_platform.h"

#include "backends/posix/line/backend.h"
#include "backends/posix/store/backend.h"
#include "backends/posix/system/backend.h"
#include "backends/posix/system/event_loop.h"

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
        user_settings_(MakeUserSettings(home)),
        shell_(MakeShell()),
        mail_(MakeMail()),
        forms_(MakeForms()) {}

  Registry& registry() override { return *registry_; }
  Comm& comm() override {
    if (!comm_) comm_ = MakeComm();
    return *comm_;
  }
  Telephony& telephony() override {
    if (!telephony_) telephony_ = MakeTelephony(comm(), loop_, home_, StoreOf(*registry_));
    return *telephony_;
  }
  EventLoop& loop() override { return loop_; }
  Timers& timers() override { return loop_; }
  Clock& clock() override { return *clock_; }
  TextFile& text_file() override { return *text_file_; }
  Locale& locale() override { return *locale_; }
  UserSettings& user_settings() override { return *user_settings_; }
  Shell& shell() override { return *shell_; }
  Mail& mail() override { return *mail_; }
  Forms& forms() override { return *forms_; }

 private:
  std::string home_;
  PosixEventLoop loop_;
  std::unique_ptr<Registry> registry_;
  std::unique_ptr<Clock> clock_;
  std::unique_ptr<TextFile> text_file_;
  std::unique_ptr<Locale> locale_;
  std::unique_ptr<UserSettings> user_settings_;
  std::unique_ptr<Shell> shell_;
  std::unique_ptr<Mail> mail_;
  std::unique_ptr<Forms> forms_;
  std::unique_ptr<Comm> comm_;
  std::unique_ptr<Telephony> telephony_;  // after what it uses
};

}  // namespace

std::unique_ptr<Platform> MakePosixPlatform(const std::string& home) {
  return std::make_unique<PosixPlatform>(home);
}

}  // namespace mvsms::posix
