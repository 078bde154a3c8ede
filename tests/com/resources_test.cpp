// The string resources of the DLL: the texts of the forms, for whoever reads or translates
// resources.
#include "backends/memory/memory_platform.h"
#include "base/raised_error.h"
#include "resources/string_table.h"
#include "tests/support/com_host.h"

namespace mvsms::com {
namespace {

/// A text of the DLL in one language, in the ANSI code page; "" without one.
std::string ResourceText(HMODULE dll, UINT id, WORD language) {
  const HRSRC found = ::FindResourceExW(dll, MAKEINTRESOURCEW(6) /* RT_STRING */,
                                        MAKEINTRESOURCEW(id / 16 + 1), language);
  if (!found) return "";
  const auto* text = static_cast<const WCHAR*>(::LockResource(::LoadResource(dll, found)));
  for (UINT skipped = 0; skipped < id % 16; ++skipped) text += *text + 1;
  std::string ansi(static_cast<std::size_t>(*text), '\0');
  ::WideCharToMultiByte(1252, 0, text + 1, *text, ansi.data(), *text, nullptr, nullptr);
  return ansi;
}

TEST(Resources, HoldTheTextsOfTheFormsInBothLanguages) {
  const HMODULE dll = ::LoadLibraryExA("mvSMS.dll", nullptr, LOAD_LIBRARY_AS_DATAFILE);
  ASSERT_NE(dll, nullptr);
  memory::MemoryPlatform platform;
  for (const std::uint16_t language : {kLanguageEnglish, kLanguageGerman}) {
    platform.language = language;
    int texts = 0;
    for (UINT id = 0; id < 7000; ++id) {
      std::string expected;
      try {
        expected = LoadResString(platform.locale(), static_cast<std::uint16_t>(id));
        ++texts;
      } catch (const RaisedError&) {
        // no such text
      }
      ASSERT_EQ(ResourceText(dll, id, language), expected) << id;
    }
    EXPECT_EQ(texts, 67);
  }
  ::FreeLibrary(dll);
}

}  // namespace
}  // namespace mvsms::com
