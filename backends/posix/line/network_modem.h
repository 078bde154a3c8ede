// A modem behind a serial server: which address names one, and the line to it.
#pragma once

#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>

#include "backends/posix/line/modem_channel.h"
#include "backends/posix/line/tcp_address.h"
#include "backends/posix/store/line_store.h"

namespace mvsms::posix {

/// How a serial server is spoken to.
enum class NetScheme {
  kTcp,      // the modem's bytes as they are; its settings are the server's
  kTls,      // likewise, encrypted
  kRfc2217,  // with the port's settings and modem lines
};

struct NetAddress {
  NetScheme scheme = NetScheme::kTcp;
  TcpAddress host;
};

/// Whether a device is named by scheme://…, be it a known scheme or not.
bool NamesNetwork(std::string_view device);

/// Parses tcp://HOST:PORT, tls://HOST:PORT and rfc2217://HOST:PORT. Nothing for anything else, with
/// `problem` set to a sentence that says what is wrong.
std::optional<NetAddress> ParseNetAddress(std::string_view text, std::string& problem);

/// The address of a message centre: HOST:PORT, by TLS where the line has files for it, or with
/// tls:// in front; tcp:// says that it is not. Nothing for anything else.
std::optional<NetAddress> ParseCentreAddress(std::string_view text, bool has_tls_files);

/// Whether a line has files that are about TLS.
bool HasTlsFiles(const LineAccess& access);

/// Reaches the serial server of a line, which may take half a minute, and returns soon after
/// `stop`. The line's settings are not applied yet. Throws RaisedError with a sentence that names
/// what stands in the way.
std::shared_ptr<ModemChannel> OpenNetworkModem(const LineConfig& line, const std::stop_token& stop);

}  // namespace mvsms::posix
