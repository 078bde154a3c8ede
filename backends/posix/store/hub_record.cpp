// See hub_record.h. Texts lie there in UTF-8, steps and states by their names.
#include "backends/posix/store/hub_record.h"

#include <unistd.h>

#include <algorithm>

#include "backends/posix/store/database_file.h"
#include "base/ansi.h"
#include "base/sha256.h"

namespace mvsms::posix {
namespace {

using dispatch::HubRow;

constexpr const char* kFirstFormat[] = {
    R"(CREATE TABLE pages(
        number INTEGER PRIMARY KEY AUTOINCREMENT,
        id TEXT NOT NULL,
        epoch INTEGER NOT NULL,
        holder TEXT NOT NULL,
        step TEXT NOT NULL,
        state TEXT NOT NULL,
        outcome TEXT NOT NULL,
        reason TEXT NOT NULL,
        answer TEXT NOT NULL,
        modem TEXT NOT NULL,
        perhaps_out INTEGER NOT NULL,
        forget_text INTEGER NOT NULL,
        pause INTEGER NOT NULL,
        closed INTEGER NOT NULL DEFAULT 0,
        UNIQUE(id, epoch)))",
    "CREATE INDEX pages_open ON pages(number) WHERE closed = 0",
    "CREATE TABLE hub(machine TEXT PRIMARY KEY, beats INTEGER NOT NULL)",
    "CREATE TABLE home(word TEXT NOT NULL)",
    "INSERT INTO home VALUES(lower(hex(randomblob(16))))",
    "PRAGMA user_version = 1"};
constexpr std::span<const char* const> kFormats[] = {kFirstFormat};

constexpr char kNote[] =
    "INSERT INTO pages(id, epoch, holder, step, state, outcome, reason, answer, modem, perhaps_out,"
    " forget_text, pause) VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12)"
    " ON CONFLICT(id, epoch) DO UPDATE SET step = ?4, state = ?5, outcome = ?6, reason = ?7,"
    " answer = ?8, modem = ?9, perhaps_out = ?10, forget_text = ?11, pause = ?12, closed = 0";
#define MVSMS_SELECT_ROWS                                                               \
  "SELECT id, epoch, holder, step, state, outcome, reason, answer, modem, perhaps_out," \
  " forget_text, pause FROM pages "
constexpr char kOpen[] = MVSMS_SELECT_ROWS "WHERE closed = 0 ORDER BY number";
constexpr char kKept[] = MVSMS_SELECT_ROWS "WHERE closed > 0 ORDER BY number";
constexpr char kKeep[] =
    "UPDATE pages SET closed = ?3 WHERE id = ?1 AND epoch = ?2 AND step IN ('dialling', 'again', "
    "'finished')";
constexpr char kDrop[] =
    "DELETE FROM pages WHERE id = ?1 AND epoch = ?2"
    " AND step NOT IN ('dialling', 'again', 'finished')";
constexpr char kPrune[] = "DELETE FROM pages WHERE closed > 0 AND closed < ?1";
constexpr char kBeats[] = "SELECT beats FROM hub WHERE machine = ?1";
constexpr char kNoteBeats[] =
    "INSERT INTO hub VALUES(?1, ?2) ON CONFLICT(machine) DO UPDATE SET beats = ?2";

constexpr std::size_t kHomeDigits = 32;  // enough of a digest to be like no other

template <typename Value, std::size_t kCount>
Value Named(const std::array<std::string_view, kCount>& names, const std::string& name) {
  const auto found = std::find(names.begin(), names.end(), name);
  if (found == names.end()) throw SqliteError(SQLITE_CORRUPT, "nothing is called '" + name + "'");
  return static_cast<Value>(found - names.begin());
}

HubRow RowIn(const Rows& rows) {
  HubRow row;
  row.id = AnsiFromUtf8(rows.Bytes(0));
  row.epoch = rows.Int(1);
  row.holder = AnsiFromUtf8(rows.Bytes(2));
  row.step = Named<dispatch::HubStep>(dispatch::kHubStepNames, rows.Bytes(3));
  row.state = Named<dispatch::PageState>(dispatch::kPageStateNames, rows.Bytes(4));
  row.result.outcome = Named<dispatch::Outcome>(dispatch::kOutcomeNames, rows.Bytes(5));
  row.result.reason = AnsiFromUtf8(rows.Bytes(6));
  row.result.answer = AnsiFromUtf8(rows.Bytes(7));
  row.result.modem = AnsiFromUtf8(rows.Bytes(8));
  row.result.perhaps_out = rows.Int(9) != 0;
  row.result.forget_text = rows.Int(10) != 0;
  row.pause = std::chrono::milliseconds(rows.Int(11));
  return row;
}

