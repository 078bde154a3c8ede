// Every operation of the platform is refused at its n-th call, once or from then on, n rising until
// the command passes untouched: a command that ends well did all that it does, one that does not
// says why and can be given again, and no list or export ever shows a part as the whole.
#include <map>
#include <sstream>

#include "backends/memory/memory_platform.h"
#include "backends/posix/store/journal.h"
#include "cli/commands.h"
#include "cli/json.h"
#include "cli/registry_tree.h"
#include "engine/settings.h"
#include "tests/cli/command_test.h"
#include "tests/support/centre_call.h"
#include "tests/support/centre_far_end.h"
#include "tests/support/profile.h"
#include "tests/support/temp_folder.h"

namespace mvsms::cli {
namespace {

using ::testing::AnyOf;
using ::testing::StartsWith;
using Words = std::vector<std::string>;

enum class Lasting { kOnce, kForEver };

constexpr char kCatalogue[] = "1,Alpha,Germany,TAP,,,0111,160,2,49,Auto,7,E,1,2000,3,0171;0172\n";
constexpr char kImport[] =
    R"({"format": "mvsms registry", "version": 1,
        "tree": {"keys": {"Standard": {"values": {"Country": "0043", "Retries": 7}}}}})";

// A machine in memory with two services and two routes, whose modem leads to a message centre.
class Machine {
 public:
  Machine() {
    test::Profile profile(platform->registry());
    profile.Set("DefaultModem", "Modem");
    profile.Set("DefaultService", "Pager");
    profile.Set("Retries", 3);
    profile.SetService("City", {{"Protocol", "TAP"}, {"PhoneNumber", "0815"}});
    profile.SetService("Pager", {{"Protocol", "UCP"},
                                 {"PhoneNumber", "0123456"},
                                 {"UCPCommand", "51"},
                                 {"MaxLength", "160"},
                                 {"TimeOut", "2000"},
                                 {"MaxMessages", "1"},
                                 {"MessageType", "3"},
                                 {"ModemSetting", "8N1"}});
    profile.Route("0049171", "Pager");
    profile.Route("0049172", "City");
    memory::Line line;
    line.name = "Modem";
    line.far_end = [this](const std::string&) {
      return test::CentreFarEnd::Answering(centre_.centre().AnswerCall());
    };
    platform->lines.push_back(line);
    platform->files[platform->component_folder + "\\smstransports.inf"] = kCatalogue;
  }

  Outcome Run(const Words& arguments) {
    std::istringstream in(kImport);
    std::ostringstream out, err;
    Context context(home_.path(), in, out, err, platform);
    const int exit_code = RunCommandLine(arguments, context);
    return {exit_code, out.str(), err.str()};
  }
  std::string State() const { return ToJson(ReadTree(platform->registry(), kRootKey)).dump(2); }
  std::size_t Delivered() const { return centre_.requests.size(); }
  std::vector<posix::JournalEntry> Journal() const {
    return posix::Journal(home_.path()).Read(0, 0);
  }

  const std::shared_ptr<memory::MemoryPlatform> platform =
      std::make_shared<memory::MemoryPlatform>();

 private:
  TempFolder home_;  // holds the journal, and nothing else
  centre::test::TestCentre centre_{centre::SpeakUcp(), {"system-message=pager"}};
};

struct Command {
  const char* name;
  Words arguments;
};

// Which outcomes an exit code may stand for.
const std::map<int, Words> kOutcomesOf = {{0, {"accepted"}},  {1, {"refused"}},
                                          {65, {"unusable"}}, {75, {"unreachable", "refused"}},
                                          {76, {"unknown"}},  {78, {"unusable"}}};

class RefusedCommand : public ::testing::TestWithParam<Command> {
 protected:
  RefusedCommand() : done_(whole_.Run(GetParam().arguments)) {}

