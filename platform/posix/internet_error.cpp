#include "platform/posix/internet_error.h"

#include <cerrno>

#include "platform/error.h"

namespace zv {
namespace {

// The connection broke while it was used; the system says whether it was reset.
uint32_t BrokenConnectionCode(CURL* easy) {
  long system_error = 0;
  curl_easy_getinfo(easy, CURLINFO_OS_ERRNO, &system_error);
  return system_error == ECONNRESET ? kInternetReset : kInternetAborted;
}

// A certificate that verifies and is refused all the same bears another name.
uint32_t CertificateCode(CURL* easy, bool checks_authority) {
  constexpr long kVerified = 0;
  constexpr long kNotYetValid = 9;  // X509_V_ERR_CERT_NOT_YET_VALID
  constexpr long kExpired = 10;     // X509_V_ERR_CERT_HAS_EXPIRED
  long verdict = kVerified;
  curl_easy_getinfo(easy, CURLINFO_SSL_VERIFYRESULT, &verdict);
  if (verdict == kVerified || !checks_authority) return kInternetInvalidCertName;
  return verdict == kNotYetValid || verdict == kExpired ? kInternetInvalidCertDate
                                                        : kInternetInvalidCertAuthority;
}

}  // namespace

uint32_t InternetErrorCode(CURL* easy, CURLcode result, bool checks_authority) {
  switch (result) {
    case CURLE_OPERATION_TIMEDOUT:
      return kInternetTimeout;
    case CURLE_URL_MALFORMAT:
      return kInternetInvalidUrl;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
      return kInternetNameNotResolved;
    case CURLE_COULDNT_CONNECT:
    case CURLE_PROXY:
      return kInternetCannotConnect;
    case CURLE_PARTIAL_FILE:
    case CURLE_GOT_NOTHING:
      return kInternetAborted;
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_FAIL_REWIND:
      return BrokenConnectionCode(easy);
    case CURLE_UNSUPPORTED_PROTOCOL:  // also a reply that does not begin with "HTTP/"
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_OUT_OF_MEMORY:  // a header line too long for it
    case CURLE_WRITE_ERROR:    // a head without end
    case CURLE_BAD_CONTENT_ENCODING:
      return kInternetInvalidResponse;
    case CURLE_PEER_FAILED_VERIFICATION:
      return CertificateCode(easy, checks_authority);
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
      return kInternetSecureChannel;
    default:
      return kInternetInternal;
  }
}

void ThrowInternetError(uint32_t code) {
  SetLastError(code);
  const Text text = SystemErrorText(code);
  throw Error(ErrorKind::kInternet, code, text.empty() ? Text(kUnknownErrorText) : text);
}

}  // namespace zv
