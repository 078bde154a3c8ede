// One object of a kind for each thread, made at the thread's first use and destroyed with the
// thread. Over the system's own storage: the tool chain's thread_local, inside a DLL on threads
// that others made, keeps a process from ending.
#pragma once

#include "backends/win32/win.h"

namespace mvsms::win32 {

/// T needs a default constructor. One static object for each use; itself never destroyed, because
/// threads may outlive the static objects.
template <typename T>
class PerThread {
 public:
  PerThread() : slot_(::FlsAlloc(&End)) {}
  PerThread(const PerThread&) = delete;
  PerThread& operator=(const PerThread&) = delete;

  T& Get() {
    if (void* const made = ::FlsGetValue(slot_)) return *static_cast<T*>(made);
    T* const fresh = new T;
    ::FlsSetValue(slot_, fresh);
    return *fresh;
  }

 private:
  static void CALLBACK End(void* object) { delete static_cast<T*>(object); }
  const DWORD slot_;
};

}  // namespace mvsms::win32
