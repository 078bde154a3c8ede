// The makers of the Linux back end's services, for posix_platform.cpp, which puts them together.
// Nothing else includes this header, except tests. `home` is the folder of all state, UTF-8.
#pragma once

#include <memory>
#include <string>

#include "platform/platform.h"
#include "backends/posix/system/event_loop.h"

namespace mvsms::posix {

std::unique_ptr<Registry> MakeRegistry(const std::string& home);
std::unique_ptr<Clock> MakeClock();
std::unique_ptr<TextFile> MakeTextFile(const std::string& home);
std::unique_ptr<Locale> MakeLocale(const std::string& home);
std::unique_ptr<UserSettings> MakeUserSettings(const std::string& home);

std::unique_ptr<Shell> MakeShell();
std::unique_ptr<Mail> MakeMail();
std::unique_ptr<Forms> MakeForms();

std::unique_ptr<Comm> MakeComm();
/// `comm` is one made by MakeComm; it and `loop` outlive the result.
std::unique_ptr<Telephony> MakeTelephony(Comm& comm, PosixEventLoop& loop, const std::string& home);

}  // namespace mvsms::posix
