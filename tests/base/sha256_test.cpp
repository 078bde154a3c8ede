// The digest against the examples of its standard, and at the lengths where its padding changes.
#include "base/sha256.h"

#include <gtest/gtest.h>

#include <string>

namespace mvsms {
namespace {

TEST(Sha256, OfNothing) {
  EXPECT_EQ(Sha256(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
}

TEST(Sha256, OfOneBlock) {
  EXPECT_EQ(Sha256("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST(Sha256, OfTwoBlocks) {
  EXPECT_EQ(Sha256("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
            "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
}

TEST(Sha256, OfAMillionBytes) {
  EXPECT_EQ(Sha256(std::string(1000000, 'a')),
            "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(Sha256, OfTheLastLengthWithRoomForTheTailAndTheFirstWithout) {
  EXPECT_EQ(Sha256(std::string(55, 'a')),
            "9f4390f8d30c2dd92ec9f095b65e2b9ae9b0a925a5258e241c9f1e910f734318");
  EXPECT_EQ(Sha256(std::string(56, 'a')),
            "b35439a4ac6f0948b6d6f9e3c6af0f5f590ce20f1bde7090ef7970686ec6738a");
}

TEST(Sha256, OfBytesBeyondAscii) {
  EXPECT_EQ(Sha256("\xC3\xBC\xFF"),
            "7c9e77d4bdc5502d1091338112940fa2cb64b40bac3c33e2bc6b42d1b3199320");
}

}  // namespace
}  // namespace mvsms
