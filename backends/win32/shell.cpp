// Opening documents with the programs that the user has for them.
#include "backends/win32/backend.h"
#include "backends/win32/path.h"
#include "backends/win32/text.h"

namespace mvsms::win32 {
namespace {

class Win32Shell : public Shell {
 public:
  std::int32_t Execute(const std::string& verb, const std::string& file,
                       const std::string& parameters, const std::string& folder,
                       std::int32_t show) override {
    const HINSTANCE result = ::ShellExecuteW(
        ::GetDesktopWindow(), WideFromAnsi(verb).c_str(), WideFromPath(file).c_str(),
        WideFromAnsi(parameters).c_str(), WideFromPath(folder).c_str(), show);
    return static_cast<std::int32_t>(reinterpret_cast<INT_PTR>(result));
  }
};

}  // namespace

std::unique_ptr<Shell> MakeShell() { return std::make_unique<Win32Shell>(); }

}  // namespace mvsms::win32
