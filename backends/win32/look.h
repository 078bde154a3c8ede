// How our windows look whatever the host is like: the controls of the system's current style, and
// our own icon, both out of the resources of the module that this is linked into.
#pragma once

#include <memory>

#include "backends/win32/win.h"

namespace mvsms::win32 {

/// The look of the system's current controls, whatever the host's own, for windows that are made
/// while one exists.
class CurrentLook {
 public:
  CurrentLook();
  ~CurrentLook();
  CurrentLook(const CurrentLook&) = delete;
  CurrentLook& operator=(const CurrentLook&) = delete;

 private:
  ULONG_PTR cookie_ = 0;
  bool active_ = false;
};

struct IconDeleter {
  using pointer = HICON;
  void operator()(HICON icon) const { ::DestroyIcon(icon); }
};
using UniqueIcon = std::unique_ptr<HICON, IconDeleter>;

/// Our icon with sides of `pixels`; null where the module has none.
UniqueIcon OwnIcon(int pixels);

}  // namespace mvsms::win32
