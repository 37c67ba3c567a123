// The one table from curl's results to the platform's URL-loading failures.
//
// Callers classify failures by these codes (retry on a connectivity
// problem, drop otherwise), so a curl result must land on the code the
// reference platform reports for the same situation, with its text.
#include <curl/curl.h>
#include <errno.h>
#include <openssl/x509_vfy.h>  // the X509 verification results libcurl's TLS layer reports

#include "platform/curl/curl_transport.h"

namespace tessarin::platform::curl {
namespace {

TransportFailure Failure(long code, std::string description) { return {code, std::move(description), ""}; }

// The certificate texts name the host the server claimed to be.
std::string PretendingTo(const std::string& host) {
  return " You might be connecting to a server that is pretending to be \u201C" + host +
         "\u201D which could put your confidential information at risk.";
}

TransportFailure CertificateFailure(const CurlResult& result) {
  switch (result.verifyResult) {
    case X509_V_ERR_CERT_HAS_EXPIRED:
      return Failure(-1201, "The certificate for this server has expired." + PretendingTo(result.host));
    case X509_V_ERR_CERT_NOT_YET_VALID:
      return Failure(-1204, "The certificate for this server is not yet valid." + PretendingTo(result.host));
    case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
    case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
    case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
      return Failure(-1203, "The certificate for this server was signed by an unknown certifying authority." +
                                PretendingTo(result.host));
    default:
      // Host name mismatch, revoked, malformed, ...
      return Failure(-1202, "The certificate for this server is invalid." + PretendingTo(result.host));
  }
}

}  // namespace

TransportFailure TransportFailureForCurlResult(const CurlResult& result) {
  if (result.bodyTooLarge) return Failure(-1103, "resource exceeds maximum size");
  switch (result.code) {
    case CURLE_URL_MALFORMAT:
      return Failure(-1000, "bad URL");
    case CURLE_UNSUPPORTED_PROTOCOL:
      return Failure(-1002, "unsupported URL");
    case CURLE_COULDNT_RESOLVE_HOST:
      if (result.offline) return Failure(-1009, "The Internet connection appears to be offline.");
      return Failure(-1003, "A server with the specified hostname could not be found.");
    case CURLE_COULDNT_CONNECT:
      if (result.osErrno == ENETUNREACH) return Failure(-1009, "The Internet connection appears to be offline.");
      if (result.osErrno == ETIMEDOUT) return Failure(-1001, "The request timed out.");
      return Failure(-1004, "Could not connect to the server.");
    case CURLE_OPERATION_TIMEDOUT:
      return Failure(-1001, "The request timed out.");
    case CURLE_TOO_MANY_REDIRECTS:
      return Failure(-1007, "too many HTTP redirects");
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
      return Failure(-1005, "The network connection was lost.");
    case CURLE_PEER_FAILED_VERIFICATION:
      return CertificateFailure(result);
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CLIENTCERT:
      return Failure(-1206, "The server \u201C" + result.host + "\u201D requires a client certificate.");
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_ENGINE_NOTFOUND:
    case CURLE_SSL_ENGINE_SETFAILED:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_ENGINE_INITFAILED:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_SHUTDOWN_FAILED:
    case CURLE_SSL_CRL_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
    case CURLE_SSL_INVALIDCERTSTATUS:
      return Failure(-1200, "An SSL error has occurred and a secure connection to the server cannot be made.");
    default:
      return Failure(-1, "unknown error");
  }
}

TransportFailure CancelledTransportFailure() { return Failure(-999, "cancelled"); }

}  // namespace tessarin::platform::curl
