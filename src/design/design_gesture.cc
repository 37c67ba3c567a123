#include "design/design_gesture.h"

#include "platform/ui/host_view_hierarchy.h"
#include "platform/ui/long_press_gesture_recognizer.h"
#include "platform/ui/window.h"

namespace tessarin {

std::shared_ptr<platform::ui::Window> TSRDesignGesture::kitWindowOf(const platform::Window& window) {
  auto* host = dynamic_cast<const platform::ui::HostWindow*>(&window);
  return host ? host->kitWindow() : nullptr;
}

TSRDesignGesture::TSRDesignGesture(const std::shared_ptr<platform::ui::Window>& window, int touches,
                                   double minimumDuration, Action action)
    : window_(window) {
  auto press = std::make_shared<platform::ui::LongPressGestureRecognizer>();
  press->setNumberOfTouchesRequired(touches);
  press->setMinimumPressDuration(minimumDuration);
  press->setCancelsTouchesInView(false);
  press->setDelaysTouchesBegan(false);
  press->addTarget(std::move(action));
  recognizer_ = press;
  if (window) window->addGestureRecognizer(recognizer_);
}

TSRDesignGesture::~TSRDesignGesture() { detach(); }

bool TSRDesignGesture::isAttachedTo(const platform::ui::Window* window) const {
  auto attached = window_.lock();
  return attached && attached.get() == window && recognizer_->view() == window;
}

void TSRDesignGesture::detach() {
  if (auto window = window_.lock()) window->removeGestureRecognizer(recognizer_.get());
  window_.reset();
}

}  // namespace tessarin
