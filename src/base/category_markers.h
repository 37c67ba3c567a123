// Six parts of the SDK extend platform classes. Each one, when it is linked
// in, defines a marker symbol; the shared instance checks the markers so a
// build that left a part out says so at once.
#ifndef TESSARIN_BASE_CATEGORY_MARKERS_H_
#define TESSARIN_BASE_CATEGORY_MARKERS_H_

#include <string>
#include <vector>

extern "C" {
extern const char TSRCategoryMarker_Tessarin_Swizzling __attribute__((weak));
extern const char TSRCategoryMarker_UIViewController_Tessarin __attribute__((weak));
extern const char TSRCategoryMarker_UIViewController_TSRTracking __attribute__((weak));
extern const char TSRCategoryMarker_UIApplication_TSRUserIdleTracking __attribute__((weak));
extern const char TSRCategoryMarker_UNUserNotificationCenter_TessarinPrivate __attribute__((weak));
extern const char TSRCategoryMarker_NSData_TSRGzip __attribute__((weak));
}

namespace tessarin {

// One line for each part whose marker is absent, in a fixed order.
std::vector<std::string> MissingCategoryMessages();

}  // namespace tessarin

#endif  // TESSARIN_BASE_CATEGORY_MARKERS_H_
