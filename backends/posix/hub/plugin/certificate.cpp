// See certificate.h. Expired, or of an authority that nobody knows: whoever is called at night has
// to know which, and the server's library says for both that the verification failed.
#include "backends/posix/hub/plugin/certificate.h"

#include <openssl/ssl.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <array>
#include <ctime>
#include <memory>

namespace mvsms::posix {
namespace {

constexpr int kLongest = 3;  // seconds, for each step
/// How a client of the server asks for TLS: the length, and the number of this request.
constexpr std::array<unsigned char, 8> kWantsTls = {0, 0, 0, 8, 4, 210, 22, 47};

template <auto kFree>
struct Freer {
  template <class Thing>
  void operator()(Thing* thing) const {
    kFree(thing);
  }
};

/// What the verification of this thread has met.
std::string& Found() {
  thread_local std::string found;
  return found;
}

int Note(int fine, X509_STORE_CTX* store) {
  const X509* const which = X509_STORE_CTX_get_current_cert(store);
  if (fine != 0 || which == nullptr) return fine;
  std::array<char, 200> name{};
  X509_NAME_oneline(X509_get_subject_name(which), name.data(), name.size());
  Found() = std::string("; of ") + name.data() + ": " +
            X509_verify_cert_error_string(X509_STORE_CTX_get_error(store));
  return 0;
}

}  // namespace

std::string WhyNotTrusted(const std::string& address, const std::string& port,
                          const std::string& authorities) {
  Found().clear();
  const std::string host = address.find(':') == std::string::npos ? address : '[' + address + ']';
  const std::unique_ptr<SSL_CTX, Freer<SSL_CTX_free>> rules(SSL_CTX_new(TLS_client_method()));
  SSL_CTX_set_verify(rules.get(), SSL_VERIFY_PEER, Note);
  if (SSL_CTX_load_verify_locations(rules.get(), authorities.c_str(), nullptr) != 1) return "";
  BIO* const line = BIO_new_connect((host + ":" + port).c_str());
  const std::unique_ptr<SSL, Freer<SSL_free>> tls(SSL_new(rules.get()));
  SSL_set_bio(tls.get(), line, line);  // which goes with it
  BIO_set_nbio(line, 1);
  if (BIO_do_connect_retry(line, kLongest, 50) != 1) return "";
  BIO_socket_nbio(SSL_get_fd(tls.get()), 0);
  const timeval longest{kLongest, 0};
  setsockopt(SSL_get_fd(tls.get()), SOL_SOCKET, SO_RCVTIMEO, &longest, sizeof longest);
  char answer = 0;
  if (BIO_write(line, kWantsTls.data(), kWantsTls.size()) != kWantsTls.size() ||
      BIO_read(line, &answer, 1) != 1 || answer != 'S') {
    return "";
  }
  SSL_connect(tls.get());
  return Found();
}

}  // namespace mvsms::posix
