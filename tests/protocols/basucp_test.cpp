// UCP frames and answers.
#include "protocols/basucp.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <set>
#include <string>
#include <vector>

#include "protocols/char_tables.h"
#include "tests/protocols/expected_tables.h"
#include "tests/protocols/random_text.h"
#include "tests/protocols/ucp_answers.h"

namespace mvsms::basUCP {
namespace {

ServiceRecord ServiceFor(const std::string& command, std::int32_t message_type) {
  ServiceRecord service;
  service.UCPCommand = command;
  service.MessageType = message_type;
  return service;
}

// The frame, or the error text in square brackets.
std::string Built(const std::string& recipient, const std::string& originator,
                  const std::string& text, std::int32_t trn, const ServiceRecord& service) {
  std::string error = "untouched";
  const std::string frame = BuildUCPMessage(recipient, originator, text, trn, service, error);
  return error == "untouched" ? frame : "[" + error + "]" + frame;
}

TEST(ZeroPad, FillsUpWithZerosInFront) {
  EXPECT_EQ(ZeroPad(0, 2), "00");
  EXPECT_EQ(ZeroPad(7, 2), "07");
  EXPECT_EQ(ZeroPad(99, 2), "99");
  EXPECT_EQ(ZeroPad(36, 5), "00036");
  EXPECT_EQ(ZeroPad(99999, 5), "99999");
  EXPECT_EQ(ZeroPad(-1, 2), "-1");
}

TEST(ZeroPad, IsEmptyForAValueThatIsLonger) {
  EXPECT_EQ(ZeroPad(100, 2), "");
  EXPECT_EQ(ZeroPad(100000, 5), "");
  EXPECT_EQ(ZeroPad(-10, 2), "");
  EXPECT_EQ(ZeroPad(0, 0), "");
}

TEST(CalcUCPCheckSum, IsTheSumModulo256WithoutLeadingZero) {
  EXPECT_EQ(CalcUCPCheckSum("01/00036/O/01/0123456789///2/1234/"), "BA");
  EXPECT_EQ(CalcUCPCheckSum(""), "0");
  EXPECT_EQ(CalcUCPCheckSum("\x0F"), "F");
  EXPECT_EQ(CalcUCPCheckSum("\x10"), "10");
  EXPECT_EQ(CalcUCPCheckSum("\xFF"), "FF");
  EXPECT_EQ(CalcUCPCheckSum("\xFF\x01"), "0");
  EXPECT_EQ(CalcUCPCheckSum("\xFF\xFF"), "FE");
  EXPECT_EQ(CalcUCPCheckSum(std::string(5'000'000, '\xFF')), "C0");  // minus five million
}

TEST(GSMCharToHex, WritesTheEscapePairOfEachExtensionCharacter) {
  EXPECT_EQ(GSMCharToHex('\x80'), "1B65");
  EXPECT_EQ(GSMCharToHex('['), "1B3C");
  EXPECT_EQ(GSMCharToHex('\\'), "1B2F");
  EXPECT_EQ(GSMCharToHex(']'), "1B3E");
  EXPECT_EQ(GSMCharToHex('^'), "1B14");
  EXPECT_EQ(GSMCharToHex('{'), "1B28");
  EXPECT_EQ(GSMCharToHex('}'), "1B29");
  EXPECT_EQ(GSMCharToHex('|'), "1B40");
  EXPECT_EQ(GSMCharToHex('~'), "1B3D");
}

TEST(GSMCharToHex, WritesTheTableEntryOfEveryOtherCharacter) {
  const std::string escaped = "\x80[\\]^{}|~";
  for (int code = 0; code < 256; ++code) {
    const char c = static_cast<char>(code);
    if (escaped.find(c) != escaped.npos) continue;
    EXPECT_EQ(GSMCharToHex(c), TwoHexDigits(expected::kUCP[code])) << "code " << code;
  }
}

TEST(EncodeUCPText, KeepsTheDigitsOfANumericText) {
  EXPECT_EQ(EncodeUCPText("12 34", 2), "1234");
  EXPECT_EQ(EncodeUCPText("none", 2), "");
}

TEST(EncodeUCPText, WritesAnAlphanumericTextInHexadecimal) {
  EXPECT_EQ(EncodeUCPText("A\x80", 3), "411B65");
  EXPECT_EQ(EncodeUCPText("\r\n", 3), "0D0A");
  EXPECT_EQ(EncodeUCPText("_", 3), "11");
  EXPECT_EQ(EncodeUCPText("@", 3), "40");
  EXPECT_EQ(EncodeUCPText("\xA1", 3), "00");
  EXPECT_EQ(EncodeUCPText("\xE8\xE9\xC9", 3), "04051F");
  EXPECT_EQ(EncodeUCPText("", 3), "");
}

TEST(EncodeUCPText, IsEmptyForAnyOtherMessageType) {
  for (const int type : {-1, 0, 1, 4}) EXPECT_EQ(EncodeUCPText("123", type), "") << type;
}

// Reads a hexadecimal text back, character by character; an escape pair counts as one.
std::vector<std::string> SplitHex(const std::string& hex) {
  std::vector<std::string> characters;
  for (std::size_t at = 0; at < hex.size();) {
    const std::size_t length = hex.compare(at, 2, "1B") == 0 ? 4 : 2;
    characters.push_back(hex.substr(at, length));
    at += length;
  }
  return characters;
}

TEST(EncodeUCPText, DecodesBackForRandomTexts) {
  RandomText random;
  for (int round = 0; round < 500; ++round) {
    const std::string text = random.Of(random.UpTo(200));
    const std::vector<std::string> characters = SplitHex(EncodeUCPText(text, 3));
    ASSERT_EQ(characters.size(), text.size());
    for (std::size_t i = 0; i < text.size(); ++i) EXPECT_EQ(characters[i], GSMCharToHex(text[i]));
  }
}

TEST(BuildUCPMessage, WritesOperation01) {
  EXPECT_EQ(Built("0123456789", "", "12 34", 1, ServiceFor("01", 2)),
            "\x02"
            "01/00036/O/01/0123456789///2/1234/BA\x03");
}

TEST(BuildUCPMessage, WritesOperation51) {
  EXPECT_EQ(Built("0171", "42", "A", 0, ServiceFor("51", 3)),
            "\x02"
            "00/00058/O/51/0171/42/////////////////3//41/////////////A4\x03");
}

TEST(BuildUCPMessage, PutsAZeroBeforeAChecksumOfOneDigit) {
  EXPECT_EQ(Built("9999999999", "", "9999", 1, ServiceFor("1", 2)),
            "\x02"
            "01/00036/O/01/9999999999///2/9999/01\x03");
}

TEST(BuildUCPMessage, ReadsTheOperationAsANumber) {
  const std::string frame = Built("1", "2", "3", 0, ServiceFor("01", 2));
  for (const char* command : {"1", " 1", "001", "1.0", "1x"})
    EXPECT_EQ(Built("1", "2", "3", 0, ServiceFor(command, 2)), frame) << command;
}

TEST(BuildUCPMessage, LeavesTheReferenceEmptyFrom100Upwards) {
  EXPECT_EQ(Built("1", "", "2", 99, ServiceFor("01", 2)).substr(1, 9), "99/00024/");
  EXPECT_EQ(Built("1", "", "2", 100, ServiceFor("01", 2)).substr(1, 7), "/00022/");
}

TEST(BuildUCPMessage, LeavesTheLengthEmptyBeyondFiveDigits) {
  // 22 characters besides the text, the empty originator included.
  const auto length_field = [](std::size_t digits) {
    const std::string frame = Built("1", "", std::string(digits, '5'), 0, ServiceFor("01", 2));
    return frame.substr(4, frame.find('/', 4) - 4);
  };
  EXPECT_EQ(length_field(1), "00024");
  EXPECT_EQ(length_field(99'976), "99999");
  EXPECT_EQ(length_field(99'977), "");
}

TEST(BuildUCPMessage, FillsTheLengthInWhereverFiveSectionSignsStand) {
  const std::string five = "\xA7\xA7\xA7\xA7\xA7";
  EXPECT_EQ(Built(five, "\xA7", "3", 0, ServiceFor("01", 2)),
            UCPAnswer("00/00029/O/01/00029/\xA7//2/3/"));
  EXPECT_EQ(Built(five, five + "\xA7", "3", 0, ServiceFor("01", 2)),
            UCPAnswer("00/00034/O/01/00034/00034\xA7//2/3/"));
  EXPECT_EQ(Built("\xA7\xA7\xA7\xA7", "", "3", 0, ServiceFor("01", 2)),
            UCPAnswer("00/00027/O/01/\xA7\xA7\xA7\xA7///2/3/"));
}

TEST(BuildUCPMessage, RefusesAnUnknownMessageType) {
  EXPECT_EQ(Built("1", "", "x", 0, ServiceFor("01", 4)), "[Unknown MessageType specified: 4]");
  EXPECT_EQ(Built("1", "", "x", 0, ServiceFor("01", -1)), "[Unknown MessageType specified: -1]");
  EXPECT_EQ(Built("1", "", "", 0, ServiceFor("30", 0)), "[Unknown MessageType specified: 0]");
}

TEST(BuildUCPMessage, RefusesAMessageThatEncodesToNothing) {
  constexpr char kEmpty[] = "[Failed to encode Message or Message empty!]";
  EXPECT_EQ(Built("1", "", "no digits", 0, ServiceFor("01", 2)), kEmpty);
  EXPECT_EQ(Built("1", "", "", 0, ServiceFor("51", 3)), kEmpty);
  EXPECT_EQ(Built("1", "", "", 0, ServiceFor("30", 3)), kEmpty);  // before the operation
}

TEST(BuildUCPMessage, RefusesAnyOtherOperation) {
  for (const char* command : {"30", "", "0", "2", "52", "-1", "1.4", "511", "x"})
    EXPECT_EQ(Built("1", "", "x", 0, ServiceFor(command, 3)), "[Invalid UCP Operation.]")
        << command;
}

TEST(BuildUCPMessage, ReportsARunTimeErrorByNumberAndDescription) {
  EXPECT_EQ(Built("1", "", "x", 0, ServiceFor("99999999999", 3)), "[6: Overflow]");
  EXPECT_EQ(Built("1", "", "x", 0, ServiceFor("99999999999", 4)), "[6: Overflow]");
}

std::vector<std::string> Fields(const std::string& body) {
  std::vector<std::string> fields(1);
  for (const char c : body) {
    if (c == '/')
      fields.emplace_back();
    else
      fields.back() += c;
  }
  return fields;
}

// The fields of a well-formed frame: STX, ETX, length and checksum are right.
std::vector<std::string> Parsed(const std::string& frame) {
  EXPECT_EQ(frame.front(), '\x02');
  EXPECT_EQ(frame.back(), '\x03');
  const std::string body = frame.substr(1, frame.size() - 2);
  std::vector<std::string> fields = Fields(body);
  EXPECT_EQ(fields[1].size(), 5U);
  EXPECT_EQ(static_cast<std::size_t>(std::stoi(fields[1])), body.size());
  EXPECT_EQ(fields.back(), TwoHexDigits(SumModulo256(body.substr(0, body.size() - 2))));
  return fields;
}

using Strings = std::vector<std::string>;

TEST(BuildUCPMessage, OfRandomTextsIsAnOperation01ThatHoldsTogether) {
  RandomText random;
  for (int round = 0; round < 300; ++round) {
    const std::string recipient = random.From("0123456789+#* ", random.UpTo(20));
    const std::string originator = random.From("ABCabc0123\xE4", random.UpTo(12));
    const std::string text = random.Of(1 + random.UpTo(160));
    const Strings fields = Parsed(Built(recipient, originator, text, 7, ServiceFor("01", 3)));
    EXPECT_EQ(fields, (Strings{"07", fields[1], "O", "01", recipient, originator, "", "3",
                               EncodeUCPText(text, 3), fields.back()}));
  }
}

TEST(BuildUCPMessage, OfRandomTextsIsAnOperation51ThatHoldsTogether) {
  RandomText random;
  for (int round = 0; round < 300; ++round) {
    const std::string recipient = random.From("0123456789+#* ", random.UpTo(20));
    const std::string originator = random.From("ABCabc0123\xE4", random.UpTo(12));
    const std::string text = "7" + random.Of(random.UpTo(160));
    Strings wanted = {"00", "", "O", "51", recipient, originator};
    wanted.insert(wanted.end(), 16, "");
    wanted.insert(wanted.end(), {"2", "", EncodeUCPText(text, 2)});
    wanted.insert(wanted.end(), 12, "");
    wanted.emplace_back();
    const Strings fields = Parsed(Built(recipient, originator, text, 0, ServiceFor("51", 2)));
    wanted[1] = fields[1];
    wanted.back() = fields.back();
    EXPECT_EQ(fields, wanted);
  }
}

// What the check of an answer gave, for a service with operation 01 unless told otherwise.
struct Verdict {
  bool accepted = false;
  bool retry = false;
  std::string error = "untouched";
  bool operator==(const Verdict&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Verdict& verdict) {
  return out << "accepted " << verdict.accepted << ", retry " << verdict.retry << ", error \""
             << verdict.error << '"';
}

Verdict Check(const std::string& response, const std::string& command = "01",
              bool retry_before = false) {
  Verdict verdict;
  verdict.retry = retry_before;
  verdict.accepted =
      CheckUCPResponse(response, verdict.retry, verdict.error, ServiceFor(command, 3));
  return verdict;
}

const Verdict kAccepted{true, false, ""};
const Verdict kTooShort{false, true, "Received response invalid (too short)!"};
const Verdict kWrongCheckSum{false, true, "Received response invalid (Wrong checksum)!"};
const Verdict kNotNumeric{false, false, "Error in function: CheckUCPResponse - Type mismatch"};

TEST(CheckUCPResponse, AcceptsAnAcknowledgement) {
  EXPECT_EQ(Check("\x02"
                  "00/00019/R/01/A//68\x03"),
            kAccepted);
  EXPECT_EQ(Check(UCPAnswer("00/00043/R/51/A//0171:090196999999/"), "51"), kAccepted);
}

TEST(CheckUCPResponse, LeavesTheRetryFlagOfAnAcknowledgementAsItWas) {
  EXPECT_EQ(Check(UCPAcknowledgement(), "01", true), (Verdict{true, true, ""}));
}

TEST(CheckUCPResponse, TakesLessThanFiveCharactersAsTooShort) {
  for (const char* answer : {"", "\x02",
                             "\x02"
                             "68",
                             "\x02"
                             "00\x03"})
    EXPECT_EQ(Check(answer), kTooShort);
  EXPECT_EQ(Check("1234", "30"), kTooShort);  // before the operation is looked at
}

TEST(CheckUCPResponse, TakesAnyOtherCheckSumAsWrong) {
  EXPECT_EQ(Check("\x02"
                  "00/00019/R/01/A//69\x03"),
            kWrongCheckSum);
  EXPECT_EQ(Check("\x02"
                  "00/00019/R/01/A//\x03"),
            kWrongCheckSum);
  EXPECT_EQ(Check("12345"), kWrongCheckSum);
  EXPECT_EQ(Check(UCPAcknowledgement() + "\r"), kWrongCheckSum);
  EXPECT_EQ(Check(UCPAcknowledgement().substr(1)), kWrongCheckSum);
  EXPECT_EQ(Check("12345", "30"), kWrongCheckSum);  // before the operation is looked at
}

TEST(CheckUCPResponse, WantsTheCheckSumInUppercase) {
  const std::string answer = UCPAnswer("00/00019/R/01/A/s/");  // DB
  ASSERT_EQ(answer.substr(answer.size() - 3, 2), "DB");
  EXPECT_EQ(Check(answer), kAccepted);
  EXPECT_EQ(Check("\x02"
                  "00/00019/R/01/A/s/db\x03"),
            kWrongCheckSum);
}

TEST(CheckUCPResponse, TakesACheckSumWithALeadingZeroAsWrong) {
  const std::string answer = UCPAnswer("00/00021/R/01/A//MM/");
  ASSERT_EQ(answer.substr(answer.size() - 3, 2), "2A");
  EXPECT_EQ(Check(answer), kAccepted);
  const std::string leading_zero = UCPAnswer("00/00021/R/01/A//M%/");
  ASSERT_EQ(leading_zero.substr(leading_zero.size() - 3, 2), "02");
  EXPECT_EQ(Check(leading_zero), kWrongCheckSum);
}

TEST(CheckUCPResponse, ReadsNothingForAnUnknownOperation) {
  for (const char* command : {"30", "", "2", "x", "99999999999"})
    for (const bool retry : {false, true})
      EXPECT_EQ(Check(UCPAcknowledgement(), command, retry), (Verdict{false, retry, "untouched"}));
}

TEST(CheckUCPResponse, SetsTheRetryFlagForTheCodesThatMayPass) {
  const std::set<int> passing = {1, 4, 10, 30, 33, 34, 35};
  for (int code = 0; code < 100; ++code) {
    const std::string digits = {static_cast<char>('0' + code / 10),
                                static_cast<char>('0' + code % 10)};
    const Verdict wanted{false, passing.count(code) == 1, "System message: no luck/"};
    EXPECT_EQ(Check(UCPRefusal(digits, "/no luck/")), wanted) << digits;
    EXPECT_EQ(Check(UCPRefusal(digits, "/no luck/"), "51"), wanted) << digits;
  }
}

TEST(CheckUCPResponse, NeverClearsTheRetryFlag) {
  EXPECT_EQ(Check(UCPRefusal("02", "/x/"), "01", true),
            (Verdict{false, true, "System message: x/"}));
}

TEST(CheckUCPResponse, TakesAnyLetterButAAsARefusal) {
  for (const char letter : {'N', 'a', 'B', ' ', '/'}) {
    std::string body = "00/00030/R/01/N/03/x/";
    body[14] = letter;
    EXPECT_EQ(Check(UCPAnswer(body)), (Verdict{false, false, "System message: x/"})) << letter;
  }
}

TEST(CheckUCPResponse, KeepsTheSystemMessageUpToItsSlash) {
  const auto error_for = [](const char* rest) { return Check(UCPRefusal("03", rest)).error; };
  EXPECT_EQ(error_for("/0171:refused/more/"), "System message: 0171:refused/");
  EXPECT_EQ(error_for("//"), "System message: /");
  EXPECT_EQ(error_for("/no end"), "System message: ");
  EXPECT_EQ(error_for("/"), "System message: ");
  EXPECT_EQ(error_for("?x/"), "System message: x/");  // whatever stands in position 20
}

TEST(CheckUCPResponse, FailsWhenTheCodeIsNotNumeric) {
  for (const char* code : {"XX", "  ", "/0", "1/", "0x", "--"})
    EXPECT_EQ(Check(UCPRefusal(code, "/x/")), kNotNumeric) << code;
  EXPECT_EQ(Check(UCPRefusal("XX", "/x/"), "01", true).retry, true);
}

TEST(CheckUCPResponse, ReadsACodeBesideABlank) {
  EXPECT_EQ(Check(UCPRefusal(" 4", "/x/")), (Verdict{false, true, "System message: x/"}));
  EXPECT_EQ(Check(UCPRefusal("2 ", "/x/")), (Verdict{false, false, "System message: x/"}));
}

TEST(CheckUCPResponse, FailsWhenTheAnswerEndsBeforeItsCode) {
  int checked = 0;
  for (std::size_t body = 2; body <= 16; ++body) {
    const std::string answer = UCPAnswer(std::string("00/00030/R/51/N/").substr(0, body));
    if (answer[answer.size() - 3] == '0') continue;
    ++checked;
    // Positions 18 and 19 hold nothing, ETX, or a checksum digit that may be a number.
    const Verdict verdict = Check(answer);
    EXPECT_FALSE(verdict.accepted);
    if (answer.size() >= 18) continue;
    EXPECT_EQ(verdict, kNotNumeric) << body;
  }
  EXPECT_GE(checked, 12);
}

TEST(CheckUCPResponse, SurvivesAnyAnswer) {
  RandomText random;
  for (int round = 0; round < 2000; ++round) {
    const std::string noise = random.Of(random.UpTo(30));
    EXPECT_FALSE(Check(noise).accepted);
    const std::string framed = UCPAnswer(random.From("0A/N \x03", random.UpTo(30)));
    const bool readable = framed.size() >= 5 && framed[framed.size() - 3] != '0';
    EXPECT_EQ(Check(framed).accepted, readable && framed.size() > 15 && framed[15] == 'A');
  }
}

}  // namespace
}  // namespace mvsms::basUCP
