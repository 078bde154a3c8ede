// The makers of the system's own services. `home` is the folder of all state, UTF-8.
#pragma once

#include <memory>
#include <string>

#include "platform/clock.h"
#include "platform/forms.h"
#include "platform/locale.h"
#include "platform/mail.h"
#include "platform/shell.h"
#include "platform/text_file.h"

namespace mvsms::posix {

std::unique_ptr<Clock> MakeClock();
std::unique_ptr<TextFile> MakeTextFile(const std::string& home);
std::unique_ptr<Locale> MakeLocale(const std::string& home);
std::unique_ptr<Shell> MakeShell();
std::unique_ptr<Mail> MakeMail();
std::unique_ptr<Forms> MakeForms();

}  // namespace mvsms::posix
