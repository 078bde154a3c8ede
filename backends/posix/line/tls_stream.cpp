// OpenSSL reads and writes by callbacks of ours, because its own would raise SIGPIPE in a host that
// does not expect one.
#include "backends/posix/line/tls_stream.h"

#include <arpa/inet.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <utility>

namespace mvsms::posix {
namespace {

constexpr int kSliceMs = 50;  // how late a cancellation may be noticed

template <auto Free>
struct Freer {
  template <class T>
  void operator()(T* object) const {
    Free(object);
  }
};
using Context = std::unique_ptr<SSL_CTX, Freer<SSL_CTX_free>>;
using Session = std::unique_ptr<SSL, Freer<SSL_free>>;

// --- the socket as OpenSSL sees it

int FdOf(BIO* bio) { return static_cast<int>(reinterpret_cast<std::intptr_t>(BIO_get_data(bio))); }

int Send(BIO* bio, const char* bytes, int count) {
  BIO_clear_retry_flags(bio);
  const long sent = send(FdOf(bio), bytes, static_cast<std::size_t>(count), MSG_NOSIGNAL);
  if (sent < 0 && (errno == EAGAIN || errno == EINTR)) BIO_set_retry_write(bio);
  return static_cast<int>(sent);
}

int Receive(BIO* bio, char* buffer, int count) {
  BIO_clear_retry_flags(bio);
  const long got = recv(FdOf(bio), buffer, static_cast<std::size_t>(count), 0);
  if (got < 0 && (errno == EAGAIN || errno == EINTR)) BIO_set_retry_read(bio);
  return static_cast<int>(got);
}

long Control(BIO*, int command, long, void*) { return command == BIO_CTRL_FLUSH ? 1 : 0; }

BIO* SocketBio(int fd) {
  static BIO_METHOD* const method = [] {
    BIO_METHOD* const made = BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK, "socket");
    BIO_meth_set_write(made, Send);
    BIO_meth_set_read(made, Receive);
    BIO_meth_set_ctrl(made, Control);
    return made;
  }();
  BIO* const bio = BIO_new(method);
  BIO_set_data(bio, reinterpret_cast<void*>(static_cast<std::intptr_t>(fd)));
  BIO_set_init(bio, 1);
  return bio;
}

// --- files

// The first error is the cause, those above it are what OpenSSL made of it.
std::string FirstWords() {
  const unsigned long first = ERR_peek_error();
  if (ERR_SYSTEM_ERROR(first)) return std::strerror(ERR_GET_REASON(first));
  if (ERR_GET_LIB(first) == ERR_LIB_PEM && ERR_GET_REASON(first) == PEM_R_NO_START_LINE) {
    return "there is none in it, in the form PEM";
  }
  const char* const words = ERR_reason_error_string(first);
  return words != nullptr ? words : "unknown reason";
}

std::string CannotUse(const std::string& what, const std::string& file) {
  return "The " + what + " " + file + " cannot be used: " + FirstWords();
}

// Returns a sentence about the first file that does not serve.
std::string TakeOwnFiles(SSL_CTX* context, const std::string& certificate,
                         const std::string& own_key) {
  ERR_clear_error();
  if (SSL_CTX_use_certificate_chain_file(context, certificate.c_str()) != 1) {
    return CannotUse("certificate", certificate);
  }
  const std::string& key = own_key.empty() ? certificate : own_key;
  if (SSL_CTX_use_PrivateKey_file(context, key.c_str(), SSL_FILETYPE_PEM) != 1) {
    const bool other = ERR_GET_REASON(ERR_peek_last_error()) == X509_R_KEY_VALUES_MISMATCH;
    return other ? "The key " + key + " does not belong to the certificate " + certificate
                 : CannotUse("key", key);
  }
  return {};
}

std::string TakeFiles(SSL_CTX* context, const LineAccess& access) {
  ERR_clear_error();
  if (access.ca.empty()) {
    SSL_CTX_set_default_verify_paths(context);
  } else if (SSL_CTX_load_verify_locations(context, access.ca.c_str(), nullptr) != 1) {
    return CannotUse("authority's certificate", access.ca);
  }
  if (access.certificate.empty()) return {};
  std::string trouble = TakeOwnFiles(context, access.certificate, access.key);
  if (!trouble.empty()) return trouble;
  const X509* const own = SSL_CTX_get0_certificate(context);
  if (X509_cmp_current_time(X509_get0_notAfter(own)) < 0) {
    return "The certificate " + access.certificate + " has expired";
  }
  return {};
}

Context MakeContext(const SSL_METHOD* method = TLS_client_method()) {
  Context context(SSL_CTX_new(method));
  SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION);
  SSL_CTX_set_mode(context.get(),
                   SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
  return context;
}

// --- what the far end's certificate lacks

std::string CommonNameIn(X509* certificate) {
  std::array<char, 256> name{};
  X509_NAME_get_text_by_NID(X509_get_subject_name(certificate), NID_commonName, name.data(),
                            static_cast<int>(name.size()));
  return name.data();
}

using Names = std::unique_ptr<GENERAL_NAMES, Freer<GENERAL_NAMES_free>>;
using Bio = std::unique_ptr<BIO, Freer<BIO_free>>;

/// "DNS:centre.example" without its kind.
std::string TextOf(GENERAL_NAME* name) {
  const Bio bio(BIO_new(BIO_s_mem()));
  GENERAL_NAME_print(bio.get(), name);
  char* bytes = nullptr;
  const long size = BIO_get_mem_data(bio.get(), &bytes);
  const std::string text(bytes, static_cast<std::size_t>(size));
  return text.substr(text.find(':') + 1);
}

/// The names that it is made out for; of an old one without these, the one of its owner.
std::string NamesIn(X509* certificate) {
  const Names names(static_cast<GENERAL_NAMES*>(
      X509_get_ext_d2i(certificate, NID_subject_alt_name, nullptr, nullptr)));
  std::string list;
  for (int i = 0; i < sk_GENERAL_NAME_num(names.get()); ++i) {
    list += (list.empty() ? "" : "\", \"") + TextOf(sk_GENERAL_NAME_value(names.get(), i));
  }
  return list.empty() ? CommonNameIn(certificate) : list;
}

std::string DateIn(const ASN1_TIME* time) {
  std::tm date{};
  std::array<char, 32> text{};
  if (ASN1_TIME_to_tm(time, &date) != 1) return "an unknown day";
  std::strftime(text.data(), text.size(), "%Y-%m-%d", &date);
  return text.data();
}

struct CertificateTrouble {
  int code;
  std::string_view words;
};
constexpr CertificateTrouble kTroubles[] = {
    {X509_V_ERR_CERT_HAS_EXPIRED, " has a certificate that expired on {end}"},
    {X509_V_ERR_CERT_NOT_YET_VALID, " has a certificate that is not valid before {begin}"},
    {X509_V_ERR_HOSTNAME_MISMATCH, " has a certificate for another name: \"{name}\""},
    {X509_V_ERR_IP_ADDRESS_MISMATCH, " has a certificate for another name: \"{name}\""},
    {X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT,
     " has a certificate that it made itself; if it is the right one, --ca names a copy of it"},
    {X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN,
     " has a certificate of an authority that is not trusted here; --ca names one that is"},
    {X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY,
     " has a certificate of an authority that is not trusted here; --ca names one that is"},
    {X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE,
     " has a certificate of an authority that is not trusted here; --ca names one that is"},
};

void Fill(std::string& text, const std::string& field, const std::string& value) {
  const std::size_t at = text.find(field);
  if (at != std::string::npos) text.replace(at, field.size(), value);
}

std::string CertificateWords(X509* certificate, int code) {
  std::string text = std::string(" has a bad certificate: ") + X509_verify_cert_error_string(code);
  for (const CertificateTrouble& trouble : kTroubles) {
    if (trouble.code == code) text = trouble.words;
  }
  if (certificate == nullptr) return text;
  Fill(text, "{end}", DateIn(X509_get0_notAfter(certificate)));
  Fill(text, "{begin}", DateIn(X509_get0_notBefore(certificate)));
  Fill(text, "{name}", NamesIn(certificate));
  return text;
}

// OpenSSL forgets a certificate that it refuses, so what is wrong is put into words on the spot:
// into the text that belongs to the session.
int NoteVerdict(int good, X509_STORE_CTX* verdict) {
  auto* const ssl =
      static_cast<SSL*>(X509_STORE_CTX_get_ex_data(verdict, SSL_get_ex_data_X509_STORE_CTX_idx()));
  if (good == 0) {
    *static_cast<std::string*>(SSL_get_app_data(ssl)) = CertificateWords(
        X509_STORE_CTX_get_current_cert(verdict), X509_STORE_CTX_get_error(verdict));
  }
  return good;
}

int NoteQuestion(SSL*, void* asked) {
  *static_cast<bool*>(asked) = true;
  return 1;
}

constexpr char kWantsOurs[] = " wants a certificate of ours: --certificate names it";

// What an error of TLS means to who has a line to set up. {words} are OpenSSL's own.
struct TlsTrouble {
  int reason;
  std::string_view words;
};
constexpr std::string_view kRefusesOurs = " does not accept our certificate ({words})";
constexpr std::string_view kNoTls = " does not speak TLS";
constexpr TlsTrouble kTlsTroubles[] = {
    {SSL_R_WRONG_VERSION_NUMBER, kNoTls},
    {SSL_R_HTTP_REQUEST, kNoTls},
    {SSL_R_TLSV13_ALERT_CERTIFICATE_REQUIRED, kWantsOurs},
    {SSL_R_TLSV1_ALERT_UNKNOWN_CA, kRefusesOurs},
    {SSL_R_SSLV3_ALERT_BAD_CERTIFICATE, kRefusesOurs},
    {SSL_R_SSLV3_ALERT_UNSUPPORTED_CERTIFICATE, kRefusesOurs},
    {SSL_R_SSLV3_ALERT_CERTIFICATE_REVOKED, kRefusesOurs},
    {SSL_R_SSLV3_ALERT_CERTIFICATE_EXPIRED, kRefusesOurs},
    {SSL_R_SSLV3_ALERT_CERTIFICATE_UNKNOWN, kRefusesOurs},
    {SSL_R_TLSV1_ALERT_PROTOCOL_VERSION, " speaks no TLS as new as 1.2, the oldest that is safe"},
};

std::string TroubleWords(std::string_view otherwise) {
  const int reason = ERR_GET_REASON(ERR_peek_error());
  std::string text(otherwise);
  for (const TlsTrouble& trouble : kTlsTroubles) {
    if (trouble.reason == reason) text = trouble.words;
  }
  Fill(text, "{words}", FirstWords());
  return text;
}

/// `asked` is whether a certificate was asked of us that we do not have.
std::string HandshakeWords(int error, bool asked) {
  const int reason = ERR_GET_REASON(ERR_peek_error());
  if (asked && reason > SSL_AD_REASON_OFFSET) return kWantsOurs;
  if (error == SSL_ERROR_SYSCALL || reason == SSL_R_UNEXPECTED_EOF_WHILE_READING) {
    return " closed the connection during the TLS handshake";
  }
  return TroubleWords(" refuses the TLS handshake: {words}");
}

// The newest TLS objects to our certificate only after the handshake; and whoever calls us shakes
// hands while we read.
std::string ObjectionWords() { return TroubleWords(" broke the connection off: {words}"); }

// --- the stream

bool IsAddress(const std::string& host) {
  std::array<unsigned char, sizeof(in6_addr)> bytes{};
  return inet_pton(AF_INET, host.c_str(), bytes.data()) == 1 ||
         inet_pton(AF_INET6, host.c_str(), bytes.data()) == 1;
}

// What --ca names is trusted as it stands, also when it is no authority's but the far end's own.
void Expect(SSL* ssl, const std::string& host) {
  X509_VERIFY_PARAM_set_flags(SSL_get0_param(ssl), X509_V_FLAG_PARTIAL_CHAIN);
  if (IsAddress(host)) {
    X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(ssl), host.c_str());
  } else {
    SSL_set1_host(ssl, host.c_str());
    SSL_set_tlsext_host_name(ssl, host.c_str());
  }
}

