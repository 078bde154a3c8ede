// Frames and answers in words. The frames are built by the sender's own protocols and by the
// centre, so that neither explains what only it understands.
#include "dispatch/explain.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "centre/tap_frame.h"
#include "centre/ucp_frame.h"
#include "protocols/basucp.h"

namespace mvsms::dispatch {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

Explanation Only(std::string_view notation) {
  const auto parts = Explain(BytesInLog(notation));
  EXPECT_EQ(parts.size(), 1u);
  return parts.empty() ? Explanation() : parts.front();
}

const ExplainedField& Field(const Explanation& part, std::string_view name) {
  static const ExplainedField kNone{"", "none", "none"};
  const auto found = std::find_if(part.fields.begin(), part.fields.end(),
                                  [&](const ExplainedField& field) { return field.name == name; });
  return found == part.fields.end() ? kNone : *found;
}

std::string Request(const std::string& operation, const std::string& text,
                    std::int32_t type = kMessageTypeAlphanumeric) {
  ServiceRecord service;
  service.UCPCommand = operation;
  service.MessageType = type;
  std::string error;
  return basUCP::BuildUCPMessage("01711234567", "4711", text, 0, service, error);
}

std::string Result(const std::string& operation, const std::vector<std::string>& fields) {
  return centre::BuildUcpResult("00", operation, fields);
}

// --- UCP

TEST(ExplainUcp, NamesEveryFieldOfOperation01) {
  const auto parts = Explain(Request("01", "5\x80"));
  ASSERT_EQ(parts.size(), 1u);
  const Explanation& part = parts[0];
  EXPECT_EQ(part.what, "UCP request 01 (call input)");
  EXPECT_THAT(part.faults, IsEmpty());
  EXPECT_EQ(Field(part, "LEN").meaning, "length from TRN through the checksum: right");
  EXPECT_EQ(Field(part, "AdC").bytes, "01711234567/");
  EXPECT_EQ(Field(part, "OAdC").bytes, "4711/");
  EXPECT_EQ(Field(part, "MT").meaning, "message type: alphanumeric");
  EXPECT_EQ(Field(part, "Msg").meaning, "message: \"5€\"");
  EXPECT_THAT(Field(part, "checksum").meaning, HasSubstr(": right"));
}

TEST(ExplainUcp, NamesEveryFieldOfOperation51) {
  const Explanation part = Explain(Request("51", "Hello")).at(0);
  EXPECT_EQ(part.what, "UCP request 51 (submit a short message)");
  EXPECT_THAT(part.faults, IsEmpty());
  EXPECT_EQ(part.fields.size(), 1u + 4 + 33 + 1 + 1);
  EXPECT_EQ(Field(part, "Msg").meaning, "message: \"Hello\"");
}

TEST(ExplainUcp, ShowsANumericMessageAsItIs) {
  const Explanation part = Explain(Request("01", "4711", kMessageTypeNumeric)).at(0);
  EXPECT_EQ(Field(part, "Msg").meaning, "message: 4711");
}

TEST(ExplainUcp, TellsWhenAndForWhomACentreAccepted) {
  const Explanation part = Explain(Result("51", {"A", "", "01711234567:261122031205"})).at(0);
  EXPECT_EQ(part.what, "UCP result 51 (submit a short message): accepted");
  EXPECT_EQ(Field(part, "SM").meaning, "system message: 01711234567 at 26.11.22 03:12:05");
  EXPECT_THAT(part.faults, IsEmpty());
}

TEST(ExplainUcp, PutsErrorCodesInWords) {
  const Explanation part = Explain(Result("01", {"N", "06", "AdC invalid"})).at(0);
  EXPECT_EQ(part.what, "UCP result 01 (call input): refused, 06 recipient (AdC) not valid");
  EXPECT_EQ(Field(part, "EC").meaning, "error code: recipient (AdC) not valid");
  const Explanation retry = Explain(Result("01", {"N", "04", ""})).at(0);
  EXPECT_THAT(retry.what, HasSubstr("operation not allowed; a later attempt may work"));
  EXPECT_THAT(Explain(Result("01", {"N", "77", ""})).at(0).what, HasSubstr("of this centre's own"));
}

TEST(ExplainUcp, PointsOutAChecksumWithALeadingZero) {
  int found = 0;
  for (int i = 0; i < 256; ++i) {
    const std::string frame = Result("01", {"A", std::to_string(i)});
    const bool zero = frame[frame.size() - 3] == '0';
    const std::string meaning = Field(Explain(frame).at(0), "checksum").meaning;
    EXPECT_EQ(meaning.ends_with("for such an answer"), zero) << frame;
    found += zero;
  }
  EXPECT_GT(found, 0);
}

TEST(ExplainUcp, SaysWhatAWrongLengthAndChecksumShouldBe) {
  std::string frame = Request("01", "Hello");
  const std::string right = frame.substr(frame.size() - 3, 2);
  frame.replace(4, 5, "00099");
  const Explanation part = Explain(frame).at(0);
  EXPECT_THAT(
      part.faults,
      ElementsAre("the length should be 000" + std::to_string(frame.size() - 2) + ", not 00099",
                  ::testing::ContainsRegex("checksum should be .., not " + right)));
  EXPECT_EQ(Field(part, "LEN").meaning, "length from TRN through the checksum: wrong");
}

TEST(ExplainUcp, SaysWhereACutFrameEnds) {
  const std::string frame = Request("01", "Hello");
  const Explanation part = Explain(frame.substr(0, 25)).at(0);
  EXPECT_THAT(part.faults,
              ElementsAre("it ends after 25 bytes, within or after the field AdC, without ETX"));
}

TEST(ExplainUcp, CountsTheFields) {
  EXPECT_THAT(Explain(Result("51", {"A", "x"})).at(0).faults,
              ElementsAre("it has 2 fields between OT and the checksum, not 3"));
}

TEST(ExplainUcp, DecodesAnAlphanumericOriginator) {
  std::vector<std::string> fields(33);
  fields[1] = "0AE5391D";  // not the length of what follows: as far as it goes
  fields[28] = "5039";
  const std::string frame = Result("51", fields);
  std::string request = frame;
  request.replace(10, 1, "O");
  EXPECT_THAT(Field(Explain(request).at(0), "OAdC").meaning, HasSubstr("originator: \"es"));
}

TEST(ExplainUcp, MarksThePasswordOfALogin) {
  std::vector<std::string> fields(12);
  fields[4] = "736563726574";
  std::string frame = Result("60", fields);
  frame.replace(10, 1, "O");
  const Explanation part = Explain(frame).at(0);
  EXPECT_TRUE(Field(part, "PWD").secret);
  EXPECT_FALSE(Field(part, "NPWD").secret) << "there is none";
}

TEST(ExplainUcp, ReadsAFrameThatLostItsStart) {
  const Explanation part = Explain(Result("01", {"A", ""}).substr(1)).at(0);
  EXPECT_EQ(part.what, "UCP result 01 (call input): accepted");
  EXPECT_THAT(part.faults, ElementsAre("there is no STX before it"));
}

// --- TAP

std::string Block(const std::string& content) {
  const std::string bytes = BytesInLog(content);
  return bytes + centre::TapChecksum(bytes) + "\r";
}

TEST(ExplainTap, NamesTheFieldsOfABlock) {
  const Explanation part = Explain(Block("<STX>4711<CR>Gr}~e <SUB>M<CR><ETX>")).at(0);
  EXPECT_EQ(part.what, "TAP block, the last block of its page");
  EXPECT_THAT(part.faults, IsEmpty());
  EXPECT_EQ(Field(part, "pager").meaning, "recipient: 4711");
  EXPECT_EQ(Field(part, "message").meaning, "\"Grüße \xEF\xBF\xBD\"") << "the SUB pair is a CR";
  EXPECT_EQ(Field(part, "checksum").meaning, "right");
}

TEST(ExplainTap, KnowsBlocksThatGoOn) {
  EXPECT_EQ(Explain(Block("<STX>1<CR>a<CR><ETB>")).at(0).what,
            "TAP block, the page goes on in the next block");
  const Explanation open = Explain(Block("<STX>1<CR>a<US>")).at(0);
  EXPECT_EQ(open.what, "TAP block, page and field go on in the next block");
  EXPECT_THAT(open.faults, IsEmpty());
}

TEST(ExplainTap, SaysWhatAWrongChecksumShouldBe) {
  const std::string right = centre::TapChecksum(
      "\x02"
      "1\rx\r\x03");
  EXPECT_THAT(Only("<STX>1<CR>x<CR><ETX>000<CR>").faults,
              ElementsAre("the checksum should be " + right + ", not 000"));
}

TEST(ExplainTap, SaysWhereACutBlockEnds) {
  EXPECT_THAT(Only("<STX>1<CR>x").faults,
              ElementsAre("it ends after 4 bytes, without ETX, ETB or US"));
  EXPECT_THAT(
      Only("<STX>1<CR>x<CR><ETX>").faults,
      ElementsAre(HasSubstr("within the checksum"), "the CR behind the checksum is missing"));
  EXPECT_THAT(Only("<STX>").faults, ElementsAre("it ends after 1 bytes, without ETX, ETB or US"));
}

TEST(ExplainTap, PutsAnswersInWords) {
  EXPECT_EQ(Only("ID=").what, "TAP prompt");
  EXPECT_EQ(Only("<CR><ACK><CR>").what, "TAP answer: accepted");
  EXPECT_EQ(Only("110 1.8<CR><CR><ACK><CR><ESC>[p<CR>").what, "TAP answer: logged in, go ahead");
  EXPECT_EQ(Only("514 x<CR><NAK><CR>").what, "TAP answer: not taken, send it again");
  EXPECT_EQ(Only("<RS><CR>").what, "TAP answer: page refused");
  EXPECT_EQ(Only("<ESC><EOT><CR>").what, "TAP answer: the centre ends the call");
  EXPECT_EQ(Only("<EOT><CR>").what, "TAP log-off");
  EXPECT_EQ(Only("Welcome").what, "text outside of a frame");
}

TEST(ExplainTap, PutsMessageCodesInWords) {
  EXPECT_EQ(Field(Only("511 Unknown<CR><RS><CR>"), "code").meaning, "pager not known");
  EXPECT_EQ(Field(Only("599"), "code").meaning, "page refused");
  EXPECT_EQ(Field(Only("5110"), "text").meaning, "\"5110\"");
}

TEST(ExplainTap, MarksThePasswordOfALogin) {
  const Explanation part = Only("<ESC>PG1secret<CR>");
  EXPECT_EQ(part.what, "TAP login");
  EXPECT_EQ(Field(part, "identifier").bytes, "PG1");
  EXPECT_EQ(Field(part, "password").bytes, "secret");
  EXPECT_TRUE(Field(part, "password").secret);
}

TEST(ExplainTap, MarksThePasswordOfALoginInTheLog) {
  for (const char* line : {"2026-01-02 03:04:05\tSending Terminal ID: PG1sec<CR>ret",
                           "2026-01-02 03:04:05\tSending Terminal ID: PG1sec<CR>ret\r"}) {
    const Explanation part = Only(line);
    EXPECT_EQ(part.what, "TAP login");
    EXPECT_EQ(Field(part, "identifier").bytes, "PG1");
    EXPECT_EQ(Field(part, "password").bytes, "sec<CR>ret");
    EXPECT_TRUE(Field(part, "password").secret);
  }
}

TEST(ExplainTap, TakesAnIdentifierOfItsOwnKindForAPassword) {
  const Explanation part = Only("<ESC>secret<CR>");
  EXPECT_EQ(Field(part, "password").bytes, "secret");
  EXPECT_EQ(Field(part, "identifier").name, "none");
}

TEST(ExplainTap, PointsOutAPromptBehindOtherText) {
  EXPECT_THAT(Only("Hello ID=").faults, ElementsAre(HasSubstr("behind other text")));
}

// --- any

TEST(Explain, TakesALineOfTheLog) {
  EXPECT_EQ(Only("22.11.2026 03:12:05\tResponse received: <CR><ACK><CR>").what,
            "TAP answer: accepted");
}

TEST(Explain, TakesSeveralFramesAndWhatIsBetweenThem) {
  const auto parts = Explain(Request("01", "a") + "~\r" + Result("01", {"A", ""}));
  ASSERT_EQ(parts.size(), 3u);
  EXPECT_EQ(parts[1].what, "line end");
}

TEST(Explain, LosesNoByteOfAnything) {
  std::mt19937 random(7);
  const std::string favourites = "\x02\x03\x04\x06\r\n\x15\x17\x1A\x1B\x1E\x1F/01359ANORID=[p";
  for (int run = 0; run < 3000; ++run) {
    std::string bytes = run % 3 == 0 ? Request("51", "abc") : "";
    for (std::size_t n = random() % 60; n > 0; --n) {
      const char c = random() % 3 ? favourites[random() % favourites.size()]
                                  : static_cast<char>(random() % 256);
      bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(random() % (bytes.size() + 1)), c);
    }
    std::string all;
    for (const Explanation& part : Explain(bytes)) {
      EXPECT_NE(part.what, "");
      for (const ExplainedField& field : part.fields) all += field.bytes;
    }
    ASSERT_EQ(all, bytes);
  }
}

}  // namespace
}  // namespace mvsms::dispatch
