// The per-user settings, in the settings file. Application, section and key compare without regard
// to case, as the Windows registry compares them.
#include "platform/user_settings.h"

#include "backends/posix/store/backend.h"
#include "backends/posix/store/sqlite.h"
#include "backends/posix/store/store.h"
#include "base/ansi.h"

namespace mvsms::posix {
namespace {

constexpr char kGet[] =
    "SELECT value FROM user_settings WHERE application = ?1 AND section = ?2 AND key = ?3";
constexpr char kSave[] =
    "INSERT INTO user_settings(application, section, key, value) VALUES(?1, ?2, ?3, ?4)"
    " ON CONFLICT(application, section, key) DO UPDATE SET value = excluded.value";

std::string Name(const std::string& ansi) { return Utf8FromAnsi(FoldCase(ansi)); }

class PosixUserSettings : public UserSettings {
 public:
  explicit PosixUserSettings(const std::string& home) : store_(home) {}

  std::string GetSetting(const std::string& application, const std::string& section,
                         const std::string& key, const std::string& fallback) override {
    try {
      Connection* store = store_.Read();
      if (!store) return fallback;
      Rows rows =
          store->Query(kGet, {Text{Name(application)}, Text{Name(section)}, Text{Name(key)}});
      return rows.Next() ? AnsiFromUtf8(rows.Bytes(0)) : fallback;
    } catch (const SqliteError&) {
      return fallback;
    }
  }

  bool SaveSetting(const std::string& application, const std::string& section,
                   const std::string& key, const std::string& value) override {
    try {
      Connection& store = store_.Write();
      Transaction writing(store, Transaction::Kind::kWrite);
      store.Execute(kSave, {Text{Name(application)}, Text{Name(section)}, Text{Name(key)},
                            Text{Utf8FromAnsi(value)}});
      writing.Commit();
      return true;
    } catch (const SqliteError&) {
      return false;
    }
  }

 private:
  Store store_;
};

}  // namespace

std::unique_ptr<UserSettings> MakeUserSettings(const std::string& home) {
  return std::make_unique<PosixUserSettings>(home);
}

}  // namespace mvsms::posix
