// See queue.h. The schema and every statement stand here, once. Texts lie there in UTF-8, times as
// milliseconds since 1970, states by their names.
#include "backends/posix/store/queue.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

#include "backends/posix/store/database_file.h"
#include "base/ansi.h"

namespace mvsms::posix {
namespace {

using dispatch::Moment;
using dispatch::Page;
using dispatch::PageResult;
using dispatch::PageState;
using dispatch::PageStates;
using dispatch::QueuedPage;

/// The rows that the order of pages to one number looks at are few: those with a holder, and those
/// that were tried.
#define MVSMS_WAITED_FOR "(state IN ('claimed', 'dialling') OR (state = 'ready' AND attempts > 0))"

#define MVSMS_AWAY "('offering', 'at-hub', 'withdrawing')"

constexpr const char* kFirstFormat[] = {
    R"(CREATE TABLE pages(
        position INTEGER PRIMARY KEY AUTOINCREMENT,
        id TEXT NOT NULL UNIQUE,
        profile TEXT NOT NULL,
        recipient TEXT NOT NULL,
        number TEXT NOT NULL,
        originator TEXT NOT NULL,
        text TEXT NOT NULL,
        service TEXT NOT NULL,
        priority INTEGER NOT NULL,
        not_before INTEGER NOT NULL,
        expires INTEGER NOT NULL,
        state TEXT NOT NULL,
        epoch INTEGER NOT NULL DEFAULT 0,
        arrived INTEGER NOT NULL,
        changed INTEGER NOT NULL,
        lease_until INTEGER NOT NULL DEFAULT 0,
        holder TEXT NOT NULL DEFAULT '',
        attempts INTEGER NOT NULL DEFAULT 0,
        perhaps_twice INTEGER NOT NULL DEFAULT 0,
        outcome TEXT NOT NULL DEFAULT '',
        reason TEXT NOT NULL DEFAULT '',
        answer TEXT NOT NULL DEFAULT '',
        modem TEXT NOT NULL DEFAULT '',
        perhaps_out INTEGER NOT NULL DEFAULT 0))",
    "CREATE INDEX pages_by_turn ON pages(profile, service, priority, position, not_before, expires)"
    " WHERE state = 'ready'",
    "CREATE INDEX pages_waited_for ON pages(profile, number, priority, position)"
    " WHERE " MVSMS_WAITED_FOR,
    "CREATE INDEX pages_by_due ON pages(profile, not_before) WHERE state = 'ready'",
    "CREATE INDEX pages_by_state ON pages(state)",
    "PRAGMA user_version = 1"};
constexpr const char* kSecondFormat[] = {
    "ALTER TABLE pages ADD COLUMN fallback TEXT NOT NULL DEFAULT ''",
    "ALTER TABLE pages ADD COLUMN more INTEGER NOT NULL DEFAULT 0",
    "ALTER TABLE pages ADD COLUMN joined TEXT NOT NULL DEFAULT ''",
    "CREATE INDEX pages_by_number ON pages(profile, number) WHERE state = 'ready'",
    "CREATE INDEX pages_by_change ON pages(changed)",
    "PRAGMA user_version = 2"};
/// Pages may be at the hub: a program that does not know these states is not to find one.
constexpr const char* kThirdFormat[] = {"PRAGMA user_version = 3"};
constexpr std::span<const char* const> kFormats[] = {kFirstFormat, kSecondFormat, kThirdFormat};

constexpr char kPut[] =
    "INSERT INTO pages(id, profile, recipient, number, originator, text, service, priority,"
    " not_before, expires, state, arrived, changed, fallback)"
    " VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, 'ready', ?11, ?11, ?12)"
    " ON CONFLICT(id) DO NOTHING";
constexpr char kLike[] =
    "SELECT page.position FROM pages AS page INDEXED BY pages_by_number"
    " JOIN pages AS new ON new.id = ?1"
    " WHERE page.state = 'ready' AND page.profile = new.profile AND page.number = new.number"
    " AND page.originator = new.originator AND page.text = new.text"
    " AND page.position < new.position AND page.arrived >= ?2 ORDER BY page.position LIMIT 1";
