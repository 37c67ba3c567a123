// Screens: the tracking contexts of the places a user looks at.
//
// A screen is visible while its place is on view, and a visible screen is
// active (while the app is in the foreground and the user is not idle), so
// campaigns answered to it can be delivered. When it becomes active it
// sends its view action. The number of screens visible at once is capped
// ("maxScreens"): showing one more hides the oldest.
//
// Where the host has view controllers the SDK makes and follows their
// screens itself. Every other place, and every place of an app on a host
// without view controllers, gets a TSRScreenCustom: a screen with a view
// action of the app's choosing, made visible and not visible by the app.
#ifndef TESSARIN_SCREEN_H_
#define TESSARIN_SCREEN_H_

#include <memory>
#include <optional>
#include <string>

#include "tessarin/context.h"
#include "tessarin/export.h"

namespace tessarin {

// The interface an app uses; the SDK's own implementation is internal.
//
// Thread contract: as for every context, each member may be called from any
// thread. setVisible takes effect on the main thread, in the order the calls
// were made from one thread; isVisible tells what the main thread last
// applied; the view action never changes.
class TESSARIN_EXPORT TSRScreenCustom : public virtual TSRContext {
 public:
  // A new screen on the shared instance, not visible; null when there is
  // none. The action is trimmed of surrounding white space; empty means
  // none, and the screen then sends no view action.
  static std::shared_ptr<TSRScreenCustom> initWithViewAction(const std::optional<std::string>& viewAction);
  ~TSRScreenCustom() override;

  // The app says when its screen is on view.
  virtual void setVisible(bool visible) = 0;
  virtual bool isVisible() const = 0;
  virtual std::optional<std::string> viewAction() const = 0;

 protected:
  TSRScreenCustom() = default;
};

}  // namespace tessarin

#endif  // TESSARIN_SCREEN_H_
