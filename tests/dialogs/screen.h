// A user in front of the screen: finds windows by what is written on them, clicks, types, and takes
// pictures. Works from a thread of its own while the program under test shows its dialogs.
#pragma once

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "backends/win32/win.h"

namespace mvsms::screen {

/// True when the user interface is German.
bool IsGerman();
/// A text of the string table in the language of the screen.
std::string Text(int id);

/// The visible top-level window of this process with this title; waits for it, at most ten seconds
/// (a failure then, and null).
HWND Window(const std::string& title);
/// Waits until the window has gone or is hidden.
void WaitForEnd(HWND window);
/// Waits until `condition` holds, at most ten seconds; false when it never does.
bool WaitUntil(const std::function<bool()>& condition);

/// Everything visible inside a window, in the order of the windows.
std::vector<HWND> VisibleControls(HWND form);
/// A visible control with this caption, access keys aside; null when there is none.
HWND Captioned(HWND form, const std::string& caption);
/// The control that follows the label with this caption.
HWND After(HWND form, const std::string& label);
/// The n-th visible control of a window class.
HWND OfClass(HWND form, const wchar_t* window_class, int n = 0);

std::string TextOf(HWND window);
/// The same without the marks of access keys.
std::string CaptionOf(HWND window);
void Click(HWND button);
/// Types into a text box, character by character, replacing what it holds.
void Type(HWND box, const std::string& text);
/// Chooses an entry of a drop-down list as the arrow keys do.
void Choose(HWND combo, const std::string& entry);
std::vector<std::string> EntriesOf(HWND combo);
void SelectTab(HWND form, int index);
void SelectRow(HWND list, int row);
void DoubleClickRow(HWND list, int row);
/// Rows of a list view, the columns joined by "|".
std::vector<std::string> RowsOf(HWND list);
/// Presses a key in the window that has the focus of this form's thread.
void Press(HWND form, WORD key);
/// Presses Alt and a letter.
void PressAlt(HWND form, char letter);
/// Presses a key while Ctrl is down.
void PressCtrl(HWND form, WORD key);
HWND FocusOf(HWND form);
/// Lets the form's thread work off everything that is waiting.
void Settle(HWND form);

/// Saves a picture of the window as `name` with the language added.
void TakePicture(HWND window, const std::string& name);
/// Captions of the visible controls that do not fit into them.
std::vector<std::string> ClippedCaptions(HWND form);
/// Visible controls that reach beyond the form's inner area.
std::vector<std::string> CutOffControls(HWND form);
/// Titles and texts of a list that are wider than their column.
std::vector<std::string> CutOffCells(HWND list);
/// Where a control stands in the form's inner area.
RECT PlaceIn(HWND form, HWND control);
/// Tells the form that it has come to a screen of this resolution, as the system does.
void ChangeDpi(HWND form, UINT dpi);

/// Runs the user's actions on a thread of their own until the end of the scope.
class User {
 public:
  explicit User(std::function<void()> actions) : thread_(std::move(actions)) {}
  ~User() { thread_.join(); }
  User(const User&) = delete;
  User& operator=(const User&) = delete;

 private:
  std::thread thread_;
};

}  // namespace mvsms::screen
