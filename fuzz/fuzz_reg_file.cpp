// Files of the Windows registry editor, as anybody may hand them over: they are read or refused,
// and what was read and can be written comes back the same.
#include <cstdint>
#include <string>
#include <string_view>

#include "cli/errors.h"
#include "cli/reg_file.h"
#include "fuzz/fuzz.h"

using namespace mvsms::cli;

namespace {

/// All values of the file in one key.
RegistryTree TreeOf(const RegFile& file) {
  RegistryTree tree;
  for (const RegStep& step : file.steps) {
    if (step.kind == RegStep::Kind::kSetValue) tree.values.emplace_back(step.name, step.value);
  }
  return tree;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  try {
    const RegistryTree tree = TreeOf(ReadRegFile(bytes));
    for (const RegFormat format : {RegFormat::kAnsi, RegFormat::kUnicode}) {
      const std::string text = RegFileText("HKEY_LOCAL_MACHINE\\A", tree, format);
      mvsms::fuzz::Require(IsRegFile(text), "what is written is such a file");
      const std::string again =
          RegFileText("HKEY_LOCAL_MACHINE\\A", TreeOf(ReadRegFile(text)), format);
      mvsms::fuzz::Require(again == text, "what is written is read as it was");
    }
  } catch (const UsageError&) {
    // Refused.
  }
  return 0;
}
