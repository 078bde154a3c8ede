// Every dialog and page as it looks, with its texts in full.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/dialogs/desk.h"

namespace mvsms {
namespace {

using testing::IsEmpty;

void Look(HWND window, const std::string& name) {
  EXPECT_THAT(screen::ClippedCaptions(window), IsEmpty()) << name;
  screen::TakePicture(window, name);
}

TEST(Dialogs, ShowTheirTextsInFull) {
  Desk desk;
  desk.WriteProfile();
  screen::User user([] {
    const HWND config = screen::Window(screen::Text(5000));
    const char* const pages[] = {"common", "services", "routing", "diagnostics"};
    for (int page = 0; page < 4; ++page) {
      screen::SelectTab(config, page);
      Look(config, std::string("config-") + pages[page]);
    }
    screen::SelectTab(config, 1);
    screen::Click(screen::Captioned(config, screen::Text(5005)));
    const HWND add = screen::Window(screen::Text(6119));
    screen::Click(screen::Captioned(add, screen::Text(6118)));
    Look(add, "new-service");
    screen::Press(add, VK_ESCAPE);
    screen::SelectRow(screen::OfClass(config, WC_LISTVIEWA), 0);
    screen::Click(screen::Captioned(config, screen::Text(5006)));
    const HWND properties = ::GetLastActivePopup(config);
    screen::Settle(properties);
    Look(properties, "service-properties");
    screen::Press(properties, VK_ESCAPE);
    screen::SelectTab(config, 2);
    screen::Click(screen::Captioned(config, screen::Text(5005)));
    const HWND prefix = screen::Window(screen::Text(5104));
    Look(prefix, "new-route");
    screen::Press(prefix, VK_ESCAPE);
    screen::SelectRow(screen::OfClass(config, WC_LISTVIEWA), 0);
    screen::Click(screen::Captioned(config, screen::Text(5006)));
    const HWND route = screen::Window(screen::Text(105));
    Look(route, "edit-route");
    screen::Press(route, VK_ESCAPE);
    screen::SelectTab(config, 3);
    screen::Click(screen::Captioned(config, screen::Text(6104)));
    const HWND test = screen::Window(screen::Text(6105));
    Look(test, "test-tool");
    screen::Press(test, VK_ESCAPE);
    screen::Click(screen::Captioned(config, screen::Text(5012)));
    const HWND error = screen::Window(screen::IsGerman() ? " Ein Fehler ist aufgetreten"
                                                         : " An Error Has Occured");
    Look(error, "error");
    screen::Click(screen::Captioned(error, "Details >>"));
    Look(error, "error-details");
    screen::Press(error, VK_ESCAPE);
    screen::Press(config, VK_ESCAPE);
    screen::WaitForEnd(config);
  });
  desk.ShowConfig();
}

}  // namespace
}  // namespace mvsms
