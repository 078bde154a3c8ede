// Registration: what hosts find the classes and the type library by.
//
// Windows keeps classes and interfaces for each bitness, program identifiers and type libraries
// for both together: these go with the last of the two servers.
#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include "com/server.h"
#include "com/settings_takeover.h"

namespace mvsms::com {
namespace {

const std::wstring kClassesKey = L"Software\\Classes";
constexpr bool k64Bits = sizeof(void*) == 8;
constexpr REGSAM kOwnView = k64Bits ? KEY_WOW64_64KEY : KEY_WOW64_32KEY;
constexpr REGSAM kOtherView = k64Bits ? KEY_WOW64_32KEY : KEY_WOW64_64KEY;

/// An interface of the type library, with the system's class that carries its calls between
/// apartments.
struct InterfaceEntry {
  const IID& iid;
  const wchar_t* name;
  const wchar_t* marshaller;
};
const wchar_t* const kByTypeLibrary = L"{00020424-0000-0000-C000-000000000046}";
const wchar_t* const kByDispatch = L"{00020420-0000-0000-C000-000000000046}";
const InterfaceEntry kInterfaces[] = {
    {IID__Sender, L"_Sender", kByTypeLibrary},
    {DIID___Sender, L"__Sender", kByDispatch},
    {IID__Config, L"_Config", kByTypeLibrary},
};

std::wstring Text(const GUID& guid) {
  wchar_t text[64] = L"";
  ::StringFromGUID2(guid, text, 64);
  return text;
}

std::wstring KeyOf(const ClassEntry& entry) { return L"\\CLSID\\" + Text(entry.clsid); }
std::wstring KeyOf(const InterfaceEntry& entry) { return L"\\Interface\\" + Text(entry.iid); }
std::wstring ProgIdKey(const ClassEntry& entry) { return std::wstring(L"\\") + entry.prog_id; }
std::wstring TypesKey() { return L"\\TypeLib\\" + Text(LIBID_mvSMS); }
std::wstring OwnTypesKey() {
  return TypesKey() + (k64Bits ? L"\\1.0\\0\\win64" : L"\\1.0\\0\\win32");
}

HKEY Root(bool per_user) { return per_user ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE; }

HRESULT Result(LSTATUS status) { return HRESULT_FROM_WIN32(static_cast<DWORD>(status)); }

/// A text below the classes key: a key's default value, or a named one.
struct Value {
  std::wstring path;
  std::wstring text;
  const wchar_t* name = nullptr;
};
using Values = std::vector<Value>;

Values Of(const ClassEntry& entry) {
  const std::wstring key = KeyOf(entry);
  return {{key, entry.description},
          {key + L"\\InprocServer32", ModulePath()},
          {key + L"\\InprocServer32", L"Apartment", L"ThreadingModel"},
          {key + L"\\ProgID", entry.prog_id},
          {key + L"\\TypeLib", Text(LIBID_mvSMS)},
          {key + L"\\Version", L"1.0"},
          {key + L"\\Programmable", L""},
          {ProgIdKey(entry), entry.description},
          {ProgIdKey(entry) + L"\\CLSID", Text(entry.clsid)}};
}

Values Of(const InterfaceEntry& entry) {
  const std::wstring key = KeyOf(entry);
  return {{key, entry.name},
          {key + L"\\ProxyStubClsid32", entry.marshaller},
          {key + L"\\TypeLib", Text(LIBID_mvSMS)},
          {key + L"\\TypeLib", L"1.0", L"Version"}};
}

Values OfTypes() {
  const std::wstring version = TypesKey() + L"\\1.0";
  const std::wstring path = ModulePath();
  return {{version, L"mvSMS: sends short text messages by modem"},
          {version + L"\\FLAGS", L"0"},
          {version + L"\\HELPDIR", path.substr(0, path.find_last_of(L'\\'))},
          {OwnTypesKey(), path}};
}

Values Everything() {
  Values all = OfTypes();
  const auto add = [&all](Values values) {
    std::move(values.begin(), values.end(), std::back_inserter(all));
  };
  for (const ClassEntry& entry : kClasses) add(Of(entry));
  for (const InterfaceEntry& entry : kInterfaces) add(Of(entry));
  return all;
}

HRESULT Write(HKEY root, const Value& value) {
  const auto bytes = static_cast<DWORD>((value.text.size() + 1) * sizeof(wchar_t));
  return Result(::RegSetKeyValueW(root, (kClassesKey + value.path).c_str(), value.name, REG_SZ,
                                  value.text.c_str(), bytes));
}

HRESULT WriteEverything(HKEY root) {
  for (const Value& value : Everything()) {
    const HRESULT result = Write(root, value);
    if (FAILED(result)) return result;
  }
  return S_OK;
}

/// A key below the classes key as one bitness sees it; the system's own error otherwise.
LSTATUS Open(HKEY root, REGSAM access, const std::wstring& path, win32::UniqueKey& key) {
  HKEY opened = nullptr;
  const LSTATUS status = ::RegOpenKeyExW(root, (kClassesKey + path).c_str(), 0, access, &opened);
  key.reset(opened);
  return status;
}

/// Deletes a key with all below it; one that is not there is as good as deleted. Only opening a key
/// can choose the view, and so its parent is opened.
HRESULT Remove(HKEY root, REGSAM view, const std::wstring& path) {
  const std::size_t split = path.find_last_of(L'\\');
  win32::UniqueKey parent;
  LSTATUS status = Open(root, KEY_ALL_ACCESS | view, path.substr(0, split), parent);
  if (status == ERROR_SUCCESS) {
    status = ::RegDeleteTreeW(parent.get(), path.substr(split + 1).c_str());
  }
  return status == ERROR_FILE_NOT_FOUND ? S_OK : Result(status);
}

/// Whether the server of the other bitness is registered. Asked once our own is not: a system of
/// 32 bits has one view only.
bool OtherIsRegistered(HKEY root) {
  return std::any_of(std::begin(kClasses), std::end(kClasses), [root](const ClassEntry& entry) {
    win32::UniqueKey key;
    return Open(root, KEY_READ | kOtherView, KeyOf(entry) + L"\\InprocServer32", key) ==
           ERROR_SUCCESS;
  });
}

/// The keys of one bitness.
std::vector<std::wstring> KeysOfAView() {
  std::vector<std::wstring> keys;
  for (const ClassEntry& entry : kClasses) keys.push_back(KeyOf(entry));
  for (const InterfaceEntry& entry : kInterfaces) keys.push_back(KeyOf(entry));
  return keys;
}

/// The keys that belong to both.
std::vector<std::wstring> SharedKeys() {
  std::vector<std::wstring> keys{TypesKey()};
  for (const ClassEntry& entry : kClasses) keys.push_back(ProgIdKey(entry));
  return keys;
}

}  // namespace

HRESULT RegisterServer(bool per_user) {
  const HRESULT result = WriteEverything(Root(per_user));
  if (FAILED(result)) {
    UnregisterServer(per_user);  // a half would be found, and fail later
    return result;
  }
  if (!per_user) TakeOverSettings();
  return S_OK;
}

HRESULT UnregisterServer(bool per_user) {
  const HKEY root = Root(per_user);
  HRESULT first_failure = S_OK;
  const auto remove = [&](REGSAM view, const std::vector<std::wstring>& keys) {
    for (const std::wstring& key : keys) {
      const HRESULT result = Remove(root, view, key);
      if (FAILED(result) && SUCCEEDED(first_failure)) first_failure = result;
    }
  };
  remove(kOwnView, KeysOfAView());
  remove(kOwnView, {OwnTypesKey()});
  if (!OtherIsRegistered(root)) {
    remove(kOtherView, KeysOfAView());  // what an earlier version wrote there
    remove(kOwnView, SharedKeys());
  }
  return first_failure;
}

}  // namespace mvsms::com
