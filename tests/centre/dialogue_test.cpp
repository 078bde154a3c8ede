// The dialogue language, its player, and the corpus: every file is played by the script and, where
// it names a protocol, held by the real centre.
#include "centre/dialogue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "centre/scripted.h"
#include "tests/support/centre_call.h"

namespace mvsms::centre::test {
namespace {

std::string ErrorOf(const std::string& text) {
  try {
    ParseDialogue(text, "a.dialogue");
  } catch (const DialogueError& error) {
    return error.what();
  }
  return "none";
}

/// A call to a script, and what the script said in the end.
struct Played {
  explicit Played(const std::string& text)
      : dialogue(ParseDialogue(text, "a.dialogue")),
        call(std::make_unique<Scripted>(
            dialogue, [this](const std::string& complaint) { reports.push_back(complaint); })) {}
  std::vector<std::string> reports;
  Dialogue dialogue;
  Call call;
};

TEST(Dialogue, IsReadLineByLine) {
  const Dialogue dialogue = ParseDialogue(
      "# comment\r\n\r\nprotocol tap\nset refuse=1\n  expect <CR>\nreply ID=<SP>\n"
      "after 2000\nany\nany <ETX>\ndiscard\nhangup",
      "a.dialogue");
  EXPECT_EQ(dialogue.protocol, "tap");
  EXPECT_EQ(dialogue.settings, std::vector<std::string>{"refuse=1"});
  ASSERT_EQ(dialogue.steps.size(), 7u);
  EXPECT_EQ(dialogue.steps[0].bytes, "\r");
  EXPECT_EQ(dialogue.steps[0].line, 5);
  EXPECT_EQ(dialogue.steps[1].bytes, "ID= ");
  EXPECT_EQ(dialogue.steps[2].delay, Millis{2000});
  EXPECT_EQ(dialogue.steps[3].bytes, "\r");
  EXPECT_EQ(dialogue.steps[4].bytes, "\x03");
  EXPECT_EQ(dialogue.steps[6].kind, DialogueStep::Kind::kHangUp);
}

TEST(Dialogue, ErrorsNameFileAndLine) {
  EXPECT_EQ(ErrorOf("expect <CR>\nrepeat x"), "a.dialogue:2: unknown word \"repeat\"");
  EXPECT_EQ(ErrorOf("\n\nreply <FOO>"), "a.dialogue:3: unknown character \"<FOO>\"");
  EXPECT_EQ(ErrorOf("reply a<b"),
            "a.dialogue:1: \"<\" without \">\" (write <LT> for the character itself)");
  EXPECT_EQ(ErrorOf("expect"), "a.dialogue:1: bytes must follow \"expect\"");
  EXPECT_EQ(ErrorOf("after soon"), "a.dialogue:1: milliseconds must follow \"after\"");
  EXPECT_EQ(ErrorOf("after -1"), "a.dialogue:1: milliseconds must follow \"after\"");
  EXPECT_EQ(ErrorOf("hangup now"), "a.dialogue:1: nothing can follow \"hangup\"");
  EXPECT_EQ(ErrorOf("protocol smtp"), "a.dialogue:1: \"tap\" or \"ucp\" must follow \"protocol\"");
  EXPECT_EQ(ErrorOf("set colour=red"), "a.dialogue:1: there is no setting \"colour\"");
}

TEST(Dialogue, AMissingFileIsAnError) {
  EXPECT_THROW(LoadDialogue("/nowhere/a.dialogue"), DialogueError);
}

TEST(Scripted, ExpectsAndReplies) {
  Played played("reply Hello\nexpect <CR>\nreply ID=\nexpect AB\nhangup");
  EXPECT_EQ(played.call.Hears(), "Hello");
  EXPECT_EQ(played.call.Answer("<CR>A"), "ID=");
  EXPECT_EQ(played.call.Answer("B"), "");
  EXPECT_TRUE(played.call.IsOver());
  EXPECT_EQ(played.reports, std::vector<std::string>{""});
}

TEST(Scripted, WaitsBeforeItReplies) {
  Played played("expect x\nafter 2000\nreply y");
  played.call.Sends("x");
  played.call.Waits(1999);
  EXPECT_EQ(played.call.Hears(), "");
  played.call.Waits(1);
  EXPECT_EQ(played.call.Hears(), "y");
}

TEST(Scripted, KeepsWhatComesWhileItWaits) {
  Played played("after 100\nexpect abc\nreply y");
  played.call.Sends("ab");
  played.call.Waits(100);
  EXPECT_EQ(played.call.Answer("c"), "y");
}

TEST(Scripted, AnyTakesAnythingUpToItsEnd) {
  Played played("any\nreply 1\nany <ETX>\nreply 2\nexpect x\nreply 3");
  EXPECT_EQ(played.call.Answer("whatever<CR>"), "1");
  EXPECT_EQ(played.call.Answer("<STX>1<CR>"), "");
  EXPECT_EQ(played.call.Answer("2<ETX>x"), "23");
}

TEST(Scripted, DiscardForgets) {
  Played played("after 100\ndiscard\nexpect x\nreply y");
  played.call.Sends("noise");
  played.call.Waits(100);
  EXPECT_EQ(played.call.Answer("x"), "y");
}

TEST(Scripted, ComplainsAboutTheFirstWrongByteAndHangsUp) {
  Played played("expect <CR>\nreply ID=\nexpect <ESC>PG1<CR>");
  played.call.Sends("<CR><ESC>PX");
  EXPECT_TRUE(played.call.IsOver());
  EXPECT_EQ(played.reports, std::vector<std::string>{"a.dialogue:3: expected <ESC>PG1<CR>, the "
                                                     "caller sent <ESC>PX"});
}

TEST(Scripted, ComplainsWhenTheCallerHangsUpTooSoon) {
  Played played("expect <CR>\nreply ID=\nany");
  played.call.Sends("<CR>");
  played.call.HangsUp();
  EXPECT_EQ(played.reports, std::vector<std::string>{"a.dialogue:3: the caller hung up"});
}

TEST(Scripted, AfterItsEndItListensQuietly) {
  Played played("expect x");
  EXPECT_EQ(played.call.Answer("xyz"), "");
  played.call.HangsUp();
  EXPECT_EQ(played.reports, std::vector<std::string>{""});
}

TEST(Scripted, AnEmptyDialogueIsPlayedAtOnce) {
  Played played("# nothing");
  EXPECT_EQ(played.reports, std::vector<std::string>{""});
}

/// The caller of a dialogue: sends what it expects and demands what it replies, byte for byte and
/// at the right time.
class Mirror {
 public:
  Mirror(const Dialogue& dialogue, Call& call) : dialogue_(dialogue), call_(call) {}

