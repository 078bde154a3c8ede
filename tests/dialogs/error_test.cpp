// The error report, reached by a telephony service whose dialling-location dialog fails, answered
// in three ways and mailed through a substitute mail client.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "tests/dialogs/desk.h"

namespace mvsms {
namespace {

using screen::Captioned;
using screen::Click;
using screen::IsGerman;
using screen::Text;
using testing::ElementsAre;
using testing::HasSubstr;

const char* Title() { return IsGerman() ? " Ein Fehler ist aufgetreten" : " An Error Has Occured"; }
const char* Retry() { return IsGerman() ? "Wiederholen" : "Retry"; }
const char* Ignore() { return IsGerman() ? "Ignorieren" : "Ignore"; }
const char* Cancel() { return IsGerman() ? "Abbrechen" : "Cancel"; }
const char* Send() { return IsGerman() ? "Senden" : "Send"; }

std::string LogText() {
  std::ifstream file("mvSMSErrors.log", std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

class ErrorReportDialog : public testing::Test {
 protected:
  ErrorReportDialog() {
    desk_.WriteProfile();
    ::SetEnvironmentVariableA("FAKE_TAPI_NO_DIALOG", "1");
    ::DeleteFileA("mvSMSErrors.log");
  }
  ~ErrorReportDialog() override {
    ::SetEnvironmentVariableA("FAKE_TAPI_NO_DIALOG", nullptr);
    ::DeleteFileA("mvSMSErrors.log");
  }

  /// Makes the error happen and lets the user act on it.
  void Meet(const std::function<void()>& actions) {
    screen::User user([&] {
      const HWND config = screen::Window(Text(5000));
      screen::SelectTab(config, 3);
      Click(Captioned(config, Text(5012)));
      actions();
      EXPECT_TRUE(screen::WaitUntil([&] { return ::IsWindowEnabled(config) != FALSE; }));
      screen::Press(config, VK_ESCAPE);
      screen::WaitForEnd(config);
    });
    desk_.ShowConfig();
  }
  static void Answer(const char* button) {
    const HWND dialog = screen::Window(Title());
    Click(Captioned(dialog, button));
    screen::WaitForEnd(dialog);
  }
  static int Reports() {
    int reports = 0;
    const std::string log = LogText();
    for (std::size_t at = 0; (at = log.find("***** Error", at)) != std::string::npos; ++at)
      ++reports;
    return reports;
  }

  Desk desk_;
};

TEST_F(ErrorReportDialog, IgnoredLetsTheProcedureGoOn) {
  Meet([] { Answer(Ignore()); });
  EXPECT_EQ(Reports(), 1);
  EXPECT_THAT(LogText(), HasSubstr("\r\n  *** Module:         frmConfig\r\n"
                                   "  *** Procedure:      cmdLocation_Click\r\n"
                                   "  *** Line Number:    0\r\n"));
}

TEST_F(ErrorReportDialog, RetriedItComesAgain) {
  Meet([] {
    Answer(Retry());
    Answer(Retry());
    Answer(Cancel());
  });
  EXPECT_EQ(Reports(), 3);
}

TEST_F(ErrorReportDialog, EscapeCancels) {
  Meet([] { screen::Press(screen::Window(Title()), VK_ESCAPE); });
  EXPECT_EQ(Reports(), 1);
}

/// The automation object of a mail client, and of its mails.
class MailClient final : public IDispatch {
 public:
  std::vector<std::string> calls;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    *object = iid == IID_IUnknown || iid == IID_IDispatch ? this : nullptr;
    return *object ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT, LCID,
                                          DISPID* id) override {
    names_.push_back(win32::AnsiFromBstr(com::Bstr(Narrow(names[0])).Get()));
    *id = static_cast<DISPID>(names_.size() - 1);
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* arguments,
                                   VARIANT* result, EXCEPINFO*, UINT*) override {
    std::string call = names_.at(static_cast<std::size_t>(id));
    if (arguments->cArgs == 1 && arguments->rgvarg[0].vt == VT_BSTR) {
      call += " " + win32::AnsiFromBstr(arguments->rgvarg[0].bstrVal);
    }
    calls.push_back(call);
    if (result) {
      result->vt = VT_DISPATCH;
      result->pdispVal = this;
    }
    return S_OK;
  }

 private:
  static std::string Narrow(const wchar_t* text) {
    std::string narrow;
    while (*text) narrow += static_cast<char>(*text++);
    return narrow;
  }
  std::vector<std::string> names_;
};

class Factory final : public IClassFactory {
 public:
  explicit Factory(MailClient& client) : client_(client) {}
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    *object = iid == IID_IUnknown || iid == IID_IClassFactory ? this : nullptr;
    return *object ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown*, REFIID iid, void** object) override {
    return client_.QueryInterface(iid, object);
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

 private:
  MailClient& client_;
};

class MailedReport : public ErrorReportDialog {
 protected:
  static constexpr char kClass[] = "{5B8D4C6E-2F43-4C0B-9C22-6B6F6B9E2A11}";

  void Install() {
    CLSID clsid = {};
    ::CLSIDFromString(L"{5B8D4C6E-2F43-4C0B-9C22-6B6F6B9E2A11}", &clsid);
    HKEY key = nullptr;
    ::RegCreateKeyA(HKEY_CLASSES_ROOT, "Outlook.Application\\CLSID", &key);
    ::RegSetValueExA(key, nullptr, 0, REG_SZ, reinterpret_cast<const BYTE*>(kClass), sizeof kClass);
    ::RegCloseKey(key);
    ASSERT_EQ(::CoRegisterClassObject(clsid, &factory_, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE,
                                      &cookie_),
              S_OK);
  }
  ~MailedReport() override {
    if (cookie_) ::CoRevokeClassObject(cookie_);
    ::RegDeleteTreeA(HKEY_CLASSES_ROOT, "Outlook.Application");
  }

  MailClient client_;
  Factory factory_{client_};
  DWORD cookie_ = 0;
};

TEST_F(MailedReport, IsSentThroughTheMailClient) {
  Install();
  Meet([&] {
    const HWND dialog = screen::Window(Title());
    Click(Captioned(dialog, Send()));
    const HWND review = screen::Window("dialogs_test");
    ::PostMessageW(review, WM_COMMAND, IDNO, 0);
    screen::WaitForEnd(review);
    const HWND sent = screen::Window("dialogs_test");
    screen::Press(sent, VK_RETURN);
    screen::WaitForEnd(sent);
    Answer(Ignore());
  });
  ASSERT_EQ(client_.calls.size(), 6U);
  EXPECT_EQ(client_.calls[0], "GetNamespace MAPI");
  EXPECT_EQ(client_.calls[1], "CreateItem");
  EXPECT_EQ(client_.calls[2], "To ");
  EXPECT_THAT(client_.calls[3],
              HasSubstr("Subject dialogs_test Error-Report: ITAddressTranslation"));
  EXPECT_THAT(client_.calls[4], HasSubstr("Modul:     \tfrmConfig - cmdLocation_Click\r\n"));
  EXPECT_EQ(client_.calls[5], "Send");
}

TEST_F(MailedReport, WithoutAMailClientTheDialogStaysOpen) {
  Meet([] {
    const HWND dialog = screen::Window(Title());
    Click(Captioned(dialog, Send()));
    const HWND message = screen::Window("dialogs_test");
    screen::TakePicture(message, "no-mail-client");
    screen::Press(message, VK_RETURN);
    screen::WaitForEnd(message);
    Answer(Ignore());
  });
}

}  // namespace
}  // namespace mvsms
