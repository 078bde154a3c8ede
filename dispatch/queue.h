// The queue of pages that wait to be sent: the seam between whoever hands pages over, whoever sends
// them, and the store in which they lie meanwhile. A page is in the queue once Put has returned; it
// is in one state at any moment, and every way from one state into another is an operation here.
//
// Whoever sends, a *holder*, claims a page, begins with it, and finishes it. Between claim and
// begin nobody has dialled: a page whose holder is gone goes to another one. From begin to finish
// it may have gone out: when its holder is gone then, the page is unknown, and nobody repeats it
// without saying so. Each claim raises the page's epoch, and a holder names the epoch with
// everything that it says of the page: one who was thought dead and comes back finds that the page
// is no longer his.
//
// Operations on a page that give false have changed nothing: the page is in none of the states that
// they are for, or in another epoch. All of them may be repeated when their result did not arrive.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "dispatch/decision.h"
#include "dispatch/journal.h"
#include "dispatch/outcome.h"

namespace mvsms::dispatch {

/// UTC.
using Moment = std::chrono::sys_time<std::chrono::milliseconds>;
inline constexpr Moment kNever = Moment::max();

enum class PageState {
  kReady,        // waits for its turn
  kHeld,         // by an operator, until he releases it
  kClaimed,      // a holder has it and has not dialled
  kDialling,     // a call for it may be on
  kAccepted,     // the message centre has it
  kUnknown,      // it may have gone out; nobody has decided yet what to do
  kParked,       // nobody tries it again by himself
  kCancelled,    // by an operator
  kExpired,      // it was not sent in time
  kJoined,       // it goes out with an earlier page of the same words, which it has none of itself
  kOffering,     // it is being handed to the hub, and may be there already: nobody here sends it
  kAtHub,        // the hub has it, and gives its result back
  kWithdrawing,  // it was cancelled while the hub had it, which has not said yet whether in time
};

inline constexpr std::array<std::string_view, 13> kPageStateNames = {
    "ready",     "held",    "claimed", "dialling", "accepted", "unknown",    "parked",
    "cancelled", "expired", "joined",  "offering", "at-hub",   "withdrawing"};

constexpr std::string_view NameOf(PageState state) {
  return kPageStateNames[static_cast<std::size_t>(state)];
}

/// Some of the states.
class PageStates {
 public:
  constexpr PageStates() = default;
  constexpr PageStates(std::initializer_list<PageState> states) {
    for (const PageState state : states) bits_ |= Bit(state);
  }
  constexpr bool Has(PageState state) const { return (bits_ & Bit(state)) != 0; }
  constexpr PageStates& operator|=(PageState state) {
    bits_ |= Bit(state);
    return *this;
  }
  constexpr bool empty() const { return bits_ == 0; }

 private:
  static constexpr std::uint32_t Bit(PageState state) {
    return std::uint32_t{1} << static_cast<unsigned>(state);
  }
  std::uint32_t bits_ = 0;
};

inline constexpr PageStates kAllStates = {
    PageState::kReady,      PageState::kHeld,    PageState::kClaimed,  PageState::kDialling,
    PageState::kAccepted,   PageState::kUnknown, PageState::kParked,   PageState::kCancelled,
    PageState::kExpired,    PageState::kJoined,  PageState::kOffering, PageState::kAtHub,
    PageState::kWithdrawing};
/// The hub has the page, or may have it.
inline constexpr PageStates kAway = {PageState::kOffering, PageState::kAtHub,
                                     PageState::kWithdrawing};
/// The states of pages about which nothing is left to do.
inline constexpr PageStates kOver = {PageState::kAccepted, PageState::kCancelled,
                                     PageState::kExpired, PageState::kJoined};

/// From the most urgent.
inline constexpr std::int32_t kFirstPriority = 0;
inline constexpr std::int32_t kUsualPriority = 5;
inline constexpr std::int32_t kLastPriority = 9;

/// A page as it is handed over. Texts are in the ANSI code page.
struct Page {
  std::string id;  // the same id is the same page
  std::string profile;
  std::string recipient;  // as it was given
  std::string number;     // the recipient as it goes into the frame
  std::string originator;
  std::string text;
  std::string service;  // that it goes out through, by its name in the profile
  std::int32_t priority = kUsualPriority;
  Moment not_before{};      // not sent before that
  Moment expires = kNever;  // not sent from then on
  /// The service of every other try; empty when it always goes through the same.
  std::string fallback{};
  /// It joins a page with the same recipient, originator and text that has waited no longer than
  /// this, instead of going out by itself; never at 0.
  std::chrono::minutes joins{0};
  // Of a page that comes from another machine, and is sent as if by that one.
  std::string origin{};               // the machine; empty for one of this
  std::optional<RetryRules> rules{};  // the profile's own without them
};

/// What became of one try.
struct PageResult {
  Outcome outcome = Outcome::kUnreachable;
  std::string reason{};
  std::string answer{};  // of the centre
  std::string modem{};
  bool perhaps_out = false;  // something of the message may have reached its reader
  bool forget_text = false;  // for Finish: the page's text may not be kept, and goes

