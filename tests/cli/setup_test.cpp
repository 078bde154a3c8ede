// mvsms setup: the questions, what is stored after the last one, and what is not before.
#include <fcntl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

#include "cli/commands.h"
#include "cli/posix/serial_devices.h"
#include "tests/cli/command_test.h"
#include "tests/support/pseudo_terminal.h"

namespace mvsms::cli {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

class SetupCommand : public CommandTest {
 protected:
  Outcome Answer(const std::string& answers) { return Run({"setup"}, answers); }
  int RunOnTerminal(std::streambuf& said) {
    std::ostream out(&said);
    Context context(home_.string(), std::cin, out, std::cerr);
    return RunCommandLine({"setup"}, context);
  }
  static constexpr char kTypedAnswers[] =
      "t\n\nTAP\nlocalhost:1\ns\xD1\x84\nsecret\n\n0171\ny\nn\n";
};

TEST_F(SetupCommand, TheAnswersAreStoredAndTheTestPageDecidesTheExitCode) {
  const Outcome outcome = Answer(
      "t\n"            // a TCP line
      "\n"             // Modem
      "UCP\n"          //
      "localhost:1\n"  // where nothing listens
      "\n"             // operation 51
      "\n"             // Pager
      "01711234567\n"  //
      "y\n"            // store
      "y\n");          // send
  EXPECT_EQ(outcome.exit_code, kExitRetry) << outcome.err;
  EXPECT_EQ(Ask({"modem", "list"})[0]["kind"], "tcp");
  EXPECT_EQ(Do({"config", "get", "DefaultModem"}), "Modem\n");
  EXPECT_EQ(Do({"config", "get", "DefaultService"}), "Pager\n");
  EXPECT_EQ(Do({"config", "get", "ReplacePlus"}), "1\n");
  const Json service = Ask({"service", "show", "Pager"});
  EXPECT_EQ(service["Protocol"], "UCP");
  EXPECT_EQ(service["UCPCommand"], "51");
  EXPECT_EQ(service["ModemName"], "Modem");
  EXPECT_EQ(service["ModemSetting"], "8N1");
}

TEST_F(SetupCommand, AWrongAnswerIsToldAndAskedForAgain) {
  const Outcome outcome = Answer(
      "/dev/no-such-device\nt\nDefault\nNet\nfax\nTAP\n0123\nlocalhost:1\n\nNight\nnobody\n0171\n"
      "y\nn\n");
  EXPECT_EQ(outcome.exit_code, kExitAccepted) << outcome.err;
  EXPECT_THAT(outcome.out,
              AllOf(HasSubstr("does not exist"), HasSubstr("means the default modem"),
                    HasSubstr("Protocol must be TAP or UCP"), HasSubstr("host:port is wanted"),
                    HasSubstr("a number is wanted")));
  EXPECT_EQ(Do({"service", "get", "Night", "PhoneNumber"}), "localhost:1\n");
}

TEST_F(SetupCommand, UntilTheLastAnswerNothingIsStored) {
  const std::string before = State();
  for (const char* answers :
       {"", "t\n", "t\n\nUCP\nlocalhost:1\n\n\n0171\n", "t\n\nUCP\nlocalhost:1\n\n\n0171\nn\n"}) {
    const Outcome outcome = Answer(answers);
    EXPECT_EQ(outcome.exit_code, kExitFailed);
    EXPECT_THAT(outcome.err, HasSubstr("nothing was stored"));
    EXPECT_EQ(State(), before);
  }
}

TEST_F(SetupCommand, AModemThatDoesNotAnswerIsTakenOnlyOnRequest) {
  const Outcome outcome = Answer(
      "/dev/ptmx\n"  // no modem behind it
      "y\n"          // choose again
      "/dev/ptmx\nn\n"
      "\n\n0123\n\n\n0171\ny\nn\n");
  EXPECT_EQ(outcome.exit_code, kExitAccepted) << outcome.err;
  EXPECT_EQ(Ask({"modem", "show", "Modem"})["device"], "/dev/ptmx");
}

TEST_F(SetupCommand, ACatalogueIsOfferedAndBringsItsRoutes) {
  std::ofstream(Path("smstransports.inf"))
      << "7,Alpha,Germany,TAP,pw,,localhost:1,160,2,49,Auto,7,E,1,2000,3,0171;0172\n";
  const Outcome outcome = Answer("t\n\n9\n7\n\n0171\ny\nn\n");
  EXPECT_EQ(outcome.exit_code, kExitAccepted) << outcome.err;
  EXPECT_THAT(outcome.out, AllOf(HasSubstr("7  Alpha (Germany)"), HasSubstr("no such number"),
                                 Not(HasSubstr("pw"))));
  EXPECT_EQ(Ask({"route", "test", "01729"})["service"], "Alpha");
  EXPECT_EQ(Ask({"service", "show", "Alpha"})["ModemSetting"], "7E1");
}

TEST_F(SetupCommand, AnEntryOfTheCatalogueThatCannotServeIsToldAndAskedForAgain) {
  std::ofstream(Path("smstransports.inf"))
      << "7,Alpha,Germany,TAP,pw,,0123,160,2,49,Auto,7,E,1,2000,3,0171;0172\n"
      << "8,Beta,Germany,TAP,pw,,localhost:1,160,2,49,Auto,7,E,1,0,3,0171\n";
  const Outcome outcome = Answer("t\n\n7\n8\n-\nTAP\nlocalhost:1\n\n\n0171\ny\nn\n");
  EXPECT_EQ(outcome.exit_code, kExitAccepted) << outcome.err;
  EXPECT_THAT(outcome.out, AllOf(HasSubstr("host:port is wanted"), HasSubstr("TimeOut must be")));
  EXPECT_EQ(Ask({"route", "list"}).size(), 0U);
  EXPECT_EQ(Ask({"service", "show", "Pager"})["TimeOut"], "2000");
}

TEST_F(SetupCommand, ASecondTimeAddsAndLeavesTheDefaults) {
  const std::string answers = "t\n\nUCP\nlocalhost:1\n\n\n0171\ny\nn\n";
  Answer(answers);
  Answer(answers);
  EXPECT_EQ(Ask({"modem", "list"})[1]["name"], "Modem2");
  EXPECT_EQ(Ask({"service", "show", "Pager2"})["ModemName"], "Modem2");
  EXPECT_EQ(Do({"config", "get", "DefaultService"}), "Pager\n");
}

// A terminal as the standard input and output, with `answers` behind std::cin.
class Terminal {
 public:
  explicit Terminal(const std::string& answers) : answers_(answers) {
    const int side = open(terminal_.device().c_str(), O_RDWR | O_NOCTTY);
    for (int i = 0; i < 2; ++i) {
      saved_[i] = dup(i);
      dup2(side, i);
    }
    close(side);
    Show();
  }
  ~Terminal() {
    std::cin.rdbuf(buffer_);
    std::cin.clear();
    for (int i = 0; i < 2; ++i) {
      dup2(saved_[i], i);
      close(saved_[i]);
    }
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  static bool Shows() {
    termios now{};
    tcgetattr(STDIN_FILENO, &now);
    return (now.c_lflag & ECHO) != 0;
  }

 private:
  // The device of the pseudo-terminal may be raw.
  static void Show() {
    termios now{};
    tcgetattr(STDIN_FILENO, &now);
    now.c_lflag |= ECHO;
    tcsetattr(STDIN_FILENO, TCSANOW, &now);
  }

  posix::PseudoTerminal terminal_;
  std::stringbuf answers_;
  std::streambuf* const buffer_ = std::cin.rdbuf(&answers_);
  int saved_[2] = {};
};

// Keeps what was said while the terminal did not show what is typed, or sends a signal then.
class Questions : public std::stringbuf {
 public:
  std::string hidden;
  int signal = 0;
  int signals = 0;  // after which the terminal still hid what is typed

