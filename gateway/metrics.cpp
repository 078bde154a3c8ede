// See metrics.h.
#include "gateway/metrics.h"

#include <algorithm>
#include <chrono>
#include <sstream>
#include <string_view>

#include "dispatch/line_worker.h"

namespace mvsms::gateway {
namespace {

constexpr std::string_view kNotWorked = "not worked";

/// As the format wants a value in quotes.
std::string Quoted(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += c == '\n' ? ' ' : c;
  }
  return quoted + '"';
}

class Text {
 public:
  Text() { text_.precision(15); }
  void Begin(const std::string& name, const char* type, const char* help) {
    name_ = name;
    text_ << "# HELP " << name << ' ' << help << "\n# TYPE " << name << ' ' << type << '\n';
  }
  void Value(const std::string& labels, double value) { Value(labels, "", value); }
  void Value(const std::string& labels, const char* suffix, double value) {
    text_ << name_ << suffix << (labels.empty() ? "" : '{' + labels + '}') << ' ' << value << '\n';
  }
  void Single(const std::string& name, const char* type, const char* help, double value) {
    Begin(name, type, help);
    Value("", value);
  }
  std::string str() const { return text_.str(); }

 private:
  std::string name_;
  std::ostringstream text_;
};

double AgeOf(const dispatch::StateCount& count, std::int64_t now) {
  if (count.pages == 0) return 0;
  const auto since = std::chrono::duration<double>(count.oldest.time_since_epoch()).count();
  return std::max(0.0, static_cast<double>(now) - since);
}

void AddQueue(Text& text, const Figures& figures) {
  const auto each = [&](auto value) {
    for (std::size_t i = 0; i < figures.queue.size(); ++i) {
      text.Value("state=" + Quoted(std::string(dispatch::kPageStateNames.at(i))),
                 value(figures.queue.at(i)));
    }
  };
  text.Begin("mvsms_queue_pages", "gauge", "Pages in the queue by state.");
  each([](const auto& count) { return static_cast<double>(count.pages); });
  text.Begin("mvsms_queue_oldest_seconds", "gauge", "Age of the oldest page by state.");
  each([&](const auto& count) { return AgeOf(count, figures.now); });
}

void AddAttempts(Text& text, const AttemptFigures& attempts) {
  double all = 0;
  text.Begin("mvsms_attempts_total", "counter", "Attempts since the gateway began, by outcome.");
  for (const std::string_view outcome : dispatch::kOutcomeNames) {
    const auto found = attempts.by_outcome.find(std::string(outcome));
    const auto count =
        found == attempts.by_outcome.end() ? 0.0 : static_cast<double>(found->second);
    text.Value("outcome=" + Quoted(std::string(outcome)), count);
    all += count;
  }
  text.Begin("mvsms_call_seconds", "summary", "What attempts took: all together, and how many.");
  text.Value("", "_sum", attempts.seconds);
  text.Value("", "_count", all);
}

void AddLines(Text& text, const std::vector<LineFigures>& lines) {
  std::vector<std::string_view> states(dispatch::kLineStateNames.begin(),
                                       dispatch::kLineStateNames.end());
  states.push_back(kNotWorked);
  text.Begin("mvsms_line_state", "gauge", "1 for the state that a line is in.");
  for (const LineFigures& line : lines) {
    for (const std::string_view state : states) {
      text.Value("line=" + Quoted(line.name) + ",state=" + Quoted(std::string(state)),
                 line.state == state ? 1 : 0);
    }
  }
  text.Begin("mvsms_line_last_success_timestamp_seconds", "gauge",
             "When a page was last accepted over a line; 0 when none is known.");
  for (const LineFigures& line : lines) {
    text.Value("line=" + Quoted(line.name), static_cast<double>(line.last_success));
  }
}

void AddHub(Text& text, const HubFigures& hub, std::int64_t now) {
  text.Single("mvsms_hub_answers", "gauge", "Whether the hub answers this machine.", hub.answers);
  text.Single("mvsms_hub_held", "gauge", "Whether the hub gives nothing out.", hub.held);
  const auto each = [&](const char* name, const char* help, auto value) {
    text.Begin(name, "gauge", help);
    for (const MachineFigures& one : hub.machines) {
      text.Value("machine=" + Quoted(one.name), static_cast<double>(value(one)));
    }
  };
  each("mvsms_hub_machine_silent_seconds", "Since when the hub has not heard of a machine.",
       [&](const MachineFigures& one) { return std::max<std::int64_t>(now - one.seen, 0); });
  each("mvsms_hub_machine_modems", "Modems of a machine.",
       [](const MachineFigures& one) { return one.modems; });
  each("mvsms_hub_machine_modems_free", "Modems of a machine without a call, and not resting.",
       [](const MachineFigures& one) { return one.free; });
  each("mvsms_hub_machine_pages", "Pages of a machine that are at the hub.",
       [](const MachineFigures& one) { return one.at_hub; });
}

}  // namespace

std::string MetricsText(const Figures& figures) {
  Text text;
  AddQueue(text, figures);
  AddAttempts(text, figures.attempts);
  text.Single("mvsms_worker_running", "gauge", "Whether a worker is on the profile.",
              figures.worker_runs ? 1 : 0);
  AddLines(text, figures.lines);
  if (figures.hub) AddHub(text, *figures.hub, figures.now);
  text.Single("mvsms_gateway_connections", "gauge", "Open connections.",
              static_cast<double>(figures.connections));
  text.Single("mvsms_gateway_streams", "gauge", "Open streams of events.",
              static_cast<double>(figures.streams));
  return text.str();
}

}  // namespace mvsms::gateway
