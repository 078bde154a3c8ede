// One class per type of control: from the model to the window in Show, back in OnCommand and
// OnNotify.
#include "backends/win32/control_window.h"

#include <algorithm>
#include <vector>

#include "backends/win32/handles.h"
#include "forms/mnemonics.h"

namespace mvsms::win32 {
namespace {

constexpr int kDropDownHeight = 3000;  // twips

std::string TextOf(HWND window) {
  std::wstring text(static_cast<std::size_t>(::GetWindowTextLengthW(window)) + 1, L'\0');
  const int length = ::GetWindowTextW(window, text.data(), static_cast<int>(text.size()));
  text.resize(static_cast<std::size_t>(length));
  return AnsiFromWide(text);
}

/// The current style of lists, where the system has it.
void BrightenList(HWND list) {
  using SetTheme = HRESULT(WINAPI*)(HWND, const wchar_t*, const wchar_t*);
  static const auto set_theme = reinterpret_cast<SetTheme>(
      reinterpret_cast<void*>(SystemFunction("uxtheme.dll", "SetWindowTheme")));
  if (set_theme) set_theme(list, L"Explorer", nullptr);
}

/// A control with a caption: all of them show it the same way.
class CaptionedWindow : public ControlWindow {
 public:
  void Show(Aspect aspect) override {
    if (aspect == Aspect::kText) {
      SetWindowCaption(MarkMnemonic(Model().Caption(), site().mnemonic));
    }
    ControlWindow::Show(aspect);
  }

 protected:
  using ControlWindow::ControlWindow;
};

class LabelWindow : public CaptionedWindow {
 public:
  LabelWindow(Label& model, const ControlSite& site)
      : CaptionedWindow(model, site, WC_STATICW, SS_LEFT) {
    ShowAll();
  }
};

/// A label with a handler is a link, which keyboard and screen reader reach.
class LinkWindow : public ControlWindow {
 public:
  LinkWindow(Label& model, const ControlSite& site)
      : ControlWindow(model, site, L"SysLink", WS_TABSTOP), model_(model) {
    ShowAll();
  }
  void Show(Aspect aspect) override {
    if (aspect == Aspect::kText) SetWindowCaption("<a>" + model_.Caption() + "</a>");
    ControlWindow::Show(aspect);
  }
  LRESULT OnNotify(const NMHDR& notice) override {
    if (notice.code == NM_CLICK || notice.code == NM_RETURN) {
      model_.Click();
    }
    return 0;
  }

 private:
  Label& model_;
};

/// Where the system has no link control: a text that can be clicked.
class PlainLinkWindow : public CaptionedWindow {
 public:
  PlainLinkWindow(Label& model, const ControlSite& site)
      : CaptionedWindow(model, site, WC_STATICW, SS_LEFT | SS_NOTIFY), model_(model) {
    ShowAll();
  }
  void OnCommand(WORD code) override {
    if (code == STN_CLICKED) model_.Click();
  }

 private:
  Label& model_;
};

/// The line between groups.
class LineWindow : public ControlWindow {
 public:
  LineWindow(Control& model, const ControlSite& site)
      : ControlWindow(model, site, WC_STATICW, SS_ETCHEDHORZ) {
    ShowAll();
  }

 protected:
  RECT Pixels() const override {
    RECT place = ControlWindow::Pixels();
    place.bottom = place.top + 2;
    return place;
  }
};

class TextWindow : public ControlWindow {
 public:
  TextWindow(TextBox& model, const ControlSite& site)
      : ControlWindow(model, site, WC_EDITW, StyleOf(model.style()), WS_EX_CLIENTEDGE),
        model_(model) {
    Send(EM_LIMITTEXT, 0);
    ShowAll();
  }

  void Show(Aspect aspect) override {
    if (aspect == Aspect::kText) ShowText();
    if (aspect == Aspect::kSelection && model_.IsScrolledToEnd()) ScrollToEnd();
    ControlWindow::Show(aspect);
  }
  RECT Pixels() const override {
    return model_.style().multi_line ? ControlWindow::Pixels()
                                     : site().metrics->FieldPixels(model_.Place());
  }
  void OnCommand(WORD code) override {
    if (code == EN_CHANGE && !showing_) model_.SetText(shown_ = TextOf(Handle()));
  }

