// See redirected_profiles.h. Keys are named by their real place, so that nothing here depends on
// the bitness of the process.
#include "backends/win32/redirected_profiles.h"

#include "backends/win32/handles.h"
#include "backends/win32/text.h"

namespace mvsms::win32 {
namespace {

constexpr wchar_t kMark[] = L"TakenOver";

std::wstring Root() { return L"Software\\MIRVALEN\\PAGOREX"; }

UniqueKey Open(HKEY parent, const std::wstring& path, REGSAM access) {
  HKEY key = nullptr;
  ::RegOpenKeyExW(parent, path.c_str(), 0, access | KEY_WOW64_64KEY, &key);
  return UniqueKey(key);
}

std::vector<std::wstring> Subkeys(HKEY key) {
  std::vector<std::wstring> names;
  wchar_t name[256];
  while (::RegEnumKeyW(key, static_cast<DWORD>(names.size()), name, 256) == ERROR_SUCCESS) {
    names.emplace_back(name);
  }
  return names;
}

bool IsMarked(HKEY profile) {
  return ::RegQueryValueExW(profile, kMark, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
}

bool Mark(HKEY profile) {
  constexpr DWORD kYes = 1;
  return ::RegSetValueExW(profile, kMark, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&kYes),
                          sizeof kYes) == ERROR_SUCCESS;
}

bool Copy(HKEY from, const std::wstring& path) {
  HKEY created = nullptr;
  if (::RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0,
                        KEY_ALL_ACCESS | KEY_WOW64_64KEY, nullptr, &created,
                        nullptr) != ERROR_SUCCESS) {
    return false;
  }
  const UniqueKey to(created);
  if (::RegCopyTreeW(from, nullptr, created) == ERROR_SUCCESS) return true;
  ::RegDeleteTreeW(created, nullptr);
  ::RegDeleteKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), KEY_WOW64_64KEY, 0);
  return false;
}

/// What was done about one profile, as a sentence; empty for nothing.
std::string TakeOver(HKEY redirected, const std::wstring& name) {
  const UniqueKey from = Open(redirected, name, KEY_READ | KEY_SET_VALUE);
  if (!from || IsMarked(from.get())) return {};
  const std::wstring path = Root() + L"\\" + name;
  const std::string place = "HKEY_LOCAL_MACHINE\\" + std::string(kRedirectedRoot) + "\\" +
                            AnsiFromWide(name) + ", where 32-bit hosts had it";
  if (Open(HKEY_LOCAL_MACHINE, path, KEY_READ)) {
    return Mark(from.get())
               ? "this profile is used no more, for there is another of its name: " + place
               : "";
  }
  if (!Copy(from.get(), path)) return {};
  Mark(from.get());
  return "this profile was taken over, and a copy of it is left there: " + place;
}

}  // namespace

std::vector<std::string> TakeOverRedirectedProfiles() {
  const UniqueKey redirected = Open(HKEY_LOCAL_MACHINE, WideFromAnsi(kRedirectedRoot), KEY_READ);
  std::vector<std::string> done;
  if (!redirected) return done;
  for (const std::wstring& name : Subkeys(redirected.get())) {
    std::string sentence = TakeOver(redirected.get(), name);
    if (!sentence.empty()) done.push_back(std::move(sentence));
  }
  return done;
}

}  // namespace mvsms::win32
