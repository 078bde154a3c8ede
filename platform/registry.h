// The registry service of the seam: the Win32 registry operations that the core uses, with their
// meaning. Back ends: the Windows registry itself, a SQLite file, a tree in memory.
//
// Every call returns a Win32 error code (kErrorSuccess when it worked) and never throws; a call
// that fails leaves its output arguments as they were. Key paths use "\" between components,
// relative to an open key or a predefined hive; one that begins with "\" is refused with
// kErrorBadPathname, while a trailing or doubled "\" is ignored. Key and value names compare
// without regard to case (in the ANSI code page) and keep the spelling they were created with;
// values keep their type and their raw bytes. A written value is on stable storage when SetValue
// returns. Several processes may use one store at once.
//
// Thread: a Registry object belongs to the thread of its Platform.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/win32_codes.h"

namespace mvsms {

/// An open key, or one of the predefined hives. Owned by the caller until CloseKey.
using RegKey = std::uintptr_t;
inline constexpr RegKey kHKeyLocalMachine = 0x80000002U;  // winreg.h HKEY_LOCAL_MACHINE

/// Type of a value (winnt.h REG_*). Types without a name here are stored and listed all the same.
enum class RegType : std::uint32_t {
  kNone = 0,
  kSz = 1,
  kExpandSz = 2,
  kBinary = 3,
  kDword = 4,
  kMultiSz = 7,
  kQword = 11,
};

/// A code of platform/win32_codes.h; 0 is success.
using RegStatus = std::int32_t;

/// Access masks of OpenKey (winnt.h).
inline constexpr std::uint32_t kMaximumAllowed = 0x02000000U;
inline constexpr std::uint32_t kKeyAllAccess = 0x3FU;

class Registry {
 public:
  virtual ~Registry() = default;

  /// Opens an existing key. An empty `path` opens `parent` itself once more.
  virtual RegStatus OpenKey(RegKey parent, const std::string& path, std::uint32_t access,
                            RegKey& key) = 0;

  /// Opens a key, creating it and every missing key on the way to it.
  virtual RegStatus CreateKey(RegKey parent, const std::string& path, RegKey& key) = 0;

  virtual RegStatus CloseKey(RegKey key) = 0;

  /// Type and size in bytes of a value.
  virtual RegStatus QueryValueInfo(RegKey key, const std::string& name, RegType& type,
                                   std::uint32_t& size) = 0;

  /// Type and raw bytes of a value, as they were stored (a text with or without its NUL).
  virtual RegStatus QueryValue(RegKey key, const std::string& name, RegType& type,
                               std::string& data) = 0;

  /// Writes a value, replacing one of the same name whatever its type.
  virtual RegStatus SetValue(RegKey key, const std::string& name, RegType type,
                             const std::string& data) = 0;

  /// Name of the subkey at `index` (from 0). kErrorNoMoreItems past the last one, kErrorMoreData
  /// when the name and its NUL do not fit into `buffer_size` characters. The order is that of the
  /// case-folded names; it is stable while no key is added or removed.
  virtual RegStatus EnumKey(RegKey key, std::uint32_t index, std::size_t buffer_size,
                            std::string& name) = 0;

  /// Name of the value at `index` (from 0); kErrorNoMoreItems past the last one.
  virtual RegStatus EnumValue(RegKey key, std::uint32_t index, std::string& name) = 0;

  /// Deletes a value; kErrorFileNotFound when the key has none of this name.
  virtual RegStatus DeleteValue(RegKey key, const std::string& name) = 0;

  /// Deletes a key that has no subkeys (kErrorAccessDenied when it has some), values included.
  virtual RegStatus DeleteKey(RegKey parent, const std::string& name) = 0;

  /// True when DeleteTree is available (on Windows: the library "Shlwapi" can be loaded).
  virtual bool HasDeleteTree() = 0;

  /// Deletes a key with all its subkeys, as one step: after a crash it is either whole or gone.
  virtual RegStatus DeleteTree(RegKey parent, const std::string& name) = 0;

  /// See OneReading. The one operation that Windows' registry does not have: there it does nothing.
  virtual void BeginReading() {}
  virtual void EndReading() {}
};

/// What is read while one of these lives is read in one go: it is one state of the store, and costs
/// the locks of one reading. For reading alone, and briefly, since whoever wants to write waits
/// meanwhile: neither a host's events nor a wait may fall into it. They may be nested.
class OneReading {
 public:
  explicit OneReading(Registry& registry) : registry_(registry) { registry_.BeginReading(); }
  ~OneReading() { registry_.EndReading(); }
  OneReading(const OneReading&) = delete;
  OneReading& operator=(const OneReading&) = delete;

 private:
  Registry& registry_;
};

}  // namespace mvsms
