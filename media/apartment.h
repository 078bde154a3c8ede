// An apartment: what all objects of one host thread share, the platform's services and the table
// of running timers. Make one per thread and keep it as long as the thread uses mvSMS; the timer
// that every connection leaves behind lives here.
#pragma once

#include "media/mtimer.h"
#include "platform/platform.h"

namespace mvsms {

class Apartment {
 public:
  explicit Apartment(Platform& platform) : platform_(platform), timers_(platform.timers()) {}
  Apartment(const Apartment&) = delete;
  Apartment& operator=(const Apartment&) = delete;

  Platform& platform() { return platform_; }
  MTimer& timers() { return timers_; }

 private:
  Platform& platform_;
  MTimer timers_;
};

}  // namespace mvsms
