// The local Tessarin service: a real HTTP(S) server on loopback that answers
// the SDK the way the hosted service does, so that integration tests, the
// demo and a host app under development can exercise the whole wire path
// (events, app configuration, editor) without the network.
//
// Everything it answers can be scripted from C++ (or from a script file, see
// script.h), and everything it receives is recorded in memory and optionally
// as JSON lines to a file. The screens the designer uploads are kept apart,
// decoded, and a live console page at "/" shows the developer integrating
// the SDK what arrived (see console_model.h).
#ifndef TESSARIN_TOOLS_SERVICE_LOCAL_SERVICE_H_
#define TESSARIN_TOOLS_SERVICE_LOCAL_SERVICE_H_

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "service/certificate.h"
#include "tessarin/json.h"

namespace httplib {
class Server;
struct Request;
struct Response;
}  // namespace httplib

namespace tessarin::service {

class ConsoleModel;

enum class Endpoint { kEvents, kAppConfig, kConnect, kUploadScreen, kUnknown };
const char* EndpointName(Endpoint endpoint);  // "events", "appConfig", "connect", "uploadScreen", "unknown"

// One part of a multipart upload as received.
struct UploadPart {
  std::string name;         // as the form-data parser reports it (see local_service.cc)
  std::string contentType;
  std::string content;      // raw bytes
};

// What the service received, decoded.
struct RecordedRequest {
  Endpoint endpoint = Endpoint::kUnknown;
  std::chrono::system_clock::time_point received;
  std::string method;
  std::string path;
  std::map<std::string, std::string> query;    // decoded query parameters
  std::map<std::string, std::string> headers;  // the headers the SDK's behaviour is judged by
  std::string dataset;                         // from the path
  std::vector<std::string> configParams;       // path components after "appConfig"
  Json body;                                   // decoded JSON body (null when none or unparseable)
  std::string bodyText;                        // the (decompressed) body when it was not JSON
  std::vector<UploadPart> parts;               // multipart uploads only
  int status = 0;                              // the status the service answered with
  Json answer;                                 // the JSON body it answered with (null when none)
  bool dropped = false;                        // the connection was closed (or reset) mid-answer
  // A scripted fault applied to it: its answer was replaced, late, cut off
  // or reset, so the client may never have seen it succeed.
  bool faulted = false;

  std::string header(const std::string& name) const;
  // The request as one JSON record line: what the SDK sent and the status,
  // without the answer (the service wrote that itself).
  Json toJson() const;
};

// A screen the designer connection uploaded and the service accepted. An
// upload answered with an error (or cut off) is not kept: the SDK forgets
// it too and uploads the screen again on a later visit.
struct UploadedScreen {
  std::size_t sequence = 0;                      // 1, 2, ... in the order they were accepted
  std::chrono::system_clock::time_point received;
  std::string dataset;
  Json info;                                     // the "meta" part: base event keys and ".vcd"
  std::string descriptionText;                   // ".vcd" as sent: the screen described as JSON text
  Json description;                              // that text parsed (null when it is not JSON)
  std::string png;                               // the screenshot's bytes
  int width = 0;                                 // from the PNG header; 0 when it is not a PNG
  int height = 0;
};
// A scripted misbehaviour for one request to an endpoint.
struct Fault {
  int status = 0;                          // answer with this status instead (0: answer normally)
  Json body;                               // JSON body sent with `status`, e.g. {"reason": "..."}
  std::chrono::milliseconds delay{0};      // wait this long before answering
  bool dropConnection = false;             // send the headers and half the body, then close
  bool resetConnection = false;            // send the headers and half the body, then reset (RST)
};

class LocalService {
 public:
  struct Options {
    std::string host = "127.0.0.1";
    int port = 0;             // 0 picks a free port
    bool https = false;       // serve TLS with a freshly generated self-signed certificate
    // The names that certificate is for; others than the loopback address
    // make a certificate a client must refuse as being another host's.
    std::vector<std::string> certificateNames = kLoopbackCertificateNames;
    // Serves this identity instead of generating one (its files are left
    // alone): a restarted service is then the one a client already trusts.
    CertificateFiles certificate{};
    std::string recordPath;   // when set, every request is appended as one JSON line
    // For load runs: each batch of events is answered with one empty event
    // response per event, from a count of the array's elements rather than
    // a parse of it; nothing is kept (requests(), the console) but the
    // counts. Scripted event answers and faults do not apply to events.
    bool countOnly = false;
  };

