// See hub.h. What a value looks like on the wire stands here, once; what it does there, in
// schema-1.sql.
#include "backends/posix/hub/hub.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <concepts>
#include <iterator>
#include <limits>
#include <sstream>
#include <string_view>
#include <utility>

#include "backends/posix/hub/schema.h"
#include "base/ansi.h"
#include "base/raised_error.h"

namespace mvsms::posix {
namespace {

using dispatch::HubRefusal;
using dispatch::HubTry;
using dispatch::Machine;
using dispatch::Moment;
using dispatch::Page;
using dispatch::PageResult;
using dispatch::PageState;
using dispatch::PageStates;
using dispatch::QueuedPage;

/// What a host knows as "Path/File access error".
constexpr std::int32_t kAccessError = 75;
/// What a host knows as "Invalid procedure call or argument".
constexpr std::int32_t kInvalidCall = 5;

constexpr std::int64_t kPruned = 5000;  // pages in one call

/// What makes each version out of the one before. One that was released does not change any more:
/// another one follows it.
constexpr std::string_view kVersions[] = {hub_schema::kSchema1};
static_assert(std::size(kVersions) == kHubVersion);

constexpr char kColumns[] =
    "position, epoch, arrived, changed, lease_until, attempts, perhaps_twice, perhaps_out,"
    " priority, not_before, expires, more, retries, delay, repeats_unknown, state, outcome, quick,"
    " holder, id, profile, recipient, number, originator, text, service, fallback, joined, reason,"
    " answer, modem, origin";

[[noreturn]] void Fail(const std::string& utf8) {
  throw RaisedError(kAccessError, "ServerHub",
                    AnsiFromUtf8("The hub cannot be used: " + utf8 + "."));
}

/// Of the server's classes of errors those that are the fault of what it was given: characters or
/// numbers that it does not have, and what is longer than it can be.
bool IsAboutWords(const std::string& code) {
  return code.starts_with("22") || code.starts_with("23") || code.starts_with("54");
}

template <std::integral Number>
std::string Word(Number number) {
  return std::to_string(number);  // which of a truth is 0 or 1, as the server takes it, too
}
std::string Word(Moment moment) { return std::to_string(moment.time_since_epoch().count()); }
std::string Word(std::string_view ansi) {
  std::string utf8 = Utf8FromAnsi(std::string(ansi));
  std::ranges::replace(utf8, '\0', '?');  // which the server takes in no text
  return utf8;
}
std::string Word(const std::string& ansi) { return Word(std::string_view(ansi)); }

/// An array as the server reads it: {"a","b"}; of arrays, where `quoted` is false.
std::string ArrayOf(const std::vector<std::string>& items, bool quoted = true) {
  std::string array = "{";
  for (const std::string& item : items) {
    if (array.size() > 1) array += ',';
    if (!quoted) {
      array += item;
      continue;
    }
    array += '"';
    for (const char c : item) {
      if (c == '"' || c == '\\') array += '\\';
      array += c;
    }
    array += '"';
  }
  return array + '}';
}

std::vector<std::string> Words(std::span<const std::string> ansi) {
  std::vector<std::string> words;
  for (const std::string& one : ansi) words.push_back(Word(one));
  return words;
}

std::string NamesOf(PageStates states) {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < dispatch::kPageStateNames.size(); ++i) {
    if (states.Has(static_cast<PageState>(i))) names.emplace_back(dispatch::kPageStateNames.at(i));
  }
  return ArrayOf(names);
}

std::int64_t NumberIn(const std::string& word) {
  std::int64_t number = 0;
  std::from_chars(word.data(), word.data() + word.size(), number);
  return number;
}
std::int32_t SmallIn(const std::string& word) { return static_cast<std::int32_t>(NumberIn(word)); }
Moment MomentIn(const std::string& word) {
  return Moment(std::chrono::milliseconds(NumberIn(word)));
}
bool TruthIn(const std::string& word) { return word == "t"; }

/// Names of services, which are in lines on the wire: no name has one of its own.
std::vector<std::string> LinesIn(const std::string& words) {
  std::vector<std::string> lines;
  std::istringstream text(words);
  for (std::string line; std::getline(text, line);) lines.push_back(AnsiFromUtf8(line));
  return lines;
}

template <typename Value, std::size_t kCount>
Value Named(const std::array<std::string_view, kCount>& names, const std::string& name) {
  const auto found = std::ranges::find(names, name);
  if (found == names.end()) Fail("nothing is called '" + name + "' here; see 'mvsms hub status'");
  return static_cast<Value>(found - names.begin());
}

std::string PausesOf(const dispatch::RetryRules& rules) {
  std::string pauses;
  for (const auto pause : rules.quick) pauses += std::to_string(pause.count()) + ' ';
  return pauses;
}

/// Of an answer that always has one.
const std::vector<std::string>& First(const std::vector<std::vector<std::string>>& rows) {
  if (rows.empty()) Fail("its answer has no row");
  return rows.front();
}

/// A page as the function submit has it.
std::string Row(const QueuedPage& queued) {
  const Page& page = queued.page;
  const dispatch::RetryRules rules = page.rules.value_or(dispatch::RetryRules{.retries = -1});
  return ArrayOf({Word(page.id),
                  Word(page.profile),
                  Word(page.recipient),
                  Word(page.number),
                  Word(page.originator),
                  Word(page.text),
                  Word(page.service),
                  Word(page.fallback),
                  Word(page.priority),
                  Word(page.not_before),
                  Word(page.expires),
                  Word(page.origin),
                  PausesOf(rules),
                  Word(rules.retries),
                  Word(rules.delay.count()),
                  Word(rules.repeat_unknown),
                  Word(queued.attempts),
                  Word(queued.perhaps_twice),
                  Word(queued.more),
                  Word(std::chrono::milliseconds(page.joins).count()),
                  Word(queued.epoch)});
}

QueuedPage PageIn(const std::vector<std::string>& row) {
  QueuedPage queued;
  PageResult result;
  std::size_t column = 0;
  const auto next = [&]() -> const std::string& { return row.at(column++); };
  queued.position = NumberIn(next());
  queued.epoch = NumberIn(next());
  queued.arrived = MomentIn(next());
  queued.changed = MomentIn(next());
  queued.lease_until = MomentIn(next());
  queued.attempts = SmallIn(next());
  queued.perhaps_twice = TruthIn(next());
  result.perhaps_out = TruthIn(next());
  queued.page.priority = SmallIn(next());
  queued.page.not_before = MomentIn(next());
  queued.page.expires = MomentIn(next());
  queued.more = SmallIn(next());
  dispatch::RetryRules rules;
  rules.retries = SmallIn(next());
  rules.delay = std::chrono::minutes(NumberIn(next()));
  rules.repeat_unknown = TruthIn(next());
  queued.state = Named<PageState>(dispatch::kPageStateNames, next());
  const std::string& outcome = next();
  rules.quick = dispatch::ReadPauses(next()).value_or(std::vector<std::chrono::seconds>{});
  for (std::string* const field :
       {&queued.holder, &queued.page.id, &queued.page.profile, &queued.page.recipient,
        &queued.page.number, &queued.page.originator, &queued.page.text, &queued.page.service,
        &queued.page.fallback, &queued.joined, &result.reason, &result.answer, &result.modem,
        &queued.page.origin}) {
    *field = AnsiFromUtf8(next());
  }
  if (rules.retries >= 0) queued.page.rules = rules;
  if (outcome.empty()) return queued;
  result.outcome = Named<dispatch::Outcome>(dispatch::kOutcomeNames, outcome);
  queued.result = result;
  return queued;
}

}  // namespace

