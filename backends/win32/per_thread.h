// One object of a kind for each thread, made at the thread's first use and destroyed with the
// thread. Over the system's own storage: the tool chain's thread_local, inside a DLL on threads
// that others made, keeps a process from ending.
#pragma once

#include <memory>
#include <new>

#include "backends/win32/win.h"

namespace mvsms::win32 {

/// T needs a default constructor. One static object for each use; itself never destroyed, because
/// threads may outlive the static objects.
template <typename T>
class PerThread {
 public:
  /// Throws std::bad_alloc when the process has used up the system's storage.
  PerThread() : slot_(::FlsAlloc(&End)) {
    if (slot_ == FLS_OUT_OF_INDEXES) throw std::bad_alloc();
  }
  PerThread(const PerThread&) = delete;
  PerThread& operator=(const PerThread&) = delete;

  /// The calling thread's object, made now when there is none; throws std::bad_alloc when it cannot
  /// be kept.
  T& Get() {
    if (T* const made = Find()) return *made;
    auto fresh = std::make_unique<T>();
    if (!::FlsSetValue(slot_, fresh.get())) throw std::bad_alloc();
    return *fresh.release();
  }
  /// The calling thread's object, or null when there is none yet, or no longer.
  T* Find() const { return static_cast<T*>(::FlsGetValue(slot_)); }

 private:
  static void CALLBACK End(void* object) { delete static_cast<T*>(object); }
  const DWORD slot_;
};

}  // namespace mvsms::win32
