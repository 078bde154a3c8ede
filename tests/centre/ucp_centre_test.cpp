// The UCP centre, operation by operation and setting by setting.
#include "centre/ucp_centre.h"

#include <gtest/gtest.h>

#include "tests/centre/frames.h"
#include "tests/support/centre_call.h"

namespace mvsms::centre::test {
namespace {

std::string Accepted(const std::string& operation, const std::string& fields,
                     const std::string& trn = "00") {
  return UcpFrameOf(operation, "A/" + fields, trn, "R");
}

TEST(UcpCentre, CallInputIsAnsweredWithTwoFields) {
  UcpTest ucp;
  EXPECT_EQ(ucp.Dialled().Answer(kSubmit01), Accepted("01", "01234567890:010170000000/"));
}

TEST(UcpCentre, SubmitIsAnsweredWithThreeFields) {
  UcpTest ucp;
  EXPECT_EQ(ucp.Dialled().Answer(kSubmit51), Accepted("51", "/012345:010170000000/"));
}

TEST(UcpCentre, TransferIsAnsweredWithThreeFields) {
  UcpTest ucp;
  const std::string transfer = UcpFrameOf("30", "0123/0456///////48616C6C6F/", "07");
  EXPECT_EQ(ucp.Dialled().Answer(UcpFrameOf("30", "0123/0456////////48616C6C6F/", "07")),
            Accepted("30", "/0123:010170000000/", "07"));
  EXPECT_EQ(ucp.Dialled().Answer(transfer), Refusal("30", "02", "Syntax error", "07"));
  EXPECT_EQ(ucp.requests.at(0).text, "Hallo");
  EXPECT_EQ(ucp.requests.at(0).type, "alphanumeric");
}

TEST(UcpCentre, AlertAndLoginAreAnsweredWithTwoFields) {
  UcpTest ucp;
  EXPECT_EQ(ucp.Dialled().Answer(kAlert), Accepted("31", "0000/", "02"));
  EXPECT_EQ(ucp.Dialled().Answer(kLogin60), Accepted("60", "/", "02"));
}

TEST(UcpCentre, RecordsAMessage) {
  UcpTest ucp;
  ucp.Dialled().Sends(kSubmit51);
  const Request& request = ucp.requests.at(0);
  EXPECT_EQ(request.protocol, "UCP");
  EXPECT_EQ(request.operation, "51");
  EXPECT_EQ(request.recipient, "012345");
  EXPECT_EQ(request.originator, "09876");
  EXPECT_EQ(request.text, "Message 51");
  EXPECT_EQ(request.type, "alphanumeric");
  EXPECT_EQ(request.trn, "00");
  EXPECT_EQ("<STX>" + request.raw + "<ETX>", kSubmit51);
  EXPECT_EQ(ToNotation(request.answer), Accepted("51", "/012345:010170000000/"));
  EXPECT_TRUE(request.accepted);
}

TEST(UcpCentre, RecordsTheOtherOperationsToo) {
  UcpTest ucp;
  Call call = ucp.Dialled();
  call.Sends(kSubmit01 + kAlert + kLogin60);
  ASSERT_EQ(ucp.requests.size(), 3u);
  EXPECT_EQ(ucp.requests[0].text, "Short Message");
  EXPECT_EQ(ucp.requests[1].recipient, "0234765439845");
  EXPECT_EQ(ucp.requests[2].originator, "07656765");
  EXPECT_TRUE(ucp.requests[2].accepted);
}

TEST(UcpCentre, TheTransactionReferenceComesBack) {
  UcpTest ucp;
  Call call = ucp.Dialled();
  for (const char* trn : {"00", "42", "99"})
    EXPECT_EQ(call.Answer(UcpFrameOf("31", "0123/0139/", trn)), Accepted("31", "0000/", trn));
}

TEST(UcpCentre, ResultsHaveNoAnswer) {
  UcpTest ucp;
  EXPECT_EQ(ucp.Dialled().Answer("<STX>11/00022/R/30/N/24//08<ETX>"), "");
  EXPECT_TRUE(ucp.requests.empty());
}

TEST(UcpCentre, ReadsGsmTextsWithEscapePairs) {
  UcpTest ucp;
  ucp.Dialled().Sends(Submit("0123", "", "3", "7B201B65001B3C0A"));
  EXPECT_EQ(ucp.requests.at(0).text, "ä €@[\n");
  UcpTest ascii({"ucp-alphabet=ascii"});
  ascii.Dialled().Sends(Submit("0123", "", "3", "407B"));
  EXPECT_EQ(ascii.requests.at(0).text, "@{");
}

TEST(UcpCentre, ReadsNumericToneAndTransparentMessages) {
  UcpTest ucp;
  Call call = ucp.Dialled();
  call.Sends(Submit("0123", "", "2", "4711") + Submit("0123", "", "4", "F5F6"));
  call.Sends(UcpFrameOf("01", "0123///1//"));
  ASSERT_EQ(ucp.requests.size(), 3u);
  EXPECT_EQ(ucp.requests[0].text, "4711");
  EXPECT_EQ(ucp.requests[0].type, "numeric");
  EXPECT_EQ(ucp.requests[1].text, "F5F6");
  EXPECT_EQ(ucp.requests[1].type, "transparent");
  EXPECT_EQ(ucp.requests[1].coding, "binary");
  EXPECT_EQ(ucp.requests[2].type, "tone");
  for (const Request& request : ucp.requests) EXPECT_TRUE(request.accepted);
}

TEST(UcpCentre, ReadsTransparentMessagesAsTheirCodingSchemeSays) {
  struct Case {
    const char *services, *message, *coding, *text;
  };
  const Case cases[] = {
      {"020108", "041F0440043804320435044200210020D83DDE00", "ucs2", "Привет! 😀"},
      {"0201E0", "0041", "ucs2", "A"},
      {"020100", "1B6500", "gsm", "€@"},
      {"0201F1", "41", "gsm", "A"},
      {"0201F5", "41", "binary", "41"},
      {"020104", "F5F6", "binary", "F5F6"},
      {"0301FF", "41", "binary", "41"},
      {"", "41", "binary", "41"}};
  UcpTest ucp;
  Call call = ucp.Dialled();
  for (const Case& each : cases) {
    call.Sends(Submit("0123", "", "4", each.message, {.extra_services = each.services}));
    const Request& request = ucp.requests.back();
    EXPECT_EQ(request.coding, each.coding) << each.services;
    EXPECT_EQ(request.text, each.text) << each.services;
    EXPECT_EQ(request.type, "transparent");
    EXPECT_TRUE(request.accepted);
  }
}

TEST(UcpCentre, TheHeaderOfAPartStandsApart) {
  UcpTest ucp;
  Call call = ucp.Dialled();
  call.Sends(Submit("0123", "", "3", "4142", {.extra_services = "01060500037E0201"}));
  call.Sends(Submit("0123", "", "4", "0041", {.extra_services = "01060500037E0202020108"}));
  ASSERT_EQ(ucp.requests.size(), 2u);
  EXPECT_EQ(ucp.requests[0].header, "0500037E0201");
  EXPECT_EQ(ucp.requests[0].text, "AB");
  EXPECT_EQ(ucp.requests[0].coding, "");
  EXPECT_EQ(ucp.requests[1].header, "0500037E0202");
  EXPECT_EQ(ucp.requests[1].text, "A");
}

TEST(UcpCentre, RefusesTransparentMessagesAndServicesThatAreNone) {
  UcpTest ucp;
  Call call = ucp.Dialled();
  EXPECT_EQ(call.Answer(Submit("12", "", "4", "4G")), Refusal("51", "02", "Syntax error"));
  for (const char* services : {"02", "0201", "020208", "0201080", "xx"}) {
    EXPECT_EQ(call.Answer(Submit("12", "", "4", "41", {.extra_services = services})),
              Refusal("51", "02", "Syntax error"))
        << services;
  }
}

/// The notification of a message from 0456 to 0123 of that moment, made a second later.
std::string NotificationOf(const std::string& trn, const std::string& result,
                           const std::string& words) {
  return UcpFrameOf("53",
                    "0456/0123" + std::string(13, '/') + "010170000000/" + result +
                        "/010170000001/3//" +
                        HexOf("Message for 0123, with identification 010170000000 has " + words +
                              " on 1970-01-01 at 00:00:01") +
                        std::string(13, '/'),
                    trn);
}

std::string Answer53(const std::string& trn, const std::string& fields = "A//") {
  return UcpFrameOf("53", fields, trn, "R");
}

const std::string kAsked = Submit("0123", "0456", "3", "41", {.notification = "1//"});

TEST(UcpCentre, TellsWhoAskedThatAMessageWasDelivered) {
  UcpTest ucp;
  Call call = ucp.Dialled();
  EXPECT_EQ(call.Answer(kAsked), Accepted("51", "/0123:010170000000/"));
  call.Waits(999);
  EXPECT_EQ(call.Hears(), "");
  call.Waits(1);
  EXPECT_EQ(call.Hears(), NotificationOf("00", "0/000", "been delivered"));
  EXPECT_EQ(ucp.requests.size(), 1u) << "not yet answered";
  EXPECT_EQ(call.Answer(Answer53("00")), "");
  ASSERT_EQ(ucp.requests.size(), 2u);
  const Request& told = ucp.requests[1];
  EXPECT_EQ(told.operation, "53");
  EXPECT_EQ(told.recipient, "0456");
  EXPECT_EQ(told.originator, "0123");
  EXPECT_EQ("<STX>" + told.raw + "<ETX>", NotificationOf("00", "0/000", "been delivered"));
  EXPECT_EQ(ToNotation(told.answer), Answer53("00"));
  EXPECT_TRUE(told.accepted);
}

TEST(UcpCentre, DelayAndResultOfNotificationsAreSettings) {
  UcpTest failed({"notification=failed", "notification-reason=7"});
  Call call = failed.Dialled();
  call.Sends(kAsked);
  call.Hears();
  call.Waits(1000);
  EXPECT_EQ(call.Hears(), NotificationOf("00", "2/007", "not been delivered"));
  UcpTest buffered({"notification=buffered"});
  Call other = buffered.Dialled();
  other.Sends(kAsked);
  other.Hears();
  other.Waits(1000);
  EXPECT_EQ(other.Hears(), NotificationOf("00", "1/000", "been buffered"));
  UcpTest at_once({"notification-delay=0"});
  Call third = at_once.Dialled();
  third.Sends(kAsked);
  third.Waits(0);
  EXPECT_EQ(third.Hears().find(Accepted("51", "/0123:010170000000/") + "<STX>00/"), 0u);
}

TEST(UcpCentre, NobodyIsToldUnasked) {
  const auto told = [](const std::string& setting, const std::string& submit) {
    UcpTest ucp({setting});
    Call call = ucp.Dialled();
    call.Sends(submit);
    call.Hears();
    call.Waits(5000);
    return call.Hears() != "";
  };
  const auto asking = [](const std::string& fields) {
    return Submit("0123", "0456", "3", "41", {.notification = fields});
  };
  EXPECT_FALSE(told("notification=delivered", asking("//")));
  EXPECT_FALSE(told("notification=delivered", asking("0//")));
  EXPECT_FALSE(told("notification=none", kAsked));
  EXPECT_FALSE(told("refuse=1", kAsked));
  EXPECT_TRUE(told("notification=delivered", asking("1//1")));
  EXPECT_TRUE(told("notification=buffered", asking("1//7")));
  EXPECT_TRUE(told("notification=failed", asking("1//0")));
  EXPECT_FALSE(told("notification=delivered", asking("1//2")));
  EXPECT_FALSE(told("notification=failed", asking("1//5")));
}

TEST(UcpCentre, NotificationsGoToTheAddressThatWasNamed) {
  UcpTest ucp;
  Call call = ucp.Dialled();
  call.Sends(Submit("0123", "0456", "3", "41", {.notification = "1/0789/"}));
  call.Waits(1000);
  call.Sends(Answer53("00"));
  EXPECT_EQ(ucp.requests.at(1).recipient, "0789");
}

TEST(UcpCentre, AnswersBelongToTheNotificationOfTheirNumber) {
  UcpTest ucp;
  Call call = ucp.Dialled();
  call.Sends(kAsked + kAsked);
  call.Waits(1000);
  call.Sends(Answer53("01", "N/02/no thanks/") + Answer53("07") +
             UcpFrameOf("51", "A//", "00", "R"));
  std::string hurt = Answer53("00");
  hurt.replace(hurt.find("/A/"), 3, "/B/");
  call.Sends(hurt);
  ASSERT_EQ(ucp.requests.size(), 3u);
  EXPECT_EQ(ucp.requests[2].trn, "01");
  EXPECT_FALSE(ucp.requests[2].accepted);
  call.HangsUp();
  ASSERT_EQ(ucp.requests.size(), 4u) << "the other one, never answered";
  EXPECT_EQ(ucp.requests[3].trn, "00");
  EXPECT_EQ(ucp.requests[3].answer, "");
  EXPECT_FALSE(ucp.requests[3].accepted);
}

TEST(UcpCentre, WhoHasHungUpIsToldNothing) {
  UcpTest ucp;
  Call call = ucp.Dialled();
  call.Sends(kAsked);
  call.HangsUp();
  call.Waits(5000);
  EXPECT_EQ(ucp.requests.size(), 1u);
}

TEST(UcpCentre, ReadsAlphanumericOriginators) {
  UcpTest ucp;
  ucp.Dialled().Sends(Submit("0123", "10412614190438AB4D", "3", "41", {.originator_type = "5039"}));
  EXPECT_EQ(ucp.requests.at(0).originator, "ALPHA@NUM");
  EXPECT_TRUE(ucp.requests.at(0).accepted);
}

TEST(UcpCentre, RefusesWhatIsHurtOrMalformed) {
  UcpTest ucp;
  Call call = ucp.Dialled();
  std::string hurt = kSubmit51;
  hurt.replace(hurt.find("012345"), 1, "9");
  EXPECT_EQ(call.Answer(hurt), Refusal("51", "01", "Checksum error"));
  EXPECT_EQ(call.Answer("<STX>garbage<ETX>"), Refusal("00", "01", "Checksum error"));
  const std::string body = "05/00099/O/31/0123/0139/";
  EXPECT_EQ(call.Answer("<STX>" + body + UcpChecksum(body) + "<ETX>"),
            Refusal("31", "02", "Syntax error", "05"));
  EXPECT_EQ(call.Answer(UcpFrameOf("31", "0123/")), Refusal("31", "02", "Syntax error"));
}

TEST(UcpCentre, RefusesOperationsItDoesNotKnow) {
  UcpTest ucp;
  EXPECT_EQ(ucp.Dialled().Answer(UcpFrameOf("02", "0123/")),
            Refusal("02", "03", "Operation not supported by system"));
}

TEST(UcpCentre, RefusesBadRecipientsAndMessages) {
  UcpTest ucp;
  Call call = ucp.Dialled();
  EXPECT_EQ(call.Answer(Submit("", "", "3", "41")), Refusal("51", "06", "AdC invalid"));
  EXPECT_EQ(call.Answer(Submit("12a", "", "3", "41")), Refusal("51", "06", "AdC invalid"));
  EXPECT_EQ(call.Answer(Submit("12", "", "3", "4G")), Refusal("51", "02", "Syntax error"));
  EXPECT_EQ(call.Answer(Submit("12", "", "2", "4A")), Refusal("51", "02", "Syntax error"));
  EXPECT_EQ(call.Answer(Submit("12", "", "9", "41")),
            Refusal("51", "23", "Message type not supported by system"));
}

TEST(UcpCentre, ServesTheRecipientsOfItsList) {
  UcpTest ucp({"recipients=01,02"});
  Call call = ucp.Dialled();
  EXPECT_EQ(call.Answer(Submit("0333", "", "3", "41")), Refusal("51", "06", "AdC invalid"));
  EXPECT_EQ(call.Answer(kSubmit01), Accepted("01", "01234567890:010170000000/"));
}

TEST(UcpCentre, RefusesThenAccepts) {
  UcpTest ucp({"refuse=2"});
  EXPECT_EQ(ucp.Dialled().Answer(kSubmit51), Refusal("51", "04", "Operation not allowed"));
  EXPECT_EQ(ucp.Dialled().Answer(kSubmit51), Refusal("51", "04", "Operation not allowed"));
  EXPECT_EQ(ucp.Dialled().Answer(kSubmit51), Accepted("51", "/012345:010170000000/"));
  EXPECT_FALSE(ucp.requests.at(0).accepted);
  EXPECT_EQ(ucp.requests.at(0).text, "Message 51");
}

TEST(UcpCentre, RefusesWithAnyCode) {
  for (int code = 1; code < 100; ++code) {
    UcpTest ucp({"refuse=all", "ucp-refusal=" + std::to_string(code)});
    const std::string digits = (code < 10 ? "0" : "") + std::to_string(code);
    EXPECT_EQ(ucp.Dialled().Answer(kSubmit01),
              Refusal("01", digits, std::string(UcpErrorText(code))));
  }
}

TEST(UcpCentre, TheTextOfARefusalIsASetting) {
  UcpTest ucp({"refuse=1", "ucp-refusal=24", "ucp-refusal-text=Far too long"});
  EXPECT_EQ(ucp.Dialled().Answer(kSubmit01), Refusal("01", "24", "Far too long"));
}

TEST(UcpCentre, SystemMessageAndValidityAreSettings) {
  UcpTest ucp({"system-message=for {recipient} at {time}, {recipient}", "validity=0902961032"});
  Call call = ucp.Dialled();
  call.Waits(59999);
  EXPECT_EQ(call.Answer(kSubmit51),
            Accepted("51", "0902961032/for 012345 at 010170000059, 012345/"));
}

TEST(UcpCentre, ALoginMayBeRequired) {
  UcpTest ucp({"login-required=on", "password=Password"});
  Call call = ucp.Dialled();
  EXPECT_EQ(call.Answer(kSubmit51), Refusal("51", "04", "Operation not allowed"));
  EXPECT_EQ(call.Answer(kLogin60), Accepted("60", "/", "02"));
  EXPECT_EQ(call.Answer(kSubmit51), Accepted("51", "/012345:010170000000/"));
  EXPECT_EQ(ucp.Dialled().Answer(kSubmit51), Refusal("51", "04", "Operation not allowed"));
}

TEST(UcpCentre, AWrongPasswordIsRefused) {
  UcpTest ucp({"login-required=on", "password=other"});
  Call call = ucp.Dialled();
  EXPECT_EQ(call.Answer(kLogin60), Refusal("60", "07", "Authentication failure", "02"));
  EXPECT_EQ(call.Answer(kSubmit51), Refusal("51", "04", "Operation not allowed"));
}

TEST(UcpCentre, LoginsCanBeRefusedFirst) {
  UcpTest ucp({"login-refusals=1"});
  EXPECT_EQ(ucp.Dialled().Answer(kLogin60), Refusal("60", "07", "Authentication failure", "02"));
  EXPECT_EQ(ucp.Dialled().Answer(kLogin60), Accepted("60", "/", "02"));
}

TEST(UcpCentre, AnswersCanCarryAWrongChecksum) {
  UcpTest ucp({"wrong-checksums=1"});
  Call call = ucp.Dialled();
  EXPECT_NE(call.Answer(kAlert), Accepted("31", "0000/", "02"));
  EXPECT_EQ(call.Answer(kAlert), Accepted("31", "0000/", "02"));
}

TEST(UcpCentre, FallsSilentAtTheLoginOrAMessage) {
  UcpTest login({"silent-at=login"});
  Call first = login.Dialled();
  EXPECT_EQ(first.Answer(kAlert), Accepted("31", "0000/", "02"));
  EXPECT_EQ(first.Answer(kLogin60 + kAlert), "");
  UcpTest message({"silent-at=message"});
  Call second = message.Dialled();
  EXPECT_EQ(second.Answer(kLogin60), Accepted("60", "/", "02"));
  EXPECT_EQ(second.Answer(kSubmit51 + kLogin60), "");
  second.Waits(3600000);
  EXPECT_FALSE(second.IsOver());
}

TEST(UcpCentre, ASilentCallerIsHungUp) {
  UcpTest ucp;
  Call call = ucp.Dialled();
  call.Waits(59000);
  call.Sends("<STX>");
  call.Waits(59999);
  EXPECT_FALSE(call.IsOver());
  call.Waits(1);
  EXPECT_TRUE(call.IsOver());
  UcpTest patient({"idle-time=0"});
  Call other = patient.Dialled();
  other.Waits(3600000);
  EXPECT_FALSE(other.IsOver());
}

}  // namespace
}  // namespace mvsms::centre::test