constexpr char kJoin[] =
    "UPDATE pages SET state = 'joined', text = '',"
    " joined = (SELECT id FROM pages WHERE position = ?2) WHERE id = ?1";
constexpr char kTakeAlong[] =
    "UPDATE pages SET more = more + 1, priority = MIN(priority, ?2), expires = MAX(expires, ?3)"
    " WHERE position = ?1";
/// The indexes are named, for they are why claims do not slow down; a planner may think otherwise.
constexpr char kNextFor[] =
    "SELECT priority, position FROM pages AS page INDEXED BY pages_by_turn"
    " WHERE state = 'ready' AND profile = ?1 AND service = ?2 AND not_before <= ?3 AND expires > ?3"
    " AND NOT EXISTS(SELECT 1 FROM pages WHERE profile = page.profile AND number = page.number"
    " AND priority = page.priority AND position < page.position AND " MVSMS_WAITED_FOR
    ") ORDER BY priority, position LIMIT 1";
constexpr char kClaim[] =
    "UPDATE pages SET state = 'claimed', holder = ?2, epoch = epoch + 1, changed = ?3,"
    " lease_until = ?4 WHERE position = ?1";
constexpr char kBegin[] =
    "UPDATE pages SET state = 'dialling', attempts = attempts + 1, changed = ?3, lease_until = ?4"
    " WHERE id = ?1 AND epoch = ?2 AND state = 'claimed' AND lease_until > ?3";
constexpr char kExtend[] =
    "UPDATE pages SET lease_until = CASE state WHEN 'claimed' THEN ?3 ELSE ?4 END"
    " WHERE id = ?1 AND epoch = ?2 AND state IN ('claimed', 'dialling')";
constexpr char kGiveBack[] =
    "UPDATE pages SET state = 'ready', changed = ?3, holder = '', lease_until = 0,"
    " attempts = attempts - (state = 'dialling')"
    " WHERE id = ?1 AND epoch = ?2 AND state IN ('claimed', 'dialling')";
constexpr char kFinish[] =
    "UPDATE pages SET state = ?4, changed = ?3, holder = '', lease_until = 0, outcome = ?5,"
    " reason = ?6, answer = ?7, modem = ?8, perhaps_out = ?9,"
    " text = CASE ?10 WHEN 0 THEN text ELSE '' END"
    " WHERE id = ?1 AND epoch = ?2 AND state IN ('dialling', 'unknown')";
constexpr char kTryAgain[] =
    "UPDATE pages SET state = 'ready', changed = ?3, holder = '', lease_until = 0, not_before = ?4,"
    " service = CASE fallback WHEN '' THEN service ELSE fallback END,"
    " fallback = CASE fallback WHEN '' THEN '' ELSE service END,"
    " outcome = ?5, reason = ?6, answer = ?7, modem = ?8, perhaps_out = ?9,"
    " perhaps_twice = perhaps_twice OR ?9"
    " WHERE id = ?1 AND epoch = ?2 AND state IN ('dialling', 'unknown')";
constexpr char kBringHome[] =
    "UPDATE pages SET state = ?3, changed = ?2, outcome = ?4, reason = ?5, answer = ?6, modem = ?7,"
    " perhaps_out = ?8, attempts = ?9, perhaps_twice = ?10,"
    " text = CASE ?11 WHEN 0 THEN text ELSE '' END"
    " WHERE id = ?1 AND (state IN " MVSMS_AWAY
    " OR (state = 'parked' AND outcome = 'unknown' AND ?3 = 'accepted'))";
constexpr char kMark[] =
    "UPDATE pages SET perhaps_twice = 1 WHERE id = ?1 AND state = 'accepted' AND perhaps_twice = 0";
constexpr char kDivert[] =
    "UPDATE pages SET service = fallback, fallback = service"
    " WHERE state = 'ready' AND profile = ?1 AND fallback <> ''"
    " AND instr(?2, '\\' || service || '\\') > 0 AND instr(?2, '\\' || fallback || '\\') = 0";
