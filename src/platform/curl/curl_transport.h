// The HTTP transport of the real hosts, over libcurl.
//
// One multi handle, driven by one network thread (the URL-loading queue),
// runs every request; its connection cache keeps connections open per host,
// so consecutive requests to the service reuse one connection. Like the
// reference platform's session it keeps no cookies and no cache, always
// verifies the server's certificate and host name, bounds redirects, and
// gives up on a connection that does not open or goes quiet.
//
// Failures carry the platform's URL-loading codes and texts, chosen by one
// table (TransportFailureForCurlResult) so that a failed request reads the
// same whichever host ran it.
#ifndef TESSARIN_PLATFORM_CURL_CURL_TRANSPORT_H_
#define TESSARIN_PLATFORM_CURL_CURL_TRANSPORT_H_

#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "platform/http_transport.h"

namespace tessarin::platform::curl {

struct CurlTransportOptions {
  // A PEM file of the certificates to trust instead of the system's (the
  // local service's generated certificate, say); empty: the system's.
  std::string caInfoPath;
  // Seconds to open a connection, TLS handshake included.
  double connectTimeout = 30;
  // Seconds a request may go without receiving a byte (the platform's
  // request timeout); counted in whole seconds.
  double idleTimeout = 60;
  // Seconds the whole request may take; 0: no limit beyond the idle one.
  double totalTimeout = 0;
  long maxRedirects = 10;
  // The most an answer's body may hold once decoded; a larger one fails as
  // "resource exceeds maximum size" instead of growing the app's memory
  // with whatever a server (or a compressed bomb) sends.
  std::size_t maxResponseBytes = 16 * 1024 * 1024;
  // Connections open at once to one host; further requests wait for one.
  long maxHostConnections = 6;
  // Whether the host knows it has no network at all; a failed name lookup
  // then reads "not connected" rather than "cannot find host". Asked on
  // the network thread.
  std::function<bool()> networkOffline;
};

// What the failure table reads from a failed transfer.
struct CurlResult {
  int code = 0;           // the CURLcode
  long osErrno = 0;       // errno of the failed connect (CURLINFO_OS_ERRNO)
  long verifyResult = 0;  // the certificate check's X509 result (CURLINFO_SSL_VERIFYRESULT)
  bool offline = false;   // the host reported no network
  std::string host;       // the request's host, named by the certificate texts
  bool bodyTooLarge = false;  // the answer outgrew maxResponseBytes
};

// The URL-loading failure for a curl result other than CURLE_OK.
TransportFailure TransportFailureForCurlResult(const CurlResult& result);
// The failure every request still pending when the transport goes away gets.
TransportFailure CancelledTransportFailure();

class CurlTransport : public HttpTransport {
 public:
  explicit CurlTransport(CurlTransportOptions options = {});
  // Completes every pending request with a cancellation (on the network
  // thread) and waits for the thread.
  ~CurlTransport() override;
  CurlTransport(const CurlTransport&) = delete;
  CurlTransport& operator=(const CurlTransport&) = delete;

  void perform(HttpRequest request, HttpCompletion completion) override;

  // How many connections the transport has opened so far; requests that
  // reused a connection add nothing.
  long connectionsOpened() const;

 private:
  class Engine;
  std::shared_ptr<Engine> engine_;
  std::thread thread_;  // the network thread
};

}  // namespace tessarin::platform::curl

#endif  // TESSARIN_PLATFORM_CURL_CURL_TRANSPORT_H_