 private:
  static DWORD StyleOf(const TextBoxStyle& style) {
    DWORD bits = WS_TABSTOP;
    if (style.multi_line) {
      bits |= ES_MULTILINE | ES_AUTOVSCROLL | WS_VSCROLL;
      if (!style.locked) bits |= ES_WANTRETURN;
    } else {
      bits |= ES_AUTOHSCROLL;
    }
    if (style.locked) bits |= ES_READONLY;
    if (style.password) bits |= ES_PASSWORD;
    return bits;
  }

  /// A text that only grew is appended, so that a running log does not flicker.
  void ShowText() {
    const std::string& text = model_.Text();
    if (text == shown_) return;
    showing_ = true;
    if (!shown_.empty() && text.starts_with(shown_)) {
      ScrollToEnd();
      Send(EM_REPLACESEL, FALSE, WideFromAnsi(text.substr(shown_.size())).c_str());
    } else {
      SetWindowCaption(text);
    }
    shown_ = text;
    showing_ = false;
  }
  void ScrollToEnd() {
    const auto end = static_cast<WPARAM>(::GetWindowTextLengthW(Handle()));
    Send(EM_SETSEL, end, static_cast<LPARAM>(end));
    Send(EM_SCROLLCARET);
  }

  TextBox& model_;
  std::string shown_;
  bool showing_ = false;  // while the model is shown, the window's notices are not the user's
};

class CheckWindow : public CaptionedWindow {
 public:
  CheckWindow(CheckBox& model, const ControlSite& site)
      : CaptionedWindow(model, site, WC_BUTTONW, WS_TABSTOP | BS_AUTOCHECKBOX), model_(model) {
    ShowAll();
  }
  void Show(Aspect aspect) override {
    if (aspect == Aspect::kSelection) Send(BM_SETCHECK, static_cast<WPARAM>(model_.Value()));
    CaptionedWindow::Show(aspect);
  }
  void OnCommand(WORD code) override {
    if (code == BN_CLICKED) model_.SetValue(static_cast<std::int32_t>(Send(BM_GETCHECK)));
  }

 private:
  CheckBox& model_;
};

class OptionWindow : public CaptionedWindow {
 public:
  OptionWindow(OptionButton& model, const ControlSite& site)
      : CaptionedWindow(model, site, WC_BUTTONW, WS_TABSTOP | BS_AUTORADIOBUTTON), model_(model) {
    ShowAll();
  }
  void Show(Aspect aspect) override {
    if (aspect == Aspect::kSelection)
      Send(BM_SETCHECK, model_.Value() ? BST_CHECKED : BST_UNCHECKED);
    CaptionedWindow::Show(aspect);
  }
  void OnCommand(WORD code) override {
    if (code == BN_CLICKED) model_.SetValue(true);
  }

 private:
  OptionButton& model_;
};

class ButtonWindow : public CaptionedWindow {
 public:
  ButtonWindow(CommandButton& model, const ControlSite& site)
      : CaptionedWindow(model, site, WC_BUTTONW,
                        WS_TABSTOP | (model.key() == CommandButton::Key::kEnter ? BS_DEFPUSHBUTTON
                                                                                : BS_PUSHBUTTON)),
        model_(model) {
    ShowAll();
  }
  void OnCommand(WORD code) override {
    if (code == BN_CLICKED && model_.Enabled()) model_.Click();
  }

 private:
  CommandButton& model_;
};

class ComboWindow : public ControlWindow {
 public:
  ComboWindow(ComboBox& model, const ControlSite& site)
      : ControlWindow(model, site, WC_COMBOBOXW, WS_TABSTOP | WS_VSCROLL | CBS_DROPDOWNLIST),
        model_(model) {
    ShowAll();
  }
  void Show(Aspect aspect) override {
    if (aspect == Aspect::kItems) ShowEntries();
    if (aspect == Aspect::kItems || aspect == Aspect::kSelection) {
      Send(CB_SETCURSEL, static_cast<WPARAM>(model_.ListIndex()));
      ShowOtherText();
    }
    ControlWindow::Show(aspect);
  }
  /// As high as a field of text, whatever the system's default for the font is. Systems differ in
  /// what they count as the height of the text: the height of the box tells.
  void Rescale() override {
    ControlWindow::Rescale();
    const RECT wanted = site().metrics->FieldPixels(model_.Place());
    LRESULT text_height = Send(CB_GETITEMHEIGHT, static_cast<WPARAM>(-1));
    for (int step = 0; step < 3; ++step) {
      RECT box = {};
      ::GetWindowRect(Handle(), &box);
      const LONG missing = (wanted.bottom - wanted.top) - (box.bottom - box.top);
      if (missing == 0) return;
      text_height += missing;
      Send(CB_SETITEMHEIGHT, static_cast<WPARAM>(-1), text_height);
    }
  }
  void OnCommand(WORD code) override {
    if (code == CBN_SELCHANGE) model_.SetListIndex(static_cast<int>(Send(CB_GETCURSEL)));
  }

