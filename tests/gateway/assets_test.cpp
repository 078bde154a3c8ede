// The files of the status page, as they are compiled in.
#include "gateway/assets.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <string>

namespace mvsms::gateway {
namespace {

using testing::HasSubstr;
using testing::Not;

bool IsThere(const std::string& path) {
  return std::ranges::any_of(Assets(), [&](const Asset& one) { return one.path == path; });
}

TEST(StatusPageFiles, WhatThePageNamesIsThere) {
  const std::regex named(R"re((?:(?:href|src)="|from ")(?:/assets/|\./)([\w.]+)")re");
  std::size_t names = 0;
  for (const Asset& asset : Assets()) {
    const std::string text(asset.bytes);
    for (std::sregex_iterator name(text.begin(), text.end(), named), end; name != end; ++name) {
      EXPECT_TRUE(IsThere("/assets/" + (*name)[1].str())) << asset.path << ": " << (*name)[1];
      ++names;
    }
  }
  EXPECT_GE(names, Assets().size() - 1);
}

TEST(StatusPageFiles, NothingOfThemIsElsewhere) {
  for (const Asset& asset : Assets()) {
    const std::string text = std::regex_replace(std::string(asset.bytes),
                                                std::regex(R"(http://www\.w3\.org/2000/svg)"), "");
    EXPECT_THAT(text, Not(HasSubstr("://"))) << asset.path;
  }
}

TEST(StatusPageFiles, NoneMakesMarkupOfTexts) {
  for (const char* word : {"innerHTML", "outerHTML", "insertAdjacentHTML", "document.write",
                           "eval(", "new Function", "style=", "<script>"}) {
    for (const Asset& asset : Assets()) {
      EXPECT_THAT(std::string(asset.bytes), Not(HasSubstr(word))) << asset.path;
    }
  }
}

}  // namespace
}  // namespace mvsms::gateway
