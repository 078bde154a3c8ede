// See registry.h. A handle keeps its key alive after the key was deleted, so that it never refers
// to another key of the same name; every later use of it reports that there is no key.
#include "backends/memory/registry.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>
#include <vector>

#include "base/ansi.h"
#include "platform/registry_key.h"

namespace mvsms::memory {
namespace {

using KeyPointer = std::shared_ptr<RegistryKey>;

KeyPointer Find(KeyPointer key, const std::string& path) {
  for (const std::string_view name : SplitKeyPath(path)) {
    const auto found = key->subkeys.find(FoldCase(name));
    if (found == key->subkeys.end()) return nullptr;
    key = found->second;
  }
  return key;
}

KeyPointer FindOrAdd(KeyPointer key, const std::string& path) {
  for (const std::string_view name : SplitKeyPath(path)) {
    KeyPointer& subkey = key->subkeys[FoldCase(name)];
    if (!subkey) {
      subkey = std::make_shared<RegistryKey>();
      subkey->name = std::string(name);
    }
    key = subkey;
  }
  return key;
}

void MarkDeleted(RegistryKey& key) {
  key.deleted = true;
  for (const auto& [folded, subkey] : key.subkeys) MarkDeleted(*subkey);
}

/// A value for the record of what was stored: "=text", or "#number".
std::string Printed(RegType type, const std::string& data) {
  if (type != RegType::kDword || data.size() != 4) return "=" + data;
  return "#" + std::to_string(static_cast<std::int32_t>(DwordIn(data)));
}

}  // namespace

RegStatus MemoryRegistry::OpenKey(RegKey parent, const std::string& path, std::uint32_t,
                                  RegKey& key) {
  NoteReading();
  if (machine_.Refuses("Registry.OpenKey")) return kRefusedByRegistry;
  KeyPointer from;
  if (const RegStatus status = Look(parent, from)) return status;
  if (path.starts_with('\\')) return kErrorBadPathname;
  const KeyPointer found = Find(from, path);
  if (!found) return kErrorFileNotFound;
  key = Remember(found);
  return kErrorSuccess;
}

RegStatus MemoryRegistry::CreateKey(RegKey parent, const std::string& path, RegKey& key) {
  if (machine_.Refuses("Registry.CreateKey")) return kRefusedByRegistry;
  KeyPointer from;
  if (const RegStatus status = Look(parent, from)) return status;
  if (path.starts_with('\\')) return kErrorBadPathname;
  listed_ = nullptr;
  key = Remember(FindOrAdd(from, path));
  return kErrorSuccess;
}

void MemoryRegistry::BeginReading() {
  NoteReading();
  ++depth_;
}

void MemoryRegistry::NoteReading() { goes_ += depth_ == 0 ? 1 : 0; }

RegStatus MemoryRegistry::CloseKey(RegKey key) {
  if (machine_.Refuses("Registry.CloseKey")) return kRefusedByRegistry;
  if (key == kHKeyLocalMachine) return kErrorSuccess;
  return open_.erase(key) > 0 ? kErrorSuccess : kErrorInvalidHandle;
}

RegStatus MemoryRegistry::QueryValueInfo(RegKey key, const std::string& name, RegType& type,
                                         std::uint32_t& size) {
  NoteReading();
  if (machine_.Refuses("Registry.QueryValueInfo")) return kRefusedByRegistry;
  const RegistryKey::Value* value = nullptr;
  if (const RegStatus status = LookUpValue(key, name, value)) return status;
  type = value->type;
  size = static_cast<std::uint32_t>(value->data.size());
  return kErrorSuccess;
}

RegStatus MemoryRegistry::QueryValue(RegKey key, const std::string& name, RegType& type,
                                     std::string& data) {
  NoteReading();
  if (machine_.Refuses("Registry.QueryValue")) return kRefusedByRegistry;
  const RegistryKey::Value* value = nullptr;
  if (const RegStatus status = LookUpValue(key, name, value)) return status;
  type = value->type;
  data = value->data;
  return kErrorSuccess;
}

RegStatus MemoryRegistry::SetValue(RegKey key, const std::string& name, RegType type,
                                   const std::string& data) {
  if (machine_.Refuses("Registry.SetValue")) return kRefusedByRegistry;
  KeyPointer opened;
  if (const RegStatus status = Look(key, opened)) return status;
  auto& value =
      opened->values.try_emplace(FoldCase(name), RegistryKey::Value{name, type, {}}).first->second;
  value.type = type;
  value.data = data;
  machine_.platform.stored.push_back(opened->name + "\\" + name + Printed(type, data));
  return kErrorSuccess;
}

RegStatus MemoryRegistry::EnumKey(RegKey key, std::uint32_t index, std::size_t buffer_size,
                                  std::string& name) {
  NoteReading();
  if (machine_.Refuses("Registry.EnumKey")) return kRefusedByRegistry;
  KeyPointer opened;
  if (const RegStatus status = Look(key, opened)) return status;
  if (index >= opened->subkeys.size()) return kErrorNoMoreItems;
  const std::string& found = Listing(opened)[index];
  if (found.size() + 1 > buffer_size) return kErrorMoreData;
  name = found;
  return kErrorSuccess;
}

const std::vector<std::string>& MemoryRegistry::Listing(const KeyPointer& key) {
  if (listed_ == key) return listing_;
  listed_ = key;
  listing_.clear();
  for (const auto& [folded, subkey] : key->subkeys) listing_.push_back(subkey->name);
  return listing_;
}

RegStatus MemoryRegistry::EnumValue(RegKey key, std::uint32_t index, std::string& name) {
  NoteReading();
  if (machine_.Refuses("Registry.EnumValue")) return kRefusedByRegistry;
  KeyPointer opened;
  if (const RegStatus status = Look(key, opened)) return status;
  if (index >= opened->values.size()) return kErrorNoMoreItems;
  auto value = opened->values.begin();
  std::advance(value, index);
  name = value->second.name;
  return kErrorSuccess;
}

RegStatus MemoryRegistry::DeleteValue(RegKey key, const std::string& name) {
  if (machine_.Refuses("Registry.DeleteValue")) return kRefusedByRegistry;
  KeyPointer opened;
  if (const RegStatus status = Look(key, opened)) return status;
  return opened->values.erase(FoldCase(name)) > 0 ? kErrorSuccess : kErrorFileNotFound;
}

RegStatus MemoryRegistry::DeleteKey(RegKey parent, const std::string& name) {
  if (machine_.Refuses("Registry.DeleteKey")) return kRefusedByRegistry;
  return Delete(parent, name, false);
}

bool MemoryRegistry::HasDeleteTree() { return !machine_.Refuses("Registry.HasDeleteTree"); }

RegStatus MemoryRegistry::DeleteTree(RegKey parent, const std::string& name) {
  if (machine_.Refuses("Registry.DeleteTree")) return kRefusedByRegistry;
  return Delete(parent, name, true);
}

RegStatus MemoryRegistry::Look(RegKey handle, KeyPointer& key) const {
  if (handle == kHKeyLocalMachine) {
    key = hive_;
    return kErrorSuccess;
  }
  const auto found = open_.find(handle);
  if (found == open_.end()) return kErrorInvalidHandle;
  if (found->second->deleted) return kErrorFileNotFound;
  key = found->second;
  return kErrorSuccess;
}

RegStatus MemoryRegistry::LookUpValue(RegKey handle, const std::string& name,
                                      const RegistryKey::Value*& value) const {
  KeyPointer key;
  if (const RegStatus status = Look(handle, key)) return status;
  const auto found = key->values.find(FoldCase(name));
  if (found == key->values.end()) return kErrorFileNotFound;
  value = &found->second;
  return kErrorSuccess;
}

RegStatus MemoryRegistry::Delete(RegKey parent, const std::string& path, bool with_subkeys) {
  KeyPointer from;
  if (const RegStatus status = Look(parent, from)) return status;
  if (path.starts_with('\\')) return kErrorBadPathname;
  const std::vector<std::string_view> names = SplitKeyPath(path);
  if (names.empty()) return kErrorInvalidParameter;
  const KeyPointer key = Find(from, path);
  if (!key) return kErrorFileNotFound;
  if (!with_subkeys && !key->subkeys.empty()) return kErrorAccessDenied;
  listed_ = nullptr;
  MarkDeleted(*key);
  for (std::size_t i = 0; i + 1 < names.size(); ++i) from = Find(from, std::string(names[i]));
  from->subkeys.erase(FoldCase(names.back()));
  return kErrorSuccess;
}

RegKey MemoryRegistry::Remember(KeyPointer key) {
  open_[++last_handle_] = std::move(key);
  return last_handle_;
}

}  // namespace mvsms::memory
