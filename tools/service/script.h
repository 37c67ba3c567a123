// Scripts for the stand-alone service: a JSON file that says what to answer.
//
//   {
//     "eventResponse": {"anonAffinityId": "aa-1"},       members of every generated event response
//     "eventAnswers": [ <body>, ... ],                   verbatim bodies for the first batches
//     "campaigns": [ [<campaign>, ...], ... ],           campaigns for the batches after those
//     "appConfig": {"<dataset or *>": {"config": {...}, "lastModified": "<HTTP date>"}},
//     "connect": {...}, "uploadScreen": {...},           editor answers
//     "faults": {"<events|appConfig|connect|uploadScreen>":
//                 [{"status": 503, "body": {"reason": "..."}, "reason": "...", "times": 1,
//                   "delayMs": 0, "drop": false, "reset": false, "standing": false}, ...]},
//     "certificateFor": ["127.0.0.1", "localhost"]      names of the --https certificate
//   }
//
// A fault applies to the next request to its endpoint, in the order listed;
// "times": K applies it to the next K requests in a row. "reason" is short for
// "body": {"reason": ...}, the text the SDK logs as the failure reason. A
// "standing" fault applies to every request once the others are used up.
// "status" 0 (or none) answers normally, after "delayMs", or cut off after
// the headers and half the body: "drop" closes the connection, "reset"
// aborts it with a TCP reset, as a crashing server or a middlebox does.
// A request the client gave up on (a "delayMs" longer than its timeout) or
// whose answer was cut off may still have been taken in: the service keeps
// it, marked "faulted", and the client sends its events again.
//
// "certificateFor" names what the certificate generated for --https is for
// (IP addresses and host names; by default 127.0.0.1 and localhost). Other
// names make the service a server that is not the one the client dialled,
// which a client checking host names refuses even when it trusts the
// certificate.
//
// A slow answer (the next batch answered after 5 s, beyond a client's 2 s
// request timeout), then a reset in the middle of the answer after it:
//
//   {"faults": {"events": [{"delayMs": 5000}, {"reset": true}]}}
//
// Refusing the designer's connection, and failing the next two screen uploads
// (a failed upload is not kept; the SDK uploads the screen again later):
//
//   {"faults": {"connect": [{"status": 403, "reason": "Design mode is off for this dataset."}],
//               "uploadScreen": [{"status": 500, "reason": "Storage unavailable.", "times": 2}]}}
#ifndef TESSARIN_TOOLS_SERVICE_SCRIPT_H_
#define TESSARIN_TOOLS_SERVICE_SCRIPT_H_

#include <string>

#include "service/local_service.h"
#include "tessarin/json.h"

namespace tessarin::service {

// Applies a parsed script; false with `error` naming the first bad member.
bool ApplyScript(LocalService& service, const Json& script, std::string& error);
// Reads and parses a script file.
bool ReadScriptFile(const std::string& path, Json& script, std::string& error);

}  // namespace tessarin::service

#endif  // TESSARIN_TOOLS_SERVICE_SCRIPT_H_
