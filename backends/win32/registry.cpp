// The registry service over the Windows registry, with the ANSI functions: texts are in the ANSI
// code page throughout the core.
#include <vector>

#include "backends/win32/backend.h"
#include "backends/win32/handles.h"

namespace mvsms::win32 {
namespace {

HKEY Native(RegKey key) {
  // Predefined handles are sign-extended on 64-bit Windows.
  if (key == kHKeyLocalMachine) return HKEY_LOCAL_MACHINE;
  return reinterpret_cast<HKEY>(key);
}

using DeleteTreeFunction = LSTATUS(WINAPI*)(HKEY, LPCSTR);

DeleteTreeFunction ShDeleteKey() {
  return reinterpret_cast<DeleteTreeFunction>(
      reinterpret_cast<void*>(SystemFunction("shlwapi.dll", "SHDeleteKeyA")));
}

class Win32Registry : public Registry {
 public:
  RegStatus OpenKey(RegKey parent, const std::string& path, std::uint32_t access,
                    RegKey& key) override {
    HKEY opened = nullptr;
    const LSTATUS status = ::RegOpenKeyExA(Native(parent), path.c_str(), 0, access, &opened);
    if (status == ERROR_SUCCESS) key = reinterpret_cast<RegKey>(opened);
    return status;
  }

  RegStatus CreateKey(RegKey parent, const std::string& path, RegKey& key) override {
    HKEY opened = nullptr;
    const LSTATUS status = ::RegCreateKeyA(Native(parent), path.c_str(), &opened);
    if (status == ERROR_SUCCESS) key = reinterpret_cast<RegKey>(opened);
    return status;
  }

  RegStatus CloseKey(RegKey key) override { return ::RegCloseKey(Native(key)); }

  RegStatus QueryValueInfo(RegKey key, const std::string& name, RegType& type,
                           std::uint32_t& size) override {
    DWORD native_type = 0;
    DWORD native_size = 0;
    const LSTATUS status =
        ::RegQueryValueExA(Native(key), name.c_str(), nullptr, &native_type, nullptr, &native_size);
    if (status != ERROR_SUCCESS) return status;
    type = static_cast<RegType>(native_type);
    size = native_size;
    return status;
  }

  RegStatus QueryValue(RegKey key, const std::string& name, RegType& type,
                       std::string& data) override {
    std::uint32_t size = 0;
    RegType found{};
    RegStatus status = QueryValueInfo(key, name, found, size);
    // Another program may make the value longer between the two queries; then ask again.
    while (status == ERROR_SUCCESS) {
      std::string bytes(size, '\0');
      DWORD native_type = 0;
      DWORD native_size = size;
      status = ::RegQueryValueExA(Native(key), name.c_str(), nullptr, &native_type,
                                  reinterpret_cast<BYTE*>(bytes.data()), &native_size);
      if (status == ERROR_SUCCESS) {
        bytes.resize(native_size);
        type = static_cast<RegType>(native_type);
        data = std::move(bytes);
        return status;
      }
      if (status != ERROR_MORE_DATA) break;
      size = native_size;
      status = ERROR_SUCCESS;
    }
    return status;
  }

  RegStatus SetValue(RegKey key, const std::string& name, RegType type,
                     const std::string& data) override {
    // If a NUL follows the text in memory, the system stores that NUL too.
    const std::string bounded = data + '.';
    return ::RegSetValueExA(Native(key), name.c_str(), 0, static_cast<DWORD>(type),
                            reinterpret_cast<const BYTE*>(bounded.data()),
                            static_cast<DWORD>(data.size()));
  }

  RegStatus EnumKey(RegKey key, std::uint32_t index, std::size_t buffer_size,
                    std::string& name) override {
    std::vector<char> buffer(buffer_size + 1, '\0');
    const LSTATUS status =
        ::RegEnumKeyA(Native(key), index, buffer.data(), static_cast<DWORD>(buffer_size));
    if (status == ERROR_SUCCESS) name = buffer.data();
    return status;
  }

  RegStatus EnumValue(RegKey key, std::uint32_t index, std::string& name) override {
    std::vector<char> buffer(16384, '\0');  // longest value name of the registry, with its NUL
    DWORD size = static_cast<DWORD>(buffer.size());
    const LSTATUS status = ::RegEnumValueA(Native(key), index, buffer.data(), &size, nullptr,
                                           nullptr, nullptr, nullptr);
    if (status == ERROR_SUCCESS) name.assign(buffer.data(), size);
    return status;
  }

  RegStatus DeleteValue(RegKey key, const std::string& name) override {
    return ::RegDeleteValueA(Native(key), name.c_str());
  }

  RegStatus DeleteKey(RegKey parent, const std::string& name) override {
    if (name.empty()) return ERROR_INVALID_PARAMETER;  // would be the open key itself
    return ::RegDeleteKeyA(Native(parent), name.c_str());
  }

  bool HasDeleteTree() override { return ShDeleteKey() != nullptr; }

  RegStatus DeleteTree(RegKey parent, const std::string& name) override {
    if (name.empty()) return ERROR_INVALID_PARAMETER;
    const DeleteTreeFunction delete_tree = ShDeleteKey();
    return delete_tree ? delete_tree(Native(parent), name.c_str()) : ERROR_PROC_NOT_FOUND;
  }
};

}  // namespace

std::unique_ptr<Registry> MakeRegistry() { return std::make_unique<Win32Registry>(); }

}  // namespace mvsms::win32