 protected:
  /// Of the list that drops down, too.
  RECT Pixels() const override {
    RECT place = site().metrics->FieldPixels(model_.Place());
    place.bottom += site().metrics->Y(kDropDownHeight);
    return place;
  }

 private:
  /// A text that is no entry is shown as a hint, where the system has hints.
  void ShowOtherText() {
    constexpr UINT kSetCueBanner = 0x1703;  // commctrl.h CB_SETCUEBANNER
    const bool other = model_.ListIndex() == ComboBox::kNone;
    Send(kSetCueBanner, 0, WideFromAnsi(other ? model_.Text() : "").c_str());
  }
  void ShowEntries() {
    Send(WM_SETREDRAW, FALSE);
    Send(CB_RESETCONTENT);
    for (const ComboBox::Entry& entry : model_.List()) {
      Send(CB_ADDSTRING, 0, WideFromAnsi(entry.text).c_str());
    }
    Send(WM_SETREDRAW, TRUE);
    ::InvalidateRect(Handle(), nullptr, TRUE);
  }

  ComboBox& model_;
};

/// A list view that asks for its texts when it paints them: as quick with many rows as with few.
class ListWindow : public ControlWindow {
 public:
  ListWindow(ListView& model, const ControlSite& site)
      : ControlWindow(model, site, WC_LISTVIEWW,
                      WS_TABSTOP | LVS_REPORT | LVS_SINGLESEL | LVS_SHOWSELALWAYS | LVS_OWNERDATA |
                          LVS_NOSORTHEADER,
                      WS_EX_CLIENTEDGE),
        model_(model) {
    BrightenList(Handle());
    for (std::size_t i = 0; i < model.Columns().size(); ++i) AddColumn(i);
    ShowAll();
  }

  void Show(Aspect aspect) override {
    switch (aspect) {
      case Aspect::kText:
        for (std::size_t i = 0; i < model_.Columns().size(); ++i) ShowTitle(i);
        break;
      case Aspect::kItems:
        Send(LVM_SETITEMCOUNT, model_.Rows().size());
        ::InvalidateRect(Handle(), nullptr, TRUE);
        ShowSelection();
        FillWidth();
        break;
      case Aspect::kSelection:
        ShowSelection();
        break;
      case Aspect::kState:
        Send(LVM_SETEXTENDEDLISTVIEWSTYLE, 0, static_cast<LPARAM>(model_.ExtendedStyle()));
        break;
      case Aspect::kPlace:
        break;
    }
    ControlWindow::Show(aspect);
    if (aspect == Aspect::kPlace) FillWidth();
  }
  void Rescale() override {
    ControlWindow::Rescale();
    for (std::size_t i = 0; i < model_.Columns().size(); ++i) SetWidth(i, DesignWidth(i));
    FillWidth();
  }

  LRESULT OnNotify(const NMHDR& notice) override {
    switch (notice.code) {
      case LVN_GETDISPINFOW:
        GiveText(reinterpret_cast<const NMLVDISPINFOW&>(notice).item);
        return 0;
      case LVN_KEYDOWN:
        OnKey(reinterpret_cast<const NMLVKEYDOWN&>(notice).wVKey);
        return 0;
      case LVN_ITEMCHANGED:
      case LVN_ODSTATECHANGED:
        if (!showing_) TakeSelection();
        return 0;
      case LVN_ITEMACTIVATE:
        TakeSelection();
        model_.DoubleClick();
        return 0;
      case LVN_ODFINDITEMW:
        return Find(reinterpret_cast<const NMLVFINDITEMW&>(notice));
      default:
        return 0;
    }
  }

