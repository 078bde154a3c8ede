// What a line doctor hears, which may be any bytes at all: reading it ends, makes no bytes of its
// own, a command of a command line is the same alone, and all that is found can be printed.
#include "backends/posix/line/diagnosis.h"
#include "backends/posix/line/heard.h"
#include "fuzz/fuzz.h"

namespace mvsms::fuzz {
namespace {

/// An answer with what it may mean at each place where one is read.
void Diagnosed(const std::string& bytes) {
  posix::Seen seen;
  seen.own = posix::ReadAnswer("AT", bytes);
  seen.answers = seen.own.reply == posix::Reply::kResult;
  seen.call.number = "123";
  seen.call.words = seen.own.text;
  seen.call.result = seen.own.result;
  seen.call.connect = posix::ReadConnect(bytes);
  seen.centre.reached = true;
  seen.centre.greeting = {{std::chrono::milliseconds(0), bytes}};
  seen.centre.answers = seen.centre.prompt_answer = bytes;
  seen.centre.ucp = posix::HasUcpFrame(bytes);
  for (const posix::LineKind kind : {posix::LineKind::kHayes, posix::LineKind::kTcp}) {
    seen.line.kind = seen.way.kind = kind;
    for (const posix::Finding& finding : posix::Diagnose(seen)) {
      Require(!finding.sentence.empty(), "a finding is a sentence");
      Require(IsUtf8(finding.sentence), "which can be printed");
    }
  }
}

void Run(const std::string& bytes) {
  const posix::Heard heard = posix::ReadAnswer("AT", bytes);
  Require(heard.text.size() <= bytes.size(), "nothing is heard that was not said");
  Require(heard.bytes == bytes, "and all of it is kept");
  Require(posix::WithoutTelnet(bytes).size() <= bytes.size(), "telnet is only taken away");
  Require(heard.reply != posix::Reply::kResult || heard.result, "a result has a meaning");
  for (const std::string& command : posix::SplitCommands(bytes)) {
    Require(posix::SplitCommands("AT" + command) == std::vector{command}, "one alone is one");
  }
  posix::JoinCommands(posix::SplitCommands(bytes));
  posix::WithCommands(bytes, "X3");
  Diagnosed(bytes);
}

}  // namespace
}  // namespace mvsms::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  mvsms::fuzz::Run(mvsms::fuzz::Input(data, size).Rest());
  return 0;
}
