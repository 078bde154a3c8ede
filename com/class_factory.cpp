// The entry points of the DLL: class factory, registration, unloading.
#include "com/com_object.h"
#include "com/server.h"

namespace mvsms::com {
namespace {

class ClassFactory final
    : public ComObject<ClassFactory, Implements<IClassFactory, IID_IClassFactory>> {
 public:
  explicit ClassFactory(const ClassEntry& entry) : entry_(entry) {}

  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (outer) return CLASS_E_NOAGGREGATION;
    return entry_.create(iid, object);
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override {
    lock ? Lifetime::Acquire() : Lifetime::Release();
    return S_OK;
  }

 private:
  friend class ComObject;
  ~ClassFactory() = default;
  const ClassEntry& entry_;
};

}  // namespace
}  // namespace mvsms::com

using namespace mvsms::com;

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) module_instance = instance;
  return TRUE;
}

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, LPVOID* object) {
  if (!object) return E_POINTER;
  *object = nullptr;
  for (const ClassEntry& entry : kClasses) {
    if (entry.clsid != clsid) continue;
    return AsHresult(IID_IClassFactory, [&] {
      auto* factory = new ClassFactory(entry);
      const HRESULT result = factory->QueryInterface(iid, object);
      factory->Release();
      return result;
    });
  }
  return CLASS_E_CLASSNOTAVAILABLE;
}

STDAPI DllCanUnloadNow() {
  if (Lifetime::Count() != 0) return S_FALSE;
  ForgetTypeInfo();
  return S_OK;
}

STDAPI DllRegisterServer() {
  return AsHresult(IID_IUnknown, [] { return RegisterServer(false); });
}

STDAPI DllUnregisterServer() {
  return AsHresult(IID_IUnknown, [] { return UnregisterServer(false); });
}

/// "user" as the command line (regsvr32 /n /i:user) registers for the current user only.
STDAPI DllInstall(BOOL install, LPCWSTR command_line) {
  const bool per_user = command_line && ::lstrcmpiW(command_line, L"user") == 0;
  return AsHresult(IID_IUnknown,
                   [&] { return install ? RegisterServer(per_user) : UnregisterServer(per_user); });
}
