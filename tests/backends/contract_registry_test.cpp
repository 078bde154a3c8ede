// The registry service, over every back end.
#include <gmock/gmock.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tests/backends/contract.h"

namespace mvsms {
namespace {

using testing::ElementsAre;

class RegistryContract : public Contract {
 protected:
  RegKey Create(const std::string& path, RegKey parent = kHKeyLocalMachine) {
    RegKey key = 0;
    EXPECT_EQ(registry_.CreateKey(parent, path, key), kErrorSuccess) << path;
    return key;
  }
  RegStatus TryOpen(const std::string& path, RegKey parent = kHKeyLocalMachine) {
    RegKey key = 0;
    const RegStatus status = registry_.OpenKey(parent, path, kKeyAllAccess, key);
    if (status == kErrorSuccess) registry_.CloseKey(key);
    return status;
  }
  void Set(RegKey key, const std::string& name, const std::string& data,
           RegType type = RegType::kSz) {
    EXPECT_EQ(registry_.SetValue(key, name, type, data), kErrorSuccess) << name;
  }
  /// The bytes of a value, which must be there.
  std::string Get(RegKey key, const std::string& name) {
    RegType type = RegType::kNone;
    std::string data;
    EXPECT_EQ(registry_.QueryValue(key, name, type, data), kErrorSuccess) << name;
    return data;
  }
  std::vector<std::string> Subkeys(RegKey key) {
    std::vector<std::string> names;
    for (std::string name; registry_.EnumKey(key, static_cast<std::uint32_t>(names.size()), 255,
                                             name) == kErrorSuccess;) {
      names.push_back(name);
    }
    return names;
  }
  std::vector<std::string> Values(RegKey key) {
    std::vector<std::string> names;
    for (std::string name; registry_.EnumValue(key, static_cast<std::uint32_t>(names.size()),
                                               name) == kErrorSuccess;) {
      names.push_back(name);
    }
    return names;
  }