ServerHub::Table ServerHub::Ask(const std::string& sql, const std::vector<std::string>& values) {
  HubAnswer answer = wire_.Ask(sql, values);
  if (answer.done) return std::move(answer.rows);
  if (IsAboutWords(answer.code)) {
    throw HubRefusal(kInvalidCall, "ServerHub",
                     AnsiFromUtf8("The hub does not take it: " + answer.trouble + "."));
  }
  Fail(answer.trouble);
}

ServerHub::Table ServerHub::Call(const std::string& function,
                                 const std::vector<std::string>& values,
                                 const std::string& columns) {
  std::string sql = "SELECT " + columns + " FROM mvsms." + function + "(";
  for (std::size_t i = 1; i <= values.size(); ++i) {
    sql += (i > 1 ? ", $" : "$") + std::to_string(i);
  }
  return Ask(sql + ")", values);
}

bool ServerHub::Changed(const std::string& function, const std::vector<std::string>& values) {
  return TruthIn(First(Call(function, values)).at(0));
}

std::vector<QueuedPage> ServerHub::Pages(const std::string& function,
                                         const std::vector<std::string>& values) {
  std::vector<QueuedPage> pages;
  for (const auto& row : Call(function, values, kColumns)) pages.push_back(PageIn(row));
  return pages;
}

