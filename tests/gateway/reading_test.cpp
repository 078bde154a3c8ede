// What comes from outside is read: where a request ends, who may send it, which pages it asks for.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "gateway/access.h"
#include "gateway/alerts.h"
#include "gateway/http_frame.h"
#include "gateway/json.h"
#include "gateway/page_request.h"
#include "gateway/rate.h"
#include "tests/support/temp_folder.h"

namespace mvsms::gateway {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

// --- Where a request ends.

constexpr std::size_t kLongestBody = 100;

HttpFrame Frame(const std::string& bytes) { return FrameOf(bytes, kLongestBody); }

std::string Post(const std::string& headers, const std::string& body) {
  return "POST /v1/pages HTTP/1.1\r\nHost: x\r\n" + headers + "\r\n" + body;
}

TEST(HttpFrame, ARequestIsWholeWithItsBodyAndWhatFollowsIsAnother) {
  const std::string request =
      Post("Content-Type: application/json; charset=utf-8\r\nContent-Length: 2\r\n", "{}");
  for (std::size_t i = 0; i < request.size(); ++i) {
    EXPECT_EQ(Frame(request.substr(0, i)).kind, HttpFrame::Kind::kPart) << i;
  }
  EXPECT_EQ(Frame(request).kind, HttpFrame::Kind::kWhole);
  EXPECT_EQ(Frame(request + "GET / HTTP/1.1\r\n").size, request.size());
}

TEST(HttpFrame, AClientThatWaitsForItIsToldToGoOn) {
  const std::string head =
      Post("Content-Type: application/json\r\nExpect: 100-continue\r\nContent-Length: 2\r\n", "");
  EXPECT_TRUE(Frame(head).awaits_go_ahead);
  EXPECT_FALSE(Frame(head + "{").awaits_go_ahead);
}

struct RefusedRequest {
  const char* name;
  std::string bytes;
  int status;
};

class Refused : public testing::TestWithParam<RefusedRequest> {};

TEST_P(Refused, GoesNoFurther) {
  const HttpFrame frame = Frame(GetParam().bytes);
  EXPECT_EQ(frame.kind, HttpFrame::Kind::kRefused);
  EXPECT_EQ(frame.status, GetParam().status);
  EXPECT_NE(frame.sentence, "");
}

const std::string kGet = "GET / HTTP/1.1\r\nHost: x\r\n";

INSTANTIATE_TEST_SUITE_P(
    Request, Refused,
    testing::Values(
        RefusedRequest{"Garbage", "\x16\x03\x01\r\n\r\n", 400},
        RefusedRequest{"NoVersion", "GET /\r\n\r\n", 400},
        RefusedRequest{"OtherVersion", "GET / HTTP/2.0\r\nHost: x\r\n\r\n", 505},
        RefusedRequest{"NoSlash", "GET http://x/ HTTP/1.1\r\nHost: x\r\n\r\n", 400},
        RefusedRequest{"BlankInAddress", "GET /a b HTTP/1.1\r\nHost: x\r\n\r\n", 400},
        RefusedRequest{"LongAddress",
                       "GET /" + std::string(kLongestTarget, 'a') + " HTTP/1.1\r\nHost: x\r\n\r\n",
                       414},
        RefusedRequest{"LongHeaders", kGet + "A: " + std::string(kLongestHead, 'a'), 431},
        RefusedRequest{"NoHost", "GET / HTTP/1.1\r\n\r\n", 400},
        RefusedRequest{"TwoHosts", kGet + "Host: y\r\n\r\n", 400},
        RefusedRequest{"FoldedHeader", kGet + " folded\r\n\r\n", 400},
        RefusedRequest{"BlankBeforeColon", kGet + "Content-Length : 5\r\n\r\n", 400},
        RefusedRequest{"BareLineFeed", kGet + "A: b\nContent-Length: 5\r\n\r\n", 400},
        RefusedRequest{"ZeroInHeader", kGet + std::string("A: \0\r\n\r\n", 8), 400},
        RefusedRequest{"Chunked", kGet + "Transfer-Encoding: chunked\r\n\r\n", 411},
        RefusedRequest{"ChunkedAndLength",
                       kGet + "Content-Length: 5\r\nTransfer-Encoding: chunked\r\n\r\n", 411},
        RefusedRequest{"TwoLengths", kGet + "Content-Length: 5\r\nContent-Length: 5\r\n\r\n", 400},
        RefusedRequest{"LengthList", kGet + "Content-Length: 5, 5\r\n\r\n", 400},
        RefusedRequest{"NegativeLength", kGet + "Content-Length: -5\r\n\r\n", 400},
        RefusedRequest{"LongBody", kGet + "Content-Length: 101\r\n\r\n", 413},
        RefusedRequest{"HugeBody", kGet + "Content-Length: 99999999999999999999999\r\n\r\n", 413},
        RefusedRequest{"Compressed", kGet + "Content-Encoding: gzip\r\n\r\n", 415},
        RefusedRequest{"FormOfABrowser",
                       Post("Content-Type: application/x-www-form-urlencoded\r\nContent-Length: "
                            "3\r\n",
                            "a=b"),
                       415},
        RefusedRequest{"NoType", Post("Content-Length: 2\r\n", "{}"), 415}),
    [](const auto& param_info) { return param_info.param.name; });

// --- Who may send it.

constexpr char kTokens[] =
    "# ours\n\n"
    "wall read wall-1234567890123456\n"
    "alarms submit alarms-123456789012\r\n"
    "boss operate boss-12345678901234\n";

HttpRequest RequestWith(std::multimap<std::string, std::string> headers) {
  HttpRequest request;
  request.peer = "10.0.0.9";
  request.headers = std::move(headers);
  return request;
}

/// 0 when it may.
int StatusOf(const Access& access, const std::string& authorization, Role role) {
  std::string who;
  const auto refusal = access.Refusal(RequestWith({{"authorization", authorization}}), role, who);
  return refusal ? refusal->status : 0;
}

TEST(Access, ATokenMayWhatItsRoleMayAndNoMore) {
  const Access access(kTokens);
  EXPECT_EQ(StatusOf(access, "Bearer wall-1234567890123456", Role::kRead), 0);
  EXPECT_EQ(StatusOf(access, "Bearer wall-1234567890123456", Role::kSubmit), 403);
  EXPECT_EQ(StatusOf(access, "Bearer alarms-123456789012", Role::kSubmit), 0);
  EXPECT_EQ(StatusOf(access, "Bearer alarms-123456789012", Role::kOperate), 403);
  EXPECT_EQ(StatusOf(access, "Bearer boss-12345678901234", Role::kOperate), 0);
}

TEST(Access, WithoutARightTokenNothingButTheOpenIsServed) {
  const Access access(kTokens);
  for (const char* const given : {"", "Bearer", "Bearer ", "Bearer wall-123456789012345",
                                  "Bearer wall-12345678901234567", "Basic d2FsbA==", "wall"}) {
    EXPECT_EQ(StatusOf(access, given, Role::kRead), 401) << given;
    EXPECT_EQ(StatusOf(access, given, Role::kNobody), 0) << given;
  }
}

TEST(Access, WrongTokensAreRefusedByLineAndNeverShown) {
  for (const char* const tokens : {"", "# nobody\n", "a read\n", "a read b\n",
                                   "a write 1234567890123456\n", "a read 1234567890123456 x\n"}) {
    try {
      const Access access(tokens);
      ADD_FAILURE() << tokens;
    } catch (const std::runtime_error& error) {
      EXPECT_THAT(error.what(), HasSubstr("token"));
      EXPECT_THAT(error.what(), testing::Not(HasSubstr("1234567890123456")));
    }
  }
}

TEST(Access, OtherTokensTakeTheirPlaceAndWrongOnesDoNot) {
  Access access(kTokens);
  access.SetTokens("new read new-12345678901234567\n");
  EXPECT_EQ(StatusOf(access, "Bearer wall-1234567890123456", Role::kRead), 401);
  EXPECT_EQ(StatusOf(access, "Bearer new-12345678901234567", Role::kRead), 0);
  EXPECT_THROW(access.SetTokens("a write 1234567890123456\n"), std::runtime_error);
  EXPECT_THROW(access.SetTokens(""), std::runtime_error);
  EXPECT_EQ(StatusOf(access, "Bearer new-12345678901234567", Role::kRead), 0);
}

TEST(Access, WithoutTokensThisMachineIsServedAndNoOtherSiteInItsBrowser) {
  const Access access;
  const auto status = [&](std::multimap<std::string, std::string> headers) {
    std::string who;
    const auto refusal = access.Refusal(RequestWith(std::move(headers)), Role::kOperate, who);
    return refusal ? refusal->status : 0;
  };
  for (const char* const host : {"localhost", "localhost:8026", "127.0.0.1:8026", "[::1]:8026"}) {
    EXPECT_EQ(status({{"host", host}}), 0) << host;
    EXPECT_EQ(status({{"host", host}, {"origin", std::string("http://") + host}}), 0) << host;
  }
  for (const char* const host :
       {"", "evil.example", "localhost.evil.example", "127.0.0.1.evil:1", "[::1].evil", "[::1"}) {
    EXPECT_EQ(status({{"host", host}}), 403) << host;
  }
  for (const char* const origin :
       {"null", "http://evil.example", "http://localhost:1", "http://localhost.evil.example"}) {
    EXPECT_EQ(status({{"host", "localhost"}, {"origin", origin}}), 403) << origin;
  }
  EXPECT_EQ(status({{"host", "localhost"}, {"sec-fetch-site", "cross-site"}}), 403);
  EXPECT_EQ(status({{"host", "localhost"}, {"sec-fetch-site", "same-site"}}), 403);
  EXPECT_EQ(status({{"host", "localhost"}, {"sec-fetch-site", "none"}}), 0);
}

TEST(RateLimit, TakesAMinutesPagesAtOnceThenAsTheyRunIn) {
  RateLimit limit(60);
  RateLimit::Moment now{};
  EXPECT_EQ(limit.SecondsUntil("a", 60, now), 0);
  EXPECT_EQ(limit.SecondsUntil("a", 2, now), 2);
  EXPECT_EQ(limit.SecondsUntil("b", 1, now), 0);
  EXPECT_EQ(limit.SecondsUntil("a", 2, now + std::chrono::seconds(2)), 0);
  EXPECT_EQ(limit.SecondsUntil("a", 1, now + std::chrono::seconds(2)), 1);
  EXPECT_EQ(RateLimit(0).SecondsUntil("a", 1'000'000, now), 0);
}

// --- Which pages it asks for.

std::vector<FieldFault> FaultsOf(const std::string& json) try {
  ReadPageRequests(ParseJson(json), 3);
  return {};
} catch (const WrongFields& wrong) {
  return wrong.faults();
}

std::vector<std::string> FieldsOf(const std::string& json) {
  std::vector<std::string> fields;
  for (const FieldFault& fault : FaultsOf(json)) fields.push_back(fault.field);
  return fields;
}

TEST(PageRequests, APageIsReadAsItIsWritten) {
  const auto pages = ReadPageRequests(
      ParseJson(R"({"to": "0171", "text": "Gr\u00fc\u00dfe\n2", "from": "Ward", "service": "City",
                    "profile": "P", "priority": 1, "expires": 60, "not_before": "15m", "id": "A",
                    "fit": true})"),
      3);
  ASSERT_THAT(pages, SizeIs(1));
  const PageRequest& page = pages[0];
  EXPECT_THAT(page.to, ElementsAre("0171"));
  EXPECT_EQ(page.text,
            "Gr\xC3\xBC\xC3\x9F"
            "e\n2");
  EXPECT_EQ(page.from + page.service + page.profile, "WardCityP");
  EXPECT_EQ(page.priority + "," + page.expires + "," + page.not_before, "1,60,15m");
  EXPECT_EQ(page.id + page.fit, "Ayes");
}

