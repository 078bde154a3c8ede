// What a screen reader finds: every control's name, role and state. The names that the component
// gives go to the system's annotation service, of which Wine has the interface only; a substitute
// keeps them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <mutex>

#include "backends/win32/text.h"
#include "tests/dialogs/desk.h"
// Not before <windows.h>.
#include <oleacc.h>

namespace mvsms {
namespace {

using testing::ElementsAreArray;

constexpr CLSID kAccPropServices = {
    0xB5F8350B, 0x0548, 0x48B1, {0xA6, 0xEE, 0x88, 0xBD, 0x00, 0xB4, 0xA5, 0xE7}};

// Two libraries define it.
constexpr IID kAccessible = {
    0x618736E0, 0x3C3D, 0x11CF, {0x81, 0x0C, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};

/// Keeps the names given to windows.
class Annotations final : public IAccPropServices {
 public:
  std::string NameOf(HWND window) {
    const std::lock_guard lock(mutex_);
    const auto found = names_.find(window);
    return found == names_.end() ? "" : found->second;
  }
  std::size_t size() {
    const std::lock_guard lock(mutex_);
    return names_.size();
  }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    *object = iid == IID_IUnknown || iid == IID_IAccPropServices ? this : nullptr;
    return *object ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE SetHwndPropStr(HWND window, DWORD, DWORD, MSAAPROPID,
                                           LPCWSTR text) override {
    const std::lock_guard lock(mutex_);
    names_[window] = win32::AnsiFromWide(text);
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE ClearHwndProps(HWND window, DWORD, DWORD, const MSAAPROPID*,
                                           int) override {
    const std::lock_guard lock(mutex_);
    names_.erase(window);
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE SetPropValue(const BYTE*, DWORD, MSAAPROPID, VARIANT) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE SetPropServer(const BYTE*, DWORD, const MSAAPROPID*, int,
                                          IAccPropServer*, AnnoScope) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE ClearProps(const BYTE*, DWORD, const MSAAPROPID*, int) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE SetHwndProp(HWND, DWORD, DWORD, MSAAPROPID, VARIANT) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE SetHwndPropServer(HWND, DWORD, DWORD, const MSAAPROPID*, int,
                                              IAccPropServer*, AnnoScope) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE ComposeHwndIdentityString(HWND, DWORD, DWORD, BYTE**, DWORD*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE DecomposeHwndIdentityString(const BYTE*, DWORD, HWND*, DWORD*,
                                                        DWORD*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE SetHmenuProp(HMENU, DWORD, MSAAPROPID, VARIANT) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE SetHmenuPropStr(HMENU, DWORD, MSAAPROPID, LPCWSTR) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE SetHmenuPropServer(HMENU, DWORD, const MSAAPROPID*, int,
                                               IAccPropServer*, AnnoScope) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE ClearHmenuProps(HMENU, DWORD, const MSAAPROPID*, int) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE ComposeHmenuIdentityString(HMENU, DWORD, BYTE**, DWORD*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE DecomposeHmenuIdentityString(const BYTE*, DWORD, HMENU*,
                                                         DWORD*) override {
    return E_NOTIMPL;
  }

 private:
  std::mutex mutex_;
  std::map<HWND, std::string> names_;
};

class AnnotationsFactory final : public IClassFactory {
 public:
  explicit AnnotationsFactory(Annotations& annotations) : annotations_(annotations) {}
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    *object = iid == IID_IUnknown || iid == IID_IClassFactory ? this : nullptr;
    return *object ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown*, REFIID iid, void** object) override {
    return annotations_.QueryInterface(iid, object);
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

 private:
  Annotations& annotations_;
};

class ScreenReader : public testing::Test {
 protected:
  ScreenReader() {
    desk_.WriteProfile();
    EXPECT_EQ(::CoRegisterClassObject(kAccPropServices, &factory_, CLSCTX_INPROC_SERVER,
                                      REGCLS_MULTIPLEUSE, &cookie_),
              S_OK);
  }
  ~ScreenReader() override { ::CoRevokeClassObject(cookie_); }

  /// "name, role, state" of a window's contents; Wine knows two roles, text and client.
  std::string Read(HWND window) {
    win32::ComPtr<IAccessible> object;
    ::CreateStdAccessibleObject(window, OBJID_CLIENT, kAccessible, object.PutVoid());
    VARIANT self = {};
    self.vt = VT_I4;
    VARIANT role = {}, state = {};
    win32::Bstr own_name;
    if (!object) return "(none)";
    object->get_accName(self, own_name.Put());
    object->get_accRole(self, &role);
    object->get_accState(self, &state);
    const std::string given = annotations_.NameOf(window);
    const bool off = (state.lVal & STATE_SYSTEM_UNAVAILABLE) != 0;
    return (given.empty() ? own_name.Ansi() : given) + ", " + RoleOf(role.lVal) +
           (off ? ", off" : "");
  }
  static std::string RoleOf(LONG role) {
    wchar_t text[64] = L"";
    ::GetRoleTextW(static_cast<DWORD>(role), text, 64);
    return win32::AnsiFromWide(text);
  }
  /// All controls; not the parts of one, nor the lines between groups.
  std::vector<std::string> ReadAll(HWND form) {
    std::vector<std::string> found;
    for (const HWND control : screen::VisibleControls(form)) {
      wchar_t type[32] = L"";
      ::GetClassNameW(control, type, 32);
      if (::lstrcmpiW(type, WC_HEADERW) == 0) continue;
      const std::string heard = Read(control);
      if (!heard.starts_with(",")) found.push_back(heard);
    }
    return found;
  }

  Desk desk_;
  Annotations annotations_;
  AnnotationsFactory factory_{annotations_};
  DWORD cookie_ = 0;
};

TEST_F(ScreenReader, HearsWhatEveryControlIs) {
  const auto t = [](int id) { return screen::Text(id); };
  const std::string any = ", " + RoleOf(ROLE_SYSTEM_CLIENT), text = ", " + RoleOf(ROLE_SYSTEM_TEXT);
  const std::vector<std::string> pages[] = {
      {t(5001) + any, t(5009) + any, t(5009) + any, t(5010) + any, t(5010) + any, t(5011) + any,
       t(5013) + any, t(5014) + any, t(5014) + text, t(5015) + any, t(5015) + text, t(5020) + any,
       t(5020) + text},
      {t(5002) + any, t(5002) + any, t(5005) + any, t(5006) + any + ", off",
       t(5007) + any + ", off"},
      {t(5003) + any, t(5003) + any, t(5005) + any, t(5006) + any + ", off",
       t(5007) + any + ", off"},
      {t(5004) + any, t(6104) + any, t(5012) + any, t(5017) + any, t(5018) + any, t(5016) + any}};
  screen::User user([&] {
    const HWND config = screen::Window(t(5000));
    for (int page = 0; page < 4; ++page) {
      screen::SelectTab(config, page);
      auto expected = pages[page];
      expected.insert(expected.end(), {t(5008) + any, t(5000) + any});
      EXPECT_THAT(ReadAll(config), ElementsAreArray(expected));
    }
    screen::Press(config, VK_ESCAPE);
    screen::WaitForEnd(config);
  });
  desk_.ShowConfig();
  EXPECT_EQ(annotations_.size(), 0U);  // what was given has been taken back
}

TEST_F(ScreenReader, HearsTheStatusOfTheTestToolByTheFormsName) {
  screen::User user([&] {
    const HWND config = screen::Window(screen::Text(5000));
    screen::SelectTab(config, 3);
    screen::Click(screen::Captioned(config, screen::Text(6104)));
    const HWND tool = screen::Window(screen::Text(6105));
    const HWND message = screen::After(tool, screen::Text(6108));
    const std::string text = ", " + RoleOf(ROLE_SYSTEM_TEXT);
    EXPECT_EQ(Read(message), screen::Text(6108) + text);
    EXPECT_EQ(Read(::GetWindow(message, GW_HWNDNEXT)), screen::Text(6105) + text);
    screen::Press(tool, VK_ESCAPE);
    screen::WaitForEnd(tool);
    screen::Press(config, VK_ESCAPE);
    screen::WaitForEnd(config);
  });
  desk_.ShowConfig();
}

}  // namespace
}  // namespace mvsms
