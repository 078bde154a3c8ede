// basRegistry over the registry in memory.
#include "engine/basregistry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backends/memory/memory_platform.h"
#include "base/numbers.h"
#include "base/raised_error.h"

namespace mvsms {
namespace {

using basRegistry::DeleteKey;
using basRegistry::EnumKeys;
using basRegistry::GetValue;
using basRegistry::SetValue;
using basRegistry::StripNul;
using testing::ElementsAre;

constexpr RegKey kHive = kHKeyLocalMachine;
const Variant kEmpty;

Variant Text(const char* text) { return std::string(text); }
Variant Number(std::int32_t number) { return number; }

class BasRegistry : public testing::Test {
 protected:
  ~BasRegistry() override { EXPECT_EQ(platform_.open_keys(), 0U); }

  void Store(const std::string& path, const std::string& name, RegType type,
             const std::string& bytes) {
    RegKey key = 0;
    ASSERT_EQ(registry_.CreateKey(kHive, path, key), kErrorSuccess);
    ASSERT_EQ(registry_.SetValue(key, name, type, bytes), kErrorSuccess);
    registry_.CloseKey(key);
  }

  std::string Stored(const std::string& path, const std::string& name, RegType expected_type) {
    RegKey key = 0;
    std::string bytes;
    RegType type = RegType::kNone;
    EXPECT_EQ(registry_.OpenKey(kHive, path, kMaximumAllowed, key), kErrorSuccess);
    EXPECT_EQ(registry_.QueryValue(key, name, type, bytes), kErrorSuccess);
    registry_.CloseKey(key);
    EXPECT_EQ(type, expected_type);
    return bytes;
  }

  Variant Get(const std::string& name, const Variant& fallback = {}) {
    return GetValue(registry_, kHive, "A\\B", name, fallback);
  }
  bool Set(const std::string& path, const Variant& value, RegType type) {
    return SetValue(registry_, kHive, path, "V", value, type);
  }
  void MakeKeys(std::initializer_list<const char*> paths) {
    for (const char* path : paths) Set(path, Text(""), RegType::kSz);
  }
  void FailAt(const std::string& operation) {
    platform_.fail = [operation](const std::string& called) { return called == operation; };
  }

