// Sends one message from C++, prints its progress, and gives it up at Ctrl-C.
//   send_cpp NUMBER TEXT
// Exit code: as of `mvsms send`, 0 when the message was accepted.
#include <csignal>
#include <iostream>
#include <mvsms/sender.hpp>

namespace {

mvsms::Sender* running = nullptr;

void GiveUp(int) { running->Abort(); }

}  // namespace

int main(int count, char** words) {
  if (count != 3) {
    std::cerr << "usage: " << words[0] << " NUMBER TEXT\n";
    return 2;
  }
  mvsms::Sender sender;  // the settings of the command, the profile "Standard"
  sender.OnStatus = [](const std::string& line) { std::cout << line << std::endl; };
  sender.OnError = [](std::int32_t number, const std::string& description, const std::string&) {
    std::cerr << "error " << number << ": " << description << "\n";
  };
  running = &sender;
  std::signal(SIGINT, GiveUp);
  const mvsms::Result result = sender.Send(words[1], words[2]);
  std::signal(SIGINT, SIG_DFL);
  if (result == mvsms::Result::kMisuse) std::cerr << sender.Error() << "\n";
  return static_cast<int>(result);
}
