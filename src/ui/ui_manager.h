// TSRUIManager: receives the in-app message campaigns that the service
// answers (the reserved target "tsr_mn" on the global context), drops
// duplicates of the message already shown or waiting, tracks only the
// impression of control-group messages, and shows the rest in an overlay
// window it makes when the first message arrives.
//
// Main thread only.
#ifndef TESSARIN_UI_UI_MANAGER_H_
#define TESSARIN_UI_UI_MANAGER_H_

#include <memory>

#include "base/collaborators.h"
#include "tessarin/campaign.h"

namespace tessarin {

class Environment;
class TSRUIMessageViewController;
class TSRUIWindow;

class TSRUIManager : public MessagePresenter, public std::enable_shared_from_this<TSRUIManager> {
 public:
  // Null (logged) without a dispatcher. Registers the manager's handler on
  // the global context of the environment's façade.
  static std::shared_ptr<TSRUIManager> initWithCampaignDispatcher(std::shared_ptr<Environment> environment,
                                                                  const std::shared_ptr<CampaignRouter>& dispatcher);
  ~TSRUIManager() override;

  void handleInAppMessageCampaign(const std::shared_ptr<TSRCampaign>& campaign);
  void showMessage(const std::shared_ptr<TSRUIMessageViewController>& message);
  // Null on a host without a screen for the SDK's windows.
  std::shared_ptr<TSRUIWindow> createWindowIfNecessary();
  void hideAllAnimated(bool animated) override;

  const std::shared_ptr<TSRUIWindow>& window() const { return window_; }
  void setWindow(std::shared_ptr<TSRUIWindow> window) { window_ = std::move(window); }
  std::shared_ptr<CampaignRouter> campaignDispatcher() const { return campaignDispatcher_.lock(); }
  std::shared_ptr<TSRUIMessageViewController> newestMessage() const;

 private:
  explicit TSRUIManager(std::shared_ptr<Environment> environment);

  std::shared_ptr<Environment> environment_;
  std::shared_ptr<TSRUIWindow> window_;
  std::weak_ptr<CampaignRouter> campaignDispatcher_;
};

}  // namespace tessarin

#endif  // TESSARIN_UI_UI_MANAGER_H_
