// What the component knows of its place: the user's language, its own folder, its version.
#pragma once

#include <cstdint>
#include <string>

namespace mvsms {

inline constexpr std::uint16_t kLanguageGerman = 1031;   // de-DE
inline constexpr std::uint16_t kLanguageEnglish = 1033;  // en-US

class Locale {
 public:
  virtual ~Locale() = default;
  /// Language identifier of the user interface (winnt.h LANGID).
  virtual std::uint16_t UserLanguage() = 0;
  /// Folder that holds the component's own file; on systems without one, the folder of all state.
  virtual std::string ComponentFolder() = 0;
  /// Character between the parts of a path: "\" or "/".
  virtual char PathSeparator() = 0;
  /// The component's file name without its extension, such as "mvSMS".
  virtual std::string ComponentName() = 0;
  /// Version of the component, such as "1.0.0".
  virtual std::string ComponentVersion() = 0;
};

}  // namespace mvsms
