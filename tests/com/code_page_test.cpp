// The component in hosts of several ANSI code pages: texts, names of settings, and paths.
//
// This program has the code page of its process. The tests run in it four times: with Windows-1252,
// as everything else here; with 1251 and with 932, which the emulator takes from the locale that
// the runner gives it (MVSMS_LOCALE, see CMakeLists.txt); and with UTF-8, built with a manifest
// that asks for that.
#include <filesystem>

#include "tests/support/com_host.h"

namespace mvsms::com {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

/// What a host of the code page can be expected to write: the edge is Windows-1252 where the
/// process's own code page has several bytes for a character.
struct Words {
  const wchar_t* profile = L"Pr\u00FCfstand";
  const wchar_t* service = L"B\u00FCro";
  const wchar_t* text = L"Ger\u00E4t \u00F6 \u00A3 9";
  const char* received = "Ger\\u00e4t \\u00f6 \\u00a3 9";  // in JSON
};
constexpr Words kCyrillic{.profile = L"\u0421\u0442\u0435\u043D\u0434",
                          .service = L"\u0411\u044E\u0440\u043E",
                          .text = L"Pump 3",
                          .received = "Pump 3"};
Words OfThisHost() { return ::GetACP() == 1251 ? kCyrillic : Words{}; }

void Set(const std::wstring& key, const wchar_t* name, const std::wstring& text) {
  const std::wstring path = L"MIRVALEN\\PAGOREX\\" + key;
  ASSERT_EQ(::RegSetKeyValueW(NativeSoftware(), path.c_str(), name, REG_SZ, text.c_str(),
                              static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t))),
            ERROR_SUCCESS);
}

class Text {
 public:
  explicit Text(const wchar_t* text) : text_(::SysAllocString(text)) {}
  Text(const Text&) = delete;
  Text& operator=(const Text&) = delete;
  ~Text() { ::SysFreeString(text_); }
  BSTR* operator&() { return &text_; }
  operator BSTR() const { return text_; }  // NOLINT(google-explicit-constructor)
  std::wstring Wide() const { return {text_, ::SysStringLen(text_)}; }

 private:
  BSTR text_;
};

class CodePage : public testing::Test {
 protected:
  CodePage() {
    const std::wstring service = profile_ + L"\\Services\\" + words_.service;
    Set(profile_, L"DefaultModem", L"Test modem");
    Set(profile_, L"DefaultService", words_.service);
    for (const auto& [name, text] : {std::pair(L"Protocol", L"UCP"),
                                     {L"PhoneNumber", L"222"},
                                     {L"MaxLength", L"160"},
                                     {L"MaxMessages", L"1"},
                                     {L"UCPCommand", L"51"},
                                     {L"MessageType", L"3"},
                                     {L"TimeOut", L"500"},
                                     {L"BaudRate", L"Auto"},
                                     {L"ModemSetting", L"8N1"}}) {
      Set(service, name, text);
    }
  }
  ~CodePage() override {
    ::RegDeleteTreeW(NativeSoftware(), (L"MIRVALEN\\PAGOREX\\" + profile_).c_str());
  }

  /// One send of the profile, to the end, whatever that is.
  bool Send(_Sender& sender) {
    Text recipient(L"0171 234");
    Text originator(L"0301");
    Text message(words_.text);
    Text service(L"");
    VARIANT_BOOL accepted = VARIANT_FALSE;
    sender.put_HostAppName(Text(profile_.c_str()));
    EXPECT_EQ(sender.SendMessage(&recipient, &originator, &message, &service, &accepted), S_OK);
    EXPECT_EQ(message.Wide(), words_.text);
    return accepted != VARIANT_FALSE;
  }

  const Words words_ = OfThisHost();
  const std::wstring profile_ = words_.profile;
};

