// The other end of a TLS connection, with certificates that a test makes as it needs them.
#pragma once

#include <map>
#include <mutex>
#include <string>
#include <thread>

#include "tests/backends/posix/listener.h"

namespace mvsms::posix {

/// A certificate with its key. All have a name and are valid from `from_days` to `to_days`, counted
/// from today.
struct Certificate {
  std::string certificate;  // PEM
  std::string key;          // PEM
};

struct CertificateWish {
  std::string name = "localhost";
  int from_days = -1;
  int to_days = 1;
  bool authority = false;
  bool has_subject = true;  // else its name stands among its other names alone
};

/// Signed by `issuer`, or by itself when there is none.
Certificate MakeCertificate(const CertificateWish& wish, const Certificate* issuer = nullptr);

/// Takes one caller after the other: shakes hands, says `greeting`, and sends back what it hears,
/// or plays a modem.
class TlsServer {
 public:
  struct Manner {
    std::string greeting = "ID=";
    std::string client_authority{};  // PEM; a client must show a certificate signed by it
    bool closes_at_once = false;     // before the handshake
    bool closes_after_greeting = false;
    bool speaks_tls = true;
    bool newest = true;                         // TLS 1.3, else 1.2
    std::size_t cut_after = std::string::npos;  // bytes that it heard: then the line is cut
    /// Of the modem, to each command without its CR; nothing: no modem.
    std::map<std::string, std::string> answers{};
  };
  TlsServer(const Certificate& own, Manner manner);
  ~TlsServer();

  std::string address() const { return "localhost:" + listener_.port(); }
  /// All that it heard so far.
  std::string heard() {
    const std::lock_guard guard(mutex_);
    return heard_;
  }

 private:
  void Serve(const std::stop_token& stop);
  void Answer(int fd);
  std::string ReplyTo(const std::string& bytes);
  void SetCaller(int fd);

  Certificate own_;
  Manner manner_;
  std::mutex mutex_;
  std::string heard_;
  std::string command_;
  int caller_ = -1;
  Listener listener_{5};
  std::jthread thread_;
};

}  // namespace mvsms::posix
