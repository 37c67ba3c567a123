// TSRUIMessageViewController: one in-app message campaign as a panel on the
// screen: an optional title and body, a row of buttons, a tap action on the
// panel when there are no buttons, and swipe actions. The panel sits at the
// top, bottom or centre of a transparent full-screen view and fades in and
// out with the controller's own transition. The impression is tracked once,
// the first time the message appears; its actions track the rest.
//
// The campaign's data is the message format: every key is optional, read
// by type (a value of the wrong type counts as absent), and a bad value
// degrades to its default with a Warn. A message without title and body is
// refused.
//
// Main thread only.
#ifndef TESSARIN_UI_MESSAGE_VIEW_CONTROLLER_H_
#define TESSARIN_UI_MESSAGE_VIEW_CONTROLLER_H_

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/notification_center.h"
#include "platform/ui/label.h"
#include "platform/ui/text_style.h"
#include "platform/ui/view_controller.h"
#include "platform/ui/view_transition.h"
#include "tessarin/campaign.h"
#include "tessarin/json.h"

namespace tessarin {

class Environment;
class TSRUIMessageAction;
class TSRUIMessageButton;
class TSRUISwipeGestureRecognizer;
class TSRUIWindow;

class TSRUIMessageViewController : public platform::ui::ViewController,
                                   public platform::ui::TransitioningDelegate,
                                   public platform::ui::AnimatedTransitioning {
 public:
  using ActionBlock = std::function<void(platform::ui::GestureRecognizer& recognizer)>;

  // The message, or null (logged) for a campaign that is not an in-app
  // message, has no data or lays out to nothing.
  static std::shared_ptr<TSRUIMessageViewController> initWithCampaign(const std::shared_ptr<TSRCampaign>& campaign,
                                                                     std::shared_ptr<Environment> environment);
  ~TSRUIMessageViewController() override;

  const char* typeName() const override { return "TSRUIMessageViewController"; }

  const std::shared_ptr<TSRCampaign>& campaign() const { return campaign_; }
  const Json& json() const { return json_; }
  Environment& environment() const { return *environment_; }

  // Options with their defaults.
  const std::string& position() const { return position_; }
  double animDuration() const { return animDuration_; }
  double heightMin() const { return heightMin_; }
  double marginHorizontal() const { return marginHorizontal_; }
  double marginVertical() const { return marginVertical_; }
  double paddingHorizontal() const { return paddingHorizontal_; }
  double paddingVertical() const { return paddingVertical_; }
  bool useLayoutGuides() const { return useLayoutGuides_; }
  double buttonsHeightMin() const { return buttonsHeightMin_; }
  double buttonsWidthMin() const { return buttonsWidthMin_; }
  double buttonsSpacing() const { return buttonsSpacing_; }
  bool buttonsWidthStrict() const { return buttonsWidthStrict_; }

  // What was built.
  const std::shared_ptr<platform::ui::View>& mainView() const { return mainView_; }
  const std::shared_ptr<platform::ui::Label>& titleLabel() const { return titleLabel_; }
  const std::shared_ptr<platform::ui::Label>& bodyLabel() const { return bodyLabel_; }
  platform::ui::TextStyle titleStyle() const { return titleStyle_; }
  platform::ui::TextStyle bodyStyle() const { return bodyStyle_; }
  const std::vector<std::shared_ptr<TSRUIMessageButton>>& buttons() const { return buttons_; }
  const std::shared_ptr<TSRUIMessageAction>& tapAction() const { return tapAction_; }
  const std::map<std::string, std::shared_ptr<TSRUIMessageAction>>& swipes() const { return swipes_; }
  const std::shared_ptr<TSRUISwipeGestureRecognizer>& swipeRecognizer() const { return swipeRecognizer_; }
  // The window the message appeared in (which keeps the message while it
  // shows it, so the message does not keep the window).
  std::shared_ptr<TSRUIWindow> window() const { return window_.lock(); }
  bool trackedImpression() const { return trackedImpression_; }

  // Label parsing, shared with the buttons. A label of `json` with the
  // default style `style`; null when its text is empty. `usedStyle`
  // receives the style in use.
  std::shared_ptr<platform::ui::Label> labelFromJSON(const Json& json, int numLines, platform::ui::TextStyle style,
                                                     platform::ui::TextStyle* usedStyle) const;
  static platform::ui::TextAlignment textAlignmentFromString(const std::optional<std::string>& string,
                                                             platform::ui::TextAlignment fallback);
  static platform::ui::TextStyle textStyleFromString(const std::optional<std::string>& string,
                                                     platform::ui::TextStyle fallback);
  // The reader's text size's font for a style.
  platform::ui::Font preferredFontForTextStyle(platform::ui::TextStyle style) const;

  // Dismisses the message with its fade. Actions call it.
  void hide();
  // Runs `actionBlock` for a tap recognizer on the panel.
  void handleGesture(platform::ui::GestureRecognizer& recognizer);
  void setActionBlock(ActionBlock block) { actionBlock_ = std::move(block); }

  // The controller is its own transition: a fade over animDuration.
  std::shared_ptr<platform::ui::AnimatedTransitioning> animationControllerForPresented(
      const std::shared_ptr<platform::ui::ViewController>& presented,
      const std::shared_ptr<platform::ui::ViewController>& presenting,
      const std::shared_ptr<platform::ui::ViewController>& source) override;
  std::shared_ptr<platform::ui::AnimatedTransitioning> animationControllerForDismissed(
      const std::shared_ptr<platform::ui::ViewController>& dismissed) override;
  double transitionDuration(const platform::ui::TransitionContext& context) override;
  void animateTransition(const std::shared_ptr<platform::ui::TransitionContext>& context) override;

  // The presenter's answers (the overlay's root view controller).
  int supportedInterfaceOrientations() const override;
  bool shouldAutorotate() const override;
  platform::ui::StatusBarStyle preferredStatusBarStyle() const override;
  bool prefersStatusBarHidden() const override;

 protected:
  void viewWillAppear(bool animated) override;
  void viewDidAppear(bool animated) override;
  void viewWillDisappear(bool animated) override;
  void viewDidDisappear(bool animated) override;

 private:
  explicit TSRUIMessageViewController(std::shared_ptr<Environment> environment);

  // The build steps, in the order initWithCampaign runs them.
  void configureDefaultsAndOptions();
  bool buildSubviews();
  void buildMainView();
  std::shared_ptr<platform::ui::Label> buildLabelFromJSONKey(const char* key, double verticalHuggingPriority,
                                                             int numLines, platform::ui::TextStyle style,
                                                             platform::ui::TextStyle* usedStyle);
  void buildButtonViews();
  void buildSwipeSupport();
  void observeContentSizeCategory();
  // Every view the panel stacks vertically ends here: the one the next is
  // placed under.
  platform::ui::View* lastVerticalView() const;

  std::shared_ptr<Environment> environment_;
  std::shared_ptr<TSRCampaign> campaign_;
  Json json_ = Json::object();

  std::string position_ = "top";
  double animDuration_ = 0.3;
  double heightMin_ = 44;
  double marginHorizontal_ = 10;
  double marginVertical_ = 10;
  double paddingHorizontal_ = 10;
  double paddingVertical_ = 10;
  bool useLayoutGuides_ = true;
  double buttonsHeightMin_ = 36;
  double buttonsWidthMin_ = 3 * 36;
  double buttonsSpacing_ = 10;
  bool buttonsWidthStrict_ = true;

  std::shared_ptr<platform::ui::View> mainView_;
  std::shared_ptr<platform::ui::Label> titleLabel_;
  std::shared_ptr<platform::ui::Label> bodyLabel_;
  platform::ui::TextStyle titleStyle_ = platform::ui::TextStyle::kHeadline;
  platform::ui::TextStyle bodyStyle_ = platform::ui::TextStyle::kBody;
  std::vector<std::shared_ptr<TSRUIMessageButton>> buttons_;
  std::shared_ptr<TSRUIMessageAction> tapAction_;
  std::map<std::string, std::shared_ptr<TSRUIMessageAction>> swipes_;
  std::shared_ptr<TSRUISwipeGestureRecognizer> swipeRecognizer_;
  std::weak_ptr<TSRUIWindow> window_;
  ActionBlock actionBlock_;
  std::vector<platform::ObserverToken> notificationObjects_;
  bool trackedImpression_ = false;
};

}  // namespace tessarin

#endif  // TESSARIN_UI_MESSAGE_VIEW_CONTROLLER_H_
