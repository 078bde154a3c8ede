// What the component's interfaces are compiled to, and the list of its classes.
#pragma once

#include "com/module.h"
#include "mvSMS.h"  // generated from resources/mvSMS.idl

namespace mvsms::com {

HRESULT CreateSender(REFIID iid, void** object);
HRESULT CreateConfig(REFIID iid, void** object);

/// A creatable class: read by the class factory, by registration and by unregistration.
struct ClassEntry {
  const CLSID& clsid;
  const wchar_t* prog_id;
  const wchar_t* description;
  HRESULT (*create)(REFIID iid, void** object);
};

inline const ClassEntry kClasses[] = {
    {CLSID_Sender, L"mvSMS.Sender", L"mvSMS message sender", CreateSender},
    {CLSID_Config, L"mvSMS.Config", L"mvSMS configuration", CreateConfig},
};

/// Writes or removes everything that hosts find the classes by. With `per_user` it goes to the
/// current user's part of the registry and needs no administrator rights.
HRESULT RegisterServer(bool per_user);
HRESULT UnregisterServer(bool per_user);

}  // namespace mvsms::com