constexpr char kHolders[] =
    "SELECT DISTINCT holder, lease_until <= ?1 FROM pages WHERE state IN ('claimed', 'dialling')";
constexpr char kFreeClaimed[] =
    "UPDATE pages SET state = 'ready', changed = ?2, holder = '', lease_until = 0"
    " WHERE state = 'claimed' AND holder = ?1 AND (?3 OR lease_until <= ?2)";
constexpr char kFreeDialling[] =
    "UPDATE pages SET state = 'unknown', changed = ?2, holder = '', lease_until = 0, outcome = ?4,"
    " reason = ?5, answer = '', modem = '', perhaps_out = 1"
    " WHERE state = 'dialling' AND holder = ?1 AND (?3 OR lease_until <= ?2)";
constexpr char kExpire[] =
    "UPDATE pages SET state = 'expired', changed = ?1 WHERE state = 'ready' AND expires <= ?1";
constexpr char kOperate[] =
    "UPDATE pages SET changed = ?4, holder = '', lease_until = 0,"
    " state = CASE WHEN ?3 = 'cancelled' AND state IN ('offering', 'at-hub') THEN 'withdrawing'"
    " ELSE ?3 END,"
    " epoch = epoch + (?3 = 'offering'),"
    " perhaps_twice = perhaps_twice OR (?3 = 'ready' AND state IN " MVSMS_AWAY
    ")"
    " WHERE id = ?1 AND instr(?2, ' ' || state || ' ') > 0";
constexpr char kTryAnew[] =
    "UPDATE pages SET attempts = 0, perhaps_twice = perhaps_twice OR perhaps_out, not_before = ?2,"
    " expires = CASE WHEN expires <= ?2 THEN ?3 ELSE expires END WHERE id = ?1";

#define MVSMS_SELECT_PAGES                                                                        \
  "SELECT position, epoch, arrived, changed, lease_until, attempts, perhaps_twice, perhaps_out,"  \
  " priority, not_before, expires, more, state, holder, outcome, id, profile, recipient, number," \
  " originator, text, service, fallback, joined, reason, answer, modem FROM pages "
constexpr char kFind[] = MVSMS_SELECT_PAGES "WHERE id = ?1";
constexpr char kAt[] = MVSMS_SELECT_PAGES "WHERE position = ?1";
#define MVSMS_LISTED "instr(?2, ' ' || state || ' ') > 0 ORDER BY "
constexpr char kList[] = MVSMS_SELECT_PAGES
    "WHERE position > ?1 AND changed >= ?4 AND " MVSMS_LISTED "position LIMIT ?3";
constexpr char kListNewest[] = MVSMS_SELECT_PAGES
    "WHERE position > ?1 AND changed >= ?4 AND " MVSMS_LISTED "position DESC LIMIT ?3";
/// Sorted afterwards, so that the few rows that changed are found by their index.
constexpr char kListChanged[] = MVSMS_SELECT_PAGES
    "WHERE +position > ?1 AND changed >= ?4 AND " MVSMS_LISTED "+position LIMIT ?3";
constexpr char kStats[] = "SELECT state, COUNT(*), MIN(arrived) FROM pages GROUP BY state";
/// From one service to the next in the index, however many pages wait for each.
constexpr char kWaitedFor[] =
    "WITH RECURSIVE next(service) AS (SELECT MIN(service) FROM pages INDEXED BY pages_by_turn"
    " WHERE state = 'ready' AND profile = ?1 UNION ALL"
    " SELECT (SELECT MIN(service) FROM pages INDEXED BY pages_by_turn WHERE state = 'ready'"
    " AND profile = ?1 AND service > next.service) FROM next WHERE service IS NOT NULL)"
    " SELECT service FROM next WHERE service IS NOT NULL";
constexpr char kNextDue[] =
    "SELECT not_before FROM pages INDEXED BY pages_by_due WHERE state = 'ready' AND profile = ?1 "
    "ORDER BY not_before LIMIT "
    "1";