 private:
  void AddColumn(std::size_t index) {
    std::wstring title = WideFromAnsi(model_.Columns()[index].text);
    LVCOLUMNW column = {};
    column.mask = LVCF_WIDTH | LVCF_TEXT | LVCF_SUBITEM;
    column.cx = DesignWidth(index);
    column.pszText = title.data();
    column.iSubItem = static_cast<int>(index);
    Send(LVM_INSERTCOLUMNW, index, &column);
  }
  void ShowTitle(std::size_t index) {
    std::wstring title = WideFromAnsi(model_.Columns()[index].text);
    LVCOLUMNW column = {};
    column.mask = LVCF_TEXT;
    column.pszText = title.data();
    Send(LVM_SETCOLUMNW, index, &column);
  }
  int DesignWidth(std::size_t index) const {
    return site().metrics->X(model_.Columns()[index].width);
  }
  void SetWidth(std::size_t index, int width) {
    Send(LVM_SETCOLUMNWIDTH, index, static_cast<LPARAM>(width));
  }
  /// The last column takes what the others leave, and never less than its own.
  void FillWidth() {
    RECT area = {};
    ::GetClientRect(Handle(), &area);
    const std::size_t last = model_.Columns().size() - 1;
    int left = area.right;
    for (std::size_t i = 0; i < last; ++i) left -= static_cast<int>(Send(LVM_GETCOLUMNWIDTH, i));
    SetWidth(last, std::max(left, DesignWidth(last)));
  }
  void OnKey(WORD key) {
    if (key == VK_DELETE) RaiseEvent(model_.OnDeleteKey);
    if (key == VK_INSERT) RaiseEvent(model_.OnInsertKey);
  }
  void ShowSelection() {
    showing_ = true;
    LVITEMW item = {};
    item.stateMask = LVIS_SELECTED | LVIS_FOCUSED;
    Send(LVM_SETITEMSTATE, static_cast<WPARAM>(-1), &item);
    if (model_.Selected() != ListView::kNone) {
      item.state = item.stateMask;
      Send(LVM_SETITEMSTATE, static_cast<WPARAM>(model_.Selected()), &item);
    }
    if (model_.VisibleRow() != ListView::kNone) {
      Send(LVM_ENSUREVISIBLE, static_cast<WPARAM>(model_.VisibleRow()), LPARAM{FALSE});
    }
    showing_ = false;
  }
  void TakeSelection() {
    const auto selected =
        static_cast<int>(Send(LVM_GETNEXTITEM, static_cast<WPARAM>(-1), LPARAM{LVNI_SELECTED}));
    if (selected != model_.Selected()) model_.Select(selected);
  }
  std::wstring TextAt(std::size_t row, std::size_t column) const {
    if (row >= model_.Rows().size()) return {};
    const ListView::Row& texts = model_.Rows()[row];
    if (column == 0) return WideFromAnsi(texts.text);
    return column <= texts.sub_items.size() ? WideFromAnsi(texts.sub_items[column - 1]) : L"";
  }
  void GiveText(const LVITEMW& item) const {
    if (!(item.mask & LVIF_TEXT) || item.cchTextMax <= 0) return;
    ::lstrcpynW(
        item.pszText,
        TextAt(static_cast<std::size_t>(item.iItem), static_cast<std::size_t>(item.iSubItem))
            .c_str(),
        item.cchTextMax);
  }
  /// The row that begins with what the user types.
  LRESULT Find(const NMLVFINDITEMW& search) const {
    if (!(search.lvfi.flags & (LVFI_STRING | LVFI_PARTIAL))) return -1;
    const int length = ::lstrlenW(search.lvfi.psz);
    const auto rows = static_cast<int>(model_.Rows().size());
    for (int step = 0; step < rows; ++step) {
      const int row = (search.iStart + step) % rows;
      const std::wstring text = TextAt(static_cast<std::size_t>(row), 0);
      if (::CompareStringW(LOCALE_USER_DEFAULT, NORM_IGNORECASE, text.c_str(),
                           std::min(length, static_cast<int>(text.size())), search.lvfi.psz,
                           length) == CSTR_EQUAL) {
        return row;
      }
    }
    return -1;
  }

  ListView& model_;
  bool showing_ = false;
};

class TabWindow : public ControlWindow {
 public:
  TabWindow(TabStrip& model, const ControlSite& site)
      : ControlWindow(model, site, WC_TABCONTROLW, WS_TABSTOP), model_(model) {
    for (std::size_t i = 0; i < model.Tabs().size(); ++i) {
      TCITEMW item = {};
      item.mask = TCIF_TEXT;
      item.pszText = const_cast<wchar_t*>(L"");
      Send(TCM_INSERTITEMW, i, &item);
    }
    ShowAll();
  }
  void Show(Aspect aspect) override {
    if (aspect == Aspect::kText) ShowCaptions();
    if (aspect == Aspect::kSelection) {
      Send(TCM_SETCURSEL, static_cast<WPARAM>(model_.SelectedIndex() - 1));
    }
    ControlWindow::Show(aspect);
  }
  LRESULT OnNotify(const NMHDR& notice) override {
    if (notice.code == TCN_SELCHANGE) {
      model_.Select(static_cast<int>(Send(TCM_GETCURSEL)) + 1);
    }
    return 0;
  }

