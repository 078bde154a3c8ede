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

/// A version text of a file in one language; "" without one.
std::string VersionText(const char* file, const char* language, const std::string& name) {
  DWORD ignored = 0;
  std::vector<char> block(::GetFileVersionInfoSizeA(file, &ignored));
  if (block.empty() ||
      !::GetFileVersionInfoA(file, 0, static_cast<DWORD>(block.size()), block.data())) {
    return "";
  }
  void* text = nullptr;
  UINT size = 0;
  const std::string path = std::string("\\StringFileInfo\\") + language + "\\" + name;
  return ::VerQueryValueA(block.data(), path.c_str(), &text, &size) ? static_cast<char*>(text) : "";
}

TEST(Resources, SayInBothLanguagesWhatAFileIsAndWhose) {
  for (const char* file : {"mvSMS.dll", "mvsms.exe"}) {
    EXPECT_EQ(VersionText(file, "040904E4", "OriginalFilename"), file);
    EXPECT_EQ(VersionText(file, "040904E4", "CompanyName"), "the mvSMS authors");
    EXPECT_EQ(VersionText(file, "040704E4", "LegalCopyright"),
              "Copyright (c) 2026 die Autoren von mvSMS");
    EXPECT_THAT(VersionText(file, "040704E4", "FileDescription"), testing::StartsWith("mvSMS: K"));
  }
}

TEST(Resources, OfTheCommandAskForNoRightsAndForLongPaths) {
  const HMODULE exe = ::LoadLibraryExA("mvsms.exe", nullptr, LOAD_LIBRARY_AS_DATAFILE);
  const HRSRC found = ::FindResourceW(exe, MAKEINTRESOURCEW(1), MAKEINTRESOURCEW(24));
  ASSERT_NE(found, nullptr);
  const std::string manifest(static_cast<const char*>(::LockResource(::LoadResource(exe, found))),
                             ::SizeofResource(exe, found));
  EXPECT_THAT(manifest,
              testing::AllOf(testing::HasSubstr("asInvoker"), testing::HasSubstr("longPathAware"),
                             testing::HasSubstr("supportedOS")));
  ::FreeLibrary(exe);
}

}  // namespace
}  // namespace mvsms::com
