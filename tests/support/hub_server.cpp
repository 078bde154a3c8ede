// See hub_server.h.
#include "tests/support/hub_server.h"

#include <netinet/in.h>
#include <pwd.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace mvsms {
namespace {

namespace fs = std::filesystem;

/// Of the newest server that is installed; empty without one.
std::string FolderOfPrograms() {
  fs::path newest;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator("/usr/lib/postgresql", error)) {
    const bool whole = fs::exists(entry.path() / "bin" / "initdb");
    if (whole && entry.path() > newest) newest = entry.path();
  }
  return newest.empty() ? "" : newest / "bin";
}

/// One that nobody listens at now.
std::string FreePort() {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  bind(fd, reinterpret_cast<sockaddr*>(&address), size);
  getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size);
  close(fd);
  return std::to_string(ntohs(address.sin_port));
}

}  // namespace

bool HubServer::IsInstalled() {
  std::error_code error;
  const fs::path here = fs::read_symlink("/proc/self/exe", error).parent_path();
  return !FolderOfPrograms().empty() && fs::exists(here / "mvsms-hub.so") &&
         (geteuid() != 0 || getpwnam("postgres") != nullptr);
}

HubServer* HubServer::Get() {
  static const std::unique_ptr<HubServer> server = [] {
    std::unique_ptr<HubServer> made(IsInstalled() ? new HubServer : nullptr);
    if (made) made->Make();
    if (made) made->Begin();
    return made;
  }();
  return server.get();
}

std::unique_ptr<HubServer> HubServer::WithTls(const std::string& certificate,
                                              const std::string& key) {
  std::unique_ptr<HubServer> made(new HubServer);
  made->Make();
  std::ofstream(made->folder() + "/data/pg_hba.conf")
      << "local all all trust\nlocal replication all trust\n"
         "hostssl all all 127.0.0.1/32 scram-sha-256\n";
  made->SetCertificate(certificate, key);
  made->arguments_ = " -c ssl=on -c ssl_cert_file=../server.crt -c ssl_key_file=../server.key";
  made->Begin();
  return made;
}

void HubServer::SetCertificate(const std::string& certificate, const std::string& key) {
  const std::string file = folder() + "/server.key";
  std::ofstream(folder() + "/server.crt") << certificate;
  std::ofstream(file) << key;
  fs::permissions(file, fs::perms::owner_read | fs::perms::owner_write);
  const passwd* const postgres = geteuid() == 0 ? getpwnam("postgres") : nullptr;
  if (postgres != nullptr && chown(file.c_str(), postgres->pw_uid, postgres->pw_gid) != 0) {
    throw std::runtime_error("the server's user gets no key");
  }
  if (server_ > 0) kill(server_, SIGHUP);
}

std::unique_ptr<HubServer> HubServer::Standby() const {
  std::unique_ptr<HubServer> made(new HubServer);
  made->Run("/pg_basebackup -D data -R -X stream -c fast -N -h " + folder() +
            (port_.empty() ? "" : " -p " + port_) + " -U mvsms");
  made->Begin();
  return made;
}

HubServer::HubServer() : programs_(FolderOfPrograms()), as_user_("setpriv --pdeathsig INT ") {
  if (geteuid() != 0) return;
  const passwd* const postgres = getpwnam("postgres");
  if (chown(folder().c_str(), postgres->pw_uid, postgres->pw_gid) != 0) {
    throw std::runtime_error(folder() + " cannot be given to the server's user");
  }
  as_user_ += "--reuid postgres --regid postgres --clear-groups ";
}

void HubServer::Run(const std::string& words) const {
  const std::string command =
      "cd " + folder() + " && HOME=" + folder() + " " + as_user_ + programs_ + words;
  if (std::system(command.c_str()) != 0) throw std::runtime_error(command);
}

void HubServer::Make() {
  Run("/initdb -D data -N -A trust -U mvsms --no-locale -E UTF8 >/dev/null");
}

/// A port that was free may be another's by now.
void HubServer::Begin() {
  for (int tries = 0; tries < 5; ++tries) {
    Start();
    if (Answers()) return;
  }
  throw std::runtime_error("the hub's server does not begin; see " + folder() + "/log");
}

void HubServer::Start() {
  std::string listens = " -c listen_addresses=";
  if (!arguments_.empty()) {
    port_ = FreePort();
    listens += "127.0.0.1 -p " + port_;
  }
  server_ = fork();
  if (server_ != 0) return;
  const std::string command =
      "cd " + folder() + " && exec env HOME=" + folder() + " " + as_user_ + programs_ +
      "/postgres -D data -k " + folder() + listens + arguments_ +
      " -c shared_buffers=16MB -c fsync=off -c max_connections=30 >>log 2>&1";
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
  _exit(127);
}

/// False when it has ended instead.
bool HubServer::Answers() {
  for (int tries = 0; tries < 3000; ++tries) {
    if (Wire()->Ask("SELECT 1", {}).done) return true;
    if (waitpid(server_, nullptr, WNOHANG) == server_) break;
    usleep(20'000);
  }
  return false;
}

void HubServer::End() {
  if (server_ <= 0) return;
  kill(server_, SIGQUIT);
  waitpid(server_, nullptr, 0);
  server_ = 0;
}

HubServer::~HubServer() { End(); }

std::string HubServer::Where(const std::string& user) const {
  return "host=" + folder() + (port_.empty() ? "" : " port=" + port_) +
         " dbname=postgres target_session_attrs=any user=" + user;
}

std::unique_ptr<posix::HubWire> HubServer::Wire(const std::string& user) const {
  return posix::MakeHubWire(Where(user), "");
}

}  // namespace mvsms
