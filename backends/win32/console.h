// A console program's surroundings: UTF-8 text and a COM apartment. Free of <windows.h>.
#pragma once

#include <string>
#include <vector>

namespace mvsms::win32 {

/// While one exists, the console shows UTF-8 and the thread is an apartment.
class Console {
 public:
  Console();
  ~Console();
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;

  /// The command line without the program's name, in UTF-8.
  std::vector<std::string> Arguments() const;

 private:
  unsigned code_page_before_;
};

}  // namespace mvsms::win32
