// The error log and the answers of the common error handler.
#include "diagnostics/baserrhandling.h"

#include <gtest/gtest.h>

#include "backends/memory/memory_platform.h"
#include "base/raised_error.h"
#include "diagnostics/frmerror.h"

namespace mvsms {
namespace {

using basErrHandling::ErrorRecord;
using basErrHandling::GlobalErrorHandler;

constexpr CalendarTime kTime = {
    .year = 2026, .month = 3, .day = 4, .hour = 5, .minute = 6, .second = 7};

TEST(ErrorLog, ARecordHasFiveLines) {
  EXPECT_EQ(ErrorRecord(kTime, "frmConfig", "LoadValues", 13, "Type mismatch", 0),
            "***** Error 00013 at: 2026-03-04 05:06:07\r\n"
            "  *** Module:         frmConfig\r\n"
            "  *** Procedure:      LoadValues\r\n"
            "  *** Line Number:    0\r\n"
            "  *** Description:    Type mismatch\r\n");
}

TEST(ErrorLog, ANumberHasAtLeastFiveDigits) {
  const auto first = [](int number) {
    const std::string record = ErrorRecord(kTime, "", "", number, "", 0);
    return record.substr(0, record.find(" at:"));
  };
  EXPECT_EQ(first(5), "***** Error 00005");
  EXPECT_EQ(first(123456), "***** Error 123456");
  EXPECT_EQ(first(-5), "***** Error -00005");
  EXPECT_EQ(first(-2147483647 - 1), "***** Error -2147483648");
}

class ErrorHandler : public testing::Test {
 protected:
  int Handle() { return GlobalErrorHandler(platform_, "module", "procedure", 7, "text", 0); }
  void AnswerWith(CommandButton frmError::* button) {
    platform_.on_modal = [button](Form& form) { (static_cast<frmError&>(form).*button).Click(); };
  }
  memory::MemoryPlatform platform_;
};

TEST_F(ErrorHandler, RetryIs1) {
  AnswerWith(&frmError::cmdRetry);
  EXPECT_EQ(Handle(), 1);
}

TEST_F(ErrorHandler, IgnoreIs2) {
  AnswerWith(&frmError::cmdIgnore);
  EXPECT_EQ(Handle(), 2);
}

TEST_F(ErrorHandler, CancelIs3) {
  AnswerWith(&frmError::cmdCancel);
  EXPECT_EQ(Handle(), 3);
}

TEST_F(ErrorHandler, NoAnswerIs3) {
  platform_.on_modal = [](Form& form) { form.Unload(); };
  EXPECT_EQ(Handle(), 3);
}

TEST_F(ErrorHandler, ADialogThatCannotBeShownCountsAsCancel) {
  platform_.fail = [](const std::string& operation) { return operation == "Forms.CreatePeer"; };
  EXPECT_EQ(Handle(), 3);
  EXPECT_EQ(platform_.files.size(), 1U);
}

TEST_F(ErrorHandler, LogsInTheWorkingFolderBeforeTheDialogIsShown) {
  platform_.on_modal = [&](Form&) { EXPECT_EQ(platform_.files.count("mvSMSErrors.log"), 1U); };
  Handle();
  EXPECT_EQ(platform_.files.at("mvSMSErrors.log"),
            "***** Error 00007 at: 2026-01-02 03:04:05\r\n"
            "  *** Module:         module\r\n"
            "  *** Procedure:      procedure\r\n"
            "  *** Line Number:    0\r\n"
            "  *** Description:    text\r\n");
}

TEST_F(ErrorHandler, AppendsToEarlierRecords) {
  Handle();
  const std::string one = platform_.files.at("mvSMSErrors.log");
  Handle();
  EXPECT_EQ(platform_.files.at("mvSMSErrors.log"), one + one);
}

TEST_F(ErrorHandler, ALogThatCannotBeWrittenDoesNotStopTheDialog) {
  AnswerWith(&frmError::cmdIgnore);
  platform_.folders = {"elsewhere"};
  EXPECT_EQ(Handle(), 2);
  platform_.fail = [](const std::string& operation) -> bool {
    if (operation == "TextFile.Append") throw RaisedError(70, "file", "Permission denied");
    return false;
  };
  EXPECT_EQ(Handle(), 2);
}

}  // namespace
}  // namespace mvsms
