// The list of lines: its order, replacing, deleting, and what is told when it cannot be kept.
#include "backends/posix/store/line_store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "backends/posix/store/backend.h"
#include "backends/posix/store/sqlite.h"
#include "base/raised_error.h"
#include "tests/support/temp_folder.h"

namespace mvsms::posix {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class PosixLineStore : public testing::Test {
 protected:
  static LineConfig Modem(const std::string& name) {
    LineConfig line;
    line.name = name;
    line.device = "/dev/ttyS0";
    return line;
  }
  void Put(const std::string& name) { LineStore(home_).Put(Modem(name)); }
  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const LineConfig& line : LineStore(home_).List()) names.push_back(line.name);
    return names;
  }
  template <typename Action>
  static std::string ErrorOf(Action action) {
    try {
      action();
    } catch (const RaisedError& error) {
      return error.description();
    }
    return "no error";
  }

  TempFolder folder_;
  std::string home_ = folder_ / "state";
};

TEST_F(PosixLineStore, AnEmptyStoreHasNoLinesAndMakesNoFile) {
  EXPECT_THAT(Names(), ElementsAre());
  EXPECT_FALSE(LineStore(home_).Find("Modem"));
  EXPECT_FALSE(LineStore(home_).Delete("Modem"));
  EXPECT_FALSE(std::filesystem::exists(home_));
}

TEST_F(PosixLineStore, LinesKeepTheOrderInWhichTheyWereAdded) {
  for (const char* name : {"Zoom", "Alpha", "Middle"}) Put(name);
  EXPECT_THAT(Names(), ElementsAre("Zoom", "Alpha", "Middle"));
}

TEST_F(PosixLineStore, AReplacedLineKeepsItsPlace) {
  for (const char* name : {"Zoom", "Alpha", "Middle"}) Put(name);
  LineConfig line = Modem("Alpha");
  line.speed = 115200;
  LineStore(home_).Put(line);
  EXPECT_THAT(Names(), ElementsAre("Zoom", "Alpha", "Middle"));
  EXPECT_EQ(LineStore(home_).Find("Alpha")->speed, 115200U);
}

TEST_F(PosixLineStore, FilesAndLoginOfALineComeAndGoWithIt) {
  LineConfig line = Modem("Net");
  line.kind = LineKind::kTcp;
  line.access = {"/ca", "/cert", "/key", "user", "/password"};
  Put("Other");
  LineStore(home_).Put(line);
  EXPECT_EQ(LineStore(home_).Find("Net")->access, line.access);
  EXPECT_EQ(LineStore(home_).Find("Other")->access, LineAccess());
  LineStore(home_).Rename("Net", "Web");
  EXPECT_EQ(LineStore(home_).Find("Web")->access, line.access);
  LineStore(home_).Delete("Web");
  Put("Web");
  EXPECT_EQ(LineStore(home_).Find("Web")->access, LineAccess());
}

TEST_F(PosixLineStore, ADeletedLineThatIsAddedAgainComesLast) {
  for (const char* name : {"Zoom", "Alpha", "Middle"}) Put(name);
  EXPECT_TRUE(LineStore(home_).Delete("Middle"));
  EXPECT_TRUE(LineStore(home_).Delete("Zoom"));
  EXPECT_FALSE(LineStore(home_).Delete("Zoom"));
  Put("Zoom");
  EXPECT_THAT(Names(), ElementsAre("Alpha", "Zoom"));
}

TEST_F(PosixLineStore, ARenamedLineKeepsItsPlace) {
  for (const char* name : {"Zoom", "Alpha"}) Put(name);
  EXPECT_TRUE(LineStore(home_).Rename("Zoom", "Beta"));
  EXPECT_FALSE(LineStore(home_).Rename("Zoom", "Gamma"));
  EXPECT_THAT(Names(), ElementsAre("Beta", "Alpha"));
}

TEST_F(PosixLineStore, ARenamedLineKeepsItsPlacesInPools) {
  for (const char* name : {"A", "AB", "C"}) Put(name);
  LineConfig pool;
  pool.name = "Pool";
  pool.kind = LineKind::kPool;
  pool.members = {"AB", "A", "C"};
  LineStore lines(home_);
  lines.Put(pool);
  lines.SetRest("A", 17);
  EXPECT_TRUE(lines.Rename("A", "B\xFCro"));
  EXPECT_TRUE(lines.Rename("Pool", "All"));
  EXPECT_THAT(lines.Find("All")->members, ElementsAre("AB", "B\xFCro", "C"));
  EXPECT_EQ(lines.RestsUntil("B\xFCro"), 17);
  EXPECT_EQ(lines.RestsUntil("A"), 0);
}

