// Mails as something to page.
#include "gateway/mail.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace mvsms::gateway {
namespace {

constexpr char kPlain[] =
    "From: Monitor <nagios@db-1.example>\r\n"
    "To: 01711234567@pager.example\r\n"
    "Subject: Disk full\r\n"
    "Message-ID: <7@db-1.example>\r\n"
    "\r\n"
    "93 % used\r\n"
    "on /var\r\n"
    "-- \r\n"
    "Your monitor\r\n";

TEST(AMail, SaysWhatItsHeaderAndItsTextSay) {
  const Mail mail = ReadMail(kPlain);
  EXPECT_EQ(mail.subject, "Disk full");
  EXPECT_EQ(mail.sender, "nagios@db-1.example");
  EXPECT_EQ(mail.text, "93 % used on /var");
  EXPECT_EQ(mail.message_id, "7@db-1.example");
}

TEST(AMail, IsReadInItsCharacterSetAndEncoding) {
  const Mail mail = ReadMail(
      "Subject: =?iso-8859-1?Q?St=F6rung?= =?utf-8?B?IOKCrA==?=\n"
      "Content-Type: text/plain; charset=utf-8\n"
      "Content-Transfer-Encoding: base64\n"
      "\n"
      "R3LDvMOfZQo=\n");
  EXPECT_EQ(mail.subject, "Störung €");
  EXPECT_EQ(mail.text, "Grüße");
}

TEST(AMail, OfSeveralPartsIsItsPlainText) {
  const Mail mail = ReadMail(
      "Subject: s\nMIME-Version: 1.0\n"
      "Content-Type: multipart/mixed; boundary=b\n\n"
      "--b\nContent-Type: multipart/alternative; boundary=c\n\n"
      "--c\nContent-Type: text/html\n\n<p>html</p>\n"
      "--c\nContent-Type: text/plain\n\nplain\n--c--\n"
      "--b\nContent-Type: text/plain\nContent-Disposition: attachment; filename=log\n\nlog\n"
      "--b--\n");
  EXPECT_EQ(mail.text, "plain");
}

TEST(AMail, InHtmlAloneIsWhatCanBeReadInIt) {
  const Mail mail = ReadMail(
      "Content-Type: text/html\n\n"
      "<html><head><title>no</title></head><style>p {}</style><body>5 &lt; 7<br>a&nbsp;&amp; b"
      "</body></html>\n");
  EXPECT_EQ(mail.text, "5 < 7 a & b");
}

TEST(AMail, WithoutHeaderIsAText) {
  EXPECT_EQ(ReadMail("\nPump 3 has stopped\n").text, "Pump 3 has stopped");
  EXPECT_EQ(ReadMail("").text, "");
}

TEST(AMail, BringsNoControlCharacterAndNoSecondLine) {
  const Mail mail = ReadMail("Subject: =?utf-8?Q?a=1B[2Jb=0Ac=C2=85d?=\n\nx\x1b\ny\n");
  EXPECT_EQ(mail.subject, "a [2Jb c d");
  EXPECT_EQ(mail.text, "x y");
}

TEST(ThePageOfAMail, IsMadeByATemplate) {
  const Mail mail = ReadMail(kPlain);
  EXPECT_EQ(PageText(mail, kMailTemplate), "Disk full: 93 % used on /var");
  EXPECT_EQ(PageText(mail, "{{SUBJECT}} ({{FROM}})"), "Disk full (nagios@db-1.example)");
  EXPECT_EQ(PageText({.text = "x {{SUBJECT}} <&>"}, kMailTemplate), "x {{SUBJECT}} <&>");
  EXPECT_THROW(PageText(mail, "{{#A}}"), std::runtime_error);
}

TEST(ThePageOfAMail, IsTheSameWhenTheMailComesAgain) {
  const Mail mail = ReadMail(kPlain);
  EXPECT_EQ(PageIdOf(mail, kPlain, "0171"), PageIdOf(mail, "Received: again", "0171"));
  EXPECT_NE(PageIdOf(mail, kPlain, "0171"), PageIdOf(mail, kPlain, "0172"));
  EXPECT_NE(PageIdOf({}, "a", "0171"), PageIdOf({}, "b", "0171"));
  EXPECT_EQ(PageIdOf(mail, kPlain, "0171").size(), 37U);
}

}  // namespace
}  // namespace mvsms::gateway