class TlsStream : public NetStream {
 public:
  /// The side that is called.
  TlsStream(UniqueFd fd, SSL_CTX* context) : NetStream(std::move(fd)), session_(SSL_new(context)) {
    BIO* const bio = SocketBio(this->fd());
    SSL_set_bio(session_.get(), bio, bio);
    SSL_set_accept_state(session_.get());
  }
  /// The side that calls.
  TlsStream(UniqueFd fd, SSL_CTX* context, const std::string& host)
      : TlsStream(std::move(fd), context) {
    Expect(session_.get(), host);
    SSL_set_connect_state(session_.get());
    SSL_set_app_data(session_.get(), &verdict_);
    SSL_set_verify(session_.get(), SSL_VERIFY_PEER, NoteVerdict);
    SSL_set_cert_cb(session_.get(), NoteQuestion, &asked_);
  }

  bool ShakeHands(std::chrono::steady_clock::time_point deadline, const std::stop_token& stop,
                  std::string& trouble) {
    while (!stop.stop_requested()) {
      ERR_clear_error();
      const int result = SSL_do_handshake(session_.get());
      if (result == 1) return true;
      const int error = SSL_get_error(session_.get(), result);
      if (error != SSL_ERROR_WANT_READ && error != SSL_ERROR_WANT_WRITE) {
        const bool in_vain = asked_ && SSL_get_certificate(session_.get()) == nullptr;
        trouble = verdict_.empty() ? HandshakeWords(error, in_vain) : verdict_;
        return false;
      }
      if (std::chrono::steady_clock::now() >= deadline) {
        trouble = " does not go on with the TLS handshake";
        return false;
      }
      pollfd wait = {fd(), static_cast<short>(error == SSL_ERROR_WANT_READ ? POLLIN : POLLOUT), 0};
      poll(&wait, 1, kSliceMs);
    }
    return false;
  }