TEST_F(PosixLineStore, ALineBelongsToTheTransactionOfTheRegistryWhoseStoreItShares) {
  const auto registry = MakeRegistry(home_);
  LineConfig line;
  line.name = "Modem";
  EXPECT_THROW(WriteTogether(*registry,
                             [&] {
                               LineStore(home_, StoreOf(*registry)).Put(line);
                               throw std::runtime_error("no");
                             }),
               std::runtime_error);
  EXPECT_THAT(Names(), ElementsAre());
}

TEST_F(PosixLineStore, NamesCompareExactly) {
  Put("Modem");
  Put("modem");
  EXPECT_THAT(Names(), ElementsAre("Modem", "modem"));
  EXPECT_FALSE(LineStore(home_).Find("MODEM"));
}

TEST_F(PosixLineStore, EveryFieldComesBack) {
  LineConfig line;
  line.name = "B\xFCro \x80";
  line.kind = LineKind::kTcp;
  line.device = "/dev/serial/by-id/\xC3\xBC";
  line.init = "AT&F\xA7";
  line.dial = "ATDT0,";
  line.speed = 2400;
  line.framing = "7E1-soft";
  line.flow = "none";
  LineStore(home_).Put(line);
  const LineConfig read = LineStore(home_).List().at(0);
  EXPECT_EQ(read.name, line.name);
  EXPECT_EQ(read.kind, line.kind);
  EXPECT_EQ(read.device, line.device);
  EXPECT_EQ(read.init, line.init);
  EXPECT_EQ(read.dial, line.dial);
  EXPECT_EQ(read.speed, line.speed);
  EXPECT_EQ(read.framing, line.framing);
  EXPECT_EQ(read.flow, line.flow);
}

TEST_F(PosixLineStore, APoolComesBackWithItsMembersInTheirOrder) {
  LineConfig pool;
  pool.name = "Pool";
  pool.kind = LineKind::kPool;
  pool.members = {"Zoom", "B\xFCro", "Al, pha"};
  pool.rest = 60;
  LineStore(home_).Put(pool);
  for (const LineConfig& read : {*LineStore(home_).Find("Pool"), LineStore(home_).List().at(0)}) {
    EXPECT_EQ(read.kind, LineKind::kPool);
    EXPECT_EQ(read.members, pool.members);
    EXPECT_EQ(read.rest, 60U);
  }
}

TEST_F(PosixLineStore, ARestIsOfOneLineUntilItIsEnded) {
  EXPECT_EQ(LineStore(home_).RestsUntil("Modem"), 0);
  Put("Modem");
  EXPECT_EQ(LineStore(home_).RestsUntil("Modem"), 0);
  LineStore(home_).SetRest("Modem", 5'000'000'000);
  EXPECT_EQ(LineStore(home_).RestsUntil("Modem"), 5'000'000'000);
  EXPECT_EQ(LineStore(home_).RestsUntil("Other"), 0);
  LineStore(home_).SetRest("Modem", 0);
  EXPECT_EQ(LineStore(home_).RestsUntil("Modem"), 0);
}

TEST_F(PosixLineStore, ANewModemOfTheSameNameIsRested) {
  Put("Modem");
  LineStore lines(home_);
  lines.SetRest("Other", 17);
  lines.SetRest("Modem", 17);
  Put("Modem");
  EXPECT_EQ(lines.RestsUntil("Modem"), 0);
  lines.SetRest("Modem", 17);
  lines.Delete("Modem");
  EXPECT_EQ(lines.RestsUntil("Modem"), 0);
  EXPECT_EQ(lines.RestsUntil("Other"), 17);
}

TEST_F(PosixLineStore, ANameThatTheListOfModemsCannotHoldIsRefused) {
  EXPECT_THAT(ErrorOf([this] { Put(""); }), HasSubstr("needs a name"));
  EXPECT_THAT(ErrorOf([this] { Put("Two\tNames"); }), HasSubstr("Two\tNames"));
}

TEST_F(PosixLineStore, AnUnknownKindIsAnErrorThatNamesTheLine) {
  Put("Modem");
  Connection(home_ + "/settings.db").Execute("UPDATE lines SET kind = 'isdn'");
  EXPECT_EQ(ErrorOf([this] { Names(); }), "The line \"Modem\" is of the unknown kind \"isdn\".");
}

TEST_F(PosixLineStore, ADamagedFileIsAnErrorThatNamesTheFile) {
  std::filesystem::create_directory(home_);
  std::ofstream(home_ + "/settings.db") << std::string(5000, 'x');
  EXPECT_THAT(ErrorOf([this] { Names(); }), HasSubstr(home_ + "/settings.db"));
  EXPECT_THAT(ErrorOf([this] { Put("Modem"); }), HasSubstr("file is not a database"));
}

}  // namespace
}  // namespace mvsms::posix
