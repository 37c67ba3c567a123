#include "core/category_markers.h"

namespace tessarin {

std::vector<std::string> MissingCategories() {
  struct Category {
    const char* marker;
    const char* name;
  };
  const Category categories[] = {
      {&TSRCategoryMarker_Tessarin_Swizzling, "Tessarin+Swizzling"},
      {&TSRCategoryMarker_UIViewController_Tessarin, "UIViewController+Tessarin"},
      {&TSRCategoryMarker_UIViewController_TSRTracking, "UIViewController+TSRTracking"},
      {&TSRCategoryMarker_UIApplication_TSRUserIdleTracking, "UIApplication+TSRUserIdleTracking"},
      {&TSRCategoryMarker_UNUserNotificationCenter_TessarinPrivate, "UNUserNotificationCenter+TessarinPrivate"},
      {&TSRCategoryMarker_NSData_TSRGzip, "NSData+TSRGzip"},
  };
  std::vector<std::string> missing;
  for (const Category& category : categories) {
    if (category.marker == nullptr) missing.push_back(category.name);
  }
  return missing;
}

}  // namespace tessarin
