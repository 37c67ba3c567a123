// Scripts for the stand-alone service: a JSON file that says what to answer.
//
//   {
//     "eventResponse": {"anonAffinityId": "aa-1"},       members of every generated event response
//     "eventAnswers": [ <body>, ... ],                   verbatim bodies for the first batches
//     "campaigns": [ [<campaign>, ...], ... ],           campaigns for the batches after those
//     "appConfig": {"<dataset or *>": {"config": {...}, "lastModified": "<HTTP date>"}},
//     "connect": {...}, "uploadScreen": {...},           editor answers
//     "faults": {"<events|appConfig|connect|uploadScreen>":
//                 [{"status": 503, "body": {"reason": "..."}, "delayMs": 0, "drop": false,
//                   "standing": false}, ...]}
//   }
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
