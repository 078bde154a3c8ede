// What the component knows about its surroundings: the user's language, its own folder, its
// version.
#pragma once

#include <cstdint>
#include <string>

namespace mvsms {

inline constexpr std::uint16_t kLanguageGerman = 1031;   // de-DE
inline constexpr std::uint16_t kLanguageEnglish = 1033;  // en-US

/// What the system says about its own version (the basic record of GetVersionEx).
struct OsVersion {
  std::uint32_t platform = 0;  // VER_PLATFORM_*: 0 Win32s, 1 Windows 9x, 2 Windows NT
  std::uint32_t major = 0;
  std::uint32_t minor = 0;
  std::uint32_t build = 0;
  std::string service_pack{};  // up to 128 characters, with whatever follows a NUL among them
};

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
  /// The title of the host program: the name of its file without the extension.
  virtual std::string HostTitle() = 0;
  /// False when the system does not say.
  virtual bool GetOsVersion(OsVersion& version) = 0;
};

}  // namespace mvsms
