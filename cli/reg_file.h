// The files that the Windows registry editor writes and reads (".reg"): in the ANSI code page
// ("REGEDIT4") and in UTF-16 ("Windows Registry Editor Version 5.00"). With them a profile goes
// from a Windows machine to a Linux one and back.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "cli/registry_tree.h"

namespace mvsms::cli {

/// One step of such a file. Names are in the ANSI code page.
struct RegStep {
  enum class Kind { kMakeKey, kDeleteKey, kSetValue, kDeleteValue };
  Kind kind = Kind::kMakeKey;
  std::string key;  // with its hive: "HKEY_LOCAL_MACHINE\..."
  std::string name{};
  RegistryValue value{};
  friend bool operator==(const RegStep&, const RegStep&) = default;
};

struct RegFile {
  std::vector<RegStep> steps;
  int lossy_texts = 0;  // values that have characters outside the code page, each now a "?"
};

/// Whether a file begins like one, byte order marks aside.
bool IsRegFile(std::string_view bytes);

/// What the file says, in its order. A UTF-8 byte order mark is taken too: editors leave such
/// files. Throws UsageError with the line for anything that is not of this format, and for a name
/// with characters outside the code page.
RegFile ReadRegFile(std::string_view bytes);

enum class RegFormat {
  kAnsi,     // REGEDIT4
  kUnicode,  // Version 5.00
};

/// The whole file for a key, named with its hive, and all below it. A text ends where its NUL is,
/// or its last character: the format knows no difference. Throws UsageError for a key whose name
/// has a line end.
std::string RegFileText(const std::string& key, const RegistryTree& tree, RegFormat format);

}  // namespace mvsms::cli
