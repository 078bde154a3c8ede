// Registration: what it writes is what unregistration takes away again.
#include <map>

#include "tests/support/com_host.h"

namespace mvsms::com {
namespace {

using Snapshot = std::map<std::string, std::string>;  // key path, or path + value name -> bytes

void Add(Snapshot& snapshot, HKEY key, const std::string& path) {
  snapshot[path + "\\"] = "";
  char name[512];
  for (DWORD i = 0;; ++i) {
    DWORD length = sizeof name;
    BYTE data[2048];
    DWORD size = sizeof data;
    if (::RegEnumValueA(key, i, name, &length, nullptr, nullptr, data, &size) != ERROR_SUCCESS) {
      break;
    }
    snapshot[path + "\\@" + name] = std::string(reinterpret_cast<char*>(data), size);
  }
  for (DWORD i = 0; ::RegEnumKeyA(key, i, name, sizeof name) == ERROR_SUCCESS; ++i) {
    HKEY below = nullptr;
    const std::string below_path = path + "\\" + name;
    if (below_path == "HKLM\\Wow6432Node") continue;  // the same once more
    if (::RegOpenKeyExA(key, name, 0, KEY_READ, &below) != ERROR_SUCCESS) continue;
    Add(snapshot, below, below_path);
    ::RegCloseKey(below);
  }
}

/// All that is registered, for the machine and for the user.
Snapshot Registered() {
  Snapshot snapshot;
  for (const auto& [root, name] :
       {std::pair(HKEY_LOCAL_MACHINE, "HKLM"), std::pair(HKEY_CURRENT_USER, "HKCU")}) {
    HKEY key = nullptr;
    if (::RegOpenKeyExA(root, "Software\\Classes", 0, KEY_READ, &key) != ERROR_SUCCESS) continue;
    Add(snapshot, key, name);
    ::RegCloseKey(key);
  }
  return snapshot;
}

/// Entries of `one` that `other` lacks or has with other contents.
std::vector<std::string> Difference(const Snapshot& one, const Snapshot& other) {
  std::vector<std::string> difference;
  for (const auto& [path, data] : one) {
    const auto found = other.find(path);
    if (found == other.end() || found->second != data) difference.push_back(path);
  }
  return difference;
}

using Function = HRESULT(WINAPI*)();
using Install = HRESULT(WINAPI*)(BOOL, LPCWSTR);

class Registration : public testing::Test {
 protected:
  Registration() {
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    ::LoadLibraryA("mvSMS.dll");
    Unregister();
  }
  ~Registration() override {
    InstallFor(FALSE);
    EXPECT_EQ(Register(), S_OK);
    ::CoUninitialize();
  }
  static HRESULT Register() { return Exported<Function>("mvSMS.dll", "DllRegisterServer")(); }
  static HRESULT Unregister() { return Exported<Function>("mvSMS.dll", "DllUnregisterServer")(); }
  static HRESULT InstallFor(BOOL install) {
    return Exported<Install>("mvSMS.dll", "DllInstall")(install, L"user");
  }
  static HRESULT Create(const wchar_t* prog_id) {
    CLSID clsid;
    const HRESULT found = ::CLSIDFromProgID(prog_id, &clsid);
    if (FAILED(found)) return found;
    ComPtr<IUnknown> object;
    return ::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, object.PutVoid());
  }
};

TEST_F(Registration, UnregisteringLeavesNothingBehind) {
  const Snapshot before = Registered();
  ASSERT_EQ(Register(), S_OK);
  const Snapshot during = Registered();
  EXPECT_GT(Difference(during, before).size(), 10U);
  ASSERT_EQ(Unregister(), S_OK);
  const Snapshot after = Registered();
  EXPECT_THAT(Difference(after, before), testing::IsEmpty());
  EXPECT_THAT(Difference(before, after), testing::IsEmpty());
}

TEST_F(Registration, OfTheUserNeedsNoPartOfTheMachine) {
  HKEY classes = nullptr;  // every user of Windows has this key; of the emulator, not every one
  ::RegCreateKeyA(HKEY_CURRENT_USER, "Software\\Classes\\CLSID", &classes);
  ::RegCloseKey(classes);
  const Snapshot before = Registered();
  ASSERT_EQ(InstallFor(TRUE), S_OK);
  const auto added = Difference(Registered(), before);
  EXPECT_GT(added.size(), 10U);
  for (const std::string& path : added) {
    // The emulator registers a type library for the machine even when asked for the user.
    const bool of_types =
        path.find("{71B8E07B") != path.npos || path.find("Interface") != path.npos;
    if (of_types) continue;
    EXPECT_EQ(path.substr(0, 4), "HKCU") << path;
  }
  ASSERT_EQ(InstallFor(FALSE), S_OK);
  EXPECT_THAT(Difference(Registered(), before), testing::IsEmpty());
}

TEST_F(Registration, ClassesAreFoundByTheirNames) {
  EXPECT_NE(Create(L"mvSMS.Sender"), S_OK);
  ASSERT_EQ(Register(), S_OK);
  EXPECT_EQ(Create(L"mvSMS.Sender"), S_OK);
  EXPECT_EQ(Create(L"mvSMS.Config"), S_OK);
}

TEST_F(Registration, ClassesBelongToApartments) {
  ASSERT_EQ(Register(), S_OK);
  int found = 0;
  for (const auto& [path, data] : Registered()) {
    if (path.find("\\InprocServer32\\@ThreadingModel") == std::string::npos) continue;
    if (path.find("3F383E62-CADE") == std::string::npos &&
        path.find("992C0651-5BC9") == std::string::npos) {
      continue;
    }
    EXPECT_STREQ(data.c_str(), "Apartment") << path;
    ++found;
  }
  EXPECT_EQ(found, 2);
}

TEST_F(Registration, MayBeRepeatedBothWays) {
  EXPECT_EQ(Register(), S_OK);
  EXPECT_EQ(Register(), S_OK);
  EXPECT_EQ(Unregister(), S_OK);
  EXPECT_EQ(Unregister(), S_OK);
}

}  // namespace
}  // namespace mvsms::com
