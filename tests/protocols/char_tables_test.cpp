// The character tables, entry by entry.
#include "protocols/char_tables.h"

#include <gtest/gtest.h>

#include "tests/protocols/expected_tables.h"

namespace mvsms {
namespace {

TEST(TAPCharTable, HoldsTheListedEntryForEveryCode) {
  for (std::size_t code = 0; code < 256; ++code)
    EXPECT_EQ(basTAP::TAPCharTable[code], expected::kTAP[code]) << "code " << code;
}

TEST(UCPCharTable, HoldsTheListedEntryForEveryCode) {
  for (std::size_t code = 0; code < 256; ++code)
    EXPECT_EQ(basUCP::UCPCharTable[code], expected::kUCP[code]) << "code " << code;
}

TEST(CharTables, DifferForLineBreaksAndUnderscoreOnly) {
  for (std::size_t code = 0; code < 256; ++code) {
    const bool differs = code == 10 || code == 13 || code == 95;
    EXPECT_EQ(basTAP::TAPCharTable[code] != basUCP::UCPCharTable[code], differs) << code;
  }
}

TEST(CodeOf, CountsFromZeroTo255WhateverTheSignOfChar) {
  EXPECT_EQ(CodeOf('\0'), 0U);
  EXPECT_EQ(CodeOf('A'), 65U);
  EXPECT_EQ(CodeOf('\x80'), 128U);
  EXPECT_EQ(CodeOf('\xFF'), 255U);
}

}  // namespace
}  // namespace mvsms
