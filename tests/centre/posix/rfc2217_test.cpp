// The serial server of the centre and the client of the command, which know nothing of each other.
#include "backends/posix/line/rfc2217.h"

#include <gtest/gtest.h>

#include "tests/support/centre_call.h"

namespace mvsms::centre::test {
namespace {

using posix::Rfc2217;

struct Both : TapTest {
  Both() : TapTest({"echo=off"}) { Says(Rfc2217::Greeting()); }
  /// The data that comes back in the end.
  std::string Says(const std::string& bytes) {
    std::string data;
    port.SendsBytes(bytes);
    port.Waits(0);
    for (std::string heard = port.HearsBytes(); !heard.empty(); heard = port.HearsBytes()) {
      const std::string reply = client.Take(heard);
      data += heard;
      if (!reply.empty()) port.SendsBytes(reply);
    }
    return data;
  }
  Rfc2217 client;
  Call port{centre().AnswerSerialServer()};
};

TEST(Rfc2217Pair, AgreesOnThePortAndItsSettings) {
  Both both;
  EXPECT_EQ(both.client.offered(), true);
  EXPECT_EQ(both.Says(Rfc2217::Begin()), "");
  EXPECT_EQ(both.client.modem_lines(), kMsCtsOn | kMsDsrOn);
  const Dcb state{.BaudRate = 2400, .ByteSize = 7, .Parity = 2, .StopBits = 2};
  EXPECT_EQ(both.Says(both.client.Settings(state)), "");
  EXPECT_EQ(both.client.answer(), Rfc2217::Wanted(state));
}

TEST(Rfc2217Pair, DtrEndsACallAndTheCarrierShowsIt) {
  Both both;
  both.Says(Rfc2217::Begin());
  EXPECT_EQ(both.Says(Rfc2217::Data("ATDT1\r")), "\r\nCONNECT\r\n");
  EXPECT_EQ(both.client.modem_lines(), kMsCtsOn | kMsDsrOn | kMsRlsdOn);
  both.Says(Rfc2217::Dtr(false));
  EXPECT_EQ(both.client.modem_lines(), kMsCtsOn | kMsDsrOn);
}

}  // namespace
}  // namespace mvsms::centre::test
