// "__screenUploads": the screens this installation has uploaded to the
// designer, by the decimal text of their description's hash, with the time
// of the upload (seconds since 1970). The record lives in the SDK's own
// configuration layer, which persists, so that a screen is uploaded once
// per installation however often the user comes back to it.
//
// Main thread only, like the configuration's writers.
#ifndef TESSARIN_DESIGN_SCREEN_UPLOADS_H_
#define TESSARIN_DESIGN_SCREEN_UPLOADS_H_

#include <optional>
#include <string>

namespace tessarin {

class TSRConfig;

class TSRScreenUploads {
 public:
  explicit TSRScreenUploads(TSRConfig& config) : config_(config) {}

  // When the screen with this hash went up; nothing when it has not.
  std::optional<double> uploadedAt(const std::string& hashText) const;
  void record(const std::string& hashText, double time);
  // A failed upload is forgotten, so that the next visit tries again.
  void forget(const std::string& hashText);

 private:
  TSRConfig& config_;
};

}  // namespace tessarin

#endif  // TESSARIN_DESIGN_SCREEN_UPLOADS_H_