void ServerHub::Init() {
  const std::string encoding = First(Ask("SHOW server_encoding")).at(0);
  if (encoding != "UTF8") {
    Fail("its database has the encoding " + encoding +
         "; make one by 'createdb --encoding UTF8 --template template0'");
  }
  MakeVersions(0);
}

void ServerHub::Upgrade() {
  const auto version = Version();
  if (version) MakeVersions(*version);
  CheckVersion();
}

void ServerHub::MakeVersions(std::int32_t from) {
  std::string script = "BEGIN;";
  for (std::int32_t version = from; version < kHubVersion; ++version) {
    script += kVersions[version];
    script += "UPDATE mvsms.hub SET version = " + Word(version + 1) + ";";
  }
  Ask(script + "COMMIT");
}

std::optional<std::int32_t> ServerHub::Version() {
  const Table there = Ask("SELECT to_regprocedure('mvsms.version()') IS NOT NULL");
  if (!TruthIn(First(there).at(0))) return std::nullopt;
  return SmallIn(First(Call("version", {})).at(0));
}

void ServerHub::CheckVersion() {
  const auto version = Version();
  if (!version) Fail("the database has no tables of it; see 'mvsms hub init'");
  if (*version < kHubVersion) {
    Fail("it has version " + Word(*version) + ", this program needs " + Word(kHubVersion) +
         "; see 'mvsms hub upgrade'");
  }
  if (*version == kHubVersion) return;
  if (NumberIn(First(Call("serves_from", {})).at(0)) > kHubVersion) {
    Fail("it has version " + Word(*version) + ", this program knows versions up to " +
         Word(kHubVersion) + "; install a newer program");
  }
}

std::size_t ServerHub::Put(std::span<const Page> pages) {
  if (pages.empty()) return 0;
  std::vector<std::string> rows;
  for (const Page& page : pages) {
    QueuedPage queued;
    queued.page = page;
    rows.push_back(Row(queued));
  }
  return static_cast<std::size_t>(NumberIn(First(Call("submit", {ArrayOf(rows, false)})).at(0)));
}

std::optional<QueuedPage> ServerHub::Claim(const std::string& holder, const std::string& profile,
                                           std::span<const std::string> services) {
  const std::chrono::milliseconds lease = dispatch::kClaimLease;
  auto pages =
      Pages("claim", {Word(holder), Word(profile), ArrayOf(Words(services)), Word(lease.count())});
  return pages.empty() ? std::nullopt : std::optional(std::move(pages.front()));
}

bool ServerHub::Begin(const std::string& id, std::int64_t epoch) {
  const std::chrono::milliseconds lease = dispatch::kDiallingLease;
  return Changed("begin", {Word(id), Word(epoch), Word(lease.count())});
}

bool ServerHub::Extend(const std::string& id, std::int64_t epoch) {
  const std::chrono::milliseconds claimed = dispatch::kClaimLease,
                                  dialling = dispatch::kDiallingLease;
  return Changed("extend", {Word(id), Word(epoch), Word(claimed.count()), Word(dialling.count())});
}

bool ServerHub::GiveBack(const std::string& id, std::int64_t epoch) {
  return Changed("give_back", {Word(id), Word(epoch)});
}

