// The registry as a tree in memory.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "platform/memory/machine.h"

namespace mvsms::memory {

class MemoryRegistry : public Registry {
 public:
  explicit MemoryRegistry(Machine& machine);

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
  RegStatus DeleteKey(RegKey parent, const std::string& name) override;
  bool HasDeleteTree() override;
  RegStatus DeleteTree(RegKey parent, const std::string& name) override;

  /// Keys that are open besides the predefined ones.
  std::size_t open_keys() const { return open_.size() - 1; }

 private:
  struct Value {
    std::string name;
    RegType type;
    std::string data;
  };
  struct Node {
    std::string name;
    bool deleted = false;
    std::map<std::string, std::shared_ptr<Node>> keys;  // by folded name
    std::map<std::string, Value> values;                // by folded name
  };
  using NodePtr = std::shared_ptr<Node>;

  RegStatus Find(RegKey key, NodePtr& node) const;
  RegStatus FindValue(RegKey key, const std::string& name, const Value*& value) const;
  RegStatus FindPath(RegKey parent, const std::string& path, NodePtr& node, NodePtr& above) const;
  RegStatus Remove(RegKey parent, const std::string& name, bool with_subkeys);
  RegKey Remember(NodePtr node);

  Machine& machine_;
  std::map<RegKey, NodePtr> open_;
  RegKey last_ = 0;
};

}  // namespace mvsms::memory
