// What the system's log gets of a send.
#include "cli/send_record.h"

#include <gtest/gtest.h>

namespace mvsms::cli {
namespace {

TEST(SystemLogLine, HasTheResultButNothingThatTheCentreSaid) {
  dispatch::JournalRow row;
  row.id = "1f";
  row.text = "Pump 3";
  row.recipient = "0171";
  row.service = "Gr\xFC\"n";
  row.modem = "Modem1";
  row.outcome = "refused";
  row.exit_code = 1;
  row.pieces = 2;
  row.pieces_accepted = 1;
  row.duration = std::chrono::milliseconds(2340);
  row.reason = "the message centre refused the message: 511 no pager for Pump 3";
  row.answer = "511 no pager for Pump 3";
  EXPECT_EQ(SystemLogLine(row),
            "id=1f outcome=refused exit=1 to=\"0171\" service=\"Grü'n\" modem=\"Modem1\" "
            "pieces=1/2 seconds=2.3 reason=\"the message centre refused the message\"");
}

}  // namespace
}  // namespace mvsms::cli
