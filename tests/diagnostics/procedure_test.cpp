// Error traps: a failing statement is executed again, skipped, or its procedure left.
#include "diagnostics/procedure.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>

#include "backends/memory/memory_platform.h"
#include "diagnostics/frmerror.h"

namespace mvsms {
namespace {

using testing::ElementsAre;

class ErrorTrap : public testing::Test {
 protected:
  ErrorTrap() {
    platform_.on_modal = [this](Form& form) {
      auto& dialog = static_cast<frmError&>(form);
      messages_.push_back(dialog.txtModule.Text());
      const char answer = answers_.front();
      answers_.pop_front();
      (answer == 'R'   ? dialog.cmdRetry
       : answer == 'I' ? dialog.cmdIgnore
                       : dialog.cmdCancel)
          .Click();
    };
  }
  /// Three statements; the second fails `failures` times.
  void Run(int failures) {
    RunProcedure(platform_, "frmX", "Proc", [&](Procedure& statement) {
      statement([&] { steps_.push_back("first"); });
      result_ = statement([&] {
        steps_.push_back("second");
        if (failures-- > 0) throw RaisedError(9, "source", "Subscript out of range");
        return std::string("done");
      });
      statement([&] { steps_.push_back("third"); });
    });
  }
  memory::MemoryPlatform platform_;
  std::deque<char> answers_;
  std::vector<std::string> steps_, messages_;
  std::string result_ = "unset";
};

TEST_F(ErrorTrap, WithoutAnErrorNobodyIsAsked) {
  Run(0);
  EXPECT_THAT(steps_, ElementsAre("first", "second", "third"));
  EXPECT_EQ(result_, "done");
  EXPECT_TRUE(messages_.empty());
}

TEST_F(ErrorTrap, RetryExecutesTheStatementAgain) {
  answers_ = {'R', 'R'};
  Run(2);
  EXPECT_THAT(steps_, ElementsAre("first", "second", "second", "second", "third"));
  EXPECT_EQ(result_, "done");
  EXPECT_THAT(messages_, ElementsAre("frmX - Proc", "frmX - Proc"));
}

TEST_F(ErrorTrap, IgnoreGoesOnWithTheNextStatementAndAnEmptyResult) {
  answers_ = {'I'};
  Run(9);
  EXPECT_THAT(steps_, ElementsAre("first", "second", "third"));
  EXPECT_EQ(result_, "");
}

TEST_F(ErrorTrap, CancelLeavesTheProcedure) {
  answers_ = {'A'};
  Run(9);
  EXPECT_THAT(steps_, ElementsAre("first", "second"));
  EXPECT_EQ(result_, "unset");
}

TEST_F(ErrorTrap, CancelInAnInnerProcedureLeavesOnlyThatOne) {
  answers_ = {'A'};
  RunProcedure(platform_, "frmX", "Outer", [&](Procedure& statement) {
    statement([&] { Run(9); });
    statement([&] { steps_.push_back("outer goes on"); });
  });
  EXPECT_THAT(steps_, ElementsAre("first", "second", "outer goes on"));
}

TEST_F(ErrorTrap, AStatementWithinAStatementLeavesThemBoth) {
  answers_ = {'A'};
  RunProcedure(platform_, "frmX", "Proc", [&](Procedure& statement) {
    statement([&] { statement([]() -> void { throw RaisedError(9, "", ""); }); });
    statement([&] { steps_.push_back("never"); });
  });
  EXPECT_TRUE(steps_.empty());
  EXPECT_EQ(messages_.size(), 1U);
}

TEST_F(ErrorTrap, AnExceptionWithoutANumberIsAskedAboutToo) {
  answers_ = {'I'};
  RunProcedure(platform_, "frmX", "Proc",
               [&](Procedure& statement) { statement([]() -> void { throw std::bad_alloc(); }); });
  EXPECT_EQ(messages_.size(), 1U);
}

TEST_F(ErrorTrap, ResumeNextSwallowsTheError) {
  ResumeNext([]() -> void { throw RaisedError(9, "", ""); });
  EXPECT_TRUE(messages_.empty());
  EXPECT_TRUE(platform_.files.empty());
}

}  // namespace
}  // namespace mvsms