  friend bool operator==(const PageResult&, const PageResult&) = default;
};

/// A page as it lies in the queue.
struct QueuedPage {
  Page page;
  std::int64_t position = 0;  // in the order of arrival; never used again
  PageState state = PageState::kReady;
  std::int64_t epoch = 0;
  Moment arrived{};
  Moment changed{};            // into this state
  Moment lease_until{};        // of its holder
  std::string holder{};        // empty when nobody has it
  std::int32_t attempts = 0;   // begun since it arrived, or since an operator had it tried again
  bool perhaps_twice = false;  // it was tried again although it may have gone out before
  std::int32_t more = 0;       // pages that have joined it
  std::string joined{};        // the id of the page that it has joined
  std::optional<PageResult> result{};  // of the latest try that ended
};

/// So long a page is its holder's without a word from him. Holders extend their leases every few
/// seconds; so these are for holders that died where nobody sees it.
inline constexpr std::chrono::seconds kClaimLease{30};
inline constexpr std::chrono::seconds kDiallingLease{90};

/// What an operator does with a page, from the states in which he can, and the state after it.
struct OperatorAction {
  const char* name;
  PageStates from;
  PageState to;
  /// At once, with all its tries before it, and without an end that has passed. A page of which
  /// something may have gone out may then go out twice; so may one that the hub has, or may have.
  bool tries_anew = false;
};
inline constexpr OperatorAction kCancelPage{
    "cancel",
    {PageState::kReady, PageState::kHeld, PageState::kUnknown, PageState::kParked,
     PageState::kOffering, PageState::kAtHub},
    PageState::kCancelled};
inline constexpr OperatorAction kHoldPage{"hold", {PageState::kReady}, PageState::kHeld};
inline constexpr OperatorAction kReleasePage{"release", {PageState::kHeld}, PageState::kReady};
inline constexpr OperatorAction kRetryPage{
    "retry",
    {PageState::kReady, PageState::kUnknown, PageState::kParked, PageState::kCancelled,
     PageState::kExpired, PageState::kOffering, PageState::kAtHub, PageState::kWithdrawing},
    PageState::kReady,
    true};

// What a courier does with a page that goes to the hub, and comes back. A page's epoch grows when
// it is offered, so that the hub can tell a new offer from one whose answer was lost.
inline constexpr OperatorAction kOfferPage{"offer", {PageState::kReady}, PageState::kOffering};
inline constexpr OperatorAction kHandPageOver{
    "hand over", {PageState::kOffering}, PageState::kAtHub};
inline constexpr OperatorAction kWithdrawPage{
    "withdraw", {PageState::kWithdrawing}, PageState::kCancelled};
inline constexpr OperatorAction kLeaveAtHub{
    "leave there", {PageState::kWithdrawing}, PageState::kAtHub};

/// In which a page is after the action: what the hub has, or may have, cannot be cancelled here.
constexpr PageState StateAfter(const OperatorAction& action, PageState before) {
  const bool asks = action.to == PageState::kCancelled &&
                    (before == PageState::kOffering || before == PageState::kAtHub);
  return asks ? PageState::kWithdrawing : action.to;
}

/// How many pages are in a state, and since when the first of them is in the queue.
struct StateCount {
  std::int64_t pages = 0;
  Moment oldest{};
};
using QueueStats = std::array<StateCount, kPageStateNames.size()>;

/// Which pages to list: of these states, behind this position, that came or changed at
/// `changed_since` or later, and how many at most.
struct PageFilter {
  PageStates states;
  std::int64_t after = 0;
  std::size_t most = std::numeric_limits<std::size_t>::max();
  Moment changed_since{};
  bool newest_first = false;  // against the order of their positions
};

/// Where a line has its pages from.
class PageSource {
 public:
  virtual ~PageSource() = default;