constexpr char kPrune[] =
    "DELETE FROM pages WHERE instr(?1, ' ' || state || ' ') > 0 AND changed < ?2";

std::int64_t Stored(Moment moment) { return moment.time_since_epoch().count(); }

Moment MomentOf(std::int64_t stored) { return Moment(std::chrono::milliseconds(stored)); }

/// " ready held ": the names of the states, each between blanks.
std::string NamesOf(PageStates states) {
  std::string names = " ";
  for (std::size_t i = 0; i < dispatch::kPageStateNames.size(); ++i) {
    if (states.Has(static_cast<PageState>(i))) names.append(dispatch::kPageStateNames.at(i)) += ' ';
  }
  return names;
}

/// The value of an enumeration by its name in the file; another program's own is a damaged row.
template <typename Value, std::size_t kCount>
Value Named(const std::array<std::string_view, kCount>& names, const std::string& name) {
  const auto found = std::find(names.begin(), names.end(), name);
  if (found == names.end()) throw SqliteError(SQLITE_CORRUPT, "nothing is called '" + name + "'");
  return static_cast<Value>(found - names.begin());
}

QueuedPage PageIn(const Rows& rows) {
  QueuedPage queued;
  PageResult result;
  int column = 0;
  const auto number = [&] { return rows.Int(column++); };
  const auto moment = [&] { return MomentOf(rows.Int(column++)); };
  const auto text = [&] { return AnsiFromUtf8(rows.Bytes(column++)); };
  queued.position = number();
  queued.epoch = number();
  queued.arrived = moment();
  queued.changed = moment();
  queued.lease_until = moment();
  queued.attempts = static_cast<std::int32_t>(number());
  queued.perhaps_twice = number() != 0;
  result.perhaps_out = number() != 0;
  queued.page.priority = static_cast<std::int32_t>(number());
  queued.page.not_before = moment();
  queued.page.expires = moment();
  queued.more = static_cast<std::int32_t>(number());
  queued.state = Named<PageState>(dispatch::kPageStateNames, text());
  queued.holder = text();
  const std::string outcome = text();
  for (std::string* const field :
       {&queued.page.id, &queued.page.profile, &queued.page.recipient, &queued.page.number,
        &queued.page.originator, &queued.page.text, &queued.page.service, &queued.page.fallback,
        &queued.joined, &result.reason, &result.answer, &result.modem}) {
    *field = text();
  }
  if (outcome.empty()) return queued;
  result.outcome = Named<dispatch::Outcome>(dispatch::kOutcomeNames, outcome);
  queued.result = result;
  return queued;
}

void MakeOwnTables(Connection& connection) { MakeTables(connection, kFormats); }

/// Joins the page, which has just been put, to one that it is like.
void JoinLike(Connection& connection, const Page& page, const std::string& id, std::int64_t now) {
  const std::int64_t since = now - std::chrono::milliseconds(page.joins).count();
  const std::int64_t like = connection.Value(kLike, {Text{id}, since});
  if (like == 0) return;
  connection.Execute(kJoin, {Text{id}, like});
  connection.Execute(kTakeAlong, {like, std::int64_t{page.priority}, Stored(page.expires)});
}

bool PutOne(Connection& connection, const Page& page, std::int64_t now) {
  const std::string id = Utf8FromAnsi(page.id), profile = Utf8FromAnsi(page.profile),
                    recipient = Utf8FromAnsi(page.recipient), number = Utf8FromAnsi(page.number),
                    originator = Utf8FromAnsi(page.originator), text = Utf8FromAnsi(page.text),
                    service = Utf8FromAnsi(page.service), fallback = Utf8FromAnsi(page.fallback);
  connection.Execute(
      kPut, {Text{id}, Text{profile}, Text{recipient}, Text{number}, Text{originator}, Text{text},
             Text{service}, std::int64_t{page.priority}, Stored(page.not_before),
             Stored(page.expires), now, Text{fallback}});
  if (connection.Changes() == 0) return false;
  if (page.joins > std::chrono::minutes(0) && Stored(page.not_before) <= now) {
    JoinLike(connection, page, id, now);
  }
  return true;
}

