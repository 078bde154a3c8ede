// See memory_platform.h. The services are one file each; here they are put together.
#include "backends/memory/memory_platform.h"

#include <utility>

#include "backends/memory/clock.h"
#include "backends/memory/comm.h"
#include "backends/memory/desktop.h"
#include "backends/memory/event_loop.h"
#include "backends/memory/files.h"
#include "backends/memory/machine.h"
#include "backends/memory/registry.h"
#include "backends/memory/telephony.h"

namespace mvsms::memory {

struct MemoryPlatform::Impl {
  explicit Impl(MemoryPlatform& platform) : machine(platform) {}

  Machine machine;
  MemoryRegistry registry{machine};
  MemoryComm comm{machine};
  MemoryEventLoop loop{machine};
  MemoryTelephony telephony{machine, loop, comm};
  MemoryClock clock{machine};
  MemoryTextFile text_file{machine};
  MemoryLocale locale{machine};
  MemoryUserSettings user_settings{machine};
  MemoryShell shell{machine};
  MemoryMail mail{machine};
  MemoryForms forms{machine};
};

MemoryPlatform::MemoryPlatform() : impl_(std::make_unique<Impl>(*this)) {}
MemoryPlatform::~MemoryPlatform() = default;

Registry& MemoryPlatform::registry() { return impl_->registry; }
Comm& MemoryPlatform::comm() { return impl_->comm; }
Telephony& MemoryPlatform::telephony() { return impl_->telephony; }
EventLoop& MemoryPlatform::loop() { return impl_->loop; }
Timers& MemoryPlatform::timers() { return impl_->loop; }
Clock& MemoryPlatform::clock() { return impl_->clock; }
TextFile& MemoryPlatform::text_file() { return impl_->text_file; }
Locale& MemoryPlatform::locale() { return impl_->locale; }
UserSettings& MemoryPlatform::user_settings() { return impl_->user_settings; }
Shell& MemoryPlatform::shell() { return impl_->shell; }
Mail& MemoryPlatform::mail() { return impl_->mail; }
Forms& MemoryPlatform::forms() { return impl_->forms; }

void MemoryPlatform::After(Millis delay, std::function<void()> action) {
  impl_->machine.After(delay, std::move(action));
}

Millis MemoryPlatform::slept() { return impl_->machine.now(); }
std::size_t MemoryPlatform::open_ports() { return impl_->comm.open_ports(); }
std::size_t MemoryPlatform::open_keys() { return impl_->registry.open_keys(); }
int MemoryPlatform::registry_readings() { return impl_->registry.goes(); }
std::size_t MemoryPlatform::open_windows() { return impl_->forms.open_windows(); }
std::size_t MemoryPlatform::running_timers() { return impl_->loop.running_timers(); }
std::size_t MemoryPlatform::active_calls() { return impl_->telephony.active_calls(); }
std::size_t MemoryPlatform::tapi_sessions() { return impl_->telephony.sessions(); }
std::size_t MemoryPlatform::registrations() { return impl_->telephony.registrations(); }

}  // namespace mvsms::memory
