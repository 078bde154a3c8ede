// TCP lines with TLS: good certificates of every kind, and for each that is not a sentence that
// says what is wrong with it.
#include <gmock/gmock.h>

#include <fstream>

#include "backends/posix/line/line_check.h"
#include "backends/posix/line/line_doctor.h"
#include "backends/posix/line/line_trouble.h"
#include "backends/posix/line/net_stream.h"
#include "tests/backends/posix/telephony_fixture.h"
#include "tests/backends/posix/tls_server.h"

namespace mvsms::posix {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

const Certificate& Authority() {
  static const Certificate authority = MakeCertificate({.name = "Ours", .authority = true});
  return authority;
}

/// What a line has for TLS.
LineAccess Files(const std::string& ca, const std::string& certificate = "",
                 const std::string& key = "") {
  return {ca, certificate, key, "", ""};
}

class TlsLine : public TelephonySession {
 protected:
  std::string File(const std::string& name, const std::string& text) const {
    std::ofstream(files_ / name) << text;
    return files_ / name;
  }
  std::string Ca() const { return File("ca.pem", Authority().certificate); }
  void Line(const LineAccess& access) {
    LineConfig line;
    line.name = "Net";
    line.kind = LineKind::kTcp;
    line.access = access;
    AddLine(line);
  }
  /// Why a call does not come up; empty when it does.
  std::string Call(const TlsServer& server) {
    number_ = "tls://" + server.address();
    return Dial("Net", number_) == CallState::kConnected ? "" : LastTrouble("Net");
  }
  std::string Call(const CertificateWish& wish) {
    const TlsServer server(MakeCertificate(wish, &Authority()), {});
    return Call(server);
  }

