// The lines of this machine (what TAPI calls line addresses): modems on serial devices, and TCP
// connections. Kept in the settings file beside the registry tree, maintained by `mvsms modem`.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace mvsms::posix {

enum class LineKind { kHayes, kTcp };

struct LineConfig {
  std::string name;  // ANSI code page; compared exactly
  LineKind kind = LineKind::kHayes;
  // The rest is for hayes lines.
  std::string device;           // path of the serial device, UTF-8
  std::string init;             // AT command sent before dialling; empty: "ATZ"
  std::string dial = "ATD";     // goes in front of the number
  std::uint32_t speed = 9600;   // bit/s
  std::string framing = "8N1";  // see framing.h
  std::string flow = "rtscts";  // "rtscts", "xonxoff" or "none"
};

/// Errors are thrown as RaisedError with a sentence that names the line or the file.
class LineStore {
 public:
  explicit LineStore(std::string home);
  /// All lines, in the order in which they were added.
  std::vector<LineConfig> List();
  std::optional<LineConfig> Find(const std::string& name);
  /// Adds a line, or replaces the one of the same name in its place.
  void Put(const LineConfig& line);
  /// False when there is no such line.
  bool Delete(const std::string& name);

 private:
  std::string home_;
};

}  // namespace mvsms::posix
