// See wire.h.
#include "gateway/wire.h"

#include <openssl/err.h>
#include <openssl/ssl.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace mvsms::gateway {
namespace {

class Plain : public Wire {
 public:
  explicit Plain(posix::UniqueFd socket) : socket_(std::move(socket)) {}

  Moved Read(char* to, std::size_t size) override {
    return After(recv(socket_.get(), to, size, 0), false);
  }
  Moved Write(const char* from, std::size_t size) override {
    return After(send(socket_.get(), from, size, MSG_NOSIGNAL), true);
  }
  void EndWriting() override { shutdown(socket_.get(), SHUT_WR); }
  int fd() const override { return socket_.get(); }

 private:
  static Moved After(ssize_t result, bool writing) {
    if (result > 0) return {.bytes = static_cast<std::size_t>(result)};
    const bool again = result < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR);
    return {.over = !again, .wants_write = writing};
  }

  posix::UniqueFd socket_;
};

struct Free {
  void operator()(SSL* ssl) const { SSL_free(ssl); }
  void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
};

class Tls : public Wire {
 public:
  Tls(std::unique_ptr<SSL, Free> ssl, posix::UniqueFd socket)
      : socket_(std::move(socket)), ssl_(std::move(ssl)) {
    SSL_set_fd(ssl_.get(), socket_.get());
    SSL_set_accept_state(ssl_.get());
  }

  Moved Read(char* to, std::size_t size) override {
    return After(SSL_read(ssl_.get(), to, Length(size)));
  }
  Moved Write(const char* from, std::size_t size) override {
    return After(SSL_write(ssl_.get(), from, Length(size)));
  }
  void EndWriting() override {
    if (SSL_is_init_finished(ssl_.get()) != 0) SSL_shutdown(ssl_.get());
    ERR_clear_error();
    shutdown(socket_.get(), SHUT_WR);
  }
  int fd() const override { return socket_.get(); }

 private:
  static int Length(std::size_t size) {
    return static_cast<int>(std::min(size, static_cast<std::size_t>(INT_MAX)));
  }

  Moved After(int result) const {
    const int error = SSL_get_error(ssl_.get(), result);
    ERR_clear_error();
    if (result > 0) return {.bytes = static_cast<std::size_t>(result)};
    const bool again = error == SSL_ERROR_WANT_READ || error == SSL_ERROR_WANT_WRITE;
    return {.over = !again, .wants_write = error == SSL_ERROR_WANT_WRITE};
  }

  posix::UniqueFd socket_;
  std::unique_ptr<SSL, Free> ssl_;
};

/// The first of several errors is what happened; the others are who was told of it.
[[noreturn]] void Fail(const std::string& what, const std::string& file) {
  const unsigned long error = ERR_peek_error();
  const char* const reason = ERR_SYSTEM_ERROR(error) ? std::strerror(ERR_GET_REASON(error))
                                                     : ERR_reason_error_string(error);
  ERR_clear_error();
  throw std::runtime_error(what + " " + file + " cannot be used: " +
                           (reason != nullptr ? reason : "the reason is unknown"));
}

}  // namespace

std::unique_ptr<Wire> PlainWire(posix::UniqueFd socket) {
  return std::make_unique<Plain>(std::move(socket));
}

class Certificate::Context {
 public:
  std::unique_ptr<SSL_CTX, Free> ssl{SSL_CTX_new(TLS_server_method())};
};

Certificate::Certificate(std::string certificate_file, std::string key_file)
    : certificate_file_(std::move(certificate_file)), key_file_(std::move(key_file)) {
  ReadAgain();
}

void Certificate::ReadAgain() {
  auto context = std::make_shared<Context>();
  SSL_CTX* const ssl = context->ssl.get();
  if (ssl == nullptr) throw std::runtime_error("TLS cannot be used");
  SSL_CTX_set_min_proto_version(ssl, TLS1_2_VERSION);
  SSL_CTX_set_options(ssl, SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION);
  SSL_CTX_set_mode(ssl, SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER |
                            SSL_MODE_RELEASE_BUFFERS);
  ERR_clear_error();
  if (SSL_CTX_use_certificate_chain_file(ssl, certificate_file_.c_str()) != 1) {
    Fail("the certificate", certificate_file_);
  }
  if (SSL_CTX_use_PrivateKey_file(ssl, key_file_.c_str(), SSL_FILETYPE_PEM) != 1) {
    Fail("the key", key_file_);
  }
  const std::lock_guard lock(mutex_);
  context_ = std::move(context);
}

Certificate::~Certificate() = default;

std::unique_ptr<Wire> Certificate::Wrap(posix::UniqueFd socket) const {
  const auto context = [this] {
    const std::lock_guard lock(mutex_);
    return context_;
  }();
  std::unique_ptr<SSL, Free> ssl(SSL_new(context->ssl.get()));
  if (!ssl) return nullptr;
  return std::make_unique<Tls>(std::move(ssl), std::move(socket));
}

}  // namespace mvsms::gateway
