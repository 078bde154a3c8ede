// What a monitoring system is told in figures.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "dispatch/queue.h"

namespace mvsms::gateway {

/// The attempts that have ended since the gateway began.
struct AttemptFigures {
  std::map<std::string, std::int64_t> by_outcome;
  double seconds = 0;  // of all calls together
};

struct LineFigures {
  std::string name;
  std::string state;
  std::int64_t last_success = 0;  // seconds since 1970; 0: none is known
};

struct MachineFigures {
  std::string name;
  std::int64_t seen = 0;  // seconds since 1970
  std::int64_t modems = 0;
  std::int64_t free = 0;
  std::int64_t at_hub = 0;
};

/// The hub, as the running worker sees it.
struct HubFigures {
  bool answers = false;
  bool held = false;
  std::vector<MachineFigures> machines{};
};

struct Figures {
  dispatch::QueueStats queue{};
  AttemptFigures attempts;
  bool worker_runs = false;
  std::vector<LineFigures> lines;
  std::optional<HubFigures> hub;  // where one is set, and a worker runs
  std::int64_t now = 0;           // seconds since 1970
  std::size_t connections = 0;
  std::size_t streams = 0;
};

/// The figures in the text format of Prometheus.
std::string MetricsText(const Figures& figures);

}  // namespace mvsms::gateway