  memory::MemoryPlatform platform_;
  Registry& registry_ = platform_.registry();
};

TEST_F(BasRegistry, MissingKeyReadsAsTheDefault) {
  EXPECT_EQ(GetValue(registry_, kHive, "No\\Such", "V", Text("d")), Text("d"));
  EXPECT_EQ(GetValue(registry_, kHive, "No\\Such", "V", kEmpty), kEmpty);
}

TEST_F(BasRegistry, MissingValueReadsAsTheDefault) {
  MakeKeys({"A\\B"});
  EXPECT_EQ(Get("other", Number(7)), Number(7));
}

TEST_F(BasRegistry, TextReadsBackWholeWithoutNul) {
  Store("A\\B", "V", RegType::kSz, "Pager");
  EXPECT_EQ(Get("V"), Text("Pager"));
}

TEST_F(BasRegistry, OneTerminatingNulIsDropped) {
  Store("A\\B", "V", RegType::kSz, std::string("Pager\0", 6));
  Store("A\\B", "W", RegType::kSz, std::string("Pager\0\0", 7));
  EXPECT_EQ(Get("V"), Text("Pager"));
  EXPECT_EQ(Get("W"), Variant(std::string("Pager\0", 6)));
}

TEST_F(BasRegistry, EmptyTextIsAValueAndNotTheDefault) {
  Store("A\\B", "V", RegType::kSz, "");
  Store("A\\B", "W", RegType::kSz, std::string(1, '\0'));
  EXPECT_EQ(Get("V", Text("d")), Text(""));
  EXPECT_EQ(Get("W", Text("d")), Text(""));
}

TEST_F(BasRegistry, DwordReadsAsSignedNumber) {
  Store("A\\B", "V", RegType::kDword, std::string("\x01\x02\x00\x00", 4));
  Store("A\\B", "W", RegType::kDword, "\xFE\xFF\xFF\xFF");
  EXPECT_EQ(Get("V"), Number(0x201));
  EXPECT_EQ(Get("W"), Number(-2));
}

TEST_F(BasRegistry, DwordOfAnotherSizeReadsAsAbsent) {
  Store("A\\B", "V", RegType::kDword, "\x01\x02");
  EXPECT_EQ(Get("V", Number(3)), Number(3));
}

TEST_F(BasRegistry, EveryOtherTypeReadsAsAbsent) {
  for (const RegType type :
       {RegType::kNone, RegType::kExpandSz, RegType::kBinary, RegType::kMultiSz, RegType::kQword}) {
    Store("A\\B", "V", type, "1234");
    EXPECT_EQ(Get("V", Text("d")), Text("d")) << static_cast<int>(type);
  }
}

TEST_F(BasRegistry, TextIsWrittenWithoutNul) {
  EXPECT_TRUE(Set("A", Text("caf\xE9"), RegType::kSz));
  EXPECT_EQ(Stored("A", "V", RegType::kSz), "caf\xE9");
}

TEST_F(BasRegistry, NumberIsWrittenAsTextWhenTextIsAskedFor) {
  Set("A", Number(-15), RegType::kSz);
  EXPECT_EQ(Stored("A", "V", RegType::kSz), "-15");
}

TEST_F(BasRegistry, DwordIsWrittenAsFourBytes) {
  EXPECT_TRUE(Set("A", Number(-2), RegType::kDword));
  EXPECT_EQ(Stored("A", "V", RegType::kDword), "\xFE\xFF\xFF\xFF");
}

TEST_F(BasRegistry, DwordIsMadeFromTheNumberATextBeginsWith) {
  const std::pair<const char*, std::int32_t> cases[] = {{"3", 3},    {"12 times", 12},  {"2.5", 2},
                                                        {"3.5", 4},  {"-1", -1},        {"", 0},
                                                        {"many", 0}, {"99999999999", 0}};
  for (const auto& [text, number] : cases) {
    EXPECT_TRUE(Set("A\\B", Text(text), RegType::kDword));
    EXPECT_EQ(Get("V"), Number(number)) << text;
  }
}

TEST_F(BasRegistry, WritingReplacesAValueOfAnotherType) {
  Set("A\\B", Text("x"), RegType::kSz);
  Set("A\\B", Number(5), RegType::kDword);
  EXPECT_EQ(Get("V"), Number(5));
}

TEST_F(BasRegistry, OneLeadingBackslashOfThePathIsDropped) {
  EXPECT_TRUE(Set("\\A\\B", Text("x"), RegType::kSz));
  EXPECT_EQ(Get("V"), Text("x"));
}

TEST_F(BasRegistry, EmptyPathIsRefused) {
  EXPECT_FALSE(Set("", Text("x"), RegType::kSz));
  EXPECT_FALSE(Set("\\", Text("x"), RegType::kSz));
}

TEST_F(BasRegistry, RefusedWriteIsNotNoticed) {
  FailAt("Registry.SetValue");
  EXPECT_TRUE(Set("A\\B", Text("x"), RegType::kSz));
  FailAt("Registry.CreateKey");
  EXPECT_TRUE(Set("A\\B", Text("x"), RegType::kSz));
  platform_.fail = {};
  EXPECT_EQ(Get("V", Text("none")), Text("none"));
}

TEST_F(BasRegistry, SubkeysAreListedInTheStoresOrder) {
  MakeKeys({"A\\two", "A\\One", "A\\three", "A\\three\\below"});
  EXPECT_THAT(EnumKeys(registry_, kHive, "A"), ElementsAre("One", "three", "two"));
}

TEST_F(BasRegistry, ListWithoutSubkeysHoldsOneEmptyName) {
  MakeKeys({"A"});
  EXPECT_THAT(EnumKeys(registry_, kHive, "A"), ElementsAre(""));
  EXPECT_THAT(EnumKeys(registry_, kHive, "None"), ElementsAre(""));
}

TEST_F(BasRegistry, NameOf255CharactersEndsTheList) {
  MakeKeys({"A\\a", "A\\z", ("A\\b" + std::string(253, 'b')).c_str()});
  EXPECT_EQ(EnumKeys(registry_, kHive, "A").size(), 3U);
  MakeKeys({("A\\b" + std::string(254, 'b')).c_str()});
  EXPECT_THAT(EnumKeys(registry_, kHive, "A"), ElementsAre("a", "b" + std::string(253, 'b')));
}

TEST_F(BasRegistry, DeletesAKeyWithAllBelowIt) {
  MakeKeys({"A\\B\\C", "A\\D"});
  EXPECT_TRUE(DeleteKey(registry_, kHive, "A\\B"));
  EXPECT_THAT(EnumKeys(registry_, kHive, "A"), ElementsAre("D"));
}

TEST_F(BasRegistry, WithoutTreeDeletionAKeyWithSubkeysStays) {
  FailAt("Registry.HasDeleteTree");
  MakeKeys({"A\\B\\C"});
  EXPECT_FALSE(DeleteKey(registry_, kHive, "A\\B"));
  EXPECT_TRUE(DeleteKey(registry_, kHive, "A\\B\\C"));
  EXPECT_TRUE(DeleteKey(registry_, kHive, "A\\B"));
}

TEST_F(BasRegistry, DeletesNothingWithoutAParentInThePath) {
  MakeKeys({"A\\B"});
  for (const char* path : {"A", "", "\\A", "A\\", "\\"}) {
    EXPECT_FALSE(DeleteKey(registry_, kHive, path)) << path;
  }
  EXPECT_THAT(EnumKeys(registry_, kHive, "A"), ElementsAre("B"));
}

TEST_F(BasRegistry, DeletingWhatIsNotThereFails) {
  MakeKeys({"A"});
  EXPECT_FALSE(DeleteKey(registry_, kHive, "A\\B"));
  EXPECT_FALSE(DeleteKey(registry_, kHive, "No\\B"));
}

/// A store that records the rights with which its keys are opened, and refuses them all.
class AccessNotes : public Registry {
 public:
  RegStatus OpenKey(RegKey, const std::string&, std::uint32_t access, RegKey&) override {
    accesses.push_back(access);
    return kErrorAccessDenied;
  }
  RegStatus CreateKey(RegKey, const std::string&, RegKey&) override { return kErrorAccessDenied; }
  RegStatus CloseKey(RegKey) override { return kErrorInvalidHandle; }
  RegStatus QueryValueInfo(RegKey, const std::string&, RegType&, std::uint32_t&) override {
    return kErrorInvalidHandle;
  }
  RegStatus QueryValue(RegKey, const std::string&, RegType&, std::string&) override {
    return kErrorInvalidHandle;
  }
  RegStatus SetValue(RegKey, const std::string&, RegType, const std::string&) override {
    return kErrorInvalidHandle;
  }
  RegStatus EnumKey(RegKey, std::uint32_t, std::size_t, std::string&) override {
    return kErrorInvalidHandle;
  }
  RegStatus EnumValue(RegKey, std::uint32_t, std::string&) override { return kErrorInvalidHandle; }
  RegStatus DeleteValue(RegKey, const std::string&) override { return kErrorInvalidHandle; }
  RegStatus DeleteKey(RegKey, const std::string&) override { return kErrorInvalidHandle; }
  bool HasDeleteTree() override { return true; }
  RegStatus DeleteTree(RegKey, const std::string&) override { return kErrorInvalidHandle; }