  void Run() {
    for (const DialogueStep& step : dialogue_.steps) {
      Listen();
      Perform(step);
      if (testing::Test::HasFailure()) {
        ADD_FAILURE() << dialogue_.name << ":" << step.line;
        return;
      }
    }
    Listen();
    EXPECT_EQ(ToNotation(heard_), "") << "said too much";
  }

 private:
  using Kind = DialogueStep::Kind;

  void Listen() {
    call_.Waits(0);
    heard_ += call_.HearsBytes();
  }
  void Perform(const DialogueStep& step) {
    if (step.kind == Kind::kExpect) call_.SendsBytes(step.bytes);
    if (step.kind == Kind::kAny) call_.SendsBytes("x" + step.bytes);
    if (step.kind == Kind::kReply) Demand(step.bytes);
    if (step.kind == Kind::kAfter) Wait(step.delay);
    EXPECT_TRUE(step.kind != Kind::kHangUp || call_.IsOver());
  }
  void Demand(const std::string& bytes) {
    EXPECT_EQ(ToNotation(heard_.substr(0, bytes.size())), ToNotation(bytes));
    heard_.erase(0, bytes.size());
  }
  void Wait(Millis delay) {
    call_.Waits(static_cast<int>(delay.count()) - 1);
    heard_ += call_.HearsBytes();
    EXPECT_EQ(ToNotation(heard_), "") << "too early";
    call_.Waits(1);
  }

  const Dialogue& dialogue_;
  Call& call_;
  std::string heard_;
};

std::vector<std::string> Corpus() {
  std::vector<std::string> paths;
  for (const auto& entry : std::filesystem::directory_iterator(MVSMS_DIALOGUES))
    if (entry.path().extension() == ".dialogue") paths.push_back(entry.path().stem().string());
  std::sort(paths.begin(), paths.end());
  return paths;
}

class CorpusTest : public testing::TestWithParam<std::string> {
 protected:
  const Dialogue dialogue_ =
      LoadDialogue(std::string(MVSMS_DIALOGUES) + "/" + GetParam() + ".dialogue");
};

TEST_P(CorpusTest, IsPlayedByTheScript) {
  std::vector<std::string> reports;
  Call call(std::make_unique<Scripted>(
      dialogue_, [&](const std::string& complaint) { reports.push_back(complaint); }));
  Mirror(dialogue_, call).Run();
  EXPECT_EQ(reports, std::vector<std::string>{""});
}

TEST_P(CorpusTest, IsHeldByTheCentre) {
  ASSERT_FALSE(dialogue_.protocol.empty());
  TestCentre centre(dialogue_.protocol == "tap" ? SpeakTap() : SpeakUcp(), dialogue_.settings);
  Call call = centre.Dialled();
  Mirror(dialogue_, call).Run();
}

INSTANTIATE_TEST_SUITE_P(Dialogues, CorpusTest, testing::ValuesIn(Corpus()),
                         [](const auto& dialogue) {
                           std::string name = dialogue.param;
                           std::replace(name.begin(), name.end(), '-', '_');
                           return name;
                         });

}  // namespace
}  // namespace mvsms::centre::test
