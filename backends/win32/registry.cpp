// The registry service over the Windows registry. Hosts of 32 and of 64 bits share one profile:
// every key is opened in the native view, where 64-bit programs and the system's own tools look.
#include <string_view>

#include "backends/win32/backend.h"
#include "backends/win32/handles.h"
#include "backends/win32/text.h"

namespace mvsms::win32 {
namespace {

constexpr REGSAM kView = KEY_WOW64_64KEY;

HKEY Native(RegKey key) {
  // Predefined handles are sign-extended on 64-bit Windows.
  if (key == kHKeyLocalMachine) return HKEY_LOCAL_MACHINE;
  return reinterpret_cast<HKEY>(key);
}

using DeleteTreeFunction = LSTATUS(WINAPI*)(HKEY, LPCWSTR);

DeleteTreeFunction ShDeleteKey() {
  return reinterpret_cast<DeleteTreeFunction>(
      reinterpret_cast<void*>(SystemFunction("shlwapi.dll", "SHDeleteKeyW")));
}

/// Whether the data are text, which the registry keeps in UTF-16.
bool IsText(DWORD type) { return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ; }

/// Data as they lie in the registry.
LSTATUS ReadBytes(HKEY key, const std::wstring& name, DWORD& type, std::string& bytes) {
  DWORD size = 0;
  LSTATUS status = ::RegQueryValueExW(key, name.c_str(), nullptr, &type, nullptr, &size);
  if (status != ERROR_SUCCESS) return status;
  do {  // another program may make the value longer between two queries
    bytes.resize(size + 1);
    size = static_cast<DWORD>(bytes.size());
    status = ::RegQueryValueExW(key, name.c_str(), nullptr, &type,
                                reinterpret_cast<BYTE*>(bytes.data()), &size);
  } while (status == ERROR_MORE_DATA);
  bytes.resize(size);
  return status;
}

std::string AnsiFromBytes(const std::string& bytes) {
  std::wstring wide(bytes.size() / sizeof(wchar_t), L'\0');
  bytes.copy(reinterpret_cast<char*>(wide.data()), wide.size() * sizeof(wchar_t));
  return AnsiFromWide(wide);
}

LSTATUS WriteBytes(HKEY key, const std::wstring& name, DWORD type, const void* data,
                   std::size_t size) {
  return ::RegSetValueExW(key, name.c_str(), 0, type, static_cast<const BYTE*>(data),
                          static_cast<DWORD>(size));
}

class Win32Registry : public Registry {
 public:
  RegStatus OpenKey(RegKey parent, const std::string& path, std::uint32_t access,
                    RegKey& key) override {
    HKEY opened = nullptr;
    const LSTATUS status =
        ::RegOpenKeyExW(Native(parent), WideFromAnsi(path).c_str(), 0, access | kView, &opened);
    if (status == ERROR_SUCCESS) key = reinterpret_cast<RegKey>(opened);
    return status;
  }

  RegStatus CreateKey(RegKey parent, const std::string& path, RegKey& key) override {
    HKEY opened = nullptr;
    const LSTATUS status = ::RegCreateKeyExW(Native(parent), WideFromAnsi(path).c_str(), 0, nullptr,
                                             0, MAXIMUM_ALLOWED | kView, nullptr, &opened, nullptr);
    if (status == ERROR_SUCCESS) key = reinterpret_cast<RegKey>(opened);
    return status;
  }

  RegStatus CloseKey(RegKey key) override { return ::RegCloseKey(Native(key)); }

  RegStatus QueryValueInfo(RegKey key, const std::string& name, RegType& type,
                           std::uint32_t& size) override {
    std::string data;
    const RegStatus status = QueryValue(key, name, type, data);
    if (status == ERROR_SUCCESS) size = static_cast<std::uint32_t>(data.size());
    return status;
  }

  RegStatus QueryValue(RegKey key, const std::string& name, RegType& type,
                       std::string& data) override {
    DWORD native_type = 0;
    std::string bytes;
    const LSTATUS status = ReadBytes(Native(key), WideFromAnsi(name), native_type, bytes);
    if (status != ERROR_SUCCESS) return status;
    type = static_cast<RegType>(native_type);
    data = IsText(native_type) ? AnsiFromBytes(bytes) : std::move(bytes);
    return status;
  }

  RegStatus SetValue(RegKey key, const std::string& name, RegType type,
                     const std::string& data) override {
    const auto native_type = static_cast<DWORD>(type);
    const std::wstring wide_name = WideFromAnsi(name);
    if (!IsText(native_type)) {
      return WriteBytes(Native(key), wide_name, native_type, data.data(), data.size());
    }
    // If a NUL follows the text in memory, the system stores that NUL too.
    const std::wstring bounded = WideFromAnsi(data + '.');
    return WriteBytes(Native(key), wide_name, native_type, bounded.data(),
                      data.size() * sizeof(wchar_t));
  }

  RegStatus EnumKey(RegKey key, std::uint32_t index, std::size_t buffer_size,
                    std::string& name) override {
    std::wstring buffer(buffer_size + 1, L'\0');
    const LSTATUS status =
        ::RegEnumKeyW(Native(key), index, buffer.data(), static_cast<DWORD>(buffer_size));
    if (status == ERROR_SUCCESS) name = AnsiFromWide(buffer.c_str());
    return status;
  }

  RegStatus EnumValue(RegKey key, std::uint32_t index, std::string& name) override {
    std::wstring buffer(16384, L'\0');  // longest value name of the registry, with its NUL
    DWORD size = static_cast<DWORD>(buffer.size());
    const LSTATUS status = ::RegEnumValueW(Native(key), index, buffer.data(), &size, nullptr,
                                           nullptr, nullptr, nullptr);
    if (status == ERROR_SUCCESS) name = AnsiFromWide({buffer.data(), size});
    return status;
  }

  RegStatus DeleteValue(RegKey key, const std::string& name) override {
    return ::RegDeleteValueW(Native(key), WideFromAnsi(name).c_str());
  }

  RegStatus DeleteKey(RegKey parent, const std::string& name) override {
    if (name.empty()) return ERROR_INVALID_PARAMETER;  // would be the open key itself
    return ::RegDeleteKeyExW(Native(parent), WideFromAnsi(name).c_str(), kView, 0);
  }

  bool HasDeleteTree() override { return ShDeleteKey() != nullptr; }

  RegStatus DeleteTree(RegKey parent, const std::string& name) override {
    if (name.empty()) return ERROR_INVALID_PARAMETER;
    const DeleteTreeFunction delete_tree = ShDeleteKey();
    return delete_tree ? delete_tree(Native(parent), WideFromAnsi(name).c_str())
                       : ERROR_PROC_NOT_FOUND;
  }
};

}  // namespace

std::unique_ptr<Registry> MakeRegistry() { return std::make_unique<Win32Registry>(); }

}  // namespace mvsms::win32