  // What the service has received since it started.
  struct Counts {
    std::uint64_t requests = 0;
    std::uint64_t events = 0;     // in batches that were arrays
    std::uint64_t wireBytes = 0;  // request bodies as sent (compressed)
  };

  // Given a batch of events (the decoded request array), the response body.
  using EventResponder = std::function<Json(const Json& events)>;

  LocalService();
  explicit LocalService(Options options);
  ~LocalService();
  LocalService(const LocalService&) = delete;
  LocalService& operator=(const LocalService&) = delete;

  // Binds and starts serving on a thread of its own. False (with error())
  // when the certificate, the record file or the socket cannot be made.
  bool start();
  void stop();
  const std::string& error() const { return error_; }

  // The names the next start's generated certificate is for (https only).
  void setCertificateNames(std::vector<std::string> names) { options_.certificateNames = std::move(names); }

  int port() const { return port_; }
  bool https() const { return options_.https; }
  const std::string& host() const { return options_.host; }
  // "http://127.0.0.1:PORT" (or https).
  std::string baseUrl() const;
  // The PEM file a client must trust for HTTPS; empty over plain HTTP.
  std::string certificatePath() const { return certificate_.certificatePath; }

  // --- Events endpoint -------------------------------------------------------
  // Answers are chosen per batch: queued answers first, in order; then the
  // responder; then one generated response per event.

  // The next batch is answered with exactly this body (array, object or
  // anything else a test wants the SDK to cope with).
  void queueEventAnswer(Json body);
  // The next batch gets one generated response per event; these campaigns go
  // into the response of the batch's last event (the one that most recently
  // asked), each given that event's ".ri" as "routingId" when it has none.
  void queueCampaigns(Json campaigns);
  void setEventResponder(EventResponder responder);
  // Members merged into every generated event response, for example
  // {"anonAffinityId": "aa-1"} or {"errorCode": 3, "validationErrors": [...]}.
  void setEventResponseTemplate(Json members);
  void setAnonAffinityId(const std::string& anonAffinityId);
  // One event response as the service writes it.
  static Json EventResponse(Json campaigns = Json::array(), int errorCode = 0,
                            Json validationErrors = nullptr, const std::string& anonAffinityId = "");
  // A data campaign as the service writes it: one experience with one data
  // message for `target`. Without a routing id, queueCampaigns routes it to
  // the context that asked.
  static Json DataCampaign(const std::string& target, Json data, const std::string& campaignId = "cmp-1",
                           const std::string& routingId = "");
  // An in-app message campaign as the service writes it: one experience
  // whose single message is `message`, the message's data (title, body,
  // buttonMap, position, colours ...), given its id, type and the reserved
  // target where it names none, and routed to the global context, the only
  // one the SDK shows messages for.
  static Json InAppMessageCampaign(Json message, const std::string& campaignId = "cmp-1");

  // --- App-configuration endpoint -------------------------------------------
  // Serves `config` for the dataset (or for any dataset, with "*"); a request
  // for a dataset that has none is answered 404.
  void setAppConfig(const std::string& dataset, Json config,
                    std::chrono::system_clock::time_point lastModified = std::chrono::system_clock::now());
  void removeAppConfig(const std::string& dataset);

  // --- Editor endpoints -------------------------------------------------------
  void setConnectAnswer(Json body);
  void setUploadScreenAnswer(Json body);

  // --- Faults -------------------------------------------------------------------
  // One-shot faults are used up one per request, in order; the standing fault
  // (if any) applies once they are gone.
  void queueFault(Endpoint endpoint, Fault fault);
  void setStandingFault(Endpoint endpoint, std::optional<Fault> fault);

  // --- What was received --------------------------------------------------------
  Counts counts() const;
  std::vector<RecordedRequest> requests() const;
  std::vector<RecordedRequest> requests(Endpoint endpoint) const;
  // Waits until at least `count` requests (to `endpoint`, when given) have
  // been answered, or the deadline passes; true when they have.
  bool waitForRequests(std::size_t count, std::chrono::steady_clock::time_point deadline,
                       std::optional<Endpoint> endpoint = std::nullopt) const;
  void clearRequests();
  // The campaign statistics received so far, in order: each payload of
  // every event's ".cStat" (a JSON array written as text), such as
  // {"id": "cmp-1-msg", "eid": "cmp-1-exp", "type": "m", "stat": "i"}.
  // Text that is not such an array is skipped.
  std::vector<Json> campaignStats() const;