 private:
  void ShowCaptions() {
    for (std::size_t i = 0; i < model_.Tabs().size(); ++i) {
      std::wstring caption = WideFromAnsi(model_.Tabs()[i].caption);
      TCITEMW item = {};
      item.mask = TCIF_TEXT;
      item.pszText = caption.data();
      Send(TCM_SETITEMW, i, &item);
    }
  }

  TabStrip& model_;
};

class ToolbarWindow : public ControlWindow {
 public:
  ToolbarWindow(Toolbar& model, const ControlSite& site)
      : ControlWindow(
            model, site, TOOLBARCLASSNAMEW,
            CCS_NODIVIDER | CCS_NOPARENTALIGN | TBSTYLE_LIST | TBSTYLE_FLAT | TBSTYLE_TOOLTIPS),
        model_(model) {
    Send(TB_BUTTONSTRUCTSIZE, sizeof(TBBUTTON));
    for (std::size_t i = 0; i < model.Buttons().size(); ++i) {
      const std::wstring caption = WideFromAnsi(model.Buttons()[i].caption);
      TBBUTTON button = {};
      button.iBitmap = I_IMAGENONE;
      button.idCommand = static_cast<int>(i);
      button.fsState = TBSTATE_ENABLED;
      button.fsStyle = BTNS_BUTTON | BTNS_AUTOSIZE;
      button.iString = reinterpret_cast<INT_PTR>(caption.c_str());
      Send(TB_ADDBUTTONSW, 1, &button);
    }
    ShowAll();
  }
  LRESULT OnNotify(const NMHDR& notice) override {
    if (notice.code == NM_CLICK) {
      const auto index = reinterpret_cast<const NMMOUSE&>(notice).dwItemSpec;
      if (index < model_.Buttons().size()) model_.Click(index);
    } else if (notice.code == TBN_GETINFOTIPW) {
      const auto& tip = reinterpret_cast<const NMTBGETINFOTIPW&>(notice);
      const auto index = static_cast<std::size_t>(tip.iItem);
      if (index < model_.Buttons().size()) {
        ::lstrcpynW(tip.pszText, WideFromAnsi(model_.Buttons()[index].tool_tip).c_str(),
                    tip.cchTextMax);
      }
    }
    return 0;
  }