  /// The most urgent page of the profile that waits for one of these services and is due, of
  /// equally urgent ones the oldest; it is now `holder`'s. A page waits behind an earlier one of
  /// the same urgency to the same number that is with a holder, or that was tried and is to be
  /// tried again.
  virtual std::optional<QueuedPage> Claim(const std::string& holder, const std::string& profile,
                                          std::span<const std::string> services) = 0;
  /// Claimed to dialling. Only then may its holder dial.
  virtual bool Begin(const std::string& id, std::int64_t epoch) = 0;
  /// The lease of a claimed or dialling page begins anew.
  virtual bool Extend(const std::string& id, std::int64_t epoch) = 0;
  /// Claimed or dialling to ready: nobody has dialled, and the try does not count.
  virtual bool GiveBack(const std::string& id, std::int64_t epoch) = 0;
  /// Dialling or unknown to accepted, or to parked.
  virtual bool Finish(const std::string& id, std::int64_t epoch, const PageResult& result,
                      PageState state) = 0;
  /// Dialling or unknown to ready: to be tried again, from `not_before` on, through its other
  /// service if it has one.
  virtual bool TryAgain(const std::string& id, std::int64_t epoch, const PageResult& result,
                        Moment not_before) = 0;
  /// Pages of the profile that wait for one of these services, and have their other one elsewhere,
  /// wait for that from now on. How many.
  virtual std::int64_t Divert(const std::string& profile,
                              std::span<const std::string> services) = 0;
};

/// One store of pages, seen by one thread. Every operation throws RaisedError, with a sentence that
/// says why, where the store fails; it has then changed nothing, or, when the failure came with the
/// answer, what it was asked to.
class Queue : public PageSource {
 public:
  /// Takes the pages, all or none; those with a known id are left as they lie. On stable storage
  /// when it returns. How many were new. A page that is due may join one that is ready, see
  /// Page::joins, which is then as urgent as the more urgent of them and expires with the later.
  virtual std::size_t Put(std::span<const Page> pages) = 0;

  /// Takes the pages from holders whose lease has run out, or of whom `gone` knows that they are no
  /// more: claimed becomes ready, dialling unknown. Ready pages whose time is over become expired.
  virtual void Sweep(const std::function<bool(const std::string& holder)>& gone) = 0;

  virtual bool Operate(const std::string& id, const OperatorAction& action) = 0;

  virtual std::optional<QueuedPage> Find(const std::string& id) = 0;
  /// By position, unless the filter has it the other way round.
  virtual std::vector<QueuedPage> List(const PageFilter& filter) = 0;
  virtual QueueStats Stats() = 0;
  /// The services that ready pages of the profile wait for, each once.
  virtual std::vector<std::string> WaitedFor(const std::string& profile) = 0;
  /// When the next ready page of the profile is due; kNever without one.
  virtual Moment NextDue(const std::string& profile) = 0;
  /// Deletes the pages that are over since before that moment, beyond recovery; how many.
  virtual std::int64_t Prune(Moment before) = 0;
};

/// The queue of one machine, whose pages may be at the hub meanwhile.
class HomeQueue : public Queue {
 public:
  /// A page that is away becomes what it has become there: with its state, its result, its tries
  /// and whether it perhaps went out twice; without its text where that was forgotten there.
  /// So does one that was parked as unknown, when it was accepted after
  /// all. One that is accepted is marked, where it turns out that it perhaps went out twice.
  virtual bool BringHome(const std::string& id, const QueuedPage& there) = 0;
};

/// The result of a page whose holder was gone while it was dialling.
inline PageResult Interrupted() {
  return {.outcome = Outcome::kUnknown, .reason = kInterrupted, .perhaps_out = true};
}

}  // namespace mvsms::dispatch
