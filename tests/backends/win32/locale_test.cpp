// Paths that no code page can name, and the system's version as it is.
#include <gtest/gtest.h>

#include "backends/win32/handles.h"
#include "backends/win32/path.h"
#include "backends/win32/win32_platform.h"

namespace mvsms::win32 {
namespace {

TEST(Path, InTheCodePageStaysAsItIs) {
  EXPECT_EQ(PathFromWide(L"\\\\?\\C:\\B\u00FCro\\a?b"), "\\\\?\\C:\\B\xFCro\\a?b");
  EXPECT_EQ(WideFromPath("C:\\B\xFCro"), L"C:\\B\u00FCro");
}

TEST(Path, OutsideItComesBackWhole) {
  const std::wstring path = L"C:\\\u0416\u6F22\\\xD83D\xDE00.txt";
  EXPECT_EQ(PathFromWide(path), "C:\\<0416><6F22>\\<D83D><DE00>.txt");
  EXPECT_EQ(WideFromPath(PathFromWide(path)), path);
}

TEST(Path, OnlyACodeIsTakenForOne) {
  for (const char* text : {"<", "<0416", "<04g6>", "<416>", "a<0416", "https://x/?a=<b>"}) {
    EXPECT_EQ(WideFromPath(text), std::wstring(text, text + std::string(text).size()));
  }
}

TEST(Path, InUtf8IsTheSamePath) {
  EXPECT_EQ(PathFromUtf8("C:\\\xD0\x96\\\xC3\xBC"), "C:\\<0416>\\\xFC");
  EXPECT_EQ(Utf8FromPath("C:\\<0416>\\\xFC"), "C:\\\xD0\x96\\\xC3\xBC");
}

// What programs are told instead depends on their manifest, and this one has none.
TEST(SystemVersion, IsTheTrueOne) {
  wchar_t build[16] = L"";
  DWORD size = sizeof build;
  ASSERT_EQ(::RegGetValueW(HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\Windows NT\\CurrentVersion",
                           L"CurrentBuild", RRF_RT_REG_SZ, nullptr, build, &size),
            ERROR_SUCCESS);
  OsVersion version;
  ASSERT_TRUE(MakeWin32Platform()->locale().GetOsVersion(version));
  EXPECT_EQ(std::to_wstring(version.build), build);
  EXPECT_EQ(version.platform, 2U);
}

}  // namespace
}  // namespace mvsms::win32
