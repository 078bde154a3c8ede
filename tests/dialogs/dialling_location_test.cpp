// The button "Dialling Location": the telephony service's own dialog, over ours.
#include <gtest/gtest.h>

#include "tests/dialogs/desk.h"

namespace mvsms {
namespace {

using screen::Text;

TEST(DiallingLocation, IsTheServicesDialogForTheDefaultModem) {
  Desk desk;
  desk.WriteProfile();
  screen::User user([] {
    const HWND dialog = screen::Window(Text(5000));
    screen::SelectTab(dialog, 3);
    screen::Click(screen::Captioned(dialog, Text(5012)));
    const HWND location = screen::Window("Phone and Modem");
    EXPECT_TRUE(screen::Captioned(location, "Test modem"));
    EXPECT_EQ(::GetWindow(location, GW_OWNER), dialog);
    EXPECT_FALSE(::IsWindowEnabled(dialog));
    ::PostMessageA(location, WM_CLOSE, 0, 0);
    screen::WaitForEnd(location);
    screen::Settle(dialog);
    EXPECT_TRUE(::IsWindowEnabled(dialog));
    ::PostMessageA(dialog, WM_CLOSE, 0, 0);
    screen::WaitForEnd(dialog);
  });
  desk.ShowConfig();
}

}  // namespace
}  // namespace mvsms
