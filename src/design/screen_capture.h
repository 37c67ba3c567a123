// What the designer receives of a screen: the description of its view
// controller (as compact JSON, with the hash that names the screen in the
// upload record) and a PNG picture of the window it is shown in.
//
// Main thread only: it reads view controllers and draws their windows.
#ifndef TESSARIN_DESIGN_SCREEN_CAPTURE_H_
#define TESSARIN_DESIGN_SCREEN_CAPTURE_H_

#include <memory>
#include <optional>
#include <string>

namespace tessarin {

class Environment;
class TSRViewControllerDescription;
namespace platform {
class ViewController;
}  // namespace platform

struct TSRDesignScreenDescription {
  std::shared_ptr<TSRViewControllerDescription> vcd;  // null before the view controller first appeared
  std::optional<std::string> json;                    // compact; nothing when it cannot be written
  std::string hashText;                               // the hash as an unsigned decimal
};

class TSRDesignScreenCapture {
 public:
  static TSRDesignScreenDescription describe(const platform::ViewController& vc);
  // The view controller's window (the first normal window when its view is
  // not loaded or in no window), scaled so that neither side exceeds
  // `maxDimensionPx` pixels, as PNG; empty when nothing could be drawn.
  static std::string pngOfWindow(Environment& environment, const platform::ViewController& vc,
                                 unsigned maxDimensionPx);
};

}  // namespace tessarin

#endif  // TESSARIN_DESIGN_SCREEN_CAPTURE_H_
