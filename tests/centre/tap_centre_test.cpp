// The TAP centre, step by step and setting by setting.
#include "centre/tap_centre.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/centre/frames.h"
#include "tests/support/centre_call.h"

namespace mvsms::centre::test {
namespace {

TEST(TapCentre, SaysNothingBeforeTheFirstCarriageReturn) {
  TapTest tap;
  Call call = tap.Dialled();
  EXPECT_EQ(call.Answer("~x"), "");
  EXPECT_EQ(call.Answer("<CR>"), kPrompt);
}

TEST(TapCentre, PromptsAtEveryCarriageReturnUntilTheLogin) {
  TapTest tap;
  Call call = tap.Prompted();
  EXPECT_EQ(call.Answer("<CR>"), kPrompt);
  EXPECT_EQ(call.Answer("M<CR>"), kPrompt);
  EXPECT_EQ(call.Answer(kLogin), kLoggedIn);
}

TEST(TapCentre, TakesAPageAndRecordsIt) {
  TapTest tap;
  EXPECT_EQ(tap.LoggedIn().Answer(kPage), kPageAccepted);
  ASSERT_EQ(tap.requests.size(), 2u);
  const Request& page = tap.requests[1];
  EXPECT_EQ(page.protocol, "TAP");
  EXPECT_EQ(page.operation, "page");
  EXPECT_EQ(page.recipient, "123");
  EXPECT_EQ(page.text, "ABC");
  EXPECT_EQ(page.type, "alphanumeric");
  EXPECT_EQ(page.raw, "123\rABC\r");
  EXPECT_EQ(ToNotation(page.answer), kPageAccepted);
  EXPECT_TRUE(page.accepted);
}

TEST(TapCentre, RecordsTheLoginAndTheLogout) {
  TapTest tap;
  tap.LoggedIn().Sends("<EOT><CR>");
  ASSERT_EQ(tap.requests.size(), 2u);
  EXPECT_EQ(tap.requests[0].operation, "login");
  EXPECT_EQ(tap.requests[0].originator, "PG1");
  EXPECT_TRUE(tap.requests[0].accepted);
  EXPECT_EQ(tap.requests[1].operation, "logout");
  EXPECT_TRUE(tap.requests[1].accepted);
}

TEST(TapCentre, TellsToneNumericAndAlphanumericPages) {
  TapTest tap;
  Call call = tap.LoggedIn();
  for (const char* text : {"", "030-1234", "Hello"}) call.Sends(PageOf("1", text));
  ASSERT_EQ(tap.requests.size(), 4u);
  EXPECT_EQ(tap.requests[1].type, "tone");
  EXPECT_EQ(tap.requests[2].type, "numeric");
  EXPECT_EQ(tap.requests[3].type, "alphanumeric");
}

TEST(TapCentre, TakesSeveralPagesACall) {
  TapTest tap;
  Call call = tap.LoggedIn();
  for (int i = 0; i < 5; ++i) EXPECT_EQ(call.Answer(kPage), kPageAccepted);
}

TEST(TapCentre, ABlockBeforeTheLoginHasNoAnswer) {
  TapTest tap;
  EXPECT_EQ(tap.Dialled().Answer(kPage), "");
  EXPECT_EQ(tap.Prompted().Answer(kPage), "");
  EXPECT_TRUE(tap.requests.empty());
}

TEST(TapCentre, ARepeatedLoginIsAcceptedAgain) {
  TapTest tap;
  Call call = tap.LoggedIn();
  EXPECT_EQ(call.Answer(kLogin), kLoggedIn);
  EXPECT_EQ(call.Answer(kPage), kPageAccepted);
}

TEST(TapCentre, NoiseBeforeTheEscapeOfTheLoginDoesNoHarm) {
  TapTest tap;
  EXPECT_EQ(tap.Prompted().Answer("~~<ESC>x<ESC>PG1<CR>"), kLoggedIn);
}

TEST(TapCentre, LogoutEndsTheCall) {
  TapTest tap;
  Call call = tap.LoggedIn();
  EXPECT_EQ(call.Answer("<EOT><CR>"), "115 Goodbye<CR><CR><ESC><EOT><CR>");
  EXPECT_TRUE(call.IsOver());
}

TEST(TapCentre, LogoutBeforeTheLoginEndsTheCallToo) {
  TapTest tap;
  Call call = tap.Prompted();
  call.Sends("<EOT><CR>");
  EXPECT_TRUE(call.IsOver());
}

TEST(TapCentre, AWrongIdentifierIsRefusedTwiceThenEndsTheCall) {
  TapTest tap;
  Call call = tap.Prompted();
  const std::string text = "508 Service type is not supported<CR>";
  EXPECT_EQ(call.Answer("<ESC>XX9<CR>"), text + "<CR><NAK><CR>");
  EXPECT_EQ(call.Answer("<ESC>XX9<CR>"), text + "<CR><NAK><CR>");
  EXPECT_EQ(call.Answer("<ESC>XX9<CR>"), text + "<CR><ESC><EOT><CR>");
  EXPECT_TRUE(call.IsOver());
}

TEST(TapCentre, ACallThatGoesOnAfterARefusedLoginCanLogIn) {
  TapTest tap;
  Call call = tap.Prompted();
  call.Sends("<ESC>XX9<CR>");
  call.Hears();
  EXPECT_EQ(call.Answer(kLogin), kLoggedIn);
}

TEST(TapCentre, AnyPasswordWillDoUnlessOneIsSet) {
  TapTest open;
  EXPECT_EQ(open.Prompted().Answer("<ESC>PG1secret<CR>"), kLoggedIn);
  TapTest closed({"password=secret"});
  EXPECT_EQ(closed.Prompted().Answer("<ESC>PG1secret<CR>"), kLoggedIn);
  EXPECT_EQ(closed.Prompted().Answer(kLogin), "509 Invalid password<CR><CR><NAK><CR>");
}

TEST(TapCentre, IdentifierCanBeChanged) {
  TapTest tap({"identifier=PG3"});
  EXPECT_THAT(tap.Prompted().Answer(kLogin), testing::StartsWith("508"));
  EXPECT_EQ(tap.Prompted().Answer("<ESC>PG3<CR>"), kLoggedIn);
}

TEST(TapCentre, LoginRefusalsAreCountedOverAllCalls) {
  TapTest tap({"login-refusals=4", "login-refusal-text=501 Later", "login-refusal=nak"});
  for (int i = 0; i < 4; ++i)
    EXPECT_EQ(tap.Prompted().Answer(kLogin), "501 Later<CR><CR><NAK><CR>");
  EXPECT_EQ(tap.Prompted().Answer(kLogin), kLoggedIn);
}

TEST(TapCentre, LoginRefusalCanEndTheCall) {
  TapTest tap({"login-refusals=all", "login-refusal=end"});
  Call call = tap.Prompted();
  EXPECT_EQ(call.Answer(kLogin), "509 Invalid password<CR><CR><ESC><EOT><CR>");
  EXPECT_TRUE(call.IsOver());
  EXPECT_FALSE(tap.requests.at(0).accepted);
}

TEST(TapCentre, PromptDelayAndTextAreSettings) {
  TapTest tap({"prompt=Welcome<CR><LF>ID=<CR><LF>", "prompt-delay=1500"});
  Call call = tap.Dialled();
  EXPECT_EQ(call.Answer("<CR>"), "");
  call.Waits(1499);
  EXPECT_EQ(call.Hears(), "");
  call.Waits(1);
  EXPECT_EQ(call.Hears(), "Welcome<CR><LF>ID=<CR><LF>");
}

TEST(TapCentre, FirstCarriageReturnsCanBeIgnored) {
  TapTest tap({"ignored-crs=2"});
  Call call = tap.Dialled();
  EXPECT_EQ(call.Answer("<CR>"), "");
  EXPECT_EQ(call.Answer("<CR>"), "");
  EXPECT_EQ(call.Answer("<CR>"), kPrompt);
}

TEST(TapCentre, GoAheadCanComeLateAndBeDifferent) {
  TapTest tap({"go-ahead-delay=700", "go-ahead=<ESC>[p", "login-text="});
  Call call = tap.Prompted();
  EXPECT_EQ(call.Answer(kLogin), "<CR><ACK><CR>");
  call.Waits(700);
  EXPECT_EQ(call.Hears(), "<ESC>[p");
}

TEST(TapCentre, AnswersCanBeOnlyControlCharacters) {
  TapTest tap({"codes=off"});
  Call call = tap.Prompted();
  EXPECT_EQ(call.Answer(kLogin), "<CR><ACK><CR><ESC>[p<CR>");
  EXPECT_EQ(call.Answer(kPage), "<CR><ACK><CR>");
  EXPECT_EQ(call.Answer("<EOT><CR>"), "<CR><ESC><EOT><CR>");
}

TEST(TapCentre, EveryControlAnswerAndTextCanBeReplaced) {
  TapTest tap({"ack=<ACK><CR>", "nak=<NAK><CR>", "rs=<RS><CR>", "end=<ESC><EOT>",
               "login-text=114 Hello", "accept-text=211 OK", "logout-text=115 Bye", "refuse=1",
               "refusal-text=512 Later"});
  Call call = tap.Prompted();
  EXPECT_EQ(call.Answer(kLogin), "114 Hello<CR><ACK><CR><ESC>[p<CR>");
  EXPECT_EQ(call.Answer("<STX>1<CR>A<CR><ETX>000<CR>"), "514 Checksum error<CR><NAK><CR>");
  EXPECT_EQ(call.Answer(kPage), "512 Later<CR><RS><CR>");
  EXPECT_EQ(call.Answer(kPage), "211 OK<CR><ACK><CR>");
  EXPECT_EQ(call.Answer("<EOT><CR>"), "115 Bye<CR><ESC><EOT>");
}

TEST(TapCentre, RefusesThenAccepts) {
  const std::pair<const char*, const char*> shapes[] = {
      {"nak", "<CR><NAK><CR>"}, {"rs", "<CR><RS><CR>"}, {"ack", "<CR><ACK><CR>"}};
  for (const auto& [shape, bytes] : shapes) {
    TapTest tap({"refuse=2", std::string("refusal=") + shape});
    Call call = tap.LoggedIn();
    EXPECT_EQ(call.Answer(kPage), std::string("511 Invalid pager ID<CR>") + bytes);
    EXPECT_EQ(call.Answer(kPage), std::string("511 Invalid pager ID<CR>") + bytes);
    EXPECT_EQ(call.Answer(kPage), kPageAccepted);
  }
}

TEST(TapCentre, ARefusalCanEndTheCall) {
  TapTest tap({"refuse=1", "refusal=end"});
  Call call = tap.LoggedIn();
  EXPECT_EQ(call.Answer(kPage), "511 Invalid pager ID<CR><CR><ESC><EOT><CR>");
  EXPECT_TRUE(call.IsOver());
  EXPECT_EQ(tap.LoggedIn().Answer(kPage), kPageAccepted);
}

TEST(TapCentre, RefusedPagesAreRecordedAsSuch) {
  TapTest tap({"refuse=1"});
  tap.LoggedIn().Sends(kPage);
  EXPECT_FALSE(tap.requests.at(1).accepted);
  EXPECT_EQ(tap.requests.at(1).text, "ABC");
}

TEST(TapCentre, ServesTheRecipientsOfItsList) {
  TapTest tap({"recipients=0171,12"});
  Call call = tap.LoggedIn();
  EXPECT_EQ(call.Answer(kPage), kPageAccepted);
  EXPECT_EQ(call.Answer(PageOf("0172", "x")), "511 Invalid pager ID<CR><CR><RS><CR>");
}

TEST(TapCentre, AWrongChecksumIsAskedForAgain) {
  TapTest tap;
  Call call = tap.LoggedIn();
  EXPECT_EQ(call.Answer("<STX>123<CR>ABC<CR><ETX>000<CR>"), "514 Checksum error<CR><CR><NAK><CR>");
  EXPECT_EQ(call.Answer(kPage), kPageAccepted);
  EXPECT_EQ(tap.requests.at(1).recipient, "123");
  EXPECT_FALSE(tap.requests.at(1).accepted);
}

TEST(TapCentre, ThreeWrongChecksumsInARowEndTheCall) {
  TapTest tap;
  Call call = tap.LoggedIn();
  const std::string hurt = "<STX>123<CR>ABC<CR><ETX>000<CR>";
  call.Sends(hurt + hurt + kPage + hurt + hurt);
  EXPECT_FALSE(call.IsOver());
  call.Hears();
  EXPECT_EQ(call.Answer(hurt), "503 Too many attempts with checksum errors<CR><CR><ESC><EOT><CR>");
  EXPECT_TRUE(call.IsOver());
}

TEST(TapCentre, CountersAreSettings) {
  TapTest tap({"n2=1", "n3=1", "n1=1"});
  Call login = tap.Prompted();
  login.Sends("<ESC>XX9<CR>");
  EXPECT_TRUE(login.IsOver());
  Call block = tap.LoggedIn();
  block.Sends("<STX>123<CR>ABC<CR><ETX>000<CR>");
  EXPECT_TRUE(block.IsOver());
  Call silent = tap.Prompted();
  silent.Waits(4000);
  EXPECT_TRUE(silent.IsOver());
}

TEST(TapCentre, PutsThePagesOfSeveralBlocksTogether) {
  TapTest tap;
  Call call = tap.LoggedIn();
  EXPECT_EQ(call.Answer(TapBlockOf("<STX>123<CR>AB<US>")), "<CR><ACK><CR>");
  EXPECT_EQ(call.Answer(TapBlockOf("<STX>C<SUB>M<CR><ETB>")), "<CR><ACK><CR>");
  EXPECT_EQ(call.Answer(TapBlockOf("<STX>D<CR><ETX>")), kPageAccepted);
  EXPECT_EQ(tap.requests.at(1).text, "ABC\r\nD");
  EXPECT_EQ(tap.requests.size(), 2u);
}

TEST(TapCentre, AfterANakOnlyTheLastBlockIsRepeated) {
  TapTest tap({"refuse=1", "refusal=nak"});
  Call call = tap.LoggedIn();
  call.Sends(TapBlockOf("<STX>123<CR>AB<US>"));
  call.Sends("<STX>C<CR><ETX>999<CR>");
  call.Sends(TapBlockOf("<STX>C<CR><ETX>"));
  call.Sends(TapBlockOf("<STX>C<CR><ETX>"));
  EXPECT_EQ(tap.requests.size(), 4u);
  EXPECT_EQ(tap.requests.back().text, "ABC");
  EXPECT_TRUE(tap.requests.back().accepted);
}

TEST(TapCentre, AfterAGivenUpPageTheNextOneStartsAfresh) {
  TapTest tap({"refuse=1"});
  Call call = tap.LoggedIn();
  call.Sends(TapBlockOf("<STX>123<CR>AB<US>"));
  call.Sends(TapBlockOf("<STX>C<CR><ETX>"));
  call.Sends(kPage);
  EXPECT_EQ(tap.requests.back().raw, "123\rABC\r");
}

TEST(TapCentre, GivesUpTooLongBlocksAndMalformedPages) {
  TapTest tap;
  Call call = tap.LoggedIn();
  EXPECT_EQ(call.Answer(PageOf("123", std::string(246, 'x'))),
            "513 Message exceeds the maximum length<CR><CR><RS><CR>");
  EXPECT_EQ(call.Answer(TapBlockOf("<STX>123<ETX>")), "515 Message format error<CR><CR><RS><CR>");
  EXPECT_EQ(call.Answer(PageOf("123", std::string(245, 'x'))), kPageAccepted);
}

TEST(TapCentre, TheLongestBlockIsASetting) {
  TapTest tap({"max-block=20"});
  Call call = tap.LoggedIn();
  EXPECT_EQ(call.Answer(kPage), kPageAccepted);
  EXPECT_THAT(call.Answer(PageOf("123", "ABCDEFGHIJ")), testing::StartsWith("513"));
}

TEST(TapCentre, APageIsNeverLongerThan64K) {
  TapTest tap({"max-block=0"});
  Call call = tap.LoggedIn();
  EXPECT_EQ(call.Answer(TapBlockOf("<STX>1<CR>" + std::string(60000, 'x') + "<US>")),
            "<CR><ACK><CR>");
  EXPECT_THAT(call.Answer(TapBlockOf("<STX>" + std::string(6000, 'x') + "<CR><ETX>")),
              testing::StartsWith("513"));
}

TEST(TapCentre, LogoutCanTellOfARefusedPage) {
  TapTest tap({"logout-refusal=on", "refusal-text=512 Later"});
  Call call = tap.LoggedIn();
  call.Sends(kPage);
  call.Hears();
  EXPECT_EQ(call.Answer("<EOT><CR>"), "<CR><RS><CR>512 Later<CR><CR><ESC><EOT><CR>");
  EXPECT_FALSE(tap.requests.back().accepted);
}

TEST(TapCentre, ReadsSevenBitsUnlessToldOtherwise) {
  std::string with_parity = FromNotation(kPage);
  for (char& c : with_parity) c = static_cast<char>(c | 0x80);
  TapTest seven;
  Call call = seven.LoggedIn();
  call.SendsBytes(with_parity);
  EXPECT_EQ(call.Hears(), kPageAccepted);
  TapTest eight({"strip-bit-7=off"});
  Call other = eight.LoggedIn();
  other.SendsBytes(with_parity);
  EXPECT_EQ(other.Hears(), "");
}

TEST(TapCentre, EightBitTextsAreLatin1) {
  TapTest tap({"strip-bit-7=off"});
  tap.LoggedIn().Sends(PageOf("1", "M<FC>"));
  EXPECT_EQ(tap.requests.back().text, "Mü");
}

TEST(TapCentre, WithStrictParityOddBytesAreIgnoredAndAnswersCarryIt) {
  TapTest tap({"even-parity=on"});
  Call call = tap.Dialled();
  call.SendsBytes("\r");  // 0D has three bits
  EXPECT_EQ(call.Hears(), "");
  call.SendsBytes("\x8D");
  EXPECT_EQ(call.HearsBytes(), "\xC9\x44\xBD");
}

TEST(TapCentre, BytesDroppedForTheirParityAreTraced) {
  TapTest tap({"even-parity=on"});
  tap.Dialled().SendsBytes("\r\x8D\x03\r");
  using Trace = decltype(tap.seen);
  EXPECT_EQ(tap.seen, (Trace{{Seen::kDropped, "<CR><CR>"}}));
  TapTest any;
  any.Dialled().SendsBytes("\r");
  EXPECT_EQ(any.seen, Trace{});
}

TEST(TapCentre, AlphabetIsASetting) {
  TapTest german({"tap-alphabet=german"});
  german.LoggedIn().Sends(PageOf("1", "M}ller"));
  EXPECT_EQ(german.requests.back().text, "Müller");
  TapTest gsm({"tap-alphabet=gsm"});
  gsm.LoggedIn().Sends(PageOf("1", "M~ller<ENQ>"));
  EXPECT_EQ(gsm.requests.back().text, "Mülleré");
}

TEST(TapCentre, ACallerWhoNeverSpeaksIsHungUp) {
  TapTest tap;
  Call call = tap.Dialled();
  call.Waits(9999);
  EXPECT_FALSE(call.IsOver());
  call.Waits(1);
  EXPECT_TRUE(call.IsOver());
  EXPECT_EQ(call.Hears(), "");
}

TEST(TapCentre, ThePromptIsRepeatedToASilentCaller) {
  TapTest tap;
  Call call = tap.Prompted();
  call.Waits(4000);
  EXPECT_EQ(call.Hears(), kPrompt);
  call.Waits(4000);
  EXPECT_EQ(call.Hears(), kPrompt);
  call.Waits(4000);
  EXPECT_EQ(call.Hears(), "501 Timeout occurred waiting for input<CR><CR><ESC><EOT><CR>");
  EXPECT_TRUE(call.IsOver());
}

TEST(TapCentre, SilenceAfterTheLoginEndsTheCall) {
  TapTest tap;
  Call call = tap.LoggedIn();
  call.Waits(7999);
  call.Sends("<STX>12");
  call.Waits(7999);
  EXPECT_FALSE(call.IsOver());
  call.Waits(1);
  EXPECT_TRUE(call.IsOver());
  EXPECT_EQ(call.Hears(), "501 Timeout occurred waiting for input<CR><CR><ESC><EOT><CR>");
}

TEST(TapCentre, TimersAreSettingsAndZeroSwitchesThemOff) {
  TapTest quick({"t3=10", "t4=20", "t5=30", "n1=1"});
  Call first = quick.Dialled(), second = quick.Prompted(), third = quick.LoggedIn();
  first.Waits(10);
  second.Waits(20);
  third.Waits(30);
  EXPECT_TRUE(first.IsOver() && second.IsOver() && third.IsOver());
  TapTest patient({"t3=0", "t4=0", "t5=0"});
  Call calls[] = {patient.Dialled(), patient.Prompted(), patient.LoggedIn()};
  for (Call& call : calls) {
    call.Waits(3600000);
    EXPECT_FALSE(call.IsOver());
    EXPECT_EQ(call.Hears(), "");
  }
}

TEST(TapCentre, FallsSilentAtAnyStepAndStaysSo) {
  const std::string everything = "<CR>" + kLogin + kPage + "<EOT><CR>";
  const std::pair<const char*, std::string> steps[] = {
      {"prompt", ""},
      {"login", kPrompt},
      {"go-ahead", kPrompt + "110 1.8<CR><CR><ACK><CR>"},
      {"message", kPrompt + kLoggedIn},
      {"logout", kPrompt + kLoggedIn + kPageAccepted}};
  for (const auto& [step, heard] : steps) {
    TapTest tap({std::string("silent-at=") + step});
    Call call = tap.Dialled();
    EXPECT_EQ(call.Answer(everything + everything), heard) << step;
    call.Waits(3600000);
    EXPECT_EQ(call.Hears(), "") << step;
    EXPECT_FALSE(call.IsOver()) << step;
  }
}

TEST(TapCentre, HearsNothingAfterTheCallerHasGone) {
  TapTest tap({"prompt-delay=100"});
  Call call = tap.Dialled();
  call.Sends("<CR>");
  call.HangsUp();
  call.Waits(3600000);
  EXPECT_EQ(call.Hears(), "");
}

}  // namespace
}  // namespace mvsms::centre::test
