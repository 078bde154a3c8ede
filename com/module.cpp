// Module state, see module.h.
#include "com/module.h"

#include <cstring>
#include <map>
#include <mutex>

namespace mvsms::com {
namespace {

volatile LONG references = 0;

struct GuidLess {
  bool operator()(const GUID& left, const GUID& right) const {
    return std::memcmp(&left, &right, sizeof left) < 0;
  }
};

struct TypeInfoCache {
  std::mutex mutex;
  std::map<GUID, win32::ComPtr<ITypeInfo>, GuidLess> infos;
};

TypeInfoCache& Cache() {
  // Never destroyed: what it holds is given back in ForgetTypeInfo, while COM still works.
  static TypeInfoCache& cache = *new TypeInfoCache;
  return cache;
}

}  // namespace

HINSTANCE module_instance = nullptr;

std::wstring ModulePath() {
  std::wstring path(MAX_PATH, L'\0');
  DWORD length = 0;
  while ((length = ::GetModuleFileNameW(module_instance, path.data(),
                                        static_cast<DWORD>(path.size()))) >= path.size()) {
    path.resize(path.size() * 2);
  }
  path.resize(length);
  return path;
}

void Lifetime::Acquire() { ::InterlockedIncrement(&references); }
void Lifetime::Release() { ::InterlockedDecrement(&references); }
long Lifetime::Count() { return references; }

HRESULT LoadOwnTypeLibrary(win32::ComPtr<ITypeLib>& library) {
  return ::LoadTypeLibEx(ModulePath().c_str(), REGKIND_NONE, library.Put());
}

win32::ComPtr<ITypeInfo> TypeInfoOf(REFGUID guid) {
  TypeInfoCache& cache = Cache();
  const std::lock_guard lock(cache.mutex);
  win32::ComPtr<ITypeInfo>& info = cache.infos[guid];
  if (!info) {
    win32::ComPtr<ITypeLib> library;
    if (SUCCEEDED(LoadOwnTypeLibrary(library))) library->GetTypeInfoOfGuid(guid, info.Put());
  }
  return info;
}

HRESULT GiveTypeInfo(REFGUID guid, ITypeInfo** info) {
  if (!info) return E_POINTER;
  *info = TypeInfoOf(guid).Detach();
  return *info ? S_OK : TYPE_E_CANTLOADLIBRARY;
}

void ForgetTypeInfo() {
  TypeInfoCache& cache = Cache();
  const std::lock_guard lock(cache.mutex);
  cache.infos.clear();
}

}  // namespace mvsms::com
