// The way to the hub's server: one statement there, its rows back. It is a seam of its own, because
// the server's library is loaded only where a hub is set, and because tests listen in.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace mvsms::posix {

/// What became of a statement.
struct HubAnswer {
  bool done = false;    // false: it failed, or nobody knows whether it was done
  std::string trouble;  // why, UTF-8, a sentence without full stop; without passwords
  std::string code;     // the server's five characters for it; empty when it did not answer
  std::vector<std::vector<std::string>> rows;
};

/// What the server tells by itself, on a channel that was asked for by LISTEN. A hint: it may be
/// lost.
struct HubNotice {
  std::string channel;
  std::string words;  // UTF-8
};

class HubWire {
 public:
  virtual ~HubWire() = default;
  /// Runs one statement with its values, $1 and on, UTF-8. Returns when the server has answered, or
  /// after the wire's deadline; a connection that has broken is made anew by the next call, which
  /// may take some seconds more for each server that is named and does not answer. Of the calling
  /// thread. Throws nothing.
  virtual HubAnswer Ask(const std::string& sql, const std::vector<std::string>& values) = 0;
  /// The notices that have come; waits so long for the first. Nothing, and at once, when there is
  /// no connection: the next Ask makes one, which has to LISTEN anew.
  virtual std::optional<std::vector<HubNotice>> Hear(std::chrono::milliseconds longest) = 0;
};

/// A wire for several threads, who use it one after the other. Who has waited for one that got no
/// answer does not wait for the same again: a server that hangs costs all of them one deadline, and
/// not each its own after those of the others.
class SharedWire : public HubWire {
 public:
  explicit SharedWire(std::unique_ptr<HubWire> wire) : wire_(std::move(wire)) {}
  HubAnswer Ask(const std::string& sql, const std::vector<std::string>& values) override;
  /// Nobody waits here, or the others would wait behind him: who listens has a wire of his own.
  std::optional<std::vector<HubNotice>> Hear(std::chrono::milliseconds) override { return {}; }

 private:
  std::mutex mutex_;
  std::unique_ptr<HubWire> wire_;
  HubAnswer silence_{};  // the last that was none
  std::atomic<std::uint64_t> silences_ = 0;
};

/// For one call, once there is a connection.
inline constexpr std::chrono::milliseconds kLongestCall = std::chrono::seconds(10);

/// The wire through the plug-in, the library mvsms-hub.so beside the program or in its folder of
/// plug-ins. `where` is how the server's own library has it, "host=a,b dbname=mvsms";
/// `password_file` is empty or a file in the form of ~/.pgpass. Nothing is connected yet. Throws
/// RaisedError with a sentence when the plug-in is not there, or `where` cannot be read.
std::unique_ptr<HubWire> MakeHubWire(const std::string& where, const std::string& password_file,
                                     std::chrono::milliseconds deadline = kLongestCall);

/// What the plug-in exports as mvsms_hub_wire: a wire, or nullptr and why.
using HubWireMaker = HubWire*(const char* where, const char* password_file,
                              std::chrono::milliseconds deadline, std::string* trouble);
inline constexpr char kHubWireMaker[] = "mvsms_hub_wire";

}  // namespace mvsms::posix
