// The configuration dialog driven through its windows; the registry is what counts.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/dialogs/desk.h"

namespace mvsms {
namespace {

using screen::Captioned;
using screen::Click;
using screen::OfClass;
using screen::Text;
using testing::Contains;
using testing::ElementsAre;

class ConfigDialog : public testing::Test {
 protected:
  ConfigDialog() { desk_.WriteProfile(); }

  /// Opens the dialog, lets the user act in it, and waits until it is closed.
  void Use(const std::function<void(HWND)>& actions) {
    screen::User user([&] {
      const HWND dialog = screen::Window(Text(5000));
      if (dialog == nullptr) return;
      actions(dialog);
      if (::IsWindow(dialog)) ::PostMessageW(dialog, WM_CLOSE, 0, 0);
      screen::WaitForEnd(dialog);
    });
    desk_.ShowConfig();
  }
  std::string Read(const std::string& value) { return desk_.Read("", value); }

  Desk desk_;
};

TEST_F(ConfigDialog, OpeningItStoresTheDefaults) {
  Use([](HWND) {});
  EXPECT_EQ(Read("ReplacePlus"), "1");
  EXPECT_EQ(Read("Retries"), "3");
  EXPECT_EQ(Read("RetryDelay"), "1");
  EXPECT_EQ(Read("DefaultService"), "City Pager");
}

TEST_F(ConfigDialog, StoresEveryChangeAtOnce) {
  Use([&](HWND dialog) {
    Click(Captioned(dialog, Text(5013)));
    EXPECT_EQ(Read("ReplacePlus"), "0");
    Click(Captioned(dialog, Text(5014)));
    EXPECT_EQ(Read("AddCountry"), "1");
    screen::Type(OfClass(dialog, WC_EDITW, 0), "0043");
    EXPECT_EQ(Read("Country"), "0043");
    screen::Type(screen::After(dialog, Text(5015)), "7");
    EXPECT_EQ(Read("Retries"), "7");
    screen::Type(screen::After(dialog, Text(5020)), "x");
    EXPECT_EQ(Read("RetryDelay"), "0");
    screen::Choose(screen::After(dialog, Text(5010)), "Second test modem");
    EXPECT_EQ(Read("DefaultModem"), "Second test modem");
    screen::Choose(screen::After(dialog, Text(5009)), "Plant SMS");
    EXPECT_EQ(Read("DefaultService"), "Plant SMS");
    screen::SelectTab(dialog, 3);
    Click(Captioned(dialog, Text(5017)));
    EXPECT_EQ(Read("WriteLogfile"), "1");
    Click(Captioned(dialog, Text(5016)));
    EXPECT_EQ(Read("ShowStatus"), "1");
  });
}

TEST_F(ConfigDialog, AddsAServiceFromTheCatalogueWithItsRoutes) {
  Use([&](HWND dialog) {
    screen::SelectTab(dialog, 1);
    Click(Captioned(dialog, Text(5005)));
    const HWND add = screen::Window(Text(6119));
    Click(Captioned(add, Text(6118)));
    screen::Choose(screen::After(add, Text(6113)), "Austria");
    const HWND list = OfClass(add, WC_LISTVIEWW);
    EXPECT_THAT(screen::RowsOf(list),
                ElementsAre("4|EXAMPLE Alpine Pager|Austria|TAP|06640000001|example",
                            "5|EXAMPLE Alpine SMS|Austria|UCP|06760000001|example"));
    screen::SelectRow(list, 0);
    Click(Captioned(add, Text(10)));
    screen::WaitForEnd(add);
    screen::Settle(dialog);
    EXPECT_THAT(screen::RowsOf(OfClass(dialog, WC_LISTVIEWW)), Contains("EXAMPLE Alpine Pager"));
    screen::SelectTab(dialog, 2);
    EXPECT_THAT(screen::RowsOf(OfClass(dialog, WC_LISTVIEWW)),
                Contains("0664|EXAMPLE Alpine Pager"));
  });
  EXPECT_EQ(desk_.Read("Services\\EXAMPLE Alpine Pager", "MaxLength"), "80");
  EXPECT_EQ(desk_.Read("Services\\EXAMPLE Alpine Pager", "ModemSetting"), "7E1");
  EXPECT_EQ(desk_.Read("Routing\\0043664", "UseService"), "EXAMPLE Alpine Pager");
}

TEST_F(ConfigDialog, EditsAServiceByADoubleClick) {
  Use([&](HWND dialog) {
    screen::SelectTab(dialog, 1);
    screen::DoubleClickRow(OfClass(dialog, WC_LISTVIEWW), 1);
    ASSERT_TRUE(screen::WaitUntil([&] { return !::IsWindowEnabled(dialog); }));
    const HWND properties = ::GetLastActivePopup(dialog);
    screen::Settle(properties);
    EXPECT_EQ(screen::CaptionOf(screen::After(properties, Text(6002))), "Plant SMS");
    EXPECT_FALSE(::IsWindowEnabled(screen::After(properties, Text(6006))));
    screen::Choose(screen::After(properties, Text(6004)), "TAP");
    EXPECT_TRUE(::IsWindowEnabled(screen::After(properties, Text(6006))));
    EXPECT_FALSE(::IsWindowEnabled(screen::After(properties, Text(6009))));
    screen::Type(screen::After(properties, Text(6005)), "0999");
    Click(Captioned(properties, Text(10)));
    screen::WaitForEnd(properties);
    EXPECT_TRUE(::IsWindowEnabled(dialog));
  });
  EXPECT_EQ(desk_.Read("Services\\Plant SMS", "PhoneNumber"), "0999");
  EXPECT_EQ(desk_.Read("Services\\Plant SMS", "Protocol"), "TAP");
  EXPECT_EQ(desk_.Read("Services\\Plant SMS", "ModemName"), "");
}

TEST_F(ConfigDialog, AddsEditsAndDeletesARoute) {
  Use([&](HWND dialog) {
    screen::SelectTab(dialog, 2);
    Click(Captioned(dialog, Text(5005)));
    const HWND prefix = screen::Window(Text(5104));
    screen::Type(OfClass(prefix, WC_EDITW), "0175");
    screen::Press(prefix, VK_RETURN);
    screen::WaitForEnd(prefix);
    screen::Settle(dialog);
    const HWND list = OfClass(dialog, WC_LISTVIEWW);
    EXPECT_THAT(screen::RowsOf(list), Contains("0175|"));
    Click(Captioned(dialog, Text(5006)));  // the new row is selected
    const HWND route = screen::Window(Text(105));
    screen::Choose(OfClass(route, WC_COMBOBOXW), "Plant SMS");
    Click(Captioned(route, Text(10)));
    screen::WaitForEnd(route);
    screen::Settle(dialog);
    EXPECT_EQ(desk_.Read("Routing\\0175", "UseService"), "Plant SMS");
    screen::SelectRow(list, 0);
    Click(Captioned(dialog, Text(5007)));
    const HWND question = screen::Window("Delete");
    screen::Press(question, VK_RETURN);
    screen::WaitForEnd(question);
    screen::Settle(dialog);
    EXPECT_THAT(screen::RowsOf(list),
                ElementsAre("0171|City Pager", "0172|Plant SMS", "0175|Plant SMS"));
  });
  EXPECT_EQ(desk_.Read("Routing\\0049", "UseService"), "(none)");
}

TEST_F(ConfigDialog, ARowBelowTheFirstPageStaysInSightWhenItIsChosen) {
  for (int route = 100; route < 160; ++route) {
    desk_.Write("Routing\\" + std::to_string(route), "UseService", "City Pager");
  }
  Use([&](HWND dialog) {
    screen::SelectTab(dialog, 2);
    const HWND list = OfClass(dialog, WC_LISTVIEWW);
    Click(Captioned(dialog, Text(5005)));
    const HWND prefix = screen::Window(Text(5104));
    screen::Type(OfClass(prefix, WC_EDITW), "0001");
    screen::Press(prefix, VK_RETURN);
    screen::WaitForEnd(prefix);
    screen::Settle(dialog);  // the list has been scrolled to the new row, its first
    const int last = static_cast<int>(::SendMessageW(list, LVM_GETITEMCOUNT, 0, 0)) - 1;
    ::SendMessageW(list, LVM_ENSUREVISIBLE, static_cast<WPARAM>(last), LPARAM{FALSE});
    const LRESULT top = ::SendMessageW(list, LVM_GETTOPINDEX, 0, 0);
    EXPECT_GT(top, 0);
    screen::SelectRow(list, last);
    EXPECT_EQ(::SendMessageW(list, LVM_GETTOPINDEX, 0, 0), top);
    screen::DoubleClickRow(list, last);
    const HWND route = screen::Window(Text(105));
    screen::Choose(OfClass(route, WC_COMBOBOXW), "Plant SMS");
    Click(Captioned(route, Text(10)));
    screen::WaitForEnd(route);
  });
  EXPECT_EQ(desk_.Read("Routing\\159", "UseService"), "Plant SMS");
}

TEST_F(ConfigDialog, IsWorkedByKeysAlone) {
  Use([&](HWND dialog) {
    std::vector<std::string> order;
    for (int i = 0; i < 10; ++i) {
      order.push_back(screen::CaptionOf(screen::FocusOf(dialog)));
      screen::Press(dialog, VK_TAB);
    }
    EXPECT_THAT(order, ElementsAre("City Pager", "Test modem", Text(5011), Text(5013), Text(5014),
                                   "0049", "3", "1", Text(5008), ""));
    EXPECT_EQ(screen::CaptionOf(screen::FocusOf(dialog)), "City Pager");
    screen::PressAlt(dialog, screen::IsGerman() ? 'i' : 'w');
    screen::Press(dialog, VK_ESCAPE);
    screen::WaitForEnd(dialog);
  });
}

TEST_F(ConfigDialog, AnAccessKeyWorksItsControl) {
  Use([&](HWND dialog) {
    const HWND box = Captioned(dialog, Text(5013));
    const std::string caption = screen::TextOf(box);
    const std::size_t mark = caption.find('&');
    ASSERT_NE(mark, std::string::npos);
    screen::PressAlt(dialog, caption[mark + 1]);
    EXPECT_EQ(Read("ReplacePlus"), "0");
  });
}

TEST_F(ConfigDialog, GrowsWithItsListsButNotBelowItsDesign) {
  Use([&](HWND dialog) {
    screen::SelectTab(dialog, 1);
    const HWND list = OfClass(dialog, WC_LISTVIEWW);
    RECT before = {}, outside = {}, after = {};
    ::GetWindowRect(list, &before);
    ::GetWindowRect(dialog, &outside);
    const int width = outside.right - outside.left;
    const int height = outside.bottom - outside.top;
    ::SetWindowPos(dialog, nullptr, 0, 0, width + 100, height + 50, SWP_NOZORDER);
    screen::Settle(dialog);
    ::GetWindowRect(list, &after);
    EXPECT_NEAR(after.right - after.left, before.right - before.left + 100, 2);
    EXPECT_NEAR(after.bottom - after.top, before.bottom - before.top + 50, 2);
    MINMAXINFO limits = {};
    ::SendMessageW(dialog, WM_GETMINMAXINFO, 0, reinterpret_cast<LPARAM>(&limits));
    EXPECT_EQ(limits.ptMinTrackSize.x, width);
    EXPECT_EQ(limits.ptMinTrackSize.y, height);
  });
}

TEST_F(ConfigDialog, TurnsItsPagesByKeys) {
  Use([&](HWND dialog) {
    const auto page = [&] {
      return ::SendMessageW(OfClass(dialog, WC_TABCONTROLW), TCM_GETCURSEL, 0, 0);
    };
    screen::PressCtrl(dialog, VK_TAB);
    EXPECT_EQ(page(), 1);
    EXPECT_EQ(screen::FocusOf(dialog), OfClass(dialog, WC_LISTVIEWW));
    screen::PressCtrl(dialog, VK_PRIOR);
    screen::PressCtrl(dialog, VK_PRIOR);
    EXPECT_EQ(page(), 3);
    EXPECT_EQ(screen::FocusOf(dialog), Captioned(dialog, Text(6104)));
    screen::PressCtrl(dialog, VK_NEXT);
    EXPECT_EQ(page(), 0);
    EXPECT_EQ(screen::CaptionOf(screen::FocusOf(dialog)), "City Pager");
  });
}

TEST_F(ConfigDialog, ItsListsAreWorkedByKeys) {
  Use([&](HWND dialog) {
    screen::SelectTab(dialog, 2);
    const HWND list = OfClass(dialog, WC_LISTVIEWW);
    ::PostMessageW(dialog, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(list), TRUE);
    screen::Settle(dialog);
    screen::Press(dialog, VK_RETURN);  // nothing is selected, and there is no default button
    screen::Press(dialog, VK_INSERT);
    const HWND prefix = screen::Window(Text(5104));
    screen::Type(OfClass(prefix, WC_EDITW), "0175");
    screen::Press(prefix, VK_RETURN);
    screen::WaitForEnd(prefix);
    screen::Settle(dialog);
    screen::Press(dialog, VK_RETURN);
    const HWND route = screen::Window(Text(105));
    screen::Choose(OfClass(route, WC_COMBOBOXW), "Plant SMS");
    screen::Press(route, VK_RETURN);
    screen::WaitForEnd(route);
    screen::Settle(dialog);
    EXPECT_EQ(desk_.Read("Routing\\0175", "UseService"), "Plant SMS");
    screen::Press(dialog, VK_DELETE);
    const HWND question = screen::Window("Delete");
    screen::Press(question, VK_RETURN);
    screen::WaitForEnd(question);
    screen::Settle(dialog);
    EXPECT_EQ(screen::RowsOf(list).size(), 3U);
  });
  EXPECT_EQ(desk_.Read("Routing\\0175", "UseService"), "(none)");
}

TEST_F(ConfigDialog, TheKeysStayAwayFromAButtonThatHasBeenDisabled) {
  Use([&](HWND dialog) {
    screen::SelectTab(dialog, 1);
    const HWND list = OfClass(dialog, WC_LISTVIEWW);
    EXPECT_FALSE(::IsWindowEnabled(Captioned(dialog, Text(5007))));
    screen::SelectRow(list, 0);
    const HWND remove = Captioned(dialog, Text(5007));
    EXPECT_TRUE(::IsWindowEnabled(remove));
    ::PostMessageW(dialog, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(remove), TRUE);
    screen::Settle(dialog);
    Click(remove);
    const HWND question = screen::Window("Delete");
    screen::Press(question, VK_RETURN);
    screen::WaitForEnd(question);
    screen::Settle(dialog);
    EXPECT_FALSE(::IsWindowEnabled(remove));
    EXPECT_EQ(screen::FocusOf(dialog), list);
  });
}

TEST_F(ConfigDialog, ANewServiceBeginsWithItsName) {
  Use([&](HWND dialog) {
    screen::SelectTab(dialog, 1);
    Click(Captioned(dialog, Text(5005)));
    const HWND add = screen::Window(Text(6119));
    EXPECT_EQ(screen::FocusOf(add), screen::After(add, Text(12)));
    screen::Press(add, VK_ESCAPE);
    screen::WaitForEnd(add);
  });
}

TEST_F(ConfigDialog, AValueThatItDoesNotOfferSurvives) {
  desk_.Write("Services\\City Pager", "BaudRate", "57600");
  desk_.Write("Services\\City Pager", "ModemSetting", "8E1");
  Use([&](HWND dialog) {
    screen::SelectTab(dialog, 1);
    screen::DoubleClickRow(OfClass(dialog, WC_LISTVIEWW), 0);
    ASSERT_TRUE(screen::WaitUntil([&] { return !::IsWindowEnabled(dialog); }));
    const HWND properties = ::GetLastActivePopup(dialog);
    screen::Settle(properties);
    EXPECT_EQ(screen::FocusOf(properties), screen::After(properties, Text(6003)));
    Click(Captioned(properties, Text(10)));
    screen::WaitForEnd(properties);
  });
  EXPECT_EQ(desk_.Read("Services\\City Pager", "BaudRate"), "57600");
  EXPECT_EQ(desk_.Read("Services\\City Pager", "ModemSetting"), "8E1");
}

TEST_F(ConfigDialog, HasOurIconAndTheBoxesOfAWindowOfItsOwn) {
  Use([&](HWND dialog) {
    EXPECT_NE(::SendMessageW(dialog, WM_GETICON, ICON_SMALL, 0), 0);
    EXPECT_NE(::SendMessageW(dialog, WM_GETICON, ICON_BIG, 0), 0);
    constexpr LONG_PTR kBoxes = WS_MINIMIZEBOX | WS_MAXIMIZEBOX;
    EXPECT_EQ(::GetWindowLongPtrW(dialog, GWL_STYLE) & kBoxes, kBoxes);
    screen::SelectTab(dialog, 3);
    Click(Captioned(dialog, Text(6104)));
    const HWND tool = screen::Window(Text(6105));
    EXPECT_NE(::SendMessageW(tool, WM_GETICON, ICON_SMALL, 0), 0);
    EXPECT_EQ(::GetWindowLongPtrW(tool, GWL_STYLE) & kBoxes, 0);
    screen::Press(tool, VK_ESCAPE);
    screen::WaitForEnd(tool);
  });
}

TEST_F(ConfigDialog, TipsExplainItsOptions) {
  Use([&](HWND dialog) {
    HWND tips = nullptr;
    while ((tips = ::FindWindowExW(nullptr, tips, TOOLTIPS_CLASSW, nullptr)) &&
           ::GetWindow(tips, GW_OWNER) != dialog) {
    }
    ASSERT_NE(tips, nullptr);
    wchar_t text[200] = L"";
    TTTOOLINFOW tool = {};
    tool.cbSize = TTTOOLINFOW_V1_SIZE;
    tool.uFlags = TTF_IDISHWND;
    tool.hwnd = dialog;
    tool.uId = reinterpret_cast<UINT_PTR>(Captioned(dialog, Text(5011)));
    tool.lpszText = text;
    ::SendMessageW(tips, TTM_GETTEXTW, 200, reinterpret_cast<LPARAM>(&tool));
    EXPECT_STREQ(text, screen::IsGerman() ? L"F\u00FCr sp\u00E4ter: \u00E4ndert nichts"
                                          : L"For later use: it changes nothing");
  });
}

TEST_F(ConfigDialog, FieldsOfARowStandOnOneLine) {
  Use([&](HWND dialog) {
    const RECT combo = screen::PlaceIn(dialog, screen::After(dialog, Text(5010)));
    const RECT number = screen::PlaceIn(dialog, screen::After(dialog, Text(5015)));
    EXPECT_EQ(combo.bottom - combo.top, number.bottom - number.top);
    screen::SelectTab(dialog, 2);
    const HWND list = OfClass(dialog, WC_LISTVIEWW);
    RECT inside = {};
    ::GetClientRect(list, &inside);
    LRESULT columns = 0;
    for (const WPARAM column : {WPARAM{0}, WPARAM{1}}) {
      columns += ::SendMessageW(list, LVM_GETCOLUMNWIDTH, column, 0);
    }
    EXPECT_EQ(columns, inside.right);
  });
}

// --- owners, modality, life -----------------------------------------------------------------

class OwnedConfigDialog : public ConfigDialog {
 protected:
  HWND owner_ = ::CreateWindowW(WC_STATICW, L"Host", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 10, 10, 300,
                                200, nullptr, nullptr, nullptr, nullptr);
  ~OwnedConfigDialog() override { ::DestroyWindow(owner_); }
};

TEST_F(OwnedConfigDialog, StaysInFrontOfTheHostsWindowAndBlocksIt) {
  screen::User user([&] {
    const HWND dialog = screen::Window(Text(5000));
    EXPECT_EQ(::GetWindow(dialog, GW_OWNER), owner_);
    EXPECT_FALSE(::IsWindowEnabled(owner_));
    screen::Press(dialog, VK_ESCAPE);
    screen::WaitForEnd(dialog);
  });
  desk_.ShowConfig(owner_);
  EXPECT_TRUE(::IsWindowEnabled(owner_));
}

TEST_F(OwnedConfigDialog, ShownModelessItLivesInTheHostsOwnLoop) {
  ASSERT_EQ(desk_.config().ShowConfigDialog(win32::Bstr(kDeskProfile).Get(),
                                            static_cast<LONG>(reinterpret_cast<LONG_PTR>(owner_)),
                                            VARIANT_FALSE),
            S_OK);
  EXPECT_TRUE(::IsWindowEnabled(owner_));
  const DWORD thread = ::GetCurrentThreadId();
  screen::User user([thread] {
    const HWND dialog = screen::Window(Text(5000));
    const HWND first = screen::FocusOf(dialog);
    screen::Press(dialog, VK_TAB);
    EXPECT_NE(screen::FocusOf(dialog), first);
    screen::Press(dialog, VK_ESCAPE);
    screen::WaitForEnd(dialog);
    ::PostThreadMessageW(thread, WM_QUIT, 0, 0);
  });
  MSG message;
  while (::GetMessageW(&message, nullptr, 0, 0) > 0) {  // a loop that knows nothing of dialogs
    ::TranslateMessage(&message);
    ::DispatchMessageW(&message);
  }
}

TEST_F(ConfigDialog, ALateBoundCallWithTheProfileAloneOpensItModeless) {
  com::Value profile(kDeskProfile);
  EXPECT_EQ(com::Invoke(&desk_.config(), L"ShowConfigDialog", DISPATCH_METHOD, {profile}), S_OK);
  const HWND dialog = screen::Window(Text(5000));
  ASSERT_NE(dialog, nullptr);
  EXPECT_EQ(::GetWindow(dialog, GW_OWNER), nullptr);
}

TEST_F(ConfigDialog, ASecondModelessDialogReplacesTheFirst) {
  const auto count = [] {
    int windows = 0;
    ::EnumThreadWindows(
        ::GetCurrentThreadId(),
        [](HWND window, LPARAM number) CALLBACK -> BOOL {
          if (::IsWindowVisible(window)) ++*reinterpret_cast<int*>(number);
          return TRUE;
        },
        reinterpret_cast<LPARAM>(&windows));
    return windows;
  };
  const int before = count();
  for (int i = 0; i < 2; ++i) {
    ASSERT_EQ(desk_.config().ShowConfigDialog(win32::Bstr(kDeskProfile).Get(), 0, VARIANT_FALSE),
              S_OK);
    EXPECT_EQ(count(), before + 1);
  }
}

TEST_F(ConfigDialog, AHundredRoundsLeaveNoWindowBehind) {
  const auto round = [&] {
    EXPECT_EQ(desk_.config().ShowConfigDialog(win32::Bstr(kDeskProfile).Get(), 0, VARIANT_FALSE),
              S_OK);
  };
  const auto windows = [] {
    int number = 0;
    ::EnumThreadWindows(
        ::GetCurrentThreadId(),
        [](HWND, LPARAM counted) CALLBACK -> BOOL {
          ++*reinterpret_cast<int*>(counted);
          return TRUE;
        },
        reinterpret_cast<LPARAM>(&number));
    return number;
  };
  round();
  const int before = windows();
  for (int i = 0; i < 100; ++i) round();
  EXPECT_EQ(windows(), before);
}

TEST_F(ConfigDialog, TheHostsOptionsHideWhatTheyDecide) {
  desk_.Write("", "ShowStatus", "1");
  desk_.config().put_DisableShowWindow(VARIANT_TRUE);
  desk_.config().put_EnforceLogging(VARIANT_TRUE);
  Use([&](HWND dialog) {
    screen::SelectTab(dialog, 3);
    const HWND test = Captioned(dialog, Text(6104));
    for (HWND control = test; control; control = ::GetWindow(control, GW_HWNDNEXT)) {
      const std::string caption = screen::CaptionOf(control);
      if (caption == Text(5016) || caption == Text(5017) || caption == Text(5018)) {
        EXPECT_FALSE(::IsWindowVisible(control)) << caption;
      }
    }
  });
  EXPECT_EQ(Read("ShowStatus"), "0");
  EXPECT_EQ(Read("WriteLogfile"), "1");
}

}  // namespace
}  // namespace mvsms
