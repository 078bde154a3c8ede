// See command_test.h.
#include "tests/cli/command_test.h"

#include <cstdlib>
#include <sstream>

#include "cli/commands.h"

namespace mvsms::cli {

Outcome CommandTest::Run(const std::vector<std::string>& arguments, const std::string& input,
                         Commands commands) {
  std::istringstream in(input);
  std::ostringstream out, err;
  Context context(home_.string(), in, out, err);
  const int exit_code = RunCommandLine(arguments, context, commands);
  return {exit_code, out.str(), err.str()};
}

std::string CommandTest::Do(const std::vector<std::string>& arguments, const std::string& input) {
  const Outcome outcome = Run(arguments, input);
  EXPECT_EQ(outcome.exit_code, kExitAccepted);
  EXPECT_EQ(outcome.err, "");
  return outcome.out;
}

void CommandTest::DoWithWarning(const std::vector<std::string>& arguments,
                                const std::string& sentence) {
  const Outcome outcome = Run(arguments);
  EXPECT_EQ(outcome.exit_code, kExitAccepted);
  EXPECT_THAT(outcome.err, ::testing::HasSubstr(sentence));
}

Json CommandTest::Ask(std::vector<std::string> arguments) {
  arguments.push_back("--json");
  return Json::parse(Do(arguments));
}

void CommandTest::Refuse(const std::vector<std::string>& arguments, const std::string& sentence,
                         int exit_code) {
  SCOPED_TRACE(::testing::PrintToString(arguments));
  const std::string before = State();
  const Outcome outcome = Run(arguments);
  EXPECT_EQ(outcome.exit_code, exit_code);
  EXPECT_EQ(outcome.out, "");
  EXPECT_THAT(outcome.err, ::testing::StartsWith("mvsms: "));
  EXPECT_THAT(outcome.err, ::testing::HasSubstr(sentence));
  EXPECT_EQ(State(), before);
}

std::string CommandTest::State() {
  return Do({"registry", "export", "--show-passwords"}) + Do({"modem", "list", "--json"});
}

void CommandTest::AddModem(const std::string& name) {
  Do({"modem", "add", name, "--kind", "hayes", "--device", "/dev/ptmx"});
}

void CommandTest::AddService(const std::string& name) {
  Do({"service", "add", name, "PhoneNumber=0123456"});
}

}  // namespace mvsms::cli
