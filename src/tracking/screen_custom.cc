// TSRScreenCustom: a screen the app shows and hides itself, with a fixed
// view action.
#include "base/log.h"
#include "base/sdk_facade.h"
#include "platform/platform.h"
#include "tessarin/screen.h"
#include "tessarin/sdk_info.h"
#include "util/safety.h"
#include "util/string_util.h"

namespace tessarin {

std::shared_ptr<TSRScreenCustom> TSRScreenCustom::initWithViewAction(const std::optional<std::string>& viewAction) {
  return initWithViewAction(viewAction, sharedSdkFacade());
}

std::shared_ptr<TSRScreenCustom> TSRScreenCustom::initWithViewAction(const std::optional<std::string>& viewAction,
                                                                     const std::shared_ptr<SdkFacade>& facade) {
  if (!facade) return nullptr;
  std::optional<std::string> action = TSRUtilityString::trimString(viewAction);
  if (action && action->empty()) action.reset();
  std::shared_ptr<TSRScreenCustom> screen(new TSRScreenCustom(NextIdentifier(), facade, std::move(action)));
  TSR_LOG_DEBUG("Screen: [%@] Init, viewAction %@", screen->identifier(), screen->view_action_);
  Init(screen);
  return screen;
}

std::shared_ptr<TSRScreenCustom> TSRScreenCustom::initWithParentVC(const std::shared_ptr<platform::ViewController>&,
                                                                   const std::shared_ptr<SdkFacade>& facade) {
  return initWithViewAction(std::nullopt, facade);
}

TSRScreenCustom::TSRScreenCustom(std::string identifier, const std::shared_ptr<SdkFacade>& facade,
                                 std::optional<std::string> viewAction)
    : TSRScreen(std::move(identifier), facade, nullptr), view_action_(std::move(viewAction)) {}

// Hidden here, while this class's logVisible still applies.
TSRScreenCustom::~TSRScreenCustom() { Dealloc(); }

void TSRScreenCustom::setVisible(bool visible) {
  auto self = std::static_pointer_cast<TSRScreenCustom>(shared_from_this());
  TSRUtilitySafety::runOnMainWithTag(platform(), "-[TSRScreenCustom setVisible:]",
                                     [self, visible] { self->setVisiblePrivate(visible); });
}

void TSRScreenCustom::logVisible() const {
  TSR_LOG_INFO("Screen: [%@] %@, viewAction: [%@]", identifier(), isVisible() ? "Visible" : "Not visible",
               view_action_);
}

}  // namespace tessarin
