// What the UI kit needs from the host that is not a window: the platform
// (main queue, clock, timers, notification centre), the reader's text size,
// the layout direction, and the animator. The host creates one and passes
// it to its screens; nothing in the kit keeps such state globally.
//
// Main thread only.
#ifndef TESSARIN_PLATFORM_UI_UI_ENVIRONMENT_H_
#define TESSARIN_PLATFORM_UI_UI_ENVIRONMENT_H_

#include <memory>
#include <string>

#include "platform/platform.h"
#include "platform/ui/layout/layout_types.h"
#include "platform/ui/text_style.h"

namespace tessarin::platform::ui {

class Animator;

class UIEnvironment {
 public:
  // `platform` must outlive the environment.
  explicit UIEnvironment(Platform& platform);
  ~UIEnvironment();
  UIEnvironment(const UIEnvironment&) = delete;
  UIEnvironment& operator=(const UIEnvironment&) = delete;

  Platform& platform() { return platform_; }

  // The reader's text size (large unless the host says otherwise). A change
  // posts kContentSizeCategoryDidChangeNotification with the new name;
  // setting an unknown name or the current one does nothing.
  const std::string& contentSizeCategory() const { return contentSizeCategory_; }
  void setContentSizeCategory(const std::string& category);
  Font preferredFont(TextStyle style) const { return preferredFont(style, contentSizeCategory_); }
  static Font preferredFont(TextStyle style, const std::string& category) {
    return ui::preferredFont(style, category);
  }

  // The application's layout direction: whether leading means left.
  LayoutDirection layoutDirection() const { return layoutDirection_; }
  void setLayoutDirection(LayoutDirection direction) { layoutDirection_ = direction; }

  Animator& animator() { return *animator_; }

 private:
  Platform& platform_;
  std::string contentSizeCategory_ = kContentSizeCategoryLarge;
  LayoutDirection layoutDirection_ = LayoutDirection::kLeftToRight;
  std::unique_ptr<Animator> animator_;
};

}  // namespace tessarin::platform::ui

#endif  // TESSARIN_PLATFORM_UI_UI_ENVIRONMENT_H_