/// The most urgent page, and of equally urgent ones the oldest: its position; 0 when there is none.
std::int64_t NextOf(Connection& connection, const std::string& profile,
                    std::span<const std::string> services, std::int64_t now) {
  std::pair<std::int64_t, std::int64_t> first{dispatch::kLastPriority + 1, 0};
  const std::string utf8_profile = Utf8FromAnsi(profile);
  for (const std::string& ansi : services) {
    const std::string service = Utf8FromAnsi(ansi);
    Rows rows = connection.Query(kNextFor, {Text{utf8_profile}, Text{service}, now});
    if (rows.Next()) first = std::min(first, {rows.Int(0), rows.Int(1)});
  }
  return first.second;
}

}  // namespace

Moment SystemNow() {
  return std::chrono::time_point_cast<std::chrono::milliseconds>(std::chrono::system_clock::now());
}

PageQueue::PageQueue(const std::string& home, std::function<Moment()> now)
    : home_(home), file_(home + "/queue.db"), now_(std::move(now)) {}

bool PageQueue::Exists() const { return access(file_.c_str(), F_OK) == 0 || errno != ENOENT; }

Connection& PageQueue::Open() {
  if (connection_ && !connection_->HasMoved()) return *connection_;
  connection_.reset();
  if (!Exists()) MakeWhole(home_, file_, MakeOwnTables);
  auto opened = std::make_unique<Connection>(file_);
  opened->Execute("PRAGMA synchronous = FULL");
  opened->Execute("PRAGMA secure_delete = ON");  // texts go when they go
  opened->KeepLog();
  if (!HasTables(*opened, kFormats)) MakeOwnTables(*opened);
  connection_ = std::move(opened);
  return *connection_;
}

template <typename Operation>
auto PageQueue::Explained(Operation operation) {
  return WithTrouble("Queue", "queue", file_, operation);
}

bool PageQueue::Changed(const char* sql, std::initializer_list<Parameter> parameters) {
  return Explained([&] {
    if (!Exists()) return false;
    Connection& connection = Open();
    connection.Execute(sql, parameters);
    return connection.Changes() > 0;
  });
}

std::vector<QueuedPage> PageQueue::Read(const char* sql,
                                        std::initializer_list<Parameter> parameters) {
  return Explained([&] {
    std::vector<QueuedPage> pages;
    if (!Exists()) return pages;
    Rows rows = Open().Query(sql, parameters);
    while (rows.Next()) pages.push_back(PageIn(rows));
    return pages;
  });
}

std::size_t PageQueue::Put(std::span<const Page> pages) {
  return Explained([&] {
    Connection& connection = Open();
    Transaction writing(connection, Transaction::Kind::kWrite);
    const std::int64_t now = Stored(now_());
    const auto taken = std::count_if(pages.begin(), pages.end(), [&](const Page& page) {
      return PutOne(connection, page, now);
    });
    writing.Commit();
    return static_cast<std::size_t>(taken);
  });
}

std::optional<QueuedPage> PageQueue::Claim(const std::string& holder, const std::string& profile,
                                           std::span<const std::string> services) {
  return Explained([&]() -> std::optional<QueuedPage> {
    if (!Exists()) return std::nullopt;
    Connection& connection = Open();
    Transaction writing(connection, Transaction::Kind::kWrite);
    const Moment now = now_();
    const std::int64_t position = NextOf(connection, profile, services, Stored(now));
    if (position == 0) return std::nullopt;
    const std::string utf8_holder = Utf8FromAnsi(holder);
    connection.Execute(
        kClaim, {position, Text{utf8_holder}, Stored(now), Stored(now + dispatch::kClaimLease)});
    QueuedPage claimed = Read(kAt, {position}).at(0);
    writing.Commit();
    return claimed;
  });
}

