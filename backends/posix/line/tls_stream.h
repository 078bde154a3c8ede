// TLS over a connected socket, by OpenSSL: the calling side, known to net_stream.cpp alone, and the
// side that is called.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>

#include "backends/posix/line/net_stream.h"

namespace mvsms::posix {

/// Shakes hands over `fd` until `deadline`. Null with `trouble` set to what is wrong, to be put
/// behind the name of the far end, or empty when `stop` came first.
std::unique_ptr<NetStream> ShakeHands(UniqueFd fd, const std::string& host,
                                      const LineAccess& access,
                                      std::chrono::steady_clock::time_point deadline,
                                      const std::stop_token& stop, std::string& trouble);

/// Makes the answering side of TLS over a connected, non-blocking socket. The handshake goes on
/// whenever the stream is read or written; when it fails both do, and the stream's trouble says
/// why.
using TlsAnswer = std::function<std::unique_ptr<NetStream>(UniqueFd)>;

/// Answers with a certificate and its key, files in PEM; without a key its file is the
/// certificate's. Empty, with `trouble` set to a sentence, when these do not serve.
TlsAnswer AnswerByTls(const std::string& certificate, const std::string& key, std::string& trouble);

}  // namespace mvsms::posix
