// One walk over the arguments, by the options that the parser knows.
#include "cli/last_argument.h"

#include <cstddef>

#include "cli/context.h"

namespace mvsms::cli {
namespace {

constexpr char kMark[] = "--";
constexpr char kHelp[] = "--help";
constexpr char kAdvice[] = "; write -- before a text that begins with \"-\"";

/// What the parser takes for an option or for a sign of its own.
bool LooksLikeOption(const std::string& argument) {
  return (argument.starts_with('-') && argument != "-") || argument == "++";
}

/// The option that an argument names, "--to=1" and "-qx" included; none for a text.
const Option* OptionOf(Command& command, const std::string& argument) {
  if (!LooksLikeOption(argument) || argument == kMark) return nullptr;
  const bool is_long = argument.starts_with("--");
  return command.Find(is_long ? argument.substr(0, argument.find('=')) : argument.substr(0, 2));
}

/// Whether the next argument is the option's value.
bool TakesNext(const Option& option, const std::string& argument) {
  const bool has_value =
      argument.starts_with("--") ? argument.find('=') != argument.npos : argument.size() > 2;
  return !has_value && option.TakesValue();
}

/// Where the name of the command stands; behind the end without one.
std::size_t CommandPosition(Command& app, const std::vector<std::string>& arguments) {
  std::size_t at = 0;
  while (at < arguments.size()) {
    const Option* const option = OptionOf(app, arguments[at]);
    if (option == nullptr) return at;
    at += TakesNext(*option, arguments[at]) ? 2U : 1U;
  }
  return at;
}

[[noreturn]] void Refuse(const std::string& argument, const std::string& why) {
  throw UsageError("\"" + Printable(argument) + "\" " + why + kAdvice);
}

class Walk {
 public:
  Walk(Command& command, std::vector<std::string>& arguments, std::size_t begin)
      : command_(command), arguments_(arguments), at_(begin) {}

  void Run() {
    while (at_ < arguments_.size() && arguments_[at_] != kMark) Take(arguments_[at_]);
    const bool marked = at_ < arguments_.size();
    if (marked && at_ + 1 == arguments_.size()) Refuse(kMark, "is followed by no text");
    if (help_ && (marked || texts_ > 0 || values_ > 0)) {
      Refuse(kHelp, "stands beside a message");
    }
    const bool ends_in_option = !marked && !help_ && OptionOf(command_, arguments_.back());
    if (ends_in_option && texts_ == 0 && !last_is_value_) {
      Refuse(arguments_.back(), "is an option, and TEXT is required");
    }
  }

 private:
  void Take(const std::string& argument) {
    const Option* const option = OptionOf(command_, argument);
    last_is_value_ = false;
    if (option != nullptr) {
      TakeOption(*option, argument);
    } else if (LooksLikeOption(argument)) {
      TakeUnknown(argument);
    } else {
      ++texts_;
      ++at_;
    }
  }

  void TakeOption(const Option& option, const std::string& argument) {
    if (option.Name() == kHelp) help_ = true;
    const bool takes_next = TakesNext(option, argument);
    if (option.TakesValue()) ++values_;
    last_is_value_ = takes_next && at_ + 2 == arguments_.size();
    at_ += takes_next ? 2U : 1U;
  }

  /// No option: the text where that must stand, if there is none yet.
  void TakeUnknown(const std::string& argument) {
    if (at_ + 1 != arguments_.size() || texts_ > 0) Refuse(argument, "is no option");
    arguments_.insert(arguments_.begin() + static_cast<std::ptrdiff_t>(at_), kMark);
  }

  Command& command_;
  std::vector<std::string>& arguments_;
  std::size_t at_;
  int texts_ = 0;
  int values_ = 0;  // options with a value
  bool help_ = false;
  bool last_is_value_ = false;
};

}  // namespace

std::vector<std::string> WithTextMarked(Command& app, std::vector<std::string> arguments) {
  const std::size_t command = CommandPosition(app, arguments);
  if (command + 1 >= arguments.size() || arguments[command] != "send") return arguments;
  Walk(*app.FindSubcommand("send"), arguments, command + 1).Run();
  return arguments;
}

}  // namespace mvsms::cli
