// Prints every command, option and argument of mvsms as JSON. The build makes the manual pages and
// the completions of the shells from it, so that they know what the command knows.
#include <iostream>
#include <sstream>

#include "cli/commands.h"
#include "cli/json.h"

namespace {

using mvsms::cli::CommandFacts;
using mvsms::cli::Json;
using mvsms::cli::OptionFacts;

Json Described(const OptionFacts& option) {
  return {{"names", option.names},       {"value", option.value},     {"text", option.text},
          {"required", option.required}, {"several", option.several}, {"is_path", option.is_path}};
}

template <typename Facts>
Json AllDescribed(const std::vector<Facts>& all);

Json Described(const CommandFacts& command) {
  return {{"name", command.name},
          {"text", command.text},
          {"footer", command.footer},
          {"options", AllDescribed(command.options)},
          {"commands", AllDescribed(command.commands)}};
}

template <typename Facts>
Json AllDescribed(const std::vector<Facts>& all) {
  Json list = Json::array();
  for (const Facts& one : all) list.push_back(Described(one));
  return list;
}

}  // namespace

int main() {
  std::istringstream nothing;
  mvsms::cli::Context context("/var/lib/mvsms", nothing, std::cout, std::cerr);
  context.PrintJson(Described(DescribeCommandLine(context)));
}
