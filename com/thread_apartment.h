// The apartment of the calling thread.
#pragma once

#include "media/apartment.h"

namespace mvsms::com {

/// Made at the first call of a thread, and kept for the thread's life: the timer that every
/// connection leaves behind lives there.
Apartment& ThreadApartment();

}  // namespace mvsms::com
