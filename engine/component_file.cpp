// Paths in the component's folder.
#include "engine/component_file.h"

namespace mvsms {
namespace {

std::string WithSingleSeparators(const std::string& path, char separator) {
  std::string single;
  for (std::size_t i = 0; i < path.size(); ++i) {
    single += path[i];
    if (path[i] == separator && i + 1 < path.size() && path[i + 1] == separator) ++i;
  }
  return single;
}

}  // namespace

std::string ComponentFile(Locale& locale, const std::string& name) {
  const char separator = locale.PathSeparator();
  return WithSingleSeparators(locale.ComponentFolder() + separator + name, separator);
}

}  // namespace mvsms
