// Functions that only newer systems have are looked up, so that the component runs on older ones.
#include "backends/win32/form_metrics.h"

#include "backends/win32/handles.h"

namespace mvsms::win32 {
namespace {

constexpr UINT kStandardDpi = 96;

using ParametersForDpi = BOOL(WINAPI*)(UINT, UINT, PVOID, UINT, UINT);
using WindowDpi = UINT(WINAPI*)(HWND);

/// The font of message boxes, which is the one that users choose for dialogs.
UniqueFont UserFont(UINT dpi) {
  NONCLIENTMETRICSW metrics = {};
  metrics.cbSize = sizeof metrics;
  static const auto for_dpi = reinterpret_cast<ParametersForDpi>(
      reinterpret_cast<void*>(SystemFunction("user32.dll", "SystemParametersInfoForDpi")));
  if (for_dpi && for_dpi(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0, dpi)) {
    return UniqueFont(::CreateFontIndirectW(&metrics.lfMessageFont));
  }
  if (::SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0)) {
    return UniqueFont(::CreateFontIndirectW(&metrics.lfMessageFont));
  }
  return UniqueFont(nullptr);
}

}  // namespace

FormMetrics::FormMetrics(UINT dpi) : font_(UserFont(dpi)) {
  const HDC screen = ::GetDC(nullptr);
  const HGDIOBJ before = ::SelectObject(
      screen, font_ ? static_cast<HGDIOBJ>(font_.get()) : ::GetStockObject(DEFAULT_GUI_FONT));
  static constexpr char kLetters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  SIZE size = {};
  TEXTMETRICA text = {};
  if (::GetTextExtentPoint32A(screen, kLetters, 52, &size) && ::GetTextMetricsA(screen, &text)) {
    base_x_ = static_cast<int>((size.cx / 26 + 1) / 2);
    base_y_ = static_cast<int>(text.tmHeight);
  }
  ::SelectObject(screen, before);
  ::ReleaseDC(nullptr, screen);
}

RECT FormMetrics::Pixels(const Box& box) const {
  return {X(box.left), Y(box.top), X(box.left + box.width), Y(box.top + box.height)};
}

UINT DpiOf(HWND window) {
  static const auto window_dpi = reinterpret_cast<WindowDpi>(
      reinterpret_cast<void*>(SystemFunction("user32.dll", "GetDpiForWindow")));
  if (window && window_dpi) {
    if (const UINT dpi = window_dpi(window)) return dpi;
  }
  const HDC screen = ::GetDC(nullptr);
  const int dpi = ::GetDeviceCaps(screen, LOGPIXELSY);
  ::ReleaseDC(nullptr, screen);
  return dpi > 0 ? static_cast<UINT>(dpi) : kStandardDpi;
}

}  // namespace mvsms::win32
