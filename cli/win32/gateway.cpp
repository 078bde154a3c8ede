// A gateway reached by the system's own HTTP: its proxies, its certificates, its rules for TLS.
#include <array>
#include <memory>
#include <string>
#include <string_view>

#include "backends/win32/win.h"
// after <windows.h>
#include <winhttp.h>

#include "cli/gateway_client.h"

namespace mvsms::cli {
namespace {

constexpr int kLookUpMs = 10'000;
constexpr int kConnectMs = 10'000;
constexpr int kSendMs = 10'000;
constexpr int kReceiveMs = 30'000;
constexpr ULONGLONG kWholeAnswerMs = 60'000;
constexpr std::size_t kLongestAnswer = std::size_t{1} << 20;

struct InternetCloser {
  using pointer = HINTERNET;
  void operator()(HINTERNET handle) const { ::WinHttpCloseHandle(handle); }
};
using Internet = std::unique_ptr<void, InternetCloser>;

struct Trouble {
  DWORD code;
  bool passes;  // without anybody's doing
  const char* sentence;
  DWORD certificate_flag = 0;  // that tells of it while a request is sent
};
constexpr Trouble kTroubles[] = {
    {ERROR_WINHTTP_TIMEOUT, true, "no answer in time"},
    {ERROR_WINHTTP_NAME_NOT_RESOLVED, true, "there is no machine of this name"},
    {ERROR_WINHTTP_CANNOT_CONNECT, true, "nothing listens there, or a firewall is in the way"},
    {ERROR_WINHTTP_CONNECTION_ERROR, true, "the connection broke"},
    {ERROR_WINHTTP_INVALID_SERVER_RESPONSE, true, "the answer is not that of an HTTP server"},
    {ERROR_WINHTTP_INVALID_URL, false, "this is no address"},
    {ERROR_WINHTTP_UNRECOGNIZED_SCHEME, false, "this is no address"},
    {ERROR_WINHTTP_CLIENT_AUTH_CERT_NEEDED, false, "it wants a certificate of this machine"},
    {ERROR_WINHTTP_SECURE_INVALID_CA, false, "its certificate is signed by nobody trusted here",
     WINHTTP_CALLBACK_STATUS_FLAG_INVALID_CA},
    {ERROR_WINHTTP_SECURE_CERT_CN_INVALID, false, "its certificate is for another name",
     WINHTTP_CALLBACK_STATUS_FLAG_CERT_CN_INVALID},
    {ERROR_WINHTTP_SECURE_CERT_DATE_INVALID, false, "its certificate has expired",
     WINHTTP_CALLBACK_STATUS_FLAG_CERT_DATE_INVALID},
    {ERROR_WINHTTP_SECURE_CERT_REVOKED, false, "its certificate has been revoked",
     WINHTTP_CALLBACK_STATUS_FLAG_CERT_REVOKED},
    {ERROR_WINHTTP_SECURE_CHANNEL_ERROR, false,
     "TLS failed: its certificate is not trusted here, or it has no version of TLS that is"},
    {ERROR_WINHTTP_SECURE_FAILURE, false, "its certificate is not trusted", ~DWORD{0}},
};

[[noreturn]] void Throw(const Trouble& trouble) {
  if (trouble.passes) throw Busy(trouble.sentence);
  throw Failure(trouble.sentence);
}

/// `certificate_flags` are what was said of a certificate meanwhile.
[[noreturn]] void Throw(DWORD code, DWORD certificate_flags = 0) {
  for (const Trouble& trouble : kTroubles) {
    if (trouble.certificate_flag & certificate_flags) Throw(trouble);
    if (trouble.code == code && certificate_flags == 0) Throw(trouble);
  }
  throw Busy("error " + std::to_string(code) + " of WinHTTP");
}

void Check(BOOL done) {
  if (!done) Throw(::GetLastError());
}

std::wstring Wide(const std::string& utf8) {
  const int length = static_cast<int>(utf8.size());
  std::wstring wide(utf8.size(), L'\0');
  const int size = ::MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, wide.data(), length);
  wide.resize(static_cast<std::size_t>(size));
  return wide;
}

struct Address {
  bool secure = false;
  INTERNET_PORT port = 0;
  std::wstring host;
  std::wstring path;
};

Address AddressOf(const std::wstring& url) {
  URL_COMPONENTS parts{};
  parts.dwStructSize = sizeof(parts);
  parts.dwHostNameLength = parts.dwUrlPathLength = static_cast<DWORD>(-1);
  Check(::WinHttpCrackUrl(url.c_str(), 0, 0, &parts));
  return {parts.nScheme == INTERNET_SCHEME_HTTPS,
          parts.nPort,
          {parts.lpszHostName, parts.dwHostNameLength},
          {parts.lpszUrlPath, parts.dwUrlPathLength}};
}

/// The proxies are those of the user, or of his network; before Windows 8.1, of the machine.
Internet Session() {
  constexpr DWORD kAutomaticProxy = 4;
  for (const DWORD proxies : {kAutomaticProxy, DWORD{WINHTTP_ACCESS_TYPE_DEFAULT_PROXY}}) {
    Internet session(::WinHttpOpen(L"mvsms", proxies, nullptr, nullptr, 0));
    if (session) return session;
  }
  Throw(::GetLastError());
}

void SetOption(const Internet& handle, DWORD option, DWORD value) {
  ::WinHttpSetOption(handle.get(), option, &value, sizeof(value));
}

/// TLS 1.2 and 1.3, or what this Windows has of them.
void SetUp(const Internet& session) {
  constexpr DWORD kTls13 = 0x2000;
  Check(::WinHttpSetTimeouts(session.get(), kLookUpMs, kConnectMs, kSendMs, kReceiveMs));
  SetOption(session, WINHTTP_OPTION_SECURE_PROTOCOLS, WINHTTP_FLAG_SECURE_PROTOCOL_TLS1_2);
  SetOption(session, WINHTTP_OPTION_SECURE_PROTOCOLS, WINHTTP_FLAG_SECURE_PROTOCOL_TLS1_2 | kTls13);
}

/// What is wrong with a certificate is told while the request is sent, and not by its error.
void CALLBACK NoteCertificateFlags(HINTERNET, DWORD_PTR noted, DWORD, void* flags, DWORD) {
  if (noted != 0) *reinterpret_cast<DWORD*>(noted) = *static_cast<DWORD*>(flags);
}

/// A token goes to nobody but the machine that was named: no redirect is followed.
Internet Open(const Internet& connection, const Address& address) {
  Internet request(::WinHttpOpenRequest(connection.get(), L"POST", address.path.c_str(), nullptr,
                                        WINHTTP_NO_REFERER, WINHTTP_DEFAULT_ACCEPT_TYPES,
                                        address.secure ? DWORD{WINHTTP_FLAG_SECURE} : 0));
  Check(request != nullptr);
  SetOption(request, WINHTTP_OPTION_DISABLE_FEATURE,
            WINHTTP_DISABLE_REDIRECTS | WINHTTP_DISABLE_COOKIES);
  ::WinHttpSetStatusCallback(request.get(), NoteCertificateFlags,
                             WINHTTP_CALLBACK_FLAG_SECURE_FAILURE, 0);
  return request;
}

void Send(const Internet& request, const GatewayRequest& what) {
  std::string headers = "Content-Type: application/json\r\n";
  if (!what.token.empty()) headers += "Authorization: Bearer " + what.token + "\r\n";
  const std::wstring wide = Wide(headers);
  const auto size = static_cast<DWORD>(what.body.size());
  DWORD certificate_flags = 0;
  if (::WinHttpSendRequest(request.get(), wide.c_str(), static_cast<DWORD>(-1),
                           const_cast<char*>(what.body.data()), size, size,
                           reinterpret_cast<DWORD_PTR>(&certificate_flags))) {
    return;
  }
  Throw(::GetLastError(), certificate_flags);
}

int StatusOf(const Internet& request) {
  DWORD status = 0;
  DWORD size = sizeof(status);
  Check(::WinHttpQueryHeaders(request.get(), WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER,
                              WINHTTP_HEADER_NAME_BY_INDEX, &status, &size,
                              WINHTTP_NO_HEADER_INDEX));
  return static_cast<int>(status);
}

/// Each read has its time limit; whoever answers by drops is stopped by that of the whole.
std::string BodyOf(const Internet& request) {
  const ULONGLONG end = ::GetTickCount64() + kWholeAnswerMs;
  std::string body;
  std::array<char, 4096> part;
  for (DWORD got = 1; got > 0; body.append(part.data(), got)) {
    if (body.size() > kLongestAnswer || ::GetTickCount64() > end) {
      Throw(ERROR_WINHTTP_INVALID_SERVER_RESPONSE);
    }
    Check(::WinHttpReadData(request.get(), part.data(), part.size(), &got));
  }
  return body;
}

GatewayAnswer Post(const GatewayRequest& what) {
  const Address address = AddressOf(Wide(what.url));
  const Internet session = Session();
  SetUp(session);
  const Internet connection(::WinHttpConnect(session.get(), address.host.c_str(), address.port, 0));
  Check(connection != nullptr);
  const Internet request = Open(connection, address);
  Send(request, what);
  Check(::WinHttpReceiveResponse(request.get(), nullptr));
  return {StatusOf(request), BodyOf(request)};
}

}  // namespace

bool QueueIsHere() { return false; }

void QueuePages(Context& context, const std::vector<std::string>& recipients,
                const SendOptions& options, const QueueOptions& queue) {
  HandOver(context, recipients, options, queue, Post);
}

}  // namespace mvsms::cli