  Registry& registry_ = platform_.registry();
};

TEST_P(RegistryContract, AFreshMachineHasNoKeys) {
  EXPECT_EQ(TryOpen("Software"), kErrorFileNotFound);
  EXPECT_THAT(Subkeys(kHKeyLocalMachine), ElementsAre());
}

TEST_P(RegistryContract, CreatingMakesEveryKeyOnTheWay) {
  Create("Software\\Product\\Profile");
  EXPECT_EQ(TryOpen("Software"), kErrorSuccess);
  EXPECT_EQ(TryOpen("Software\\Product"), kErrorSuccess);
  EXPECT_EQ(TryOpen("Software\\Product\\Profile"), kErrorSuccess);
  EXPECT_EQ(TryOpen("Software\\Product\\Other"), kErrorFileNotFound);
  EXPECT_EQ(TryOpen("Software\\Product\\Profile\\Deeper"), kErrorFileNotFound);
}

TEST_P(RegistryContract, CreatingAnExistingKeyOpensIt) {
  Set(Create("Software"), "Value", "kept");
  EXPECT_EQ(Get(Create("Software"), "Value"), "kept");
  EXPECT_THAT(Subkeys(kHKeyLocalMachine), ElementsAre("Software"));
}

TEST_P(RegistryContract, PathsAreRelativeToTheOpenKey) {
  const RegKey product = Create("Software\\Product");
  Create("Services\\Pager", product);
  EXPECT_EQ(TryOpen("Services\\Pager", product), kErrorSuccess);
  EXPECT_EQ(TryOpen("Software\\Product\\Services\\Pager"), kErrorSuccess);
  EXPECT_EQ(TryOpen("Software", product), kErrorFileNotFound);
}

TEST_P(RegistryContract, APathThatBeginsWithABackslashIsRefused) {
  Create("R\\a");
  RegKey key = 4711;
  for (const char* path : {"\\R", "\\R\\a", "\\New", "\\"}) {
    EXPECT_EQ(registry_.OpenKey(kHKeyLocalMachine, path, kKeyAllAccess, key), kErrorBadPathname);
    EXPECT_EQ(registry_.CreateKey(kHKeyLocalMachine, path, key), kErrorBadPathname);
    EXPECT_EQ(registry_.DeleteKey(kHKeyLocalMachine, path), kErrorBadPathname);
    EXPECT_EQ(registry_.DeleteTree(kHKeyLocalMachine, path), kErrorBadPathname);
  }
  EXPECT_EQ(key, 4711U);
  EXPECT_THAT(Subkeys(kHKeyLocalMachine), ElementsAre("R"));
}

TEST_P(RegistryContract, BackslashesAtTheEndOrDoubledDoNotCount) {
  Create("R\\\\a\\\\");
  EXPECT_EQ(TryOpen("R\\a"), kErrorSuccess);
  EXPECT_EQ(TryOpen("R\\a\\"), kErrorSuccess);
  EXPECT_THAT(Subkeys(Create("R\\")), ElementsAre("a"));
  EXPECT_EQ(registry_.DeleteKey(kHKeyLocalMachine, "R\\a\\"), kErrorSuccess);
  EXPECT_EQ(TryOpen("R\\a"), kErrorFileNotFound);
}

TEST_P(RegistryContract, AnEmptyPathOpensTheSameKeyOnceMore) {
  const RegKey first = Create("Software");
  RegKey second = 0;
  ASSERT_EQ(registry_.OpenKey(first, "", kMaximumAllowed, second), kErrorSuccess);
  EXPECT_NE(first, second);
  Set(first, "Value", "x");
  EXPECT_EQ(registry_.CloseKey(first), kErrorSuccess);
  EXPECT_EQ(Get(second, "Value"), "x");
}

TEST_P(RegistryContract, NamesCompareWithoutCaseAndKeepTheirFirstSpelling) {
  const RegKey key = Create("Software\\B\xFCro");
  EXPECT_EQ(TryOpen("SOFTWARE\\b\xDCRO"), kErrorSuccess);
  Create("software\\B\xDCRO\\Sub");
  EXPECT_THAT(Subkeys(Create("Software")), ElementsAre("B\xFCro"));
  Set(key, "Value", "one");
  Set(key, "VALUE", "two");
  EXPECT_EQ(Get(key, "value"), "two");
  EXPECT_THAT(Values(key), ElementsAre("Value"));
}

TEST_P(RegistryContract, AValueKeepsItsTypeAndItsBytes) {
  const RegKey key = Create("Software");
  const std::string all_bytes = [] {
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte) bytes += static_cast<char>(byte);
    return bytes;
  }();
  for (const RegType given : {RegType::kNone, RegType::kSz, RegType::kExpandSz, RegType::kBinary,
                              RegType::kDword, RegType::kMultiSz, RegType::kQword,
                              static_cast<RegType>(5), static_cast<RegType>(0xFFFF0001U)}) {
    Set(key, "Value", all_bytes, given);
    RegType type = RegType::kNone;
    std::string data;
    std::uint32_t size = 0;
    EXPECT_EQ(registry_.QueryValue(key, "Value", type, data), kErrorSuccess);
    EXPECT_EQ(type, given);
    EXPECT_EQ(data, all_bytes);
    type = RegType::kNone;
    EXPECT_EQ(registry_.QueryValueInfo(key, "Value", type, size), kErrorSuccess);
    EXPECT_EQ(type, given);
    EXPECT_EQ(size, 256U);
  }
}

TEST_P(RegistryContract, EmptyDataAndAnEmptyValueNameAreStored) {
  const RegKey key = Create("Software");
  Set(key, "Empty", "");
  EXPECT_EQ(Get(key, "Empty"), "");
  Set(key, "", "default value");
  EXPECT_EQ(Get(key, ""), "default value");
  EXPECT_THAT(Values(key), ElementsAre("", "Empty"));
}

TEST_P(RegistryContract, ADeletedValueIsGoneAndTheOthersStay) {
  const RegKey key = Create("R");
  Set(key, "One", "1");
  Set(key, "Two", "2");
  EXPECT_EQ(registry_.DeleteValue(key, "ONE"), kErrorSuccess);
  EXPECT_EQ(registry_.DeleteValue(key, "One"), kErrorFileNotFound);
  EXPECT_THAT(Values(key), ElementsAre("Two"));
}

TEST_P(RegistryContract, AMissingValueLeavesTheArgumentsAsTheyWere) {
  const RegKey key = Create("Software");
  RegType type = RegType::kMultiSz;
  std::uint32_t size = 7;
  std::string data = "before";
  EXPECT_EQ(registry_.QueryValueInfo(key, "Value", type, size), kErrorFileNotFound);
  EXPECT_EQ(registry_.QueryValue(key, "Value", type, data), kErrorFileNotFound);
  EXPECT_EQ(type, RegType::kMultiSz);
  EXPECT_EQ(size, 7U);
  EXPECT_EQ(data, "before");
}

TEST_P(RegistryContract, AMissingKeyLeavesTheHandleAsItWas) {
  RegKey key = 4711;
  EXPECT_EQ(registry_.OpenKey(kHKeyLocalMachine, "Software", kKeyAllAccess, key),
            kErrorFileNotFound);
  EXPECT_EQ(key, 4711U);
}

TEST_P(RegistryContract, SubkeysAreListedInTheOrderOfTheirFoldedNames) {
  for (const char* name : {"b", "A", "C", "00", "0", "\xE4", "Z"}) Create(name);
  EXPECT_THAT(Subkeys(kHKeyLocalMachine), ElementsAre("0", "00", "A", "b", "C", "Z", "\xE4"));
}

TEST_P(RegistryContract, ListingTakesAnyIndexInAnyOrder) {
  for (const char* name : {"a", "b", "c", "d"}) Create(name);
  std::string listed;
  for (const std::uint32_t index : {3U, 0U, 1U, 1U, 2U, 0U}) {
    std::string name;
    EXPECT_EQ(registry_.EnumKey(kHKeyLocalMachine, index, 255, name), kErrorSuccess);
    listed += name;
  }
  EXPECT_EQ(listed, "dabbca");
  std::string name = "before";
  EXPECT_EQ(registry_.EnumKey(kHKeyLocalMachine, 4, 255, name), kErrorNoMoreItems);
  EXPECT_EQ(registry_.EnumValue(kHKeyLocalMachine, 0, name), kErrorNoMoreItems);
  EXPECT_EQ(name, "before");
}

TEST_P(RegistryContract, ListingSeesKeysThatCameAndWentSinceTheLastIndex) {
  for (const char* path : {"R\\a", "R\\b", "R\\c"}) Create(path);
  const RegKey key = Create("R");
  std::string name;
  EXPECT_EQ(registry_.EnumKey(key, 0, 255, name), kErrorSuccess);
  EXPECT_EQ(registry_.DeleteKey(key, "a"), kErrorSuccess);
  EXPECT_EQ(registry_.EnumKey(key, 1, 255, name), kErrorSuccess);
  EXPECT_EQ(name, "c");
  Create("0", key);
  EXPECT_EQ(registry_.EnumKey(key, 2, 255, name), kErrorSuccess);
  EXPECT_EQ(name, "c");
}

TEST_P(RegistryContract, ANameNeedsRoomForItselfAndItsNul) {
  Create(std::string(20, 'x'));
  Create("y");
  std::string name = "before";
  EXPECT_EQ(registry_.EnumKey(kHKeyLocalMachine, 0, 20, name), kErrorMoreData);
  EXPECT_EQ(name, "before");
  EXPECT_EQ(registry_.EnumKey(kHKeyLocalMachine, 0, 21, name), kErrorSuccess);
  EXPECT_EQ(name, std::string(20, 'x'));
  EXPECT_EQ(registry_.EnumKey(kHKeyLocalMachine, 1, 2, name), kErrorSuccess);
}

TEST_P(RegistryContract, AKeyWithSubkeysIsDeletedAsATreeOnly) {
  Set(Create("R\\a\\b"), "Value", "x");
  Create("R\\ab");
  const RegKey key = Create("R");
  EXPECT_EQ(registry_.DeleteKey(key, "a"), kErrorAccessDenied);
  EXPECT_EQ(TryOpen("R\\a\\b"), kErrorSuccess);
  ASSERT_TRUE(registry_.HasDeleteTree());
  EXPECT_EQ(registry_.DeleteTree(key, "A"), kErrorSuccess);
  EXPECT_THAT(Subkeys(key), ElementsAre("ab"));
}

TEST_P(RegistryContract, ADeletedKeyComesBackWithoutItsValues) {
  Set(Create("R\\a"), "Value", "x");
  EXPECT_EQ(registry_.DeleteKey(kHKeyLocalMachine, "R\\a"), kErrorSuccess);
  EXPECT_EQ(TryOpen("R\\a"), kErrorFileNotFound);
  EXPECT_THAT(Values(Create("R\\a")), ElementsAre());
}

TEST_P(RegistryContract, DeletingWhatIsNotThereIsFileNotFound) {
  Create("R");
  EXPECT_EQ(registry_.DeleteKey(kHKeyLocalMachine, "Other"), kErrorFileNotFound);
  EXPECT_EQ(registry_.DeleteTree(kHKeyLocalMachine, "R\\a"), kErrorFileNotFound);
}

TEST_P(RegistryContract, AnOpenKeyCannotDeleteItself) {
  const RegKey key = Create("R");
  EXPECT_EQ(registry_.DeleteKey(key, ""), kErrorInvalidParameter);
  EXPECT_EQ(registry_.DeleteTree(key, ""), kErrorInvalidParameter);
  EXPECT_EQ(registry_.DeleteTree(kHKeyLocalMachine, ""), kErrorInvalidParameter);
  EXPECT_EQ(TryOpen("R"), kErrorSuccess);
}

TEST_P(RegistryContract, AKeyDeletedWhileItIsOpenStaysDeleted) {
  const auto kGone = testing::AnyOf(kErrorFileNotFound, 1018);  // winerror.h ERROR_KEY_DELETED
  const RegKey key = Create("R\\a");
  Set(key, "Value", "x");
  EXPECT_EQ(registry_.DeleteTree(kHKeyLocalMachine, "R"), kErrorSuccess);
  Create("R\\a");
  RegType type = RegType::kNone;
  std::string data;
  RegKey other = 0;
  EXPECT_THAT(registry_.QueryValue(key, "Value", type, data), kGone);
  EXPECT_THAT(registry_.SetValue(key, "Value", RegType::kSz, "y"), kGone);
  EXPECT_THAT(registry_.EnumKey(key, 0, 255, data), kGone);
  EXPECT_THAT(registry_.EnumValue(key, 0, data), kGone);
  EXPECT_THAT(registry_.CreateKey(key, "Sub", other), kGone);
  EXPECT_THAT(TryOpen("", key), kGone);
  EXPECT_EQ(registry_.CloseKey(key), kErrorSuccess);
}

TEST_P(RegistryContract, AClosedKeyIsAnInvalidHandle) {
  const RegKey key = Create("R");
  EXPECT_EQ(registry_.CloseKey(key), kErrorSuccess);
  EXPECT_EQ(registry_.CloseKey(key), kErrorInvalidHandle);
  RegType type = RegType::kNone;
  std::uint32_t size = 0;
  std::string data;
  RegKey other = 0;
  EXPECT_EQ(TryOpen("", key), kErrorInvalidHandle);
  EXPECT_EQ(registry_.CreateKey(key, "Sub", other), kErrorInvalidHandle);
  EXPECT_EQ(registry_.QueryValueInfo(key, "Value", type, size), kErrorInvalidHandle);
  EXPECT_EQ(registry_.QueryValue(key, "Value", type, data), kErrorInvalidHandle);
  EXPECT_EQ(registry_.SetValue(key, "Value", RegType::kSz, "x"), kErrorInvalidHandle);
  EXPECT_EQ(registry_.EnumKey(key, 0, 255, data), kErrorInvalidHandle);
  EXPECT_EQ(registry_.EnumValue(key, 0, data), kErrorInvalidHandle);
  EXPECT_EQ(registry_.DeleteKey(key, "Sub"), kErrorInvalidHandle);
  EXPECT_EQ(registry_.DeleteTree(key, "Sub"), kErrorInvalidHandle);
}

TEST_P(RegistryContract, TheHiveStaysOpenWhenItIsClosed) {
  EXPECT_EQ(registry_.CloseKey(kHKeyLocalMachine), kErrorSuccess);
  Create("R");
  EXPECT_EQ(TryOpen("R"), kErrorSuccess);
}

MVSMS_FOR_EACH_BACK_END(RegistryContract);

}  // namespace
}  // namespace mvsms
