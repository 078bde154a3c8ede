// Functions that only newer systems have are looked up, so that the component runs on older ones.
#include "backends/win32/form_metrics.h"

#include <algorithm>

#include "backends/win32/handles.h"

namespace mvsms::win32 {
namespace {

constexpr UINT kStandardDpi = 96;
constexpr int kFieldFrame = 8;  // pixels of border and margins above and below the text of a field

using ParametersForDpi = BOOL(WINAPI*)(UINT, UINT, PVOID, UINT, UINT);
using WindowDpi = UINT(WINAPI*)(HWND);
using MetricForDpi = int(WINAPI*)(int, UINT);
using AdjustForDpi = BOOL(WINAPI*)(RECT*, DWORD, BOOL, DWORD, UINT);

/// A function of the system's window library as `Function`; null on systems without it.
template <class Function>
Function Find(const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void*>(SystemFunction("user32.dll", name)));
}

/// The font of message boxes, which is the one that users choose for dialogs.
UniqueFont UserFont(UINT dpi) {
  NONCLIENTMETRICSW metrics = {};
  metrics.cbSize = sizeof metrics;
  static const auto for_dpi = Find<ParametersForDpi>("SystemParametersInfoForDpi");
  if (for_dpi && for_dpi(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0, dpi)) {
    return UniqueFont(::CreateFontIndirectW(&metrics.lfMessageFont));
  }
  if (::SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0)) {
    return UniqueFont(::CreateFontIndirectW(&metrics.lfMessageFont));
  }
  return UniqueFont(nullptr);
}

}  // namespace

FormMetrics::FormMetrics(UINT dpi) : dpi_(dpi), font_(UserFont(dpi)) {
  const HDC screen = ::GetDC(nullptr);
  const HGDIOBJ before = ::SelectObject(
      screen, font_ ? static_cast<HGDIOBJ>(font_.get()) : ::GetStockObject(DEFAULT_GUI_FONT));
  static constexpr wchar_t kLetters[] = L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  SIZE size = {};
  TEXTMETRICW text = {};
  if (::GetTextExtentPoint32W(screen, kLetters, 52, &size) && ::GetTextMetricsW(screen, &text)) {
    base_x_ = static_cast<int>((size.cx / 26 + 1) / 2);
    base_y_ = static_cast<int>(text.tmHeight);
  }
  ::SelectObject(screen, before);
  ::ReleaseDC(nullptr, screen);
}

RECT FormMetrics::Pixels(const Box& box) const {
  return {X(box.left), Y(box.top), X(box.left + box.width), Y(box.top + box.height)};
}

RECT FormMetrics::FieldPixels(const Box& box) const {
  RECT place = Pixels(box);
  const LONG height = std::min<LONG>(place.bottom - place.top, base_y_ + kFieldFrame);
  place.top += (place.bottom - place.top - height) / 2;
  place.bottom = place.top + height;
  return place;
}

UINT DpiOf(HWND window) {
  static const auto window_dpi = Find<WindowDpi>("GetDpiForWindow");
  if (window && window_dpi) {
    if (const UINT dpi = window_dpi(window)) return dpi;
  }
  const HDC screen = ::GetDC(nullptr);
  const int dpi = ::GetDeviceCaps(screen, LOGPIXELSY);
  ::ReleaseDC(nullptr, screen);
  return dpi > 0 ? static_cast<UINT>(dpi) : kStandardDpi;
}

int SystemMetric(int index, UINT dpi) {
  static const auto for_dpi = Find<MetricForDpi>("GetSystemMetricsForDpi");
  return for_dpi ? for_dpi(index, dpi) : ::GetSystemMetrics(index);
}

void AddFrame(RECT& area, HWND window, UINT dpi) {
  static const auto for_dpi = Find<AdjustForDpi>("AdjustWindowRectExForDpi");
  const auto style = static_cast<DWORD>(::GetWindowLongPtrW(window, GWL_STYLE));
  const auto extended = static_cast<DWORD>(::GetWindowLongPtrW(window, GWL_EXSTYLE));
  const BOOL menu = ::GetMenu(window) != nullptr;
  if (!for_dpi || !for_dpi(&area, style, menu, extended, dpi)) {
    ::AdjustWindowRectEx(&area, style, menu, extended);
  }
}

}  // namespace mvsms::win32
