// The registry as a tree in memory.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "backends/memory/machine.h"

namespace mvsms::memory {

/// A key of the tree. Subkeys and values are found and ordered by their folded names; each keeps
/// the spelling it was created with.
struct RegistryKey {
  struct Value {
    std::string name;
    RegType type;
    std::string data;
  };
  std::string name;
  bool deleted = false;
  std::map<std::string, std::shared_ptr<RegistryKey>> subkeys;
  std::map<std::string, Value> values;
};

class MemoryRegistry : public Registry {
 public:
  explicit MemoryRegistry(Machine& machine) : machine_(machine) {}

  RegStatus OpenKey(RegKey parent, const std::string& path, std::uint32_t access,
                    RegKey& key) override;
  RegStatus CreateKey(RegKey parent, const std::string& path, RegKey& key) override;
  RegStatus CloseKey(RegKey key) override;
  RegStatus QueryValueInfo(RegKey key, const std::string& name, RegType& type,
                           std::uint32_t& size) override;
  RegStatus QueryValue(RegKey key, const std::string& name, RegType& type,
                       std::string& data) override;
  RegStatus SetValue(RegKey key, const std::string& name, RegType type,
                     const std::string& data) override;
  RegStatus EnumKey(RegKey key, std::uint32_t index, std::size_t buffer_size,
                    std::string& name) override;
  RegStatus EnumValue(RegKey key, std::uint32_t index, std::string& name) override;
  RegStatus DeleteValue(RegKey key, const std::string& name) override;
  RegStatus DeleteKey(RegKey parent, const std::string& name) override;
  bool HasDeleteTree() override;
  RegStatus DeleteTree(RegKey parent, const std::string& name) override;

  void BeginReading() override;
  void EndReading() override { --depth_; }

  std::size_t open_keys() const { return open_.size(); }
  /// In how many goes everything so far was read: those of OneReading, and each call outside one.
  int goes() const { return goes_; }

 private:
  using KeyPointer = std::shared_ptr<RegistryKey>;

  /// The key behind a handle.
  RegStatus Look(RegKey handle, KeyPointer& key) const;
  /// The value of an open key; `value` points into the tree.
  RegStatus LookUpValue(RegKey handle, const std::string& name,
                        const RegistryKey::Value*& value) const;
  RegStatus Delete(RegKey parent, const std::string& path, bool with_subkeys);
  RegKey Remember(KeyPointer key);
  /// Names of the subkeys in their order, kept from one call to the next: a list of fifty thousand
  /// is read entry by entry.
  const std::vector<std::string>& Listing(const KeyPointer& key);

  void NoteReading();

  Machine& machine_;
  int goes_ = 0, depth_ = 0;
  KeyPointer hive_ = std::make_shared<RegistryKey>();
  std::map<RegKey, KeyPointer> open_;
  RegKey last_handle_ = 0;
  KeyPointer listed_;  // whose names `listing_` holds; null after a change
  std::vector<std::string> listing_;
};

}  // namespace mvsms::memory