 private:
  int sync() override {
    if (!Terminal::Shows()) {
      hidden += str();
      raise(signal);
      if (!Terminal::Shows()) ++signals;
    }
    str("");
    return 0;
  }
};

TEST_F(SetupCommand, APasswordIsNotShownWhileItIsTyped) {
  const Terminal terminal(kTypedAnswers);
  Questions questions;
  EXPECT_EQ(RunOnTerminal(questions), kExitAccepted);
  const std::string question = "Its password, if your provider gave you one: ";
  EXPECT_EQ(questions.hidden, question + "  Password must be a text in Windows-1252\n" + question);
  EXPECT_TRUE(Terminal::Shows());
  EXPECT_EQ(Do({"service", "get", "Pager", "Password", "--show-passwords"}), "secret\n");
}

TEST_F(SetupCommand, CtrlCAtThePasswordLeavesATerminalThatShowsWhatIsTyped) {
  const Terminal terminal(kTypedAnswers);
  const pid_t child = fork();
  if (child == 0) {
    Questions questions;
    questions.signal = SIGINT;
    RunOnTerminal(questions);
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_TRUE(Terminal::Shows());
}

TEST_F(SetupCommand, CtrlZAtThePasswordShowsWhatIsTypedUntilTheCommandGoesOn) {
  const Terminal terminal(kTypedAnswers);
  const pid_t child = fork();
  if (child == 0) {
    setpgid(0, 0);  // beside its parent's, as a shell has it: else nobody could continue it
    Questions questions;
    questions.signal = SIGTSTP;
    RunOnTerminal(questions);
    _exit(questions.signals);
  }
  int status = 0;
  for (int stop = 0; stop < 3; ++stop) {
    ASSERT_EQ(waitpid(child, &status, WUNTRACED), child);
    ASSERT_TRUE(WIFSTOPPED(status));
    EXPECT_TRUE(Terminal::Shows());
    kill(child, SIGCONT);
  }
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 3);
  EXPECT_TRUE(Terminal::Shows());
}

TEST(SerialDevices, AreNamedByTheirLastingNamesWhereTheyHaveOne) {
  const TempFolder folder;
  const std::filesystem::path dev = folder.path();
  std::filesystem::create_directories(dev / "serial" / "by-id");
  for (const char* name : {"ttyUSB0", "ttyUSB1", "ttyACM0", "ttyS0", "tty1", "null"}) {
    std::ofstream(dev / name) << "";
  }
  std::filesystem::create_symlink("../../ttyUSB1", dev / "serial" / "by-id" / "usb-modem");
  EXPECT_THAT(SerialDevices(dev), ElementsAre(dev / "serial/by-id/usb-modem", dev / "ttyACM0",
                                              dev / "ttyS0", dev / "ttyUSB0"));
  EXPECT_THAT(SerialDevices(dev / "none"), ElementsAre());
}

}  // namespace
}  // namespace mvsms::cli
