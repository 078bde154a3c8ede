// A connection over the network, with or without TLS: opened while somebody may give up, then used
// without waiting.
//
// The name of the far end is looked up, then its addresses are tried one after another. With TLS
// its certificate must be good: signed by an authority that this machine trusts, or that the line
// names, valid today, and made out for the name that was dialled.
#pragma once

#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>

#include "backends/posix/line/tcp_address.h"
#include "backends/posix/store/line_store.h"
#include "backends/posix/system/unique_fd.h"
#include "platform/telephony.h"

namespace mvsms::posix {

/// An open connection. Thread: one at a time.
class NetStream {
 public:
  virtual ~NetStream() = default;
  NetStream(const NetStream&) = delete;
  NetStream& operator=(const NetStream&) = delete;

  /// As read and write of the system have it: what was taken, 0 at the end, -1 with errno.
  virtual long Read(char* buffer, std::size_t count) = 0;
  virtual long Write(std::string_view bytes) = 0;
  /// Tells the far end that nothing more will come. What it still sends is thrown away.
  void Finish();
  int fd() const { return fd_.get(); }
  /// What the far end objected to when it broke the connection off, to be put behind its name.
  const std::string& trouble() const { return trouble_; }

 protected:
  explicit NetStream(UniqueFd fd) : fd_(std::move(fd)) {}
  void PutTrouble(const std::string& trouble) { trouble_ = trouble; }

 private:
  virtual void SayGoodbye() {}
  UniqueFd fd_;
  std::string trouble_;
};

/// A stream over a connected, non-blocking socket, without TLS.
std::unique_ptr<NetStream> PlainNetStream(UniqueFd fd);

/// What became of an attempt: a stream, or why there is none.
struct NetResult {
  std::unique_ptr<NetStream> stream;
  CallCause cause = CallCause::kNone;
  std::string trouble;  // a sentence, UTF-8; empty when the caller gave up
};

/// Connects, which may take half a minute; returns soon after `stop`. `name` is how the far end is
/// called in sentences. With `tls` the files of `access` are used.
NetResult OpenNetStream(const TcpAddress& address, const std::string& name, bool tls,
                        const LineAccess& access, const std::stop_token& stop);

/// Why the host is unknown, as a sentence; empty when it is not, or the name service does not
/// answer. Blocks for as long as that takes.
std::string LookUpProblem(const TcpAddress& address, const std::string& name);

/// Why the files for TLS cannot be used (a file that cannot be read, a certificate that has expired
/// or does not fit its key), as a sentence; empty when they can.
std::string CheckTlsFiles(const LineAccess& access);

}  // namespace mvsms::posix
