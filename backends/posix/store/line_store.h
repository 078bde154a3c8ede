// The lines of this machine (what TAPI calls line addresses): modems on serial devices, and TCP
// connections. Kept in the settings file beside the registry tree, maintained by `mvsms modem`.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mvsms::posix {

class Store;

enum class LineKind { kHayes, kTcp, kPool };

/// As they are stored and typed, in the order of LineKind.
inline constexpr std::array<std::string_view, 3> kLineKindNames = {"hayes", "tcp", "pool"};

/// What a line over the network needs beside its address. Paths are UTF-8.
struct LineAccess {
  std::string ca;             // file of the authorities to trust by TLS; empty: the system's
  std::string certificate;    // file of our own, which the far end asks for; empty: none
  std::string key;            // file of its key; empty: the same file
  std::string login;          // for kTcp: user of a UCP login (operation 60); empty: no login
  std::string password_file;  // and the file with its password in the first line
  bool operator==(const LineAccess&) const = default;
};

struct LineConfig {
  std::string name;  // ANSI code page; compared exactly
  LineKind kind = LineKind::kHayes;
  // For hayes lines.
  std::string device;           // path of the serial device, or scheme://host:port, UTF-8
  std::string init;             // AT command sent before dialling; empty: "ATZ"
  std::string dial = "ATD";     // goes in front of the number
  std::uint32_t speed = 9600;   // bit/s
  std::string framing = "8N1";  // see framing.h
  std::string flow = "rtscts";  // "rtscts", "xonxoff" or "none"
  // For tcp lines, and for hayes lines behind a serial server.
  LineAccess access;
  // For pools.
  std::vector<std::string> members;  // names of hayes lines, first choice first
  std::uint32_t rest = 600;          // seconds that a member is spared after it did not answer
};

/// Errors are thrown as RaisedError with a sentence that names the line or the file.
class LineStore {
 public:
  /// With `shared`, the store of the registry in the same folder (see StoreOf), its changes belong
  /// to that registry's transactions; it outlives this.
  explicit LineStore(std::string home, Store* shared = nullptr);
  /// All lines, in the order in which they were added.
  std::vector<LineConfig> List();
  std::optional<LineConfig> Find(const std::string& name);
  /// Adds a line, or replaces the one of the same name in its place. Both end its rest.
  void Put(const LineConfig& line);
  /// Its rest goes with it. False when there is no such line.
  bool Delete(const std::string& name);
  /// Gives a line another name, which none may have yet; it keeps its place, in pools too. False
  /// when there is no line `from`.
  bool Rename(const std::string& from, const std::string& to);

  /// Notes until when (seconds since 1970) a line is spared; 0: no longer.
  void SetRest(const std::string& name, std::int64_t until);
  /// 0 when nothing was noted.
  std::int64_t RestsUntil(const std::string& name);

 private:
  template <typename Operation>
  auto Explained(Operation operation);

  std::string home_;
  Store* shared_;
};

}  // namespace mvsms::posix
