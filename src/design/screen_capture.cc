#include "design/screen_capture.h"

#include "design/design_gesture.h"
#include "platform/ui/image.h"
#include "platform/ui/window.h"
#include "platform/view_hierarchy.h"
#include "tracking/view_controller_description.h"
#include "tracking/view_controller_tracking.h"
#include "ui/utility_image.h"

namespace tessarin {

TSRDesignScreenDescription TSRDesignScreenCapture::describe(const platform::ViewController& vc) {
  TSRDesignScreenDescription screen;
  screen.vcd = tsr_description(vc);
  if (!screen.vcd) return screen;
  screen.json = screen.vcd->toJSONStringPrettyPrinted(false);
  screen.hashText = std::to_string(static_cast<unsigned long>(screen.vcd->hash()));
  return screen;
}

std::string TSRDesignScreenCapture::pngOfWindow(Environment& environment, const platform::ViewController& vc,
                                                unsigned maxDimensionPx) {
  std::shared_ptr<platform::ui::Window> window;
  if (vc.isViewLoaded()) {
    if (auto host = vc.viewWindow()) window = TSRDesignGesture::kitWindowOf(*host);
  }
  auto image = TSRUtilityImage::snapshotWindow(environment, window.get(), maxDimensionPx);
  return image ? image->encodePNG() : std::string();
}

}  // namespace tessarin
