#include "base/category_markers.h"

namespace tessarin {

std::vector<std::string> MissingCategoryMessages() {
  struct Category {
    const char* marker;
    const char* message;
  };
  const Category categories[] = {
      {&TSRCategoryMarker_Tessarin_Swizzling, "Failed to find category Tessarin+Swizzling"},
      {&TSRCategoryMarker_UIViewController_Tessarin, "Failed to find category UIViewController+Tessarin"},
      {&TSRCategoryMarker_UIViewController_TSRTracking, "Failed to find category UIViewController+TSRTracking"},
      {&TSRCategoryMarker_UIApplication_TSRUserIdleTracking, "Failed to find category UIApplication+TSRUserIdleTracking"},
      {&TSRCategoryMarker_UNUserNotificationCenter_TessarinPrivate,
     "Failed to find category UNUserNotificationCenter+TessarinPrivate"},
      {&TSRCategoryMarker_NSData_TSRGzip, "Failed to find category NSData+TSRGzip"},
  };
  std::vector<std::string> missing;
  for (const Category& category : categories) {
    if (category.marker == nullptr) missing.push_back(category.message);
  }
  return missing;
}

}  // namespace tessarin