/// A folder whose name no code page of one byte has. The emulator makes it in the locales only that
/// this machine has.
class UnnameableFolder {
 public:
  UnnameableFolder() { made_ = fs::create_directory(path_, error_); }
  UnnameableFolder(const UnnameableFolder&) = delete;
  UnnameableFolder& operator=(const UnnameableFolder&) = delete;
  ~UnnameableFolder() { fs::remove_all(path_, error_); }
  bool made() const { return made_; }
  const fs::path& path() const { return path_; }

 private:
  const fs::path path_ = fs::temp_directory_path() /
                         (L"mvSMS-\u0416\u6F22-" + std::to_wstring(::GetCurrentProcessId()));
  std::error_code error_;
  bool made_ = false;
};

TEST_F(CodePage, TheSendLogMayLieInAFolderThatNoCodePageCanName) {
  Set(profile_, L"DefaultModem", L"No such modem");
  const UnnameableFolder folder;
  if (!folder.made()) GTEST_SKIP() << "no such folder can be made here";
  const fs::path log = folder.path() / L"\u0416.txt";
  Host host;
  ASSERT_EQ(host.sender().put_LogFilePath(Text(log.c_str())), S_OK);
  EXPECT_FALSE(Send(host.sender()));
  EXPECT_TRUE(fs::exists(log));
  Text path(L"");
  EXPECT_EQ(host.sender().get_LogFilePath(&path), S_OK);
  EXPECT_EQ(path.Wide(), log.wstring());
}

using GetClassObject = HRESULT(WINAPI*)(REFCLSID, REFIID, void**);

TEST_F(CodePage, TheComponentMayLieThereToo) {
  Set(profile_, L"DefaultModem", L"No such modem");
  Set(profile_, L"WriteLogfile", L"1");
  const UnnameableFolder folder;
  if (!folder.made()) GTEST_SKIP() << "no such folder can be made here";
  const fs::path file = folder.path() / "mvSMS.dll";
  fs::copy_file("mvSMS.dll", file);
  const HMODULE dll = ::LoadLibraryW(file.c_str());
  ASSERT_NE(dll, nullptr);
  const auto get_class = reinterpret_cast<GetClassObject>(
      reinterpret_cast<void*>(::GetProcAddress(dll, "DllGetClassObject")));
  ComPtr<IClassFactory> factory;
  ASSERT_EQ(get_class(CLSID_Sender, IID_IClassFactory, factory.PutVoid()), S_OK);
  ComPtr<_Sender> sender;
  ASSERT_EQ(factory->CreateInstance(nullptr, IID__Sender, sender.PutVoid()), S_OK);
  EXPECT_FALSE(Send(*sender.Get()));
  EXPECT_TRUE(fs::exists(folder.path() / "SMSLog.txt"));
}

TEST_F(CodePage, TextsComeBackAsTheyWere) {
  Host host;
  for (const wchar_t* text : {words_.text, words_.profile}) {
    ASSERT_EQ(host.sender().put_Status(Text(text)), S_OK);
    Text back(L"");
    ASSERT_EQ(host.sender().get_Status(&back), S_OK);
    EXPECT_EQ(back.Wide(), text);
  }
}

TEST_F(CodePage, NamesThatTheCommandWritesAreTheSameForEverybody) {
  const Ended added =
      RunToItsEnd("mvsms.exe service add Köln Protocol=TAP PhoneNumber=1 --profile ComTest");
  EXPECT_EQ(added.exit_code, 0U) << added.output;
  HKEY key = nullptr;
  EXPECT_EQ(
      ::RegOpenKeyW(NativeSoftware(), L"MIRVALEN\\PAGOREX\\ComTest\\Services\\K\u00F6ln", &key),
      ERROR_SUCCESS);
  ::RegCloseKey(key);
  DeleteProfile();
}

TEST_F(CodePage, SettingsAreFoundAndTheMessageArrives) {
  Host host;
  EXPECT_TRUE(Send(host.sender())) << host.Status();
  EXPECT_THAT(Records("com22"), HasSubstr(words_.received));
}

}  // namespace
}  // namespace mvsms::com
