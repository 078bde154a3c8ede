// The thread of the service's own, on which it calls its programs back.
#pragma once

#include <functional>

namespace mvsms::fake_tapi {

/// Runs `action` on the service's thread, after everything that was given to it before.
void OnServiceThread(std::function<void()> action);

/// Returns when everything that was given before has been run. Thread: any but the service's own.
void AwaitServiceThread();

}  // namespace mvsms::fake_tapi
