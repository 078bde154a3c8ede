// The user's font, and the scale from a form's twips to the pixels of its display. A form is
// designed for 8-point MS Sans Serif at 96 dpi; with another font or resolution everything grows
// alike.
#pragma once

#include <memory>

#include "backends/win32/win.h"
#include "forms/control.h"

namespace mvsms::win32 {

/// Graphics objects, released by DeleteObject.
struct FontDeleter {
  using pointer = HFONT;
  void operator()(HFONT font) const { ::DeleteObject(font); }
};
using UniqueFont = std::unique_ptr<HFONT, FontDeleter>;

class FormMetrics {
 public:
  /// For a display of this resolution.
  explicit FormMetrics(UINT dpi);

  UINT Dpi() const { return dpi_; }
  HFONT Font() const { return font_.get(); }
  int X(int twips) const { return ::MulDiv(twips, base_x_, kDesignX); }
  int Y(int twips) const { return ::MulDiv(twips, base_y_, kDesignY); }
  RECT Pixels(const Box& box) const;
  /// For a field of one line: as high as the system makes such fields for the font, in the middle
  /// of the box, so that the texts of all fields of a row stand on one line at any scale.
  RECT FieldPixels(const Box& box) const;
  int TwipsX(int pixels) const { return ::MulDiv(pixels, kDesignX, base_x_); }
  int TwipsY(int pixels) const { return ::MulDiv(pixels, kDesignY, base_y_); }

 private:
  // Twips of one average character of the design font, 6 by 13 pixels.
  static constexpr int kDesignX = 6 * 15;
  static constexpr int kDesignY = 13 * 15;

  UINT dpi_;
  UniqueFont font_;
  int base_x_ = 6;  // pixels of one average character
  int base_y_ = 13;
};

/// Resolution of the display that shows a window, or of the primary display.
UINT DpiOf(HWND window);
/// GetSystemMetrics for a display of this resolution.
int SystemMetric(int index, UINT dpi);
/// Grows an inner area by the frame of a window on a display of this resolution.
void AddFrame(RECT& area, HWND window, UINT dpi);

}  // namespace mvsms::win32
