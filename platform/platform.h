// The seam: everything the outside world does reaches the core through these services. A Platform
// is one back end seen from one thread: its services are used on the thread that made it, and
// several threads make one each. Back ends are chosen in one place, at program start.
#pragma once

#include "platform/clock.h"
#include "platform/comm.h"
#include "platform/event_loop.h"
#include "platform/forms.h"
#include "platform/locale.h"
#include "platform/mail.h"
#include "platform/registry.h"
#include "platform/shell.h"
#include "platform/telephony.h"
#include "platform/text_file.h"
#include "platform/user_settings.h"

namespace mvsms {

class Platform {
 public:
  virtual ~Platform() = default;
  virtual Registry& registry() = 0;
  virtual Comm& comm() = 0;
  virtual Telephony& telephony() = 0;
  virtual EventLoop& loop() = 0;
  virtual Timers& timers() = 0;
  virtual Clock& clock() = 0;
  virtual TextFile& text_file() = 0;
  virtual Locale& locale() = 0;
  virtual UserSettings& user_settings() = 0;
  virtual Shell& shell() = 0;
  virtual Mail& mail() = 0;
  virtual Forms& forms() = 0;
};

}  // namespace mvsms
