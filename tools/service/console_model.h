// What the local service's console shows: a bounded digest of the requests
// the service answered, built as JSON for the page at "/" and for scripts at
// GET /console.json.
//
// The console is for the developer integrating the SDK into a host app, who
// wants to see what their app sent and what it got back, newest first:
//
//   {
//     "instance": 1718000000000,   the service run (its start, ms since 1970)
//     "version": 12,               grows with every request the console took in
//     "totals": {"configRequests": 1, "events": 40, "campaigns": 2, "stats": 3,
//                "connects": 1, "screens": 1, "requests": 9},
//                                  how many ever arrived; the lists below keep
//                                  the latest of them (screens are all kept)
//     "configRequests": [{"id": 1, "time": <ms since 1970>, "dataset": "ds",
//                         "params": ["iOS", "com.example.app", "2.1", "1.5.0"],
//                         "ifModifiedSince": "<HTTP date>" (when sent),
//                         "status": 200, "answer": {...} (the configuration, when served)}],
//     "events": [{"id": 7, "time": ..., "dataset": "ds", "status": 200,
//                 "batch": 3, "index": 0,       the request it came in, its place there
//                 "action": "View" (when the event names one),
//                 "fields": {...},               the keys particular to this event
//                 "base": {...}}],               the keys every event carries
//     "campaigns": [{"id": 2, "time": ..., "dataset": "ds", "batch": 3, "event": 7,
//                    "campaignId": "cmp-1", "experienceId": "cmp-1-exp",
//                    "routingId": "Global", "targets": ["tsr_mn"],
//                    "campaign": {...}}],         as the service answered it
//     "stats": [{"id": 3, "time": ..., "dataset": "ds", "event": 9,
//                "routingId": "Global" (the ".ri" of the event that carried it),
//                "payload": {"id": "cmp-1-msg", "eid": "cmp-1-exp", "type": "m", "stat": "i"}}],
//     "connects": [{"id": 1, "time": ..., "dataset": "ds", "status": 200,
//                   "accepted": true, "reason": "..." (when refused with one),
//                   "info": {...}}],              the base keys the SDK connected with
//     "screens": [{"sequence": 1, "time": ..., "dataset": "ds", "width": 360, "height": 640,
//                  "bytes": 5120, "image": "/console/screens/1.png",
//                  "description": {...} (or "descriptionText": "..." when not JSON),
//                  "info": {...}}],               the upload's info without ".vcd"
//     "requests": [{"id": 9, "time": ..., "method": "POST", "path": "/mr/dataset/ds/",
//                   "endpoint": "events", "status": 200, "dropped": true (when cut off),
//                   "reason": "..." (of an error answer)}]
//   }
//
// Not thread-safe: the service guards it with its own lock.
#ifndef TESSARIN_TOOLS_SERVICE_CONSOLE_MODEL_H_
#define TESSARIN_TOOLS_SERVICE_CONSOLE_MODEL_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

#include "service/local_service.h"
#include "tessarin/json.h"

namespace tessarin::service {

class ConsoleModel {
 public:
  // How many of each the console keeps. A busy app sends thousands of
  // events; the page only needs the recent ones, and the record file (or
  // the service's printout) has them all.
  struct Limits {
    std::size_t configRequests = 100;
    std::size_t events = 500;
    std::size_t campaigns = 200;
    std::size_t stats = 500;
    std::size_t connects = 100;
    std::size_t requests = 300;
  };

  ConsoleModel() = default;
  explicit ConsoleModel(Limits limits) : limits_(limits) {}

  // Takes in one answered request.
  void add(const RecordedRequest& request);
  // The whole console, the uploaded screens (kept by the service) included.
  Json toJson(const std::vector<UploadedScreen>& screens) const;

  // The keys every event carries, which the console folds away so that the
  // keys an action adds stand out.
  static bool IsBaseKey(const std::string& key);

 private:
  void addConfigRequest(const RecordedRequest& request, std::int64_t time);
  void addEvents(const RecordedRequest& request, std::int64_t time, std::uint64_t batch);
  void addConnect(const RecordedRequest& request, std::int64_t time);

  struct List {
    std::deque<Json> entries;  // oldest first
    std::uint64_t total = 0;   // ever added, which also numbers them
  };
  // Numbers the entry (its "id") and drops the oldest beyond `limit`.
  static void Push(List& list, Json entry, std::size_t limit);

  Limits limits_;
  List configRequests_, events_, campaigns_, stats_, connects_, requests_;
};

}  // namespace tessarin::service

#endif  // TESSARIN_TOOLS_SERVICE_CONSOLE_MODEL_H_
