// The test tool sends through the substitute telephony service to a message centre; the status
// window shows itself during a host's send.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/dialogs/desk.h"

namespace mvsms {
namespace {

using screen::Captioned;
using screen::Click;
using screen::OfClass;
using screen::Text;
using testing::HasSubstr;

class TestToolDialog : public testing::Test {
 protected:
  TestToolDialog() { desk_.WriteProfile(); }

  /// Opens the test tool, fills it in and presses Send; `then` goes on from there.
  void SendTo(const char* number, const std::function<void(HWND tool, HWND status)>& then) {
    screen::User user([&] {
      const HWND config = screen::Window(Text(5000));
      screen::SelectTab(config, 3);
      Click(Captioned(config, Text(6104)));
      const HWND tool = screen::Window(Text(6105));
      screen::Type(screen::After(tool, Text(6106)), "Ward 7");
      screen::Type(screen::After(tool, Text(6107)), number);
      const HWND message = screen::After(tool, Text(6108));
      screen::Type(message, "Pump 3 has stopped");
      const HWND status = ::GetWindow(message, GW_HWNDNEXT);
      ::PostMessageW(Captioned(tool, Text(6109)), BM_CLICK, 0, 0);
      then(tool, status);
      Click(Captioned(tool, Text(6111)));
      screen::WaitForEnd(tool);
      screen::Press(config, VK_ESCAPE);
      screen::WaitForEnd(config);
    });
    desk_.ShowConfig();
  }
  static bool Ends(HWND status, const std::string& result) {
    for (int i = 0; i < 6; ++i) {  // a TAP send takes its time
      if (screen::WaitUntil(
              [&] { return screen::TextOf(status).find(result) != std::string::npos; })) {
        return true;
      }
    }
    return false;
  }

  Desk desk_;
};

TEST_F(TestToolDialog, SendsAMessageAndShowsTheDialogue) {
  SendTo("01715", [](HWND tool, HWND status) {
    EXPECT_TRUE(Ends(status, "Result:  Success")) << screen::TextOf(status);
    screen::TakePicture(tool, "test-tool-sent");
    EXPECT_THAT(screen::TextOf(status), HasSubstr("Transmitter Response: "));
  });
  EXPECT_THAT(com::Records("com21"), HasSubstr("Pump 3 has stopped"));
}

TEST_F(TestToolDialog, AbortStopsTheSend) {
  desk_.WriteService("City Pager", "TAP", "3");  // rings for ever
  SendTo("01715", [](HWND tool, HWND status) {
    EXPECT_TRUE(screen::WaitUntil(
        [&] { return screen::TextOf(status).find("Dialling") != std::string::npos; }));
    Click(Captioned(tool, Text(6110)));
    const HWND message = screen::Window("Error");
    screen::TakePicture(message, "test-tool-aborted");
    screen::Press(message, VK_RETURN);
    EXPECT_TRUE(Ends(status, "Result:  Failed")) << screen::TextOf(status);
  });
}

TEST_F(TestToolDialog, RemembersItsFields) {
  SendTo("x", [](HWND, HWND status) {
    for (int boxes = 0; boxes < 3; ++boxes) {
      const HWND message = screen::Window("Error");
      screen::Press(message, VK_RETURN);
      screen::WaitForEnd(message);
    }
    EXPECT_TRUE(Ends(status, "Result:  Failed")) << screen::TextOf(status);
  });
  char text[100] = "";
  DWORD size = sizeof text;
  ::RegGetValueA(HKEY_CURRENT_USER, "Software\\VB and VBA Program Settings\\mvSMS\\Test", "Sender",
                 RRF_RT_REG_SZ, nullptr, text, &size);
  EXPECT_STREQ(text, "Ward 7");
}

TEST_F(TestToolDialog, TheStatusWindowIsSeenDuringASendAndClosesItself) {
  desk_.Write("", "ShowStatus", "1");
  com::Host host(kDeskProfile);
  bool seen = false;
  const HWND editor = ::CreateWindowW(WC_EDITW, L"", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 10, 10, 300,
                                      200, nullptr, nullptr, nullptr, nullptr);
  ::SetFocus(editor);
  screen::User user([&] {
    const HWND window = screen::Window("SMS Status");
    seen = window != nullptr;
    EXPECT_EQ(screen::FocusOf(window), editor);
    RECT place = {}, screen_area = {};
    ::GetWindowRect(window, &place);
    ::SystemParametersInfoW(SPI_GETWORKAREA, 0, &screen_area, 0);
    EXPECT_EQ(place.right, screen_area.right);
    EXPECT_EQ(place.bottom, screen_area.bottom);
    const HWND box = OfClass(window, WC_EDITW);
    EXPECT_TRUE(Ends(box, "Initiating TAP Login"));
    screen::TakePicture(window, "status");
  });
  EXPECT_TRUE(host.Send("0171 5", "Hello").accepted);
  EXPECT_TRUE(seen);
  ::DestroyWindow(editor);
  const HWND window = ::FindWindowW(nullptr, L"SMS Status");
  ASSERT_NE(window, nullptr);
  const DWORD start = ::GetTickCount();
  while (::IsWindow(window) && ::GetTickCount() - start < 8000) {
    MSG message;
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageW(&message);
    ::Sleep(10);
  }
  EXPECT_FALSE(::IsWindow(window));
  EXPECT_GE(::GetTickCount() - start, 4900U);
}

}  // namespace
}  // namespace mvsms