  // Hands over what was received so far and forgets it, so that a
  // long-running service that has passed every request on keeps none. The
  // console and the uploaded screens are not affected.
  std::vector<RecordedRequest> takeRequests();

  // --- Designer uploads ---------------------------------------------------------
  // Every screen accepted so far, in order.
  std::vector<UploadedScreen> uploadedScreens() const;
  // Waits until at least `count` screens have been accepted, or the deadline
  // passes; true when they have.
  bool waitForUploadedScreens(std::size_t count, std::chrono::steady_clock::time_point deadline) const;

  // --- Console --------------------------------------------------------------------
  // "http://127.0.0.1:PORT/": the live page for the developer integrating the SDK.
  std::string consoleUrl() const;
  // What GET /console.json answers (its shape is in console_model.h).
  Json consoleJson() const;

  // Text for --help and the start-up banner: how a host app points the SDK here.
  std::string clientConfigurationHint() const;

  static std::string HttpDate(std::chrono::system_clock::time_point time);
  static std::optional<std::chrono::system_clock::time_point> ParseHttpDate(const std::string& text);

 private:
  struct AppConfig {
    Json config;
    std::chrono::system_clock::time_point lastModified;
  };
  struct BatchAnswer {
    std::optional<Json> verbatim;
    Json campaigns;
  };

  void installRoutes();
  void installConsoleRoutes();
  void serveConsoleStream(httplib::Response& response);
  void serveScreenImage(const httplib::Request& request, httplib::Response& response) const;
  void handle(Endpoint endpoint, const httplib::Request& request, httplib::Response& response);
  // Each fills the record's decoded body and returns the normal answer.
  void answerEvents(RecordedRequest& record, const httplib::Request& request, int& status, Json& body);
  void answerAppConfig(RecordedRequest& record, const httplib::Request& request, int& status,
                       Json& body, std::string& lastModified);
  void answerEditor(Endpoint endpoint, RecordedRequest& record, const httplib::Request& request,
                    int& status, Json& body);
  Json generatedEventResponses(const Json& events, const Json& campaigns) const;
  std::optional<Fault> takeFault(Endpoint endpoint);
  // Waits out a scripted delay; returns early when the service stops.
  void pause(std::chrono::milliseconds delay);
  // Keeps an answered request (and the screen it uploaded, when accepted).
  void record(RecordedRequest record, std::optional<UploadedScreen> screen);

  Options options_;
  std::string error_;
  CertificateFiles certificate_;
  bool ownsCertificate_ = false;  // generated here, removed with the service
  std::unique_ptr<httplib::Server> server_;
  std::thread thread_;
  int port_ = 0;

  mutable std::mutex mutex_;
  Counts counts_;  // under mutex_
  mutable std::condition_variable changed_;
  bool stopping_ = false;
  std::deque<BatchAnswer> batchAnswers_;
  EventResponder responder_;
  Json responseTemplate_ = Json::object();
  std::map<std::string, AppConfig> appConfigs_;
  Json connectAnswer_ = Json::object();
  Json uploadScreenAnswer_ = Json::object();
  std::map<Endpoint, std::deque<Fault>> queuedFaults_;
  std::map<Endpoint, Fault> standingFaults_;
  std::vector<RecordedRequest> requests_;
  std::vector<UploadedScreen> screens_;
  std::FILE* recordFile_ = nullptr;
  // The console's own bounded copy of what arrived; `consoleVersion_` grows
  // with every request it takes in, and open streams wait for it to change.
  std::unique_ptr<ConsoleModel> console_;
  std::uint64_t consoleVersion_ = 0;
  // Tells one run of the service from the next, so that a page left open
  // across a restart does not take the new run's version for one it showed.
  std::int64_t consoleInstance_ = 0;
  int openStreams_ = 0;
};

}  // namespace tessarin::service

#endif  // TESSARIN_TOOLS_SERVICE_LOCAL_SERVICE_H_
