// A load on a running gateway: as many submissions a second as are asked for, begun at their time
// whether the ones before are answered or not, over some connections; and streams of events that
// stay open. Prints the rate and the latencies, and with a process's number its memory.
//
//     mvsms_gateway_load PORT RATE SECONDS CONNECTIONS
//     mvsms_gateway_load PORT --streams COUNT PROCESS
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <fstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

int Connected(int port) {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
    std::perror("connect");
    std::exit(1);
  }
  const int on = 1;
  setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
  return fd;
}

std::string Submission(long number) {
  const std::string body = "{\"to\": \"0171" + std::to_string(number % 1000) +
                           "\", \"text\": \"Pump " + std::to_string(number) + " has stopped\"}";
  return "POST /v1/pages HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/json\r\n"
         "Content-Length: " +
         std::to_string(body.size()) + "\r\n\r\n" + body;
}

struct Client {
  int fd;
  std::string said{};
  std::deque<Clock::time_point> due{};  // of the submissions that are not answered
};

/// Takes what has come, and the latencies of what is answered by it, in milliseconds.
void Take(Client& client, std::vector<double>& latencies, long& refused) {
  char bytes[65536];
  const ssize_t count = recv(client.fd, bytes, sizeof(bytes), MSG_DONTWAIT);
  if (count <= 0) return;
  client.said.append(bytes, static_cast<std::size_t>(count));
  std::size_t end;
  while ((end = client.said.find("\r\n\r\n")) != std::string::npos) {
    const std::size_t length = client.said.find("Content-Length: ");
    const std::size_t size = end + 4 + std::strtoul(client.said.c_str() + length + 16, nullptr, 10);
    if (client.said.size() < size) return;
    if (client.said.compare(9, 3, "202") != 0) ++refused;
    const std::chrono::duration<double, std::milli> took = Clock::now() - client.due.front();
    latencies.push_back(took.count());
    client.due.pop_front();
    client.said.erase(0, size);
  }
}

int Submit(int port, long rate, long seconds, int connections) {
  std::vector<Client> clients;
  std::vector<pollfd> polls;
  for (int i = 0; i < connections; ++i) {
    clients.push_back({Connected(port)});
    polls.push_back({clients.back().fd, POLLIN, 0});
  }
  const auto begin = Clock::now();
  std::vector<double> latencies;
  long refused = 0, sent = 0;
  const long all = rate * seconds;
  while (std::cmp_less(latencies.size(), all)) {
    const auto due = begin + std::chrono::nanoseconds(1'000'000'000 / rate) * sent;
    if (sent < all && Clock::now() >= due) {
      Client& client = clients[static_cast<std::size_t>(sent % connections)];
      const std::string request = Submission(sent++);
      client.due.push_back(due);
      send(client.fd, request.data(), request.size(), MSG_NOSIGNAL);
      continue;
    }
    poll(polls.data(), polls.size(), 1);
    for (std::size_t i = 0; i < polls.size(); ++i) {
      if (polls[i].revents != 0) Take(clients[i], latencies, refused);
    }
  }
  const std::chrono::duration<double> took = Clock::now() - begin;
  std::sort(latencies.begin(), latencies.end());
  const auto at = [&](double part) {
    return latencies[static_cast<std::size_t>(part * static_cast<double>(latencies.size() - 1))];
  };
  std::printf(
      "%ld submissions, %.0f a second; latency in ms: median %.1f, p99 %.1f, most %.1f; "
      "%ld refused\n",
      all, static_cast<double>(all) / took.count(), at(0.5), at(0.99), at(1), refused);
  return refused == 0 ? 0 : 1;
}

long MemoryOf(const std::string& process) {
  std::ifstream status("/proc/" + process + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmRSS:")) return std::strtol(line.c_str() + 6, nullptr, 10);
  }
  return 0;
}

int Stream(int port, int count, const std::string& process) {
  const rlimit files{static_cast<rlim_t>(count) + 64, static_cast<rlim_t>(count) + 64};
  setrlimit(RLIMIT_NOFILE, &files);
  const long before = MemoryOf(process);
  const std::string request = "GET /v1/events HTTP/1.1\r\nHost: localhost\r\n\r\n";
  for (int i = 0; i < count; ++i) {
    char bytes[4096];
    const int fd = Connected(port);
    send(fd, request.data(), request.size(), MSG_NOSIGNAL);
    if (recv(fd, bytes, sizeof(bytes), 0) < 12 || std::string(bytes + 9, 3) != "200") return 1;
  }
  std::this_thread::sleep_for(std::chrono::seconds(2));
  const long after = MemoryOf(process);
  std::printf("%d streams: %ld KiB, before them %ld KiB, %.1f KiB each\n", count, after, before,
              static_cast<double>(after - before) / count);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv, argv + argc);
  if (words.size() != 5) return 2;
  const int port = std::atoi(words[1].c_str());
  if (words[2] == "--streams") return Stream(port, std::atoi(words[3].c_str()), words[4]);
  return Submit(port, std::atol(words[2].c_str()), std::atol(words[3].c_str()),
                std::atoi(words[4].c_str()));
}
