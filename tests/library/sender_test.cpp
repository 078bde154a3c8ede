// The class over the functions of mvsms.h.
#include "include/mvsms/sender.hpp"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/temp_folder.h"

namespace mvsms {
namespace {

TEST(LibrarySender, ReportsThroughItsHandlers) {
  const TempFolder home;
  v1::Sender sender(home.path());
  std::vector<std::int32_t> errors;
  int lines = 0;
  sender.OnStatus = [&](const std::string&) { ++lines; };
  sender.OnError = [&](std::int32_t number, const std::string&, const std::string&) {
    errors.push_back(number);
  };
  EXPECT_EQ(sender.Send("0172", "text"), Result::kSettings);
  EXPECT_EQ(errors, std::vector<std::int32_t>{5});
  EXPECT_GE(lines, 2);
}

TEST(LibrarySender, AHandlerThatThrowsHarmsNothing) {
  const TempFolder home;
  v1::Sender sender(home.path());
  sender.OnStatus = [](const std::string&) { throw std::runtime_error("no display"); };
  EXPECT_EQ(sender.Send("0172", "text"), Result::kSettings);
  EXPECT_EQ(sender.Error(), "Unable to load settings. SMS must be configured first!");
}

TEST(LibrarySender, NeedsNoHandlers) {
  const TempFolder home;
  v1::Sender sender(home.path(), "Other");
  EXPECT_EQ(sender.Send("0172", "text"), Result::kSettings);
}

}  // namespace
}  // namespace mvsms
