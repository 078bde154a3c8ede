// Every dialog and page as it looks, with its texts in full.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backends/win32/form_metrics.h"
#include "tests/dialogs/desk.h"

namespace mvsms {
namespace {

using testing::IsEmpty;

void Look(HWND window, const std::string& name) {
  EXPECT_THAT(screen::ClippedCaptions(window), IsEmpty()) << name;
  EXPECT_THAT(screen::CutOffControls(window), IsEmpty()) << name;
  ::SetForegroundWindow(window);
  screen::TakePicture(window, name);
}

SIZE SizeOf(HWND window) {
  RECT place = {};
  ::GetWindowRect(window, &place);
  return {place.right - place.left, place.bottom - place.top};
}

/// Takes the window to screens of other resolutions and back.
void LookAtAnyScale(HWND window, const std::string& name) {
  Look(window, name);
  const SIZE before = SizeOf(window);
  const UINT own = win32::DpiOf(window);
  for (const UINT dpi : {144U, 192U}) {
    screen::ChangeDpi(window, dpi);
    Look(window, name + "-" + std::to_string(dpi));
  }
  screen::ChangeDpi(window, own);
  EXPECT_EQ(SizeOf(window).cx, before.cx) << name;
  EXPECT_EQ(SizeOf(window).cy, before.cy) << name;
}

TEST(Dialogs, ShowTheirTextsInFull) {
  Desk desk;
  desk.WriteProfile();
  screen::User user([] {
    const HWND config = screen::Window(screen::Text(5000));
    const char* const pages[] = {"common", "services", "routing", "diagnostics"};
    for (int page = 0; page < 4; ++page) {
      screen::SelectTab(config, page);
      LookAtAnyScale(config, std::string("config-") + pages[page]);
    }
    screen::SelectTab(config, 1);
    screen::Click(screen::Captioned(config, screen::Text(5005)));
    const HWND add = screen::Window(screen::Text(6119));
    screen::Click(screen::Captioned(add, screen::Text(6118)));
    LookAtAnyScale(add, "new-service");
    EXPECT_THAT(screen::CutOffCells(screen::OfClass(add, WC_LISTVIEWW)), IsEmpty());
    screen::Press(add, VK_ESCAPE);
    screen::SelectRow(screen::OfClass(config, WC_LISTVIEWW), 0);
    screen::Click(screen::Captioned(config, screen::Text(5006)));
    const HWND properties = ::GetLastActivePopup(config);
    screen::Settle(properties);
    LookAtAnyScale(properties, "service-properties");
    screen::Press(properties, VK_ESCAPE);
    screen::SelectTab(config, 2);
    screen::Click(screen::Captioned(config, screen::Text(5005)));
    const HWND prefix = screen::Window(screen::Text(5104));
    LookAtAnyScale(prefix, "new-route");
    screen::Press(prefix, VK_ESCAPE);
    screen::SelectRow(screen::OfClass(config, WC_LISTVIEWW), 1);
    screen::Click(screen::Captioned(config, screen::Text(5006)));
    const HWND route = screen::Window(screen::Text(105));
    LookAtAnyScale(route, "edit-route");
    screen::Press(route, VK_ESCAPE);
    screen::SelectTab(config, 3);
    screen::Click(screen::Captioned(config, screen::Text(6104)));
    const HWND test = screen::Window(screen::Text(6105));
    LookAtAnyScale(test, "test-tool");
    screen::Press(test, VK_ESCAPE);
    ::SetEnvironmentVariableA("FAKE_TAPI_NO_DIALOG", "1");
    screen::Click(screen::Captioned(config, screen::Text(5012)));
    ::SetEnvironmentVariableA("FAKE_TAPI_NO_DIALOG", nullptr);
    const HWND error = screen::Window(screen::IsGerman() ? " Ein Fehler ist aufgetreten"
                                                         : " An Error Has Occured");
    LookAtAnyScale(error, "error");
    screen::Click(screen::Captioned(error, "Details >>"));
    LookAtAnyScale(error, "error-details");
    screen::Press(error, VK_ESCAPE);
    screen::Press(config, VK_ESCAPE);
    screen::WaitForEnd(config);
  });
  desk.ShowConfig();
}

/// Of the program under the name whose declaration says UTF-8, see run.sh.
TEST(Utf8Host, HasItsCodePage) {
  wchar_t path[MAX_PATH] = L"";
  ::GetModuleFileNameW(nullptr, path, MAX_PATH);
  if (std::wstring(path).find(L"utf8_") == std::wstring::npos) GTEST_SKIP();
  EXPECT_EQ(::GetACP(), 65001U);
}

}  // namespace
}  // namespace mvsms