TEST(PageRequests, SeveralPagesAndSeveralRecipientsAreReadInTheirOrder) {
  const auto pages = ReadPageRequests(ParseJson(R"({"pages": [{"to": ["1", "2"], "text": "a"},
                                                              {"to": "3", "text": "b"}]})"),
                                      3);
  ASSERT_THAT(pages, SizeIs(2));
  EXPECT_THAT(pages[0].to, ElementsAre("1", "2"));
  EXPECT_EQ(pages[1].text, "b");
}

TEST(PageRequests, WhatIsWrongIsToldFieldByField) {
  EXPECT_THAT(FieldsOf(R"({})"), ElementsAre("to", "text"));
  EXPECT_THAT(FieldsOf(R"({"to": 171, "text": 5, "prio": 1})"), ElementsAre("to", "text", "prio"));
  EXPECT_THAT(FieldsOf(R"({"to": [], "text": "x"})"), ElementsAre("to"));
  EXPECT_THAT(FieldsOf(R"({"to": "1", "text": "x", "priority": 1.5, "fit": 1})"),
              ElementsAre("priority", "fit"));
  EXPECT_THAT(FieldsOf(R"({"to": "1\r\nX: y", "text": "x", "from": "a\u001b[1m"})"),
              ElementsAre("to", "from"));
  EXPECT_THAT(FieldsOf(R"({"to": "1", "text": "a\u0000b"})"), ElementsAre("text"));
  EXPECT_THAT(FieldsOf(R"({"pages": [{"to": "1", "text": "x"}, {"to": "1"}]})"),
              ElementsAre("pages[1].text"));
  EXPECT_THAT(FieldsOf(R"({"pages": []})"), ElementsAre("pages"));
  EXPECT_THAT(FieldsOf(R"({"pages": [5]})"), ElementsAre("pages[0]"));
  EXPECT_THAT(FieldsOf(R"([])"), ElementsAre(""));
}

TEST(PageRequests, NoMoreThanTheMostAreTaken) {
  EXPECT_THAT(FieldsOf(R"({"to": ["1", "2", "3"], "text": "x"})"), IsEmpty());
  EXPECT_THAT(FieldsOf(R"({"to": ["1", "2", "3", "4"], "text": "x"})"), ElementsAre("to"));
}

TEST(PageRequests, WhatIsNoJsonOrTooDeepIsNotRead) {
  for (const std::string& json :
       {std::string(), std::string("{"), std::string("{\"to\": \"\xFF\"}"),
        std::string(100'000, '['), std::string("null,")}) {
    EXPECT_THAT(FieldsOf(json), ElementsAre("")) << json.substr(0, 20);
  }
}

/// An object of so many members, each of another name.
std::string ObjectOf(int members) {
  std::string json = "{";
  for (int i = 0; i < members; ++i) json += (i > 0 ? ",\"" : "\"") + std::to_string(i) + "\":0";
  return json + "}";
}

TEST(PageRequests, AnObjectHasNoMoreMembersThanItIsReadIn) {
  EXPECT_NO_THROW(ParseJson(ObjectOf(500)));
  EXPECT_NO_THROW(ParseJson("[" + ObjectOf(500) + "," + ObjectOf(500) + "]"));
  EXPECT_THROW(ParseJson(ObjectOf(501)), WrongFields);
  EXPECT_THROW(ParseJson("{\"a\":{\"b\":" + ObjectOf(501) + "}}"), WrongFields);
  std::string inside = ObjectOf(500);
  inside.insert(1, "\"a\":" + ObjectOf(2) + ",");
  EXPECT_THROW(ParseJson(inside), WrongFields);
}

// --- What alerts say.

constexpr char kNotification[] = R"({
  "version": "4", "groupKey": "{}:{alertname=\"DiskFull\"}", "status": "firing", "receiver": "night",
  "groupLabels": {"alertname": "DiskFull"}, "commonLabels": {"alertname": "DiskFull", "site": "N"},
  "commonAnnotations": {}, "externalURL": "http://am",
  "alerts": [
    {"status": "firing", "labels": {"alertname": "DiskFull", "instance": "db1"},
     "annotations": {"summary": "95 %\n  full"}, "startsAt": "2026-11-22T03:00:00Z",
     "endsAt": "0001-01-01T00:00:00Z", "fingerprint": "f1"},
    {"status": "resolved", "labels": {"alertname": "DiskFull", "instance": "db2"},
     "annotations": {}, "startsAt": "2026-11-22T02:00:00Z",
     "endsAt": "2026-11-22T03:00:00Z", "fingerprint": "f2"}]})";

std::vector<PageRequest> AlertPages(std::multimap<std::string, std::string> query,
                                    const AlertTemplates& templates = {},
                                    const Json& notification = ParseJson(kNotification)) {
  HttpRequest request;
  request.query = std::move(query);
  return PagesOfAlerts(notification, request, templates);
}

TEST(Alerts, AGroupIsOnePageOfWhatFires) {
  const auto pages = AlertPages({{"to", "0171"}, {"priority", "1"}});
  ASSERT_THAT(pages, SizeIs(1));
  EXPECT_EQ(pages[0].text, "DiskFull db1 95 % full");
  EXPECT_THAT(pages[0].to, ElementsAre("0171"));
  EXPECT_EQ(pages[0].priority + pages[0].fit, "1yes");
}

TEST(Alerts, WhatIsOverAndEachForItselfAreToldByChoice) {
  EXPECT_EQ(AlertPages({{"to", "1"}, {"resolved", "yes"}}).at(0).text,
            "DiskFull db1 95 % full, db2");
  const auto each = AlertPages({{"to", "1"}, {"resolved", "yes"}, {"each", "yes"}});
  ASSERT_THAT(each, SizeIs(2));
  EXPECT_EQ(each[1].text, "OK: DiskFull db2");
  EXPECT_THAT(AlertPages({{"to", "1"}, {"to", "2"}, {"each", "yes"}}), SizeIs(2));
}

TEST(Alerts, WithNothingButWhatIsOverThereIsNothingToTell) {
  Json notification = ParseJson(kNotification);
  notification["alerts"].erase(0);
  EXPECT_THAT(AlertPages({{"to", "1"}}, {}, notification), IsEmpty());
}

TEST(Alerts, TheSameNotificationHasTheSameIdAndAnotherOneHasNot) {
  const std::string id = AlertPages({{"to", "1"}}).at(0).id;
  EXPECT_THAT(id, StartsWith("alert-"));
  EXPECT_EQ(AlertPages({{"to", "1"}}).at(0).id, id);
  EXPECT_NE(AlertPages({{"to", "2"}}).at(0).id, id);
  Json again = ParseJson(kNotification);
  again["alerts"][0]["startsAt"] = "2026-11-22T09:00:00Z";
  EXPECT_NE(AlertPages({{"to", "1"}}, {}, again).at(0).id, id);
}

TEST(Alerts, AReceiverHasATemplateOfItsOwn) {
  const TempFolder folder;
  std::ofstream(folder / "night.tpl")
      << "{{FIRING}}/{{ALERTS}} {{LABEL_site}}:\n{{#ALERT}}\n  {{LABEL_instance}}\n{{/ALERT}}\n";
  std::ofstream(folder / "default.tpl") << "{{RECEIVER}}";
  const AlertTemplates templates(folder.path());
  EXPECT_EQ(AlertPages({{"to", "1"}}, templates).at(0).text, "1/1 N: db1");
  Json day = ParseJson(kNotification);
  day["receiver"] = "../night";
  EXPECT_EQ(AlertPages({{"to", "1"}}, templates, day).at(0).text, "../night");
}

TEST(Alerts, ABrokenTemplateIsNamedAtTheStart) {
  const TempFolder folder;
  std::ofstream(folder / "night.tpl") << "{{#ALERT}} never closed";
  testing::internal::CaptureStderr();
  try {
    const AlertTemplates templates(folder.path());
    ADD_FAILURE();
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("night.tpl"));
  }
  testing::internal::GetCapturedStderr();
  EXPECT_THROW(AlertTemplates(folder / "nothing"), std::runtime_error);
}

TEST(Alerts, WhatIsNoNotificationIsRefused) {
  EXPECT_THROW(AlertPages({}), WrongFields);
  EXPECT_THROW(AlertPages({{"to", "1"}, {"each", "1"}}), WrongFields);
  for (const char* const json : {"[]", "{}", R"({"alerts": 1})", R"({"alerts": [1]})"}) {
    EXPECT_THROW(AlertPages({{"to", "1"}}, {}, ParseJson(json)), WrongFields) << json;
  }
}

TEST(Alerts, AnAlertWithoutAnythingIsToldAllTheSame) {
  EXPECT_EQ(AlertPages({{"to", "1"}}, {}, ParseJson(R"({"alerts": [{}]})")).at(0).text, "alert");
}

}  // namespace
}  // namespace mvsms::gateway