  TempFolder files_;
  std::string number_;
};

TEST_F(TlsLine, CarriesDataBothWays) {
  Line(Files(Ca()));
  const TlsServer server(MakeCertificate({}, &Authority()), {});
  ASSERT_EQ(Call(server), "");
  const CommHandle port = TakePort();
  EXPECT_EQ(Read(port, "ID="), "ID=");
  const std::string text(20'000, 'x');
  Write(port, text);
  EXPECT_EQ(Read(port, text), text);
}

TEST_F(TlsLine, AnAuthorityOfItsOwnMakesItTlsWithoutAScheme) {
  Line(Files(Ca()));
  const TlsServer server(MakeCertificate({}, &Authority()), {});
  ASSERT_EQ(Dial("Net", server.address()), CallState::kConnected);
  EXPECT_EQ(Read(TakePort(), "ID="), "ID=");
}

TEST_F(TlsLine, AnExpiredCertificateIsRefusedWithItsDay) {
  Line(Files(Ca()));
  EXPECT_THAT(Call({.from_days = -9, .to_days = -2}),
              HasSubstr(" has a certificate that expired on 20"));
}

TEST_F(TlsLine, ACertificateOfTomorrowIsRefused) {
  Line(Files(Ca()));
  EXPECT_THAT(Call({.from_days = 1, .to_days = 2}), HasSubstr("is not valid before 20"));
}

TEST_F(TlsLine, ACertificateForAnotherNameIsRefusedWithThatName) {
  Line(Files(Ca()));
  const std::string trouble = Call({.name = "other.example"});
  EXPECT_EQ(trouble, number_ + " has a certificate for another name: \"other.example\"");
}

TEST_F(TlsLine, ACertificateWithoutASubjectIsToldByItsOtherNames) {
  Line(Files(Ca()));
  const std::string trouble = Call({.name = "a.example,IP:192.0.2.7", .has_subject = false});
  EXPECT_THAT(trouble, EndsWith("for another name: \"a.example\", \"192.0.2.7\""));
}

TEST_F(TlsLine, ASelfMadeCertificateIsRefusedUntilItIsNamed) {
  const Certificate own = MakeCertificate({});
  const TlsServer server(own, {});
  Line(Files(Ca()));
  EXPECT_THAT(Call(server), HasSubstr("a certificate that it made itself"));
  Line(Files(File("own.pem", own.certificate)));
  EXPECT_EQ(Call(server), "");
}

TEST_F(TlsLine, AnAuthorityThatNobodyTrustsIsRefused) {
  const Certificate other = MakeCertificate({.name = "Theirs", .authority = true});
  const TlsServer server(MakeCertificate({}, &other), {});
  Line(Files(Ca()));
  EXPECT_THAT(Call(server), HasSubstr("an authority that is not trusted here"));
  Line({});
  EXPECT_THAT(Call(server), HasSubstr("an authority that is not trusted here"));
}

TEST_F(TlsLine, ACertificateOfOursIsShownToWhoAsks) {
  const TlsServer server(MakeCertificate({}, &Authority()),
                         {.client_authority = Authority().certificate});
  const Certificate ours = MakeCertificate({.name = "sender"}, &Authority());
  Line(Files(Ca(), File("c.pem", ours.certificate), File("k.pem", ours.key)));
  ASSERT_EQ(Call(server), "");
  EXPECT_EQ(Read(TakePort(), "ID="), "ID=");
}

TEST_F(TlsLine, WhoAsksForACertificateInVainHangsUp) {
  const TlsServer server(MakeCertificate({}, &Authority()),
                         {.client_authority = Authority().certificate});
  Line(Files(Ca()));
  if (Call(server).empty()) {  // the newest TLS tells only after the handshake
    Await([this] { return call_->GetCallState() == CallState::kDisconnected; });
  }
  EXPECT_EQ(call_->GetCallState(), CallState::kDisconnected);
  EXPECT_EQ(LastTrouble("Net"), number_ + " wants a certificate of ours: --certificate names it");
}

TEST_F(TlsLine, WhoAsksForACertificateInVainByAnOlderTlsIsToldTheSame) {
  const TlsServer server(MakeCertificate({}, &Authority()),
                         {.client_authority = Authority().certificate, .newest = false});
  Line(Files(Ca()));
  const std::string trouble = Call(server);
  EXPECT_EQ(trouble, number_ + " wants a certificate of ours: --certificate names it");
}

TEST_F(TlsLine, ACertificateOfOursThatIsNotAcceptedIsTold) {
  const Certificate own = MakeCertificate({.name = "sender"});
  Line(Files(Ca(), File("c.pem", own.certificate), File("k.pem", own.key)));
  for (const bool newest : {false, true}) {
    const TlsServer server(MakeCertificate({}, &Authority()),
                           {.client_authority = Authority().certificate, .newest = newest});
    if (Call(server).empty()) {
      Await([this] { return call_->GetCallState() == CallState::kDisconnected; });
    }
    EXPECT_THAT(LastTrouble("Net"), HasSubstr(number_ + " does not accept our certificate ("));
  }
}

TEST_F(TlsLine, WhoSpeaksNoTlsIsTold) {
  const TlsServer server(MakeCertificate({}), {.speaks_tls = false});
  Line(Files(Ca()));
  const std::string trouble = Call(server);
  EXPECT_EQ(trouble, number_ + " does not speak TLS");
}

TEST_F(TlsLine, WhoHangsUpInTheHandshakeIsTold) {
  const TlsServer server(MakeCertificate({}), {.closes_at_once = true});
  Line(Files(Ca()));
  const std::string trouble = Call(server);
  EXPECT_EQ(trouble, number_ + " closed the connection during the TLS handshake");
}

TEST_F(TlsLine, EndsOnlyWhenAllThatCameWasRead) {
  const TlsServer server(MakeCertificate({}, &Authority()),
                         {.greeting = "last words", .closes_after_greeting = true});
  Line(Files(Ca()));
  ASSERT_EQ(Call(server), "");
  EXPECT_EQ(Read(TakePort(), "last words"), "last words");
  Await([this] { return call_->GetCallState() == CallState::kDisconnected; });
  EXPECT_EQ(LastTrouble("Net"), "The far end closed the connection to " + number_);
}

TEST_F(TlsLine, ALineThatIsCutInMidBlockIsLostAndSaysSo) {
  Line(Files(Ca()));
  const TlsServer server(MakeCertificate({}, &Authority()), {.cut_after = 100});
  ASSERT_EQ(Call(server), "");
  const CommHandle port = TakePort();
  Write(port, "\x02" + std::string(60, 'x'));
  EXPECT_EQ(Read(port, "ID=\x02" + std::string(60, 'x')).size(), 64U) << "half of it came";
  Write(port, std::string(190, 'x') + "\x03");
  Await([this] { return call_->GetCallState() == CallState::kDisconnected; });
  EXPECT_EQ(LastTrouble("Net"), "The far end closed the connection to " + number_);
}

TEST_F(TlsLine, CarriesAWholeCallOfAModem) {
  TlsServer server(MakeCertificate({}, &Authority()),
                   {.greeting = "",
                    .answers = {{"ATZ", "\r\nOK\r\n"},
                                {"ATD123", "\r\nCONNECT 2400\r\nID="},
                                {"\x1BPG1", "110 1.8\r\n\r\x06\r\x1B[p\r"},
                                {"+++", "\r\nOK\r\n"},
                                {"ATH", "\r\nOK\r\n"}}});
  LineConfig line;
  line.name = "Modem";
  line.device = "tls://" + server.address();
  line.access = Files(Ca());
  AddLine(line);
  ASSERT_EQ(Dial("Modem", "123"), CallState::kConnected) << LastTrouble("Modem");
  const CommHandle port = TakePort();
  EXPECT_EQ(Read(port, "ID="), "ID=");
  Write(port, "\x1BPG1\r");
  EXPECT_THAT(Read(port, "110 1.8\r\n\r\x06\r\x1B[p\r"), EndsWith("\x1B[p\r"));
  call_->Disconnect(kDcNormal);
  EXPECT_EQ(server.heard(), "ATZ\rATD123\r\x1BPG1\r+++ATH\r");
  EXPECT_EQ(LastTrouble("Modem"), "");
}

TEST_F(TlsLine, EachCallIsAConnectionOfItsOwn) {
  const TlsServer server(MakeCertificate({}, &Authority()), {});
  Line(Files(Ca()));
  for (int turn = 0; turn < 3; ++turn) {
    ASSERT_EQ(Call(server), "");
    EXPECT_EQ(Read(TakePort(), "ID="), "ID=");
    call_->Disconnect(kDcNormal);
  }
}

// --- the doctor ----------------------------------------------------------------------------------

std::vector<Finding> FindingsAt(const LineConfig& line, const std::string& number) {
  const DoctorsOrder order{.number = number, .protocol = "UCP"};
  return Diagnose(Examine(line, order, [](const std::string&, ModemPort::Millis) {}));
}

LineConfig NetLine(const LineAccess& access) {
  LineConfig line;
  line.kind = LineKind::kTcp;
  line.access = access;
  return line;
}

TEST_F(TlsLine, TheDoctorSaysWhatACallSays) {
  const TlsServer server(MakeCertificate({}, &Authority()),
                         {.client_authority = Authority().certificate});
  const auto findings = FindingsAt(NetLine(Files(Ca())), "tls://" + server.address());
  ASSERT_EQ(findings.size(), 1U);
  EXPECT_THAT(findings[0].sentence,
              EndsWith("wants a certificate of ours: --certificate names it"));
}

TEST_F(TlsLine, TheDoctorFindsThatTlsIsSpoken) {
  const TlsServer server(MakeCertificate({}, &Authority()), {});
  const auto findings = FindingsAt(NetLine({}), server.address());
  ASSERT_EQ(findings.size(), 1U);
  EXPECT_EQ(findings[0].id, "speaks-tls");
  EXPECT_THAT(findings[0].advice, HasSubstr("tls://"));
}

// --- what is seen before any call ----------------------------------------------------------------

TEST_F(TlsLine, FilesThatDoNotServeAreNamed) {
  const Certificate ours = MakeCertificate({.name = "sender"}, &Authority());
  const Certificate other = MakeCertificate({.name = "other"}, &Authority());
  const Certificate old = MakeCertificate({.from_days = -9, .to_days = -2}, &Authority());
  const std::string certificate = File("c.pem", ours.certificate);
  const std::string missing = files_ / "missing.pem";
  EXPECT_THAT(CheckTlsFiles(Files(missing)),
              EndsWith(missing + " cannot be used: No such file or directory"));
  EXPECT_THAT(CheckTlsFiles(Files("", missing)), HasSubstr("certificate " + missing));
  EXPECT_THAT(CheckTlsFiles(Files("", certificate)), HasSubstr("The key " + certificate));
  const std::string wrong = File("wrong.pem", other.key);
  EXPECT_EQ(CheckTlsFiles(Files("", certificate, wrong)),
            "The key " + wrong + " does not belong to the certificate " + certificate);
  EXPECT_EQ(CheckTlsFiles(Files("", wrong)), "The certificate " + wrong +
                                                 " cannot be used: there is none in it, in the "
                                                 "form PEM");
  const std::string expired = File("old.pem", old.certificate + old.key);
  EXPECT_EQ(CheckTlsFiles(Files("", expired)), "The certificate " + expired + " has expired");
  EXPECT_EQ(CheckTlsFiles(Files(Ca(), certificate, File("k.pem", ours.key))), "");
}

}  // namespace
}  // namespace mvsms::posix
