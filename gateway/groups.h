// Groups of recipients: a name that stands for numbers, for other groups, and for what a command
// prints, such as who is on call tonight. They lie beside the services of a profile.
#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "engine/settings.h"
#include "platform/registry.h"

namespace mvsms::gateway {

/// What a recipient or a member begins with that is a group, or a command.
inline constexpr char kGroupMark = '@';
inline constexpr char kCommandMark = '!';

constexpr bool IsGroup(std::string_view to) { return to.starts_with(kGroupMark); }
constexpr bool IsCommand(std::string_view member) { return member.starts_with(kCommandMark); }

/// The words of a command: no shell looks at them, quotes and all else stand for themselves.
std::vector<std::string> CommandWords(std::string_view command);

/// Who is meant. What could not be found out is told, a sentence each without capital and full
/// stop; the others are meant all the same.
struct Recipients {
  std::vector<std::string> numbers;  // each once, in their order
  std::vector<std::string> faults;
};

/// The groups of one profile, seen by one thread. Texts are in the ANSI code page; names are the
/// same in any case.
class Groups {
 public:
  /// Gives what the command of these words prints. Throws RaisedError when that is nothing to go
  /// by.
  using Printed = std::function<std::string(const std::vector<std::string>& words)>;

  /// `registry` outlives the groups. By itself a command is run for ten seconds at most, and must
  /// end with exit code 0.
  Groups(Registry& registry, std::string profile, Printed printed = RunCommand);

  /// Nothing when there is no such group.
  std::optional<std::vector<std::string>> Members(const std::string& name) const;

  /// The numbers that a recipient stands for: of "@NAME" those of the group and of the groups in
  /// it, each asked once, of anything else itself.
  Recipients Find(const std::string& to) const;

  static std::string RunCommand(const std::vector<std::string>& words);

 private:
  struct Search;
  void Add(Search& search, const std::string& member) const;
  void AddGroup(Search& search, const std::string& name) const;
  void AddPrinted(Search& search, const std::string& command) const;

  Registry& registry_;
  const std::string base_key_;
  const Printed printed_;
};

/// Members as one value of the settings has them.
std::string JoinedMembers(const std::vector<std::string>& members);

}  // namespace mvsms::gateway
