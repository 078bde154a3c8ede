// <windows.h> renames functions and claims short words as macros. A host program may include it
// before our headers, without any precaution: every header of the core must still mean the same.
#include <gtest/gtest.h>
#include <windows.h>

#include "backends/memory/call.h"
#include "backends/memory/clock.h"
#include "backends/memory/comm.h"
#include "backends/memory/event_loop.h"
#include "backends/memory/files.h"
#include "backends/memory/link.h"
#include "backends/memory/machine.h"
#include "backends/memory/memory_platform.h"
#include "backends/memory/overlapped.h"
#include "backends/memory/port.h"
#include "backends/memory/registry.h"
#include "backends/memory/session.h"
#include "backends/memory/telephony.h"
#include "base/ansi.h"
#include "base/guard.h"
#include "base/numbers.h"
#include "base/raised_error.h"
#include "centre/alphabet.h"
#include "centre/at_command.h"
#include "centre/centre.h"
#include "centre/deadline.h"
#include "centre/desk.h"
#include "centre/dialogue.h"
#include "centre/line.h"
#include "centre/line_faults.h"
#include "centre/modem_emulator.h"
#include "centre/notation.h"
#include "centre/scripted.h"
#include "centre/settings.h"
#include "centre/tap_centre.h"
#include "centre/tap_frame.h"
#include "centre/traced.h"
#include "centre/ucp_centre.h"
#include "centre/ucp_frame.h"
#include "engine/basregistry.h"
#include "engine/routing.h"
#include "engine/sender.h"
#include "engine/settings.h"
#include "engine/status_window.h"
#include "media/apartment.h"
#include "media/bascommon.h"
#include "media/ctimer.h"
#include "media/dwcomm.h"
#include "media/dwdcb.h"
#include "media/ismsmedium.h"
#include "media/mtimer.h"
#include "media/tapiline.h"
#include "media/tapiobject.h"
#include "platform/clock.h"
#include "platform/comm.h"
#include "platform/event_loop.h"
#include "platform/locale.h"
#include "platform/platform.h"
#include "platform/registry.h"
#include "platform/telephony.h"
#include "platform/text_file.h"
#include "platform/user_settings.h"
#include "protocols/bastap.h"
#include "protocols/basucp.h"
#include "protocols/char_tables.h"
#include "protocols/control_codes.h"
#include "protocols/service_record.h"
#include "protocols/session.h"
#include "protocols/tap_session.h"
#include "protocols/ucp_session.h"
#include "ui/frmstatus.h"

namespace mvsms {
namespace {

TEST(BareWindowsHeader, TheCoreWorksBehindIt) {
  memory::MemoryPlatform machine;
  Apartment apartment(machine);
  Sender sender(apartment);
  std::string recipient = "1", originator, text = "text", service;
  EXPECT_FALSE(sender.SendMessage(recipient, originator, text, service));
  EXPECT_EQ(machine.comm().CreateFile("nothing of that name"), kInvalidComm);
}

}  // namespace
}  // namespace mvsms
