// A user in front of the forms of a machine in memory: says what happens when a dialog opens, and
// reads what was shown and stored.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "backends/memory/memory_platform.h"
#include "forms/form.h"
#include "tests/support/profile.h"

namespace mvsms::test {

class Desktop {
 public:
  Desktop() {
    platform.on_modal = [this](Form& form) {
      opened.push_back(form.Name());
      const auto found = users_.find(form.Name());
      if (found != users_.end()) found->second(form);
    };
  }

  /// What the user does when the form opens modally. `FormClass` is the form's own class.
  template <class FormClass>
  void When(const std::string& name, std::function<void(FormClass&)> user) {
    users_[name] = [user](Form& form) { user(static_cast<FormClass&>(form)); };
  }

  void AddModem(const std::string& name) {
    memory::Line line;
    line.name = name;
    platform.lines.push_back(line);
  }

  std::string Text(const std::string& key, const std::string& value) {
    return ToText(basRegistry::GetValue(platform.registry(), kSettingsHive, key, value,
                                        std::string("(none)")));
  }
  std::vector<std::string> Keys(const std::string& key) {
    return basRegistry::EnumKeys(platform.registry(), kSettingsHive, key);
  }
  /// Forgets the records so far; to be called before the part of interest.
  void Forget() {
    platform.stored.clear();
    platform.shown.clear();
    platform.calls.clear();
    opened.clear();
  }
  /// The message boxes shown, as "style title: text".
  std::vector<std::string> Messages() const {
    std::vector<std::string> messages;
    for (const std::string& line : platform.shown) {
      if (line.starts_with("MsgBox ")) messages.push_back(line.substr(7));
    }
    return messages;
  }

  memory::MemoryPlatform platform;
  Profile profile{platform.registry()};
  std::vector<std::string> opened;  // forms shown modally, in order

 private:
  std::map<std::string, std::function<void(Form&)>> users_;
};

/// A form of every type of control, for tests of the control model.
class Sampler : public Form {
 public:
  explicit Sampler(Platform& platform, const char* tag = "")
      : Form(platform,
             {.name = "Sampler", .caption = "Sampler", .tag = tag, .width = 1000, .height = 1000}) {
  }
  ~Sampler() override { Unload(); }

  std::function<void()> on_load, on_resize, on_unload;

 private:
  void Form_Load() override {
    if (on_load) on_load();
  }
  void Form_Resize() override {
    if (on_resize) on_resize();
  }
  void Form_Unload() override {
    if (on_unload) on_unload();
  }
};

}  // namespace mvsms::test