 private:
  Toolbar& model_;
};

/// A page of a tab strip: a dialog without a frame, so that the keyboard passes through it and its
/// background is the tab's. Its caption is for screen readers. What its controls report goes on to
/// the form.
class PageWindow : public CaptionedWindow {
 public:
  PageWindow(Frame& model, const ControlSite& site)
      : CaptionedWindow(model, site, nullptr, DS_CONTROL, WS_EX_CONTROLPARENT) {
    ShowAll();
  }
};

using EnableTexture = HRESULT(WINAPI*)(HWND, DWORD);

/// Disabled ones have their own look.
bool IsReadOnlyField(HWND window) {
  wchar_t type[16] = L"";
  ::GetClassNameW(window, type, 16);
  return ::lstrcmpiW(type, WC_EDITW) == 0 && ::IsWindowEnabled(window);
}

/// A field that cannot be written to looks it, also on the bright ground of a tab.
INT_PTR Greyed(HDC field) {
  ::SetTextColor(field, ::GetSysColor(COLOR_BTNTEXT));
  ::SetBkColor(field, ::GetSysColor(COLOR_BTNFACE));
  return reinterpret_cast<INT_PTR>(::GetSysColorBrush(COLOR_BTNFACE));
}

INT_PTR CALLBACK PageProc(HWND page, UINT message, WPARAM wparam, LPARAM lparam) {
  switch (message) {
    case WM_COMMAND:
      ::SendMessageW(::GetParent(page), message, wparam, lparam);
      return TRUE;
    case WM_NOTIFY:
      ::SetWindowLongPtrW(page, DWLP_MSGRESULT,
                          ::SendMessageW(::GetParent(page), message, wparam, lparam));
      return TRUE;
    case WM_CTLCOLORSTATIC:
      return IsReadOnlyField(reinterpret_cast<HWND>(lparam)) ? Greyed(reinterpret_cast<HDC>(wparam))
                                                             : 0;
    default:
      return FALSE;
  }
}

HWND MakePage(HWND parent, DWORD style) {
  struct {
    DLGTEMPLATE head;
    WORD menu, window_class, title;
  } empty = {};
  empty.head.style = style;
  empty.head.dwExtendedStyle = WS_EX_CONTROLPARENT;
  const HWND page =
      ::CreateDialogIndirectParamW(nullptr, &empty.head, parent, PageProc, /*parameter=*/0);
  static const auto enable_texture = reinterpret_cast<EnableTexture>(
      reinterpret_cast<void*>(SystemFunction("uxtheme.dll", "EnableThemeDialogTexture")));
  if (page && enable_texture) enable_texture(page, ETDT_ENABLETAB);
  return page;
}

}  // namespace

ControlWindow::ControlWindow(Control& control, const ControlSite& site, const wchar_t* window_class,
                             DWORD style, DWORD extended_style)
    : control_(control), site_(site) {
  const DWORD child =
      WS_CHILD | WS_CLIPSIBLINGS | style | (site.starts_group ? WS_GROUP : DWORD{0});
  if (window_class == nullptr) {
    handle_ = MakePage(site.parent, child);
    return;
  }
  handle_ =
      ::CreateWindowExW(extended_style, window_class, L"", child, 0, 0, 0, 0, site.parent,
                        reinterpret_cast<HMENU>(static_cast<UINT_PTR>(site.id)), nullptr, nullptr);
}

ControlWindow::~ControlWindow() {
  if (handle_ && ::IsWindow(handle_)) ::DestroyWindow(handle_);
}

void ControlWindow::ShowAll() {
  Rescale();
  for (const Aspect aspect : {Aspect::kText, Aspect::kItems, Aspect::kSelection, Aspect::kState}) {
    Show(aspect);
  }
}

void ControlWindow::Rescale() {
  Send(WM_SETFONT, reinterpret_cast<WPARAM>(site_.metrics->Font()), LPARAM{TRUE});
  Place();
}

void ControlWindow::Show(Aspect aspect) {
  if (aspect == Aspect::kPlace) Place();
  if (aspect == Aspect::kState) {
    ::EnableWindow(handle_, control_.Enabled());
    ::ShowWindow(handle_, control_.Visible() ? SW_SHOWNA : SW_HIDE);
  }
}

RECT ControlWindow::Pixels() const { return site_.metrics->Pixels(control_.Place()); }

void ControlWindow::Place() {
  const RECT place = Pixels();
  ::SetWindowPos(handle_, nullptr, place.left, place.top, place.right - place.left,
                 place.bottom - place.top, SWP_NOZORDER | SWP_NOACTIVATE);
}

std::unique_ptr<ControlWindow> MakeControlWindow(Control& control, const ControlSite& site) {
  switch (control.Type()) {
    case ControlType::kLabel: {
      auto& label = static_cast<Label&>(control);
      if (!label.OnClick) return std::make_unique<LabelWindow>(label, site);
      auto link = std::make_unique<LinkWindow>(label, site);
      if (link->Handle()) return link;
      return std::make_unique<PlainLinkWindow>(label, site);
    }
    case ControlType::kTextBox:
      return std::make_unique<TextWindow>(static_cast<TextBox&>(control), site);
    case ControlType::kCheckBox:
      return std::make_unique<CheckWindow>(static_cast<CheckBox&>(control), site);
    case ControlType::kOptionButton:
      return std::make_unique<OptionWindow>(static_cast<OptionButton&>(control), site);
    case ControlType::kCommandButton:
      return std::make_unique<ButtonWindow>(static_cast<CommandButton&>(control), site);
    case ControlType::kComboBox:
      return std::make_unique<ComboWindow>(static_cast<ComboBox&>(control), site);
    case ControlType::kListView:
      return std::make_unique<ListWindow>(static_cast<ListView&>(control), site);
    case ControlType::kTabStrip:
      return std::make_unique<TabWindow>(static_cast<TabStrip&>(control), site);
    case ControlType::kToolbar:
      return std::make_unique<ToolbarWindow>(static_cast<Toolbar&>(control), site);
    case ControlType::kFrame:
      return std::make_unique<PageWindow>(static_cast<Frame&>(control), site);
    case ControlType::kLine:
      return std::make_unique<LineWindow>(control, site);
    case ControlType::kMenu:
    case ControlType::kTimer:
      return nullptr;
  }
  return nullptr;
}

}  // namespace mvsms::win32