bool ServerHub::Finish(const std::string& id, std::int64_t epoch, const PageResult& result,
                       PageState state) {
  return Changed("finish",
                 {Word(id), Word(epoch), Word(NameOf(state)), Word(NameOf(result.outcome)),
                  Word(result.reason), Word(result.answer), Word(result.modem),
                  Word(result.perhaps_out), Word(result.forget_text)});
}

bool ServerHub::TryAgain(const std::string& id, std::int64_t epoch, const PageResult& result,
                         Moment not_before) {
  return Changed("try_again", {Word(id), Word(epoch), Word(not_before),
                               Word(NameOf(result.outcome)), Word(result.reason),
                               Word(result.answer), Word(result.modem), Word(result.perhaps_out)});
}

std::int64_t ServerHub::Divert(const std::string& profile, std::span<const std::string> services) {
  return NumberIn(First(Call("divert", {Word(profile), ArrayOf(Words(services))})).at(0));
}

void ServerHub::Sweep(const std::function<bool(const std::string& holder)>& gone) {
  std::vector<std::string> left;
  for (const auto& row : Call("holders", {})) {
    if (gone(AnsiFromUtf8(row.at(0)))) left.push_back(row.at(0));
  }
  Call("sweep", {ArrayOf(left), Word(dispatch::Interrupted().reason)});
}

bool ServerHub::Operate(const std::string& id, const dispatch::OperatorAction& action) {
  return Changed("operate", {Word(id), NamesOf(action.from), Word(NameOf(action.to)),
                             Word(action.tries_anew), Word(dispatch::kNever)});
}

std::optional<QueuedPage> ServerHub::Find(const std::string& id) {
  auto pages = Pages("find", {Word(id)});
  return pages.empty() ? std::nullopt : std::optional(std::move(pages.front()));
}

std::vector<QueuedPage> ServerHub::List(const dispatch::PageFilter& filter) {
  const auto most =
      std::min(filter.most, static_cast<std::size_t>(std::numeric_limits<std::int64_t>::max()));
  return Pages("list",
               {NamesOf(filter.states), Word(filter.after), Word(static_cast<std::int64_t>(most)),
                Word(filter.changed_since), Word(filter.newest_first)});
}

dispatch::QueueStats ServerHub::Stats() {
  dispatch::QueueStats stats{};
  for (const auto& row : Call("stats", {}, "state, pages, oldest")) {
    const auto state = Named<std::size_t>(dispatch::kPageStateNames, row.at(0));
    stats.at(state) = {NumberIn(row.at(1)), MomentIn(row.at(2))};
  }
  return stats;
}

std::vector<std::string> ServerHub::WaitedFor(const std::string& profile) {
  std::vector<std::string> services;
  for (const auto& row : Call("waited", {Word(profile), Word(false)}, "service")) {
    services.push_back(AnsiFromUtf8(row.at(0)));
  }
  return services;
}

Moment ServerHub::NextDue(const std::string& profile) {
  const Table rows = Call("next_due", {Word(profile)});
  return rows.empty() ? dispatch::kNever : MomentIn(rows.at(0).at(0));
}

std::int64_t ServerHub::Prune(Moment before) {
  std::int64_t pruned = 0;
  for (std::int64_t some = kPruned; some == kPruned; pruned += some) {
    some = NumberIn(
        First(Call("prune", {NamesOf(dispatch::kOver), Word(before), Word(kPruned)})).at(0));
  }
  return pruned;
}

Moment ServerHub::Now() { return MomentIn(First(Call("clock", {})).at(0)); }

bool ServerHub::Submit(const QueuedPage& page) {
  return NumberIn(First(Call("submit", {ArrayOf({Row(page)}, false)})).at(0)) == 1;
}

bool ServerHub::Withdraw(const std::string& id, std::int64_t offer) {
  return Changed("withdraw", {Word(id), Word(offer), Word(dispatch::kNever)});
}

std::vector<QueuedPage> ServerHub::Results(const std::string& origin, std::size_t most) {
  return Pages("results", {Word(origin), Word(static_cast<std::int64_t>(most))});
}

bool ServerHub::Seen(const std::string& id, std::int64_t epoch, PageState state) {
  return Changed("seen", {Word(id), Word(epoch), Word(NameOf(state))});
}

