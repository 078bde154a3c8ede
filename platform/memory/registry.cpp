// Registry tree, see registry.h.
#include "platform/memory/registry.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/ansi.h"

namespace mvsms::memory {
namespace {

/// The components of a key path; empty ones do not count.
std::vector<std::string> Split(std::string_view path) {
  std::vector<std::string> components;
  while (!path.empty()) {
    const std::size_t end = std::min(path.find('\\'), path.size());
    if (end > 0) components.emplace_back(path.substr(0, end));
    path.remove_prefix(std::min(end + 1, path.size()));
  }
  return components;
}

template <typename Node>
void MarkDeleted(Node& node) {
  node.deleted = true;
  for (auto& [folded, key] : node.keys) MarkDeleted(*key);
}

}  // namespace

MemoryRegistry::MemoryRegistry(Machine& machine) : machine_(machine) {
  open_[kHKeyLocalMachine] = std::make_shared<Node>();
}

RegStatus MemoryRegistry::Find(RegKey key, NodePtr& node) const {
  const auto found = open_.find(key);
  if (found == open_.end()) return kErrorInvalidHandle;
  if (found->second->deleted) return kErrorFileNotFound;
  node = found->second;
  return kErrorSuccess;
}

RegStatus MemoryRegistry::FindPath(RegKey parent, const std::string& path, NodePtr& node,
                                   NodePtr& above) const {
  const RegStatus status = Find(parent, node);
  if (status != kErrorSuccess) return status;
  for (const std::string& name : Split(path)) {
    const auto found = node->keys.find(FoldCase(name));
    if (found == node->keys.end()) return kErrorFileNotFound;
    above = std::exchange(node, found->second);
  }
  return kErrorSuccess;
}

RegKey MemoryRegistry::Remember(NodePtr node) {
  open_[++last_] = std::move(node);
  return last_;
}

RegStatus MemoryRegistry::OpenKey(RegKey parent, const std::string& path, std::uint32_t,
                                  RegKey& key) {
  if (machine_.Refuses("Registry.OpenKey")) return kRefusedByRegistry;
  NodePtr node;
  NodePtr above;
  const RegStatus status = FindPath(parent, path, node, above);
  if (status == kErrorSuccess) key = Remember(std::move(node));
  return status;
}

RegStatus MemoryRegistry::CreateKey(RegKey parent, const std::string& path, RegKey& key) {
  if (machine_.Refuses("Registry.CreateKey")) return kRefusedByRegistry;
  NodePtr node;
  const RegStatus status = Find(parent, node);
  if (status != kErrorSuccess) return status;
  for (const std::string& name : Split(path)) {
    NodePtr& child = node->keys[FoldCase(name)];
    if (!child) child = std::make_shared<Node>(Node{.name = name, .keys = {}, .values = {}});
    node = NodePtr(child);
  }
  key = Remember(std::move(node));
  return kErrorSuccess;
}

RegStatus MemoryRegistry::CloseKey(RegKey key) {
  if (machine_.Refuses("Registry.CloseKey")) return kRefusedByRegistry;
  if (key == kHKeyLocalMachine) return kErrorSuccess;
  return open_.erase(key) > 0 ? kErrorSuccess : kErrorInvalidHandle;
}

RegStatus MemoryRegistry::FindValue(RegKey key, const std::string& name,
                                    const Value*& value) const {
  NodePtr node;
  const RegStatus status = Find(key, node);
  if (status != kErrorSuccess) return status;
  const auto found = node->values.find(FoldCase(name));
  if (found == node->values.end()) return kErrorFileNotFound;
  value = &found->second;
  return kErrorSuccess;
}

RegStatus MemoryRegistry::QueryValueInfo(RegKey key, const std::string& name, RegType& type,
                                         std::uint32_t& size) {
  if (machine_.Refuses("Registry.QueryValueInfo")) return kRefusedByRegistry;
  const Value* value = nullptr;
  const RegStatus status = FindValue(key, name, value);
  if (status != kErrorSuccess) return status;
  type = value->type;
  size = static_cast<std::uint32_t>(value->data.size());
  return kErrorSuccess;
}

RegStatus MemoryRegistry::QueryValue(RegKey key, const std::string& name, RegType& type,
                                     std::string& data) {
  if (machine_.Refuses("Registry.QueryValue")) return kRefusedByRegistry;
  const Value* value = nullptr;
  const RegStatus status = FindValue(key, name, value);
  if (status != kErrorSuccess) return status;
  type = value->type;
  data = value->data;
  return kErrorSuccess;
}

RegStatus MemoryRegistry::SetValue(RegKey key, const std::string& name, RegType type,
                                   const std::string& data) {
  if (machine_.Refuses("Registry.SetValue")) return kRefusedByRegistry;
  NodePtr node;
  const RegStatus status = Find(key, node);
  if (status != kErrorSuccess) return status;
  const auto [entry, added] = node->values.try_emplace(FoldCase(name), Value{name, type, data});
  if (!added) {
    entry->second.type = type;
    entry->second.data = data;
  }
  return kErrorSuccess;
}

RegStatus MemoryRegistry::EnumKey(RegKey key, std::uint32_t index, std::size_t buffer_size,
                                  std::string& name) {
  if (machine_.Refuses("Registry.EnumKey")) return kRefusedByRegistry;
  NodePtr node;
  const RegStatus status = Find(key, node);
  if (status != kErrorSuccess) return status;
  if (index >= node->keys.size()) return kErrorNoMoreItems;
  const std::string& found = std::next(node->keys.begin(), index)->second->name;
  if (found.size() + 1 > buffer_size) return kErrorMoreData;
  name = found;
  return kErrorSuccess;
}

RegStatus MemoryRegistry::EnumValue(RegKey key, std::uint32_t index, std::string& name) {
  if (machine_.Refuses("Registry.EnumValue")) return kRefusedByRegistry;
  NodePtr node;
  const RegStatus status = Find(key, node);
  if (status != kErrorSuccess) return status;
  if (index >= node->values.size()) return kErrorNoMoreItems;
  name = std::next(node->values.begin(), index)->second.name;
  return kErrorSuccess;
}

RegStatus MemoryRegistry::Remove(RegKey parent, const std::string& name, bool with_subkeys) {
  NodePtr node;
  NodePtr above;
  const RegStatus status = FindPath(parent, name, node, above);
  if (status != kErrorSuccess) return status;
  if (!above) return kErrorInvalidParameter;  // an open key cannot delete itself
  if (!with_subkeys && !node->keys.empty()) return kErrorAccessDenied;
  MarkDeleted(*node);
  above->keys.erase(FoldCase(node->name));
  return kErrorSuccess;
}

RegStatus MemoryRegistry::DeleteKey(RegKey parent, const std::string& name) {
  if (machine_.Refuses("Registry.DeleteKey")) return kRefusedByRegistry;
  return Remove(parent, name, false);
}

bool MemoryRegistry::HasDeleteTree() { return !machine_.Refuses("Registry.HasDeleteTree"); }

RegStatus MemoryRegistry::DeleteTree(RegKey parent, const std::string& name) {
  if (machine_.Refuses("Registry.DeleteTree")) return kRefusedByRegistry;
  return Remove(parent, name, true);
}

}  // namespace mvsms::memory
