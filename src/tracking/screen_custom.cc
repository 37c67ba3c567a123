// TSRScreenCustom: a screen the app shows and hides itself, with a fixed
// view action.
#include "base/log.h"
#include "base/sdk_facade.h"
#include "platform/platform.h"
#include "tessarin/sdk_info.h"
#include "tracking/screen_impl.h"
#include "util/safety.h"
#include "util/string_util.h"

namespace tessarin {

TSRScreenCustom::~TSRScreenCustom() = default;

std::shared_ptr<TSRScreenCustom> TSRScreenCustom::initWithViewAction(const std::optional<std::string>& viewAction) {
  return TSRScreenCustomImpl::initWithViewAction(viewAction, sharedSdkFacade());
}

std::shared_ptr<TSRScreenCustomImpl> TSRScreenCustomImpl::initWithViewAction(
    const std::optional<std::string>& viewAction, const std::shared_ptr<SdkFacade>& facade) {
  if (!facade) return nullptr;
  std::optional<std::string> action = TSRUtilityString::trimString(viewAction);
  if (action && action->empty()) action.reset();
  std::shared_ptr<TSRScreenCustomImpl> screen(new TSRScreenCustomImpl(NextIdentifier(), facade, std::move(action)));
  TSR_LOG_DEBUG("Screen: [%@] Init, viewAction %@", screen->identifier(), screen->view_action_);
  Init(screen);
  return screen;
}

TSRScreenCustomImpl::TSRScreenCustomImpl(std::string identifier, const std::shared_ptr<SdkFacade>& facade,
                                         std::optional<std::string> viewAction)
    : TSRScreen(std::move(identifier), facade, nullptr), view_action_(std::move(viewAction)) {}

// Hidden here, while this class's logVisible still applies.
TSRScreenCustomImpl::~TSRScreenCustomImpl() { Dealloc(); }

void TSRScreenCustomImpl::setVisible(bool visible) {
  auto self = std::static_pointer_cast<TSRScreenCustomImpl>(shared_from_this());
  TSRUtilitySafety::runOnMainWithTag(platform(), "-[TSRScreenCustom setVisible:]",
                                     [self, visible] { self->setVisiblePrivate(visible); });
}

void TSRScreenCustomImpl::logVisible() const {
  TSR_LOG_INFO("Screen: [%@] %@, viewAction: [%@]", identifier(), isVisible() ? "Visible" : "Not visible",
               view_action_);
}

}  // namespace tessarin