  std::vector<std::uint32_t> accesses;
};

TEST(RegistryAccess, ReadingAsksForWhatIsAllowedListingAndDeletingForEverything) {
  AccessNotes notes;
  GetValue(notes, kHive, "A\\B", "V", {});
  EnumKeys(notes, kHive, "A\\B");
  DeleteKey(notes, kHive, "A\\B");
  EXPECT_THAT(notes.accesses, ElementsAre(0x02000000U, 0x3FU, 0x3FU));
}

TEST(RegistryAccess, APathThatEndsInABackslashDeletesNothing) {
  AccessNotes notes;  // a store may take the empty name for the parent itself
  EXPECT_FALSE(DeleteKey(notes, kHive, "A\\"));
  EXPECT_TRUE(notes.accesses.empty());
}

TEST_F(BasRegistry, StripNulKeepsThePartBeforeTheFirstNul) {
  EXPECT_EQ(StripNul(std::string("ab\0c\0", 5)), "ab");
  EXPECT_EQ(StripNul("abc"), "abc");
  EXPECT_EQ(StripNul(std::string(1, '\0')), "");
}

TEST(VariantConversion, TextOfAValue) {
  EXPECT_EQ(ToText(kEmpty), "");
  EXPECT_EQ(ToText(Number(-7)), "-7");
  EXPECT_EQ(ToText(Text("x")), "x");
}

TEST(VariantConversion, BooleanIsTrueForEveryNumberButZero) {
  EXPECT_FALSE(ToBoolean(kEmpty));
  EXPECT_FALSE(ToBoolean(Text("")));
  EXPECT_FALSE(ToBoolean(Number(0)));
  EXPECT_FALSE(ToBoolean(Text("0")));
  EXPECT_TRUE(ToBoolean(Number(1)));
  EXPECT_TRUE(ToBoolean(Number(-1)));
  EXPECT_TRUE(ToBoolean(Text("2")));
  EXPECT_TRUE(ToBoolean(Text("0.4")));
  EXPECT_TRUE(ToBoolean(Text("3000000000")));
}

TEST(VariantConversion, WholeNumberRefusesTextThatIsNone) {
  EXPECT_EQ(ToWholeNumber(kEmpty), 0);
  EXPECT_EQ(ToWholeNumber(Text("12")), 12);
  EXPECT_EQ(ToWholeNumber(Number(3)), 3);
  try {
    ToWholeNumber(Text("12 pieces"));
    FAIL();
  } catch (const RaisedError& error) {
    EXPECT_EQ(error.number(), kErrTypeMismatch);
  }
}

TEST(VariantConversion, LeadingNumberTakesWhatTheTextBeginsWith) {
  EXPECT_EQ(ToLeadingNumber(kEmpty), 0);
  EXPECT_EQ(ToLeadingNumber(Text("12 pieces")), 12);
  EXPECT_EQ(ToLeadingNumber(Text("none")), 0);
  EXPECT_EQ(ToLeadingNumber(Text("0.5")), 0);
  EXPECT_EQ(ToLeadingNumber(Text("1.5")), 2);
  EXPECT_THROW(ToLeadingNumber(Text("3000000000")), RaisedError);
}

}  // namespace
}  // namespace mvsms