bool PageQueue::Begin(const std::string& id, std::int64_t epoch) {
  const Moment now = now_();
  const std::string utf8_id = Utf8FromAnsi(id);
  return Changed(kBegin,
                 {Text{utf8_id}, epoch, Stored(now), Stored(now + dispatch::kDiallingLease)});
}

bool PageQueue::Extend(const std::string& id, std::int64_t epoch) {
  const Moment now = now_();
  const std::string utf8_id = Utf8FromAnsi(id);
  return Changed(kExtend, {Text{utf8_id}, epoch, Stored(now + dispatch::kClaimLease),
                           Stored(now + dispatch::kDiallingLease)});
}

bool PageQueue::GiveBack(const std::string& id, std::int64_t epoch) {
  const std::string utf8_id = Utf8FromAnsi(id);
  return Changed(kGiveBack, {Text{utf8_id}, epoch, Stored(now_())});
}

bool PageQueue::Finish(const std::string& id, std::int64_t epoch, const PageResult& result,
                       PageState state) {
  const std::string utf8_id = Utf8FromAnsi(id), reason = Utf8FromAnsi(result.reason),
                    answer = Utf8FromAnsi(result.answer), modem = Utf8FromAnsi(result.modem);
  return Changed(kFinish, {Text{utf8_id}, epoch, Stored(now_()), Text{NameOf(state)},
                           Text{NameOf(result.outcome)}, Text{reason}, Text{answer}, Text{modem},
                           std::int64_t{result.perhaps_out}, std::int64_t{result.forget_text}});
}

bool PageQueue::TryAgain(const std::string& id, std::int64_t epoch, const PageResult& result,
                         Moment not_before) {
  const std::string utf8_id = Utf8FromAnsi(id), reason = Utf8FromAnsi(result.reason),
                    answer = Utf8FromAnsi(result.answer), modem = Utf8FromAnsi(result.modem);
  return Changed(kTryAgain, {Text{utf8_id}, epoch, Stored(now_()), Stored(not_before),
                             Text{NameOf(result.outcome)}, Text{reason}, Text{answer}, Text{modem},
                             std::int64_t{result.perhaps_out}});
}

bool PageQueue::BringHome(const std::string& id, const QueuedPage& there) {
  const PageResult result = there.result.value_or(PageResult{});
  const std::string utf8_id = Utf8FromAnsi(id), reason = Utf8FromAnsi(result.reason),
                    answer = Utf8FromAnsi(result.answer), modem = Utf8FromAnsi(result.modem);
  const std::string_view outcome = there.result ? NameOf(result.outcome) : "";
  const bool marks = there.state == PageState::kAccepted && there.perhaps_twice;
  if (marks && Changed(kMark, {Text{utf8_id}})) return true;
  return Changed(
      kBringHome,
      {Text{utf8_id}, Stored(now_()), Text{NameOf(there.state)}, Text{outcome}, Text{reason},
       Text{answer}, Text{modem}, std::int64_t{result.perhaps_out}, std::int64_t{there.attempts},
       std::int64_t{there.perhaps_twice}, std::int64_t{there.page.text.empty()}});
}

std::int64_t PageQueue::Divert(const std::string& profile, std::span<const std::string> services) {
  // A backslash is in no name of a service, for these are keys of the settings.
  std::string names = "\\";
  for (const std::string& service : services) names.append(Utf8FromAnsi(service)) += '\\';
  return Explained([&]() -> std::int64_t {
    if (!Exists()) return 0;
    Connection& connection = Open();
    const std::string utf8_profile = Utf8FromAnsi(profile);
    connection.Execute(kDivert, {Text{utf8_profile}, Text{names}});
    return connection.Changes();
  });
}