  long Read(char* buffer, std::size_t count) override {
    ERR_clear_error();
    std::size_t got = 0;
    const int result = SSL_read_ex(session_.get(), buffer, count, &got);
    return result == 1 ? static_cast<long>(got) : Failed(result);
  }

  long Write(std::string_view bytes) override {
    ERR_clear_error();
    std::size_t sent = 0;
    const int result = SSL_write_ex(session_.get(), bytes.data(), bytes.size(), &sent);
    return result == 1 ? static_cast<long>(sent) : Failed(result);
  }

 private:
  void SayGoodbye() override { SSL_shutdown(session_.get()); }

  // The end, or an errno: later, or for good.
  long Failed(int result) {
    const int error = SSL_get_error(session_.get(), result);
    if (error == SSL_ERROR_ZERO_RETURN) return 0;
    if (error == SSL_ERROR_SSL) PutTrouble(ObjectionWords());
    errno = error == SSL_ERROR_WANT_READ || error == SSL_ERROR_WANT_WRITE ? EAGAIN : ECONNRESET;
    return -1;
  }

  std::string verdict_;  // on the far end's certificate; empty when it is good
  bool asked_ = false;   // for ours
  Session session_;
};

}  // namespace

std::unique_ptr<NetStream> ShakeHands(UniqueFd fd, const std::string& host,
                                      const LineAccess& access,
                                      std::chrono::steady_clock::time_point deadline,
                                      const std::stop_token& stop, std::string& trouble) {
  const Context context = MakeContext();
  trouble = TakeFiles(context.get(), access);
  if (!trouble.empty()) {
    trouble = " cannot be called by TLS. " + trouble;
    return nullptr;
  }
  auto stream = std::make_unique<TlsStream>(std::move(fd), context.get(), host);
  if (!stream->ShakeHands(deadline, stop, trouble)) return nullptr;
  return stream;
}

TlsAnswer AnswerByTls(const std::string& certificate, const std::string& key,
                      std::string& trouble) {
  const std::shared_ptr<SSL_CTX> context = MakeContext(TLS_server_method());
  trouble = TakeOwnFiles(context.get(), certificate, key);
  if (!trouble.empty()) return {};
  return
      [context](UniqueFd fd) { return std::make_unique<TlsStream>(std::move(fd), context.get()); };
}

std::string CheckTlsFiles(const LineAccess& access) {
  return TakeFiles(MakeContext().get(), access);
}

}  // namespace mvsms::posix
