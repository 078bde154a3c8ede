// The makers of the services that dial. `home` is the folder of all state, UTF-8.
#pragma once

#include <memory>
#include <string>

#include "backends/posix/system/event_loop.h"
#include "platform/comm.h"
#include "platform/telephony.h"

namespace mvsms::posix {

class Store;

std::unique_ptr<Comm> MakeComm();
/// `comm` is one made by MakeComm; it and `loop` outlive the result, and so does `settings`, the
/// open file that the lines lie in. Without one, the file is opened for every look at them.
std::unique_ptr<Telephony> MakeTelephony(Comm& comm, PosixEventLoop& loop, const std::string& home,
                                         Store* settings = nullptr);

}  // namespace mvsms::posix
