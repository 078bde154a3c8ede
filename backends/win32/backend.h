// Factories of the services, one per file of the same name as the seam's header.
#pragma once

#include <memory>

#include "platform/platform.h"

namespace mvsms::win32 {

std::unique_ptr<Registry> MakeRegistry();
std::unique_ptr<Comm> MakeComm();
std::unique_ptr<Telephony> MakeTelephony();
std::unique_ptr<EventLoop> MakeEventLoop();
std::unique_ptr<Timers> MakeTimers();
std::unique_ptr<Clock> MakeClock();
std::unique_ptr<TextFile> MakeTextFile();
std::unique_ptr<Locale> MakeLocale();
std::unique_ptr<UserSettings> MakeUserSettings();
std::unique_ptr<Shell> MakeShell();
std::unique_ptr<Mail> MakeMail();
std::unique_ptr<Forms> MakeForms(Platform& platform);

}  // namespace mvsms::win32
