// The port settings record: ranges, defaults, and the flag word bit by bit.
#include "media/dwdcb.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "media/dwcomm.h"
#include "tests/media/fake_comm.h"
#include "tests/support/raised.h"

namespace mvsms {
namespace {

Raised Invalid(const std::string& description) { return {-2147190504, "dwDCB", description}; }

TEST(DwDcb, StartsWithItsDefaults) {
  const dwDCB dcb;
  EXPECT_EQ(dcb.record().DCBlength, 28U);
  EXPECT_EQ(dcb.BaudRate(), 2400);
  EXPECT_EQ(dcb.XonLim(), 100);
  EXPECT_EQ(dcb.XoffLim(), 1948);
  EXPECT_EQ(dcb.ByteSize(), 8);
  EXPECT_EQ(dcb.Parity(), 0);
  EXPECT_EQ(dcb.StopBits(), 0);
  EXPECT_EQ(dcb.XonChar(), "\x11");
  EXPECT_EQ(dcb.XoffChar(), "\x13");
  EXPECT_EQ(dcb.ErrorChar(), "~");
  EXPECT_EQ(dcb.EofChar(), "\x1A");
  EXPECT_EQ(dcb.EvtChar(), "\xFF");
}

TEST(DwDcb, OnlyRtsControlAndAbortOnErrorSurviveTheCreation) {
  const dwDCB dcb;
  EXPECT_EQ(dcb.record().flags, 0x1000U | 0x4000U);
  EXPECT_EQ(dcb.fRtsControl(), 1);
  EXPECT_TRUE(dcb.fAbortOnError());
  EXPECT_EQ(dcb.fDtrControl(), 0);
  EXPECT_FALSE(dcb.fNull());
}

TEST(DwDcb, EveryListedBaudRateIsAccepted) {
  dwDCB dcb;
  for (const int rate : {110, 300, 600, 1200, 2400, 4800, 9600, 14400, 19200, 38400, 56000, 57600,
                         115200, 128000, 256000}) {
    dcb.SetBaudRate(rate);
    EXPECT_EQ(dcb.BaudRate(), rate);
  }
}

TEST(DwDcb, BaudRateZeroKeepsTheRate) {
  dwDCB dcb;
  dcb.SetBaudRate(9600);
  dcb.SetBaudRate(0);
  EXPECT_EQ(dcb.BaudRate(), 9600);
}

TEST(DwDcb, AnyOtherBaudRateIsInvalidAndChangesNothing) {
  dwDCB dcb;
  for (const int rate : {-1, 1, 109, 9601, 256001, 2147483647}) {
    EXPECT_EQ(RaisedBy([&] { dcb.SetBaudRate(rate); }), Invalid("Invalid baud rate")) << rate;
  }
  EXPECT_EQ(dcb.BaudRate(), 2400);
}

struct Range {
  const char* description;
  void (*set)(dwDCB&, std::int16_t);
  int (*get)(const dwDCB&);
  std::int16_t low;
  std::int16_t high;
};

class DwDcbRange : public testing::TestWithParam<Range> {};

TEST_P(DwDcbRange, AcceptsItsRangeOnly) {
  const Range& range = GetParam();
  for (std::int16_t value = -2; value < 300; ++value) {
    dwDCB dcb;
    const int before = range.get(dcb);
    const Raised raised = RaisedBy([&] { range.set(dcb, value); });
    if (value >= range.low && value <= range.high) {
      EXPECT_EQ(raised, kNothingRaised) << value;
    } else {
      EXPECT_EQ(raised, Invalid(range.description)) << value;
      EXPECT_EQ(range.get(dcb), before) << value;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    AllProperties, DwDcbRange,
    testing::Values(
        Range{"Invalid fDtrControl setting", [](dwDCB& d, std::int16_t v) { d.SetfDtrControl(v); },
              [](const dwDCB& d) { return int{d.fDtrControl()}; }, 0, 2},
        Range{"Invalid fRtsControl setting", [](dwDCB& d, std::int16_t v) { d.SetfRtsControl(v); },
              [](const dwDCB& d) { return int{d.fRtsControl()}; }, 0, 3},
        Range{"Invalid Byte size setting", [](dwDCB& d, std::int16_t v) { d.SetByteSize(v); },
              [](const dwDCB& d) { return int{d.ByteSize()}; }, 4, 8},
        Range{"Invalid Parity setting", [](dwDCB& d, std::int16_t v) { d.SetParity(v); },
              [](const dwDCB& d) { return int{d.Parity()}; }, 0, 4},
        Range{"Invalid Stop bits", [](dwDCB& d, std::int16_t v) { d.SetStopBits(v); },
              [](const dwDCB& d) { return int{d.StopBits()}; }, 0, 4}));

struct FlagCase {
  const char* name;
  void (dwDCB::*set)(bool);
  bool (dwDCB::*get)() const;
  std::uint32_t bit;
};

class DwDcbFlag : public testing::TestWithParam<FlagCase> {};

TEST_P(DwDcbFlag, SetsAndClearsItsOwnBitOnly) {
  const FlagCase& flag = GetParam();
  dwDCB dcb;
  (dcb.*flag.set)(false);
  const std::uint32_t others = dcb.record().flags;
  EXPECT_EQ(others & flag.bit, 0U);
  EXPECT_FALSE((dcb.*flag.get)());
  (dcb.*flag.set)(true);
  EXPECT_EQ(dcb.record().flags, others | flag.bit);
  EXPECT_TRUE((dcb.*flag.get)());
}

INSTANTIATE_TEST_SUITE_P(
    AllFlags, DwDcbFlag,
    testing::Values(
        FlagCase{"fParity", &dwDCB::SetfParity, &dwDCB::fParity, 0x2},
        FlagCase{"fOutxCtsFlow", &dwDCB::SetfOutxCtsFlow, &dwDCB::fOutxCtsFlow, 0x4},
        FlagCase{"fOutxDsrFlow", &dwDCB::SetfOutxDsrFlow, &dwDCB::fOutxDsrFlow, 0x8},
        FlagCase{"fDsrSensitivity", &dwDCB::SetfDsrSensitivity, &dwDCB::fDsrSensitivity, 0x40},
        FlagCase{"fTXContinueOnXoff", &dwDCB::SetfTXContinueOnXoff, &dwDCB::fTXContinueOnXoff,
                 0x80},
        FlagCase{"fOutX", &dwDCB::SetfOutX, &dwDCB::fOutX, 0x100},
        FlagCase{"fInX", &dwDCB::SetfInX, &dwDCB::fInX, 0x200},
        FlagCase{"fErrorChar", &dwDCB::SetfErrorChar, &dwDCB::fErrorChar, 0x400},
        FlagCase{"fNull", &dwDCB::SetfNull, &dwDCB::fNull, 0x800},
        FlagCase{"fAbortOnError", &dwDCB::SetfAbortOnError, &dwDCB::fAbortOnError, 0x4000}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(DwDcb, RtsControlOrsIntoItsFieldAndClearsAllOtherFlags) {
  dwDCB dcb;
  dcb.SetfOutX(true);
  dcb.SetfInX(true);
  dcb.SetfRtsControl(2);
  EXPECT_EQ(dcb.record().flags, 0x3000U);  // 1 or 2
  EXPECT_EQ(dcb.fRtsControl(), 3);
  dcb.SetfRtsControl(0);
  EXPECT_EQ(dcb.fRtsControl(), 3);
}

TEST(DwDcb, DtrControlOrsIntoItsFieldAndClearsAllOtherFlags) {
  dwDCB dcb;
  dcb.SetfDtrControl(1);
  EXPECT_EQ(dcb.record().flags, 0x10U);
  dcb.SetfNull(true);
  dcb.SetfDtrControl(2);
  EXPECT_EQ(dcb.record().flags, 0x30U);
  EXPECT_EQ(dcb.fDtrControl(), 3);
}

TEST(DwDcb, RtsControlClearsTheDtrField) {
  dwDCB dcb;
  dcb.SetfDtrControl(2);
  dcb.SetfRtsControl(1);
  EXPECT_EQ(dcb.record().flags, 0x1000U);
}

TEST(DwDcb, CharactersKeepTheFirstOfATextAndItsCode) {
  dwDCB dcb;
  dcb.SetErrorChar("\xE4xyz");
  EXPECT_EQ(dcb.ErrorChar(), "\xE4");
  EXPECT_EQ(dcb.record().ErrorChar, 0xE4);
  dcb.SetErrorChar("");
  EXPECT_EQ(dcb.ErrorChar(), "\xE4");
  dcb.SetXonChar(std::string(1, '\0'));
  EXPECT_EQ(dcb.XonChar(), std::string(1, '\0'));
  dcb.SetXoffChar("a");
  dcb.SetEofChar("b");
  dcb.SetEvtChar("c");
  EXPECT_EQ(dcb.XoffChar() + dcb.EofChar() + dcb.EvtChar(), "abc");
}

TEST(DwDcb, QueueLimitsTakeAnyValue) {
  dwDCB dcb;
  dcb.SetXonLim(-1);
  dcb.SetXoffLim(32767);
  EXPECT_EQ(dcb.XonLim(), -1);
  EXPECT_EQ(dcb.XoffLim(), 32767);
}

struct Notify final : CommNotify {
  void CommInput(dwCOMM&, const std::string&) override {}
  void CommEvent(dwCOMM&, const std::string&) override {}
};

TEST(DwDcb, AClosedPortGivesAndTakesNothing) {
  FakeComm comm;
  dwCOMM port(comm, {});
  dwDCB dcb;
  EXPECT_FALSE(dcb.GetCommState(port));
  EXPECT_FALSE(dcb.SetCommState(port));
  EXPECT_TRUE(comm.calls.empty());
}

TEST(DwDcb, LoadsFromAndAppliesToAnOpenPort) {
  FakeComm comm;
  Notify notify;
  dwCOMM port(comm, {});
  port.OpenComm("COM1", notify);
  comm.dcb.BaudRate = 300;
  comm.dcb.flags = 0x2011;
  dwDCB dcb;
  EXPECT_TRUE(dcb.GetCommState(port));
  EXPECT_EQ(dcb.record(), comm.dcb);
  dcb.SetBaudRate(1200);
  EXPECT_TRUE(dcb.SetCommState(port));
  EXPECT_EQ(comm.dcb.BaudRate, 1200U);
}

TEST(DwDcb, ADeviceThatFailsGivesFalseAndRaisesNothing) {
  FakeComm comm;
  Notify notify;
  dwCOMM port(comm, {});
  port.OpenComm("COM1", notify);
  comm.fails = true;
  dwDCB dcb;
  EXPECT_FALSE(dcb.GetCommState(port));
  EXPECT_FALSE(dcb.SetCommState(port));
  EXPECT_EQ(dcb.BaudRate(), 2400);
}

}  // namespace
}  // namespace mvsms
