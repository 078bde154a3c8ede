// The DLL as a whole: its handle, the count of what keeps it loaded, its type library.
#pragma once

#include "backends/win32/handles.h"

namespace mvsms::com {

/// Handle of the DLL; set when it is loaded.
extern HINSTANCE module_instance;

/// Full path of the DLL.
std::wstring ModulePath();

/// Objects and server locks that keep the DLL loaded.
class Lifetime {
 public:
  static void Acquire();
  static void Release();
  static long Count();
};

/// Type information of an interface from the DLL's own type library (nothing needs to be
/// registered). Loaded once and kept: loading costs a thousand times as much as a call. Any thread.
win32::ComPtr<ITypeInfo> TypeInfoOf(REFGUID guid);

/// The same as an out argument, with a reference for the caller.
HRESULT GiveTypeInfo(REFGUID guid, ITypeInfo** info);

/// Gives the kept type information back; the DLL is about to be unloaded.
void ForgetTypeInfo();

/// The type library in the DLL's resources.
HRESULT LoadOwnTypeLibrary(win32::ComPtr<ITypeLib>& library);

}  // namespace mvsms::com
