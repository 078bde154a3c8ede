// What hosts of both bitnesses see of one registry.
#include <gmock/gmock.h>

#include "backends/win32/handles.h"
#include "backends/win32/win32_platform.h"
#include "platform/registry_key.h"

namespace mvsms::win32 {
namespace {

constexpr char kScratch[] = "Software\\mvSMS view test";

bool ExistsIn(REGSAM view, const wchar_t* path) {
  HKEY key = nullptr;
  if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_READ | view, &key) != ERROR_SUCCESS) {
    return false;
  }
  ::RegCloseKey(key);
  return true;
}

class RegistryView : public testing::Test {
 protected:
  ~RegistryView() override {
    RegKey software = 0;
    registry_.OpenKey(kHKeyLocalMachine, "Software", kKeyAllAccess, software);
    const mvsms::KeyCloser closer(registry_, software);
    registry_.DeleteTree(software, "mvSMS view test");
  }
  RegKey Create(const std::string& path) {
    RegKey key = 0;
    EXPECT_EQ(registry_.CreateKey(kHKeyLocalMachine, path, key), kErrorSuccess);
    return key;
  }

  std::unique_ptr<Platform> platform_ = MakeWin32Platform();
  Registry& registry_ = platform_->registry();
};

// A host of 32 bits would otherwise be sent to a key of its own.
TEST_F(RegistryView, IsTheNativeOneInEveryHost) {
  registry_.CloseKey(Create(kScratch));
  EXPECT_TRUE(ExistsIn(KEY_WOW64_64KEY, L"Software\\mvSMS view test"));
  EXPECT_FALSE(ExistsIn(KEY_WOW64_32KEY, L"Software\\mvSMS view test"));
  RegKey key = 0;
  EXPECT_EQ(registry_.OpenKey(kHKeyLocalMachine, kScratch, kMaximumAllowed, key), kErrorSuccess);
  registry_.CloseKey(key);
}

TEST_F(RegistryView, IsTheSameForDeleting) {
  for (const char* name : {"\\Tree\\Below", "\\Key"}) {
    registry_.CloseKey(Create(kScratch + std::string(name)));
  }
  EXPECT_EQ(registry_.DeleteKey(kHKeyLocalMachine, kScratch + std::string("\\Key")), kErrorSuccess);
  RegKey key = Create(kScratch);
  EXPECT_EQ(registry_.DeleteTree(key, "Tree"), kErrorSuccess);
  registry_.CloseKey(key);
  EXPECT_FALSE(ExistsIn(KEY_WOW64_64KEY, L"Software\\mvSMS view test\\Tree"));
  EXPECT_FALSE(ExistsIn(KEY_WOW64_64KEY, L"Software\\mvSMS view test\\Key"));
}

// Other programs, and the system's own tools, read UTF-16.
TEST_F(RegistryView, TextLiesThereAsOthersReadItWithoutATerminator) {
  RegKey key = Create(kScratch);
  EXPECT_EQ(registry_.SetValue(key, "Text", RegType::kSz, "Gr\xFC\xDF"), kErrorSuccess);
  wchar_t text[] = L"......";
  DWORD size = sizeof text;
  ::RegQueryValueExW(reinterpret_cast<HKEY>(key), L"Text", nullptr, nullptr,
                     reinterpret_cast<BYTE*>(text), &size);
  EXPECT_EQ(size, 4 * sizeof(wchar_t));
  EXPECT_EQ(std::wstring(text, 4), L"Gr\u00FC\u00DF");
  registry_.CloseKey(key);
}

TEST_F(RegistryView, ALetterOutsideTheCodePageIsAQuestionMark) {
  RegKey key = Create(kScratch);
  constexpr wchar_t kText[] = L"\u0141\u00F3d\u017A";
  ::RegSetValueExW(reinterpret_cast<HKEY>(key), L"Text", 0, REG_SZ,
                   reinterpret_cast<const BYTE*>(kText), sizeof kText);
  RegType type{};
  std::string text;
  EXPECT_EQ(registry_.QueryValue(key, "Text", type, text), kErrorSuccess);
  EXPECT_EQ(text, std::string("?\xF3"
                              "d?\0",
                              5));
  registry_.CloseKey(key);
}

}  // namespace
}  // namespace mvsms::win32
