// The apartment of the calling thread.
#pragma once

#include <memory>

#include "media/apartment.h"

namespace mvsms::com {

/// Made at the first call of a thread, and kept for the thread's life: the timer that every
/// connection leaves behind lives there. Every object keeps a share of it, for hosts release
/// objects even after the thread that made them has ended. Throws std::bad_alloc when there is no
/// room for it.
std::shared_ptr<Apartment> ThreadApartment();

}  // namespace mvsms::com