  /// Runs the command with its n-th operation refused. Whether there was an n-th operation.
  bool RunWithRefusal(int n, Lasting lasting) const {
    SCOPED_TRACE("operation " + std::to_string(n));
    Machine machine;
    int countdown = n;
    machine.platform->fail = [&](const std::string&) {
      --countdown;
      return countdown == 0 || (countdown < 0 && lasting == Lasting::kForEver);
    };
    const Outcome outcome = machine.Run(GetParam().arguments);
    machine.platform->fail = nullptr;
    ExpectJournalled(machine, outcome);
    if (outcome.exit_code == kExitAccepted) {
      ExpectAllDone(machine, outcome);
    } else {
      ExpectToldWhy(outcome);
      if (lasting == Lasting::kOnce) ExpectAllDone(machine, machine.Run(GetParam().arguments));
    }
    return countdown <= 0;
  }

  Machine whole_;
  Outcome done_;  // by the command on the whole machine

 private:
  void ExpectAllDone(const Machine& machine, const Outcome& outcome) const {
    EXPECT_EQ(outcome.exit_code, kExitAccepted) << outcome.err;
    EXPECT_EQ(machine.State(), whole_.State());
    // Given again after an acknowledgement that was lost, a message is there twice.
    EXPECT_GE(machine.Delivered(), whole_.Delivered());
    EXPECT_EQ(outcome.out, done_.out);
  }
  /// A send is one row, which says what its exit code says.
  static void ExpectJournalled(const Machine& machine, const Outcome& outcome) {
    const bool sends = GetParam().arguments[0] == "send";
    const auto entries = machine.Journal();
    ASSERT_THAT(entries, testing::SizeIs(sends ? 1 : 0));
    if (!sends) return;
    const auto& row = entries[0].row;
    EXPECT_EQ(row.exit_code, outcome.exit_code);
    EXPECT_THAT(kOutcomesOf.at(outcome.exit_code), testing::Contains(row.outcome));
  }
  static void ExpectToldWhy(const Outcome& outcome) {
    EXPECT_THAT(outcome.exit_code, AnyOf(kExitFailed, kExitRetry, kExitUnknown, kExitSettings))
        << outcome.err;
    EXPECT_THAT(outcome.err, StartsWith("mvsms: "));
  }
};

INSTANTIATE_TEST_SUITE_P(
    Every, RefusedCommand,
    testing::Values(Command{"ConfigList", {"config", "list"}},
                    Command{"ConfigGet", {"config", "get", "Retries"}},
                    Command{"ConfigSet", {"config", "set", "Retries", "5"}},
                    Command{"ServiceList", {"service", "list", "--json"}},
                    Command{"ServiceShow", {"service", "show", "Pager"}},
                    Command{"ServiceGet", {"service", "get", "Pager", "TimeOut"}},
                    Command{"ServiceAdd", {"service", "add", "New", "PhoneNumber=0999"}},
                    Command{"ServiceSet", {"service", "set", "Pager", "TimeOut=3000"}},
                    Command{"ServiceDelete", {"service", "delete", "City"}},
                    Command{"ServiceRename", {"service", "rename", "City", "Town"}},
                    Command{"ConfigUnset", {"config", "unset", "Retries"}},
                    Command{"ProfileList", {"profile", "list"}},
                    Command{"RouteList", {"route", "list"}},
                    Command{"RouteShow", {"route", "show", "0049172"}},
                    Command{"RouteAdd", {"route", "add", "0049173", "City"}},
                    Command{"RouteSet", {"route", "set", "0049172", "Pager"}},
                    Command{"RouteDelete", {"route", "delete", "0049172"}},
                    Command{"RegistryExport", {"registry", "export"}},
                    Command{"SendQuietly",
                            {"send", "--quiet", "--to", "0172", "Pump 3 has stopped"}}),
    [](const testing::TestParamInfo<Command>& command) { return command.param.name; });

TEST_P(RefusedCommand, EndsWellOrSaysWhyWhicheverOperationIsRefusedOnce) {
  ASSERT_EQ(done_.exit_code, kExitAccepted) << done_.err;
  int n = 1;
  while (RunWithRefusal(n, Lasting::kOnce)) ++n;
  EXPECT_GT(n, 3);
}

TEST_P(RefusedCommand, EndsWellOrSaysWhyFromWhicheverMomentAllIsRefused) {
  int n = 1;
  while (RunWithRefusal(n, Lasting::kForEver)) ++n;
  EXPECT_GT(n, 3);
}

}  // namespace
}  // namespace mvsms::cli
