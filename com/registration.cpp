// Registration: what hosts find the classes and the type library by.
#include <shlwapi.h>

#include <initializer_list>
#include <string>

#include "com/server.h"

// In oleaut32 and its import library, but in no header of the tool chain.
extern "C" HRESULT WINAPI RegisterTypeLibForUser(ITypeLib* library, OLECHAR* path, OLECHAR* help);
extern "C" HRESULT WINAPI UnRegisterTypeLibForUser(REFGUID library, WORD major, WORD minor,
                                                   LCID language, SYSKIND kind);

namespace mvsms::com {
namespace {

const wchar_t* const kClassesKey = L"Software\\Classes\\";

std::wstring Text(const GUID& guid) {
  wchar_t text[64] = L"";
  ::StringFromGUID2(guid, text, 64);
  return text;
}

HKEY Root(bool per_user) { return per_user ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE; }

/// Writes the default value (`name` null) or a named one below the classes key.
HRESULT Write(HKEY root, const std::wstring& path, const wchar_t* name, const std::wstring& value) {
  const auto bytes = static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t));
  return HRESULT_FROM_WIN32(static_cast<DWORD>(
      ::RegSetKeyValueW(root, (kClassesKey + path).c_str(), name, REG_SZ, value.c_str(), bytes)));
}

HRESULT RegisterClass(HKEY root, const ClassEntry& entry) {
  const std::wstring clsid = Text(entry.clsid);
  const std::wstring key = L"CLSID\\" + clsid;
  struct Value {
    std::wstring path;
    const wchar_t* name;
    std::wstring text;
  };
  const Value values[] = {
      {key, nullptr, entry.description},
      {key + L"\\InprocServer32", nullptr, ModulePath()},
      {key + L"\\InprocServer32", L"ThreadingModel", L"Apartment"},
      {key + L"\\ProgID", nullptr, entry.prog_id},
      {key + L"\\TypeLib", nullptr, Text(LIBID_mvSMS)},
      {key + L"\\Version", nullptr, L"1.0"},
      {key + L"\\Programmable", nullptr, L""},
      {entry.prog_id, nullptr, entry.description},
      {std::wstring(entry.prog_id) + L"\\CLSID", nullptr, clsid},
  };
  for (const Value& value : values) {
    const HRESULT result = Write(root, value.path, value.name, value.text);
    if (FAILED(result)) return result;
  }
  return S_OK;
}

/// A key that is not there is as good as removed.
HRESULT Remove(HKEY root, const std::wstring& path) {
  const LSTATUS status = ::RegDeleteTreeW(root, (kClassesKey + path).c_str());
  return status == ERROR_FILE_NOT_FOUND ? S_OK : HRESULT_FROM_WIN32(static_cast<DWORD>(status));
}

constexpr SYSKIND kSysKind = sizeof(void*) == 8 ? SYS_WIN64 : SYS_WIN32;

HRESULT RegisterTypes(bool per_user) {
  win32::ComPtr<ITypeLib> library;
  const HRESULT loaded = LoadOwnTypeLibrary(library);
  if (FAILED(loaded)) return loaded;
  std::wstring path = ModulePath();
  return per_user ? ::RegisterTypeLibForUser(library.Get(), path.data(), nullptr)
                  : ::RegisterTypeLib(library.Get(), path.data(), nullptr);
}

HRESULT UnregisterTypes(bool per_user) {
  win32::Bstr path;
  if (FAILED(::QueryPathOfRegTypeLib(LIBID_mvSMS, 1, 0, LOCALE_NEUTRAL, path.Put()))) {
    return S_OK;  // not registered
  }
  return per_user ? ::UnRegisterTypeLibForUser(LIBID_mvSMS, 1, 0, LOCALE_NEUTRAL, kSysKind)
                  : ::UnRegisterTypeLib(LIBID_mvSMS, 1, 0, LOCALE_NEUTRAL, kSysKind);
}

}  // namespace

HRESULT RegisterServer(bool per_user) {
  for (const ClassEntry& entry : kClasses) {
    const HRESULT result = RegisterClass(Root(per_user), entry);
    if (FAILED(result)) return result;
  }
  return RegisterTypes(per_user);
}

HRESULT UnregisterServer(bool per_user) {
  HRESULT first_failure = S_OK;
  const auto note = [&](HRESULT result) {
    if (FAILED(result) && SUCCEEDED(first_failure)) first_failure = result;
  };
  note(UnregisterTypes(per_user));
  for (const ClassEntry& entry : kClasses) {
    note(Remove(Root(per_user), L"CLSID\\" + Text(entry.clsid)));
    note(Remove(Root(per_user), entry.prog_id));
  }
  return first_failure;
}

}  // namespace mvsms::com
