// Assembles the services of the Windows back end.
#include "backends/win32/win32_platform.h"

#include "backends/win32/backend.h"

namespace mvsms::win32 {
namespace {

class Win32Platform : public Platform {
 public:
  Registry& registry() override { return *registry_; }
  Comm& comm() override { return *comm_; }
  Telephony& telephony() override { return *telephony_; }
  EventLoop& loop() override { return *loop_; }
  Timers& timers() override { return *timers_; }
  Clock& clock() override { return *clock_; }
  TextFile& text_file() override { return *text_file_; }
  Locale& locale() override { return *locale_; }
  UserSettings& user_settings() override { return *user_settings_; }
  Shell& shell() override { return *shell_; }
  Mail& mail() override { return *mail_; }
  Forms& forms() override { return *forms_; }

 private:
  std::unique_ptr<Registry> registry_ = MakeRegistry();
  std::unique_ptr<Comm> comm_ = MakeComm();
  std::unique_ptr<Telephony> telephony_ = MakeTelephony();
  std::unique_ptr<EventLoop> loop_ = MakeEventLoop();
  std::unique_ptr<Timers> timers_ = MakeTimers();
  std::unique_ptr<Clock> clock_ = MakeClock();
  std::unique_ptr<TextFile> text_file_ = MakeTextFile();
  std::unique_ptr<Locale> locale_ = MakeLocale();
  std::unique_ptr<UserSettings> user_settings_ = MakeUserSettings();
  std::unique_ptr<Shell> shell_ = MakeShell();
  std::unique_ptr<Mail> mail_ = MakeMail();
  std::unique_ptr<Forms> forms_ = MakeForms(*this);
};

}  // namespace

std::unique_ptr<Platform> MakeWin32Platform() { return std::make_unique<Win32Platform>(); }

}  // namespace mvsms::win32