void PageQueue::Sweep(const std::function<bool(const std::string& holder)>& gone) {
  Explained([&] {
    if (!Exists()) return;
    Connection& connection = Open();
    Transaction writing(connection, Transaction::Kind::kWrite);
    const std::int64_t now = Stored(now_());
    std::vector<std::string> holders;
    {
      Rows rows = connection.Query(kHolders);
      while (rows.Next()) holders.push_back(rows.Bytes(0));
    }
    for (const std::string& holder : holders) {
      const std::int64_t all = gone(AnsiFromUtf8(holder)) ? 1 : 0;
      const PageResult doubt = dispatch::Interrupted();
      connection.Execute(kFreeClaimed, {Text{holder}, now, all});
      connection.Execute(kFreeDialling,
                         {Text{holder}, now, all, Text{NameOf(doubt.outcome)}, Text{doubt.reason}});
    }
    connection.Execute(kExpire, {now});
    writing.Commit();
  });
}

bool PageQueue::Operate(const std::string& id, const dispatch::OperatorAction& action) {
  return Explained([&] {
    if (!Exists()) return false;
    Connection& connection = Open();
    Transaction writing(connection, Transaction::Kind::kWrite);
    const std::int64_t now = Stored(now_());
    const std::string utf8_id = Utf8FromAnsi(id), from = NamesOf(action.from);
    connection.Execute(kOperate, {Text{utf8_id}, Text{from}, Text{NameOf(action.to)}, now});
    if (connection.Changes() == 0) return false;
    if (action.tries_anew) {
      connection.Execute(kTryAnew, {Text{utf8_id}, now, Stored(dispatch::kNever)});
    }
    writing.Commit();
    return true;
  });
}

std::optional<QueuedPage> PageQueue::Find(const std::string& id) {
  const std::string utf8_id = Utf8FromAnsi(id);
  const std::vector<QueuedPage> found = Read(kFind, {Text{utf8_id}});
  return found.empty() ? std::nullopt : std::optional(found.front());
}

std::vector<QueuedPage> PageQueue::List(const dispatch::PageFilter& filter) {
  const std::string states = NamesOf(filter.states);
  const std::int64_t most = static_cast<std::int64_t>(
      std::min(filter.most, static_cast<std::size_t>(std::numeric_limits<std::int64_t>::max())));
  const char* const sql = filter.newest_first                ? kListNewest
                          : filter.changed_since != Moment{} ? kListChanged
                                                             : kList;
  return Read(sql, {filter.after, Text{states}, most, Stored(filter.changed_since)});
}

dispatch::QueueStats PageQueue::Stats() {
  return Explained([&] {
    dispatch::QueueStats stats{};
    if (!Exists()) return stats;
    Rows rows = Open().Query(kStats);
    while (rows.Next()) {
      const auto state = Named<std::size_t>(dispatch::kPageStateNames, rows.Bytes(0));
      stats.at(state) = {rows.Int(1), MomentOf(rows.Int(2))};
    }
    return stats;
  });
}

std::vector<std::string> PageQueue::WaitedFor(const std::string& profile) {
  return Explained([&] {
    std::vector<std::string> services;
    if (!Exists()) return services;
    const std::string utf8_profile = Utf8FromAnsi(profile);
    Rows rows = Open().Query(kWaitedFor, {Text{utf8_profile}});
    while (rows.Next()) services.push_back(AnsiFromUtf8(rows.Bytes(0)));
    return services;
  });
}

Moment PageQueue::NextDue(const std::string& profile) {
  return Explained([&] {
    if (!Exists()) return dispatch::kNever;
    const std::string utf8_profile = Utf8FromAnsi(profile);
    Rows rows = Open().Query(kNextDue, {Text{utf8_profile}});
    return rows.Next() ? MomentOf(rows.Int(0)) : dispatch::kNever;
  });
}

std::int64_t PageQueue::Prune(Moment before) {
  return Explained([&]() -> std::int64_t {
    if (!Exists()) return 0;
    Connection& connection = Open();
    const std::string over = NamesOf(dispatch::kOver);
    connection.Execute(kPrune, {Text{over}, Stored(before)});
    const int deleted = connection.Changes();
    connection.Execute("PRAGMA wal_checkpoint(TRUNCATE)");
    return deleted;
  });
}

}  // namespace mvsms::posix