std::vector<HubTry> ServerHub::Tries(const std::string& id) {
  std::vector<HubTry> tries;
  for (const auto& row :
       Call("tries", {Word(id)}, "epoch, holder, begun, ended, outcome, reason, modem, late")) {
    tries.push_back({.epoch = NumberIn(row.at(0)),
                     .holder = AnsiFromUtf8(row.at(1)),
                     .begun = MomentIn(row.at(2)),
                     .ended = MomentIn(row.at(3)),
                     .outcome = AnsiFromUtf8(row.at(4)),
                     .reason = AnsiFromUtf8(row.at(5)),
                     .modem = AnsiFromUtf8(row.at(6)),
                     .late = TruthIn(row.at(7))});
  }
  return tries;
}

void ServerHub::Late(const std::string& id, std::int64_t epoch, const PageResult& result) {
  Call("late", {Word(id), Word(epoch), Word(NameOf(result.outcome)), Word(result.reason),
                Word(result.answer), Word(result.modem), Word(result.perhaps_out)});
}

std::vector<dispatch::WaitedService> ServerHub::Waited(const std::string& profile) {
  std::vector<dispatch::WaitedService> waited;
  for (const auto& row : Call("waited", {Word(profile), Word(true)}, "service, priority")) {
    waited.push_back({AnsiFromUtf8(row.at(0)), SmallIn(row.at(1))});
  }
  return waited;
}

dispatch::HubNews ServerHub::Beat(const Machine& machine) {
  const auto row = First(
      Call("beat",
           {Word(machine.name), Word(machine.home), Word(machine.version),
            ArrayOf(Words(machine.services)), Word(machine.modems), Word(machine.free),
            Word(machine.at_hub), Word(std::chrono::milliseconds(dispatch::kLivesFor).count())},
           "moment, held, told, beats, twin"));
  return {.now = MomentIn(row.at(0)),
          .held = TruthIn(row.at(1)),
          .told = TruthIn(row.at(2)),
          .beats = NumberIn(row.at(3)),
          .twin = TruthIn(row.at(4))};
}

std::vector<Machine> ServerHub::Machines() {
  std::vector<Machine> machines;
  for (const auto& row :
       Call("machines", {},
            "name, version, array_to_string(services, E'\\n'), modems, free, at_hub, seen, told")) {
    machines.push_back({.name = AnsiFromUtf8(row.at(0)),
                        .version = AnsiFromUtf8(row.at(1)),
                        .services = LinesIn(row.at(2)),
                        .modems = SmallIn(row.at(3)),
                        .free = SmallIn(row.at(4)),
                        .at_hub = SmallIn(row.at(5)),
                        .seen = MomentIn(row.at(6)),
                        .told = TruthIn(row.at(7))});
  }
  return machines;
}

dispatch::HubRests ServerHub::Rests(const std::string& origin) {
  const auto row = First(
      Call("rests", {Word(origin), Word(std::chrono::milliseconds(dispatch::kLivesFor).count())},
           "unfetched, unfetched_since, unknown, array_to_string(unserved, E'\\n')"));
  return {.unfetched = NumberIn(row.at(0)),
          .unfetched_since = MomentIn(row.at(1)),
          .unknown = NumberIn(row.at(2)),
          .unserved = LinesIn(row.at(3))};
}

bool ServerHub::Replay(const std::string& id, std::int64_t epoch, const std::string& holder,
                       const PageResult& result, PageState state) {
  return Changed("replay", {Word(id), Word(dispatch::OriginOf(id)), Word(epoch), Word(holder),
                            Word(NameOf(state)), Word(NameOf(result.outcome)), Word(result.reason),
                            Word(result.answer), Word(result.modem), Word(result.perhaps_out),
                            Word(result.forget_text), Word(dispatch::kNever)});
}

void ServerHub::HasTold(const std::string& machine) { Call("has_told", {Word(machine)}); }

void ServerHub::Hold(const std::string& why) { Call("hold", {Word(why)}); }

void ServerHub::Release() { Call("release", {}); }

std::string ServerHub::HeldBecause() { return AnsiFromUtf8(First(Call("held", {})).at(0)); }

}  // namespace mvsms::posix
