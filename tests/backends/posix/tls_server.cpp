// By OpenSSL itself, so that both ends are not the same code of ours.
#include "tests/backends/posix/tls_server.h"

#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <poll.h>
#include <sys/socket.h>

#include <csignal>
#include <memory>
#include <stdexcept>
#include <utility>

namespace mvsms::posix {
namespace {

template <auto Free>
struct Freer {
  template <class T>
  void operator()(T* object) const {
    Free(object);
  }
};
using Key = std::unique_ptr<EVP_PKEY, Freer<EVP_PKEY_free>>;
using X509Ptr = std::unique_ptr<X509, Freer<X509_free>>;
using Bio = std::unique_ptr<BIO, Freer<BIO_free>>;

std::string TextIn(BIO* bio) {
  char* bytes = nullptr;
  const long size = BIO_get_mem_data(bio, &bytes);
  return {bytes, static_cast<std::size_t>(size)};
}

Bio Reader(const std::string& text) {
  return Bio(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
}

X509Ptr CertificateIn(const std::string& pem) {
  return X509Ptr(PEM_read_bio_X509(Reader(pem).get(), nullptr, nullptr, nullptr));
}

Key KeyIn(const std::string& pem) {
  return Key(PEM_read_bio_PrivateKey(Reader(pem).get(), nullptr, nullptr, nullptr));
}

void Extend(X509* certificate, int kind, const std::string& value) {
  X509_EXTENSION* const extension = X509V3_EXT_conf_nid(nullptr, nullptr, kind, value.c_str());
  X509_add_ext(certificate, extension, -1);
  X509_EXTENSION_free(extension);
}

void Name(X509* certificate, const std::string& name) {
  const auto* const bytes = reinterpret_cast<const unsigned char*>(name.c_str());
  X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate), "CN", MBSTRING_ASC, bytes, -1, -1,
                             0);
}

}  // namespace

Certificate MakeCertificate(const CertificateWish& wish, const Certificate* issuer) {
  constexpr long kDay = 24L * 60 * 60;
  static long serial = 0;
  const Key key(EVP_EC_gen("P-256"));
  const X509Ptr made(X509_new());
  X509_set_version(made.get(), 2);
  ASN1_INTEGER_set(X509_get_serialNumber(made.get()), ++serial);
  X509_gmtime_adj(X509_getm_notBefore(made.get()), wish.from_days * kDay);
  X509_gmtime_adj(X509_getm_notAfter(made.get()), wish.to_days * kDay);
  X509_set_pubkey(made.get(), key.get());
  if (wish.has_subject) Name(made.get(), wish.name);
  if (wish.authority) {
    Extend(made.get(), NID_basic_constraints, "critical,CA:TRUE");
  } else {
    Extend(made.get(), NID_subject_alt_name, "DNS:" + wish.name);
  }
  const X509Ptr above = issuer != nullptr ? CertificateIn(issuer->certificate) : nullptr;
  const Key signer = issuer != nullptr ? KeyIn(issuer->key) : nullptr;
  X509_set_issuer_name(made.get(), X509_get_subject_name(above ? above.get() : made.get()));
  X509_sign(made.get(), signer ? signer.get() : key.get(), EVP_sha256());
  const Bio certificate(BIO_new(BIO_s_mem())), secret(BIO_new(BIO_s_mem()));
  PEM_write_bio_X509(certificate.get(), made.get());
  PEM_write_bio_PrivateKey(secret.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr);
  return {TextIn(certificate.get()), TextIn(secret.get())};
}

TlsServer::TlsServer(const Certificate& own, Manner manner)
    : own_(own), manner_(std::move(manner)) {
  thread_ = std::jthread([this](const std::stop_token& stop) { Serve(stop); });
}

TlsServer::~TlsServer() {
  thread_.request_stop();
  {
    const std::lock_guard guard(mutex_);
    if (caller_ >= 0) shutdown(caller_, SHUT_RD);  // it may be silent for long
  }
  thread_.join();
}

void TlsServer::SetCaller(int fd) {
  const std::lock_guard guard(mutex_);
  caller_ = fd;
}

void TlsServer::Serve(const std::stop_token& stop) {
  while (!stop.stop_requested()) {
    pollfd wait = {listener_.fd(), POLLIN, 0};
    if (poll(&wait, 1, 10) <= 0) continue;
    const UniqueFd caller = listener_.Accept();
    const timeval patience{5, 0};
    setsockopt(caller.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    SetCaller(caller.get());
    if (!manner_.closes_at_once && !stop.stop_requested()) Answer(caller.get());
    SetCaller(-1);
  }
}

void TlsServer::Answer(int fd) {
  if (!manner_.speaks_tls) {
    send(fd, "220 hello\r\n", 11, MSG_NOSIGNAL);
    char byte = 0;
    recv(fd, &byte, 1, 0);
    return;
  }
  const std::unique_ptr<SSL_CTX, Freer<SSL_CTX_free>> context(SSL_CTX_new(TLS_server_method()));
  SSL_CTX_set_max_proto_version(context.get(), manner_.newest ? TLS1_3_VERSION : TLS1_2_VERSION);
  SSL_CTX_use_certificate(context.get(), CertificateIn(own_.certificate).get());
  SSL_CTX_use_PrivateKey(context.get(), KeyIn(own_.key).get());
  if (!manner_.client_authority.empty()) {
    X509_STORE_add_cert(SSL_CTX_get_cert_store(context.get()),
                        CertificateIn(manner_.client_authority).get());
    SSL_CTX_set_verify(context.get(), SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
  }
  const std::unique_ptr<SSL, Freer<SSL_free>> session(SSL_new(context.get()));
  SSL_set_fd(session.get(), fd);
  if (SSL_accept(session.get()) != 1) return;
  SSL_write(session.get(), manner_.greeting.data(), static_cast<int>(manner_.greeting.size()));
  char buffer[256];
  int count = 0;
  while (!manner_.closes_after_greeting &&
         (count = SSL_read(session.get(), buffer, sizeof buffer)) > 0) {
    const std::string reply = ReplyTo({buffer, static_cast<std::size_t>(count)});
    if (heard().size() >= manner_.cut_after) return;  // without a goodbye
    if (!reply.empty()) SSL_write(session.get(), reply.data(), static_cast<int>(reply.size()));
  }
  SSL_shutdown(session.get());
}

std::string TlsServer::ReplyTo(const std::string& bytes) {
  const std::lock_guard guard(mutex_);
  heard_ += bytes;
  if (manner_.answers.empty()) return bytes;
  std::string reply;
  for (const char code : bytes) {
    if (code != '\r') command_ += code;
    if (code != '\r' && command_ != "+++") continue;
    const auto found = manner_.answers.find(std::exchange(command_, {}));
    if (found != manner_.answers.end()) reply += found->second;
  }
  return reply;
}

}  // namespace mvsms::posix