void MakeOwnTables(Connection& connection) { MakeTables(connection, kFormats); }

}  // namespace

Connection& HubFile::Opened() {
  if (connection_ && !connection_->HasMoved()) return *connection_;
  connection_.reset();
  if (access(file_.c_str(), F_OK) != 0) MakeWhole(home_, file_, MakeOwnTables);
  auto opened = std::make_unique<Connection>(file_);
  opened->Execute("PRAGMA synchronous = FULL");
  opened->KeepLog();
  if (!HasTables(*opened, kFormats)) MakeOwnTables(*opened);
  connection_ = std::move(opened);
  return *connection_;
}

void HubFile::Note(const HubRow& row) {
  WithTrouble("HubFile", "record of the hub's pages", file_, [&] {
    const dispatch::PageResult& result = row.result;
    const std::string id = Utf8FromAnsi(row.id), holder = Utf8FromAnsi(row.holder),
                      reason = Utf8FromAnsi(result.reason), answer = Utf8FromAnsi(result.answer),
                      modem = Utf8FromAnsi(result.modem);
    Opened().Execute(kNote, {Text{id}, row.epoch, Text{holder}, Text{NameOf(row.step)},
                             Text{NameOf(row.state)}, Text{NameOf(result.outcome)}, Text{reason},
                             Text{answer}, Text{modem}, std::int64_t{result.perhaps_out},
                             std::int64_t{result.forget_text}, std::int64_t{row.pause.count()}});
  });
}

std::vector<HubRow> HubFile::Read(const char* sql) {
  return WithTrouble("HubFile", "record of the hub's pages", file_, [&] {
    std::vector<HubRow> read;
    Rows rows = Opened().Query(sql);
    while (rows.Next()) read.push_back(RowIn(rows));
    return read;
  });
}

std::vector<HubRow> HubFile::Open() { return Read(kOpen); }

std::vector<HubRow> HubFile::Kept() { return Read(kKept); }

void HubFile::Close(const std::string& id, std::int64_t epoch) {
  WithTrouble("HubFile", "record of the hub's pages", file_, [&] {
    const std::string utf8_id = Utf8FromAnsi(id);
    Connection& connection = Opened();
    Transaction writing(connection, Transaction::Kind::kWrite);
    connection.Execute(kKeep, {Text{utf8_id}, epoch, now_().time_since_epoch().count()});
    connection.Execute(kDrop, {Text{utf8_id}, epoch});
    writing.Commit();
  });
}

void HubFile::Prune(dispatch::Moment before) {
  WithTrouble("HubFile", "record of the hub's pages", file_,
              [&] { Opened().Execute(kPrune, {before.time_since_epoch().count()}); });
}

std::string HubFile::Home() {
  return WithTrouble("HubFile", "record of the hub's pages", file_, [&] {
    Rows rows = Opened().Query("SELECT word FROM home");
    // A digest, for it goes to the hub.
    return Sha256((rows.Next() ? rows.Bytes(0) : "") + machine_).substr(0, kHomeDigits);
  });
}

std::int64_t HubFile::Beats(const std::string& machine) {
  return WithTrouble("HubFile", "record of the hub's pages", file_, [&] {
    const std::string utf8 = Utf8FromAnsi(machine);
    Rows rows = Opened().Query(kBeats, {Text{utf8}});
    return rows.Next() ? rows.Int(0) : 0;
  });
}

void HubFile::NoteBeats(const std::string& machine, std::int64_t beats) {
  WithTrouble("HubFile", "record of the hub's pages", file_, [&] {
    const std::string utf8 = Utf8FromAnsi(machine);
    Opened().Execute(kNoteBeats, {Text{utf8}, beats});
  });
}

}  // namespace mvsms::posix
