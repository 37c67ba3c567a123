// Design mode: a hidden gesture asks the service's editor for a connection;
// once connected, ordinary events stop and each screen the user stays on is
// uploaded, described and pictured, so that the editor can show it and
// build campaigns for it. The connection ends on the way to the background,
// when the SDK stops, or when an upload fails for a reason other than the
// network.
#include <algorithm>
#include <atomic>
#include <memory>
#include <optional>
#include <string>

#include "base/collaborators.h"
#include "base/log.h"
#include "core/tessarin_impl.h"
#include "design/design_gesture.h"
#include "design/screen_capture.h"
#include "design/screen_uploads.h"
#include "platform/alert.h"
#include "platform/platform.h"
#include "platform/ui/gesture_recognizer.h"
#include "platform/ui/long_press_gesture_recognizer.h"
#include "platform/ui/tap_gesture_recognizer.h"
#include "platform/view_hierarchy.h"
#include "tracking/screen_impl.h"
#include "tracking/view_controller_description.h"
#include "transport/events_util.h"
#include "transport/reachability_manager.h"
#include "util/config.h"
#include "util/host_app.h"
#include "util/networking.h"
#include "util/safety.h"
#include "util/timing_util.h"

namespace tessarin {
namespace {

constexpr const char* kDesignerTitle = "Tessarin Designer";
constexpr int kDesignGestureTouches = 3;
// A simulator's pointer makes two touches at most.
constexpr int kDesignGestureTouchesInSimulator = 2;
constexpr double kDesignGestureSeconds = 3.0;
constexpr int kApplicationStateActive = 0;

// The app's window cannot be found while it sets itself up; saying so once
// is enough, however often the SDK starts.
std::atomic<bool> gWindowUndeterminedLogged{false};

}  // namespace

bool TessarinImpl::designModeAllowed() const { return config_->boolForKey("useDesignMode").value_or(false); }

void TessarinImpl::allowDesignConnections() {
  OnMain("-[Tessarin allowDesignConnections]", [](TessarinImpl& self) {
    self.config_->setConfiguration(Json{{"useDesignMode", true}}, TSRConfig::kLayerRuntime);
    self.updateDesignGestureRecognizer();
  });
}

void TessarinImpl::updateDesignGestureRecognizer() {
  if (!designModeAllowed() || !running() || !AppStateIs(kApplicationStateActive)) return;
  auto window = di_->hostApp().firstNormalWindow();
  auto kit_window = window ? TSRDesignGesture::kitWindowOf(*window) : nullptr;
  if (!kit_window) {
    if (!gWindowUndeterminedLogged.exchange(true)) {
      TSR_LOG_ERROR("Could not verify/update design gesture recognizer, window undetermined");
    }
    return;
  }
  if (design_gesture_) {
    if (design_gesture_->isAttachedTo(kit_window.get())) return;
    if (design_gesture_->recognizer()->view()) TSR_LOG_DEBUG("Updating design gesture recognizer window");
    design_gesture_.reset();
  }
  const int touches = di_->hostApp().runningInSimulator() ? kDesignGestureTouchesInSimulator : kDesignGestureTouches;
  std::weak_ptr<TessarinImpl> weak = weak_from_this();
  design_gesture_ = std::make_unique<TSRDesignGesture>(
      kit_window, touches, kDesignGestureSeconds, [weak](platform::ui::GestureRecognizer& recognizer) {
        TSRUtilitySafety::runWithTag("-[Tessarin designGestureRecognized:]", [&] {
          if (auto self = weak.lock()) self->designGestureRecognized(&recognizer);
        });
      });
}

void TessarinImpl::designGestureRecognized(platform::ui::GestureRecognizer* sender) {
  if (!designModeAllowed() || !running()) return;
  if (sender) {
    using platform::ui::GestureState;
    const bool pressed = dynamic_cast<platform::ui::LongPressGestureRecognizer*>(sender) &&
                         sender->state() == GestureState::kBegan;
    const bool tapped =
        dynamic_cast<platform::ui::TapGestureRecognizer*>(sender) && sender->state() == GestureState::kEnded;
    if (!pressed && !tapped) return;
  }
  TSR_LOG_DEBUG("Design connect gesture recognized");
  if (design_mode_) {
    presentActionSheetForDesignMode();
  } else {
    sendDesignerConnectRequest();
  }
}

void TessarinImpl::sendDesignerConnectRequest() {
  if (!designModeAllowed() || !running() || design_mode_ || design_connect_request_uuid_) return;
  auto info = TSRUtilityEvents::buildBaseParams(*this);
  if (!info || !sender_) return;
  TSR_LOG_DEBUG("Attempting to connect to designer");
  std::weak_ptr<TessarinImpl> weak = weak_from_this();
  // The answer counts only for this sender and the request still pending.
  auto current = [weak](HttpSender* sender, const std::string& uuid) -> std::shared_ptr<TessarinImpl> {
    auto self = weak.lock();
    if (!self || sender != self->sender_.get() || self->design_connect_request_uuid_ != uuid) return nullptr;
    return self;
  };
  design_connect_request_uuid_ = sender_->connectWithInfo(
      *info,
      [current](HttpSender* sender, const std::string& uuid, const std::optional<platform::HttpResponse>&,
                const Json&) {
        auto self = current(sender, uuid);
        if (!self) return;
        const bool wifi =
            self->reachability_ && self->reachability_->lastStatus() == TSRReachabilityStatus_reachableViaWiFi;
        if (wifi) {
          self->setDesignMode(true);
          return;
        }
        self->updateAlertViewWithTitle(
            kDesignerTitle, "We recommend using this feature over a Wi-Fi network. Are you sure you wish to proceed?",
            true, false);
        if (!self->alert_view_) {
          TSR_LOG_ERROR("Designer: User unable to allow design mode connection without WiFi");
          self->design_connect_request_uuid_.reset();
        }
      },
      [current](HttpSender* sender, const std::string& uuid, const std::optional<platform::HttpResponse>&,
                const TSRError& error) {
        auto self = current(sender, uuid);
        if (!self) return;
        self->design_connect_request_uuid_.reset();
        TSR_LOG_ERROR("Design connect error: %@ %@ %@", error.description, error.failureReason,
                      error.recoverySuggestion);
      });
}

void TessarinImpl::alertView(const std::shared_ptr<platform::Alert>& alertView, int didDismissWithButtonIndex,
                             std::size_t numberOfButtons) {
  if (alertView && alertView == alert_view_) alert_view_.reset();
  if (numberOfButtons != 2 || design_mode_ || !design_connect_request_uuid_) return;
  // An alert that went by itself (its time ran out, or another replaced it)
  // reports no button: the person said nothing, and silence is no consent
  // to a connection over a cellular network.
  if (didDismissWithButtonIndex <= 0) {
    TSR_LOG_INFO("Designer: User did not allow design mode connection without WiFi");
    design_connect_request_uuid_.reset();
  } else {
    TSR_LOG_INFO("Designer: User allowed design mode connection without WiFi");
    setDesignMode(true);
  }
}

void TessarinImpl::setDesignMode(bool designMode) {
  if (designMode == design_mode_) return;
  design_mode_ = designMode;
  if (designMode) {
    updateAlertViewWithTitle(kDesignerTitle, "Connected.", false, false);
    stopSystemsAsNecessary();
    scheduleDesignUploadForVC(TSRScreen::lastVisibleVC(*platform_));
    return;
  }
  design_connect_request_uuid_.reset();
  design_upload_request_uuid_.reset();
  TSRUtilityTiming::invalidateTimer(design_upload_timer_);
  design_upload_timer_.reset();
  updateAlertViewWithTitle(kDesignerTitle, "Disconnected.", false, false);
  if (auto sheet = design_action_sheet_) sheet->dismiss(false);
  startSystemsAsNecessary();
  config_->setExpired(true);
  sendConfigRequestIfNecessary();
}

void TessarinImpl::scheduleDesignUploadForVC(const std::shared_ptr<platform::ViewController>& vc) {
  if (!running() || !design_mode_ || !vc) return;
  const double delay = config_->doubleForKey("screenUploadDelay").value_or(0.3);
  TSRUtilityTiming::invalidateTimer(design_upload_timer_);
  std::weak_ptr<TessarinImpl> weak = weak_from_this();
  std::weak_ptr<platform::ViewController> weak_vc = vc;
  auto timer_slot = std::make_shared<std::weak_ptr<platform::Timer>>();
  design_upload_timer_ = TSRUtilityTiming::createAndScheduleTimer(
      *platform_, "-[Tessarin scheduleDesignUploadForVC:]", platform_->mainQueue(), false, delay, 0,
      std::min(delay / 10, 2.0), [weak, weak_vc, timer_slot] {
        auto self = weak.lock();
        if (!self || !self->design_upload_timer_ || self->design_upload_timer_ != timer_slot->lock()) return;
        self->design_upload_timer_.reset();
        // A screen the user has already left is not uploaded.
        auto vc = weak_vc.lock();
        if (vc && vc == TSRScreen::lastVisibleVC(*self->platform_)) self->sendDesignerScreenForViewController(vc, false);
      });
  *timer_slot = design_upload_timer_;
}

void TessarinImpl::sendDesignerScreenForViewController(const std::shared_ptr<platform::ViewController>& vc,
                                                      bool allowResend) {
  if (!running() || !design_mode_ || !vc) return;
  TSRDesignScreenDescription screen = TSRDesignScreenCapture::describe(*vc);
  if (!screen.vcd || !screen.json) {
    TSR_LOG_ERROR("Designer: Cannot upload, incomplete: vcd %@ JSON %@",
                  screen.vcd ? std::optional<std::string>(screen.vcd->description()) : std::nullopt, screen.json);
    return;
  }
  TSRScreenUploads uploads(*config_);
  const std::optional<double> uploaded_at = uploads.uploadedAt(screen.hashText);
  if (uploaded_at && !allowResend) {
    TSR_LOG_DEBUG("Designer: Already uploaded on %.3f (based on hash of) vcd: %@", *uploaded_at, *screen.json);
    return;
  }
  auto info = TSRUtilityEvents::buildBaseParams(*this);
  if (!info || !sender_) return;
  (*info)[".vcd"] = *screen.json;

  const long long max_dimension = config_->longForKey("designerMaxImageDimenPx").value_or(1024);
  std::string png = TSRDesignScreenCapture::pngOfWindow(
      *di_, *vc, static_cast<unsigned>(std::clamp<long long>(max_dimension, 0, 1 << 20)));

  const bool resend = uploaded_at.has_value();
  const std::string prefix = resend ? "Re-" : "";
  TSR_LOG_DEBUG("Designer: %@Uploading vcd: %@", prefix, *screen.json);
  updateAlertViewWithTitle(kDesignerTitle, "Uploading screen...", false, true);
  std::weak_ptr<platform::Alert> uploading_alert = alert_view_;
  // Recorded before the answer, so that a screen the user revisits while
  // the upload is under way is not sent twice.
  if (!resend) uploads.record(screen.hashText, platform_->now(platform::Clock::kWall));

  std::weak_ptr<TessarinImpl> weak = weak_from_this();
  const std::optional<std::string> connect_uuid = design_connect_request_uuid_;
  // The alert is touched only while it is still the one on screen.
  auto current_alert = [uploading_alert](TessarinImpl& self) -> std::shared_ptr<platform::Alert> {
    auto alert = uploading_alert.lock();
    return alert && alert->visible() && alert == self.alert_view_ ? alert : nullptr;
  };
  design_upload_request_uuid_ = sender_->uploadScreenWithInfo(
      *info, png, "image/png",
      [weak, prefix, json = *screen.json, current_alert](HttpSender* sender, const std::string& uuid,
                                                          const std::optional<platform::HttpResponse>&, const Json&) {
        auto self = weak.lock();
        if (!self || sender != self->sender_.get()) return;
        TSR_LOG_DEBUG("Designer: %@Upload success for vcd: %@", prefix, json);
        if (self->design_upload_request_uuid_ == uuid) self->design_upload_request_uuid_.reset();
        if (auto alert = current_alert(*self)) {
          alert->replaceActivityIndicatorWithText("✓");
          alert->dismiss(true);
        }
      },
      [weak, prefix, resend, connect_uuid, json = *screen.json, hash = screen.hashText, current_alert](
          HttpSender* sender, const std::string& uuid, const std::optional<platform::HttpResponse>&,
          const TSRError& error) {
        auto self = weak.lock();
        if (!self || sender != self->sender_.get()) return;
        TSR_LOG_ERROR("Designer: %@Upload error for vcd: %@ %@ %@ %@", prefix, json, error.description,
                      error.failureReason, error.recoverySuggestion);
        if (self->design_upload_request_uuid_ == uuid) self->design_upload_request_uuid_.reset();
        if (current_alert(*self)) self->updateAlertViewWithTitle(kDesignerTitle, "Screen upload failed.", false, false);
        if (!resend) TSRScreenUploads(*self->config_).forget(hash);
        // A network that comes and goes keeps the connection; anything else
        // means the editor no longer takes this app's screens.
        if (self->design_connect_request_uuid_ == connect_uuid &&
            !TSRUtilityNetworking::connectivityProblemForError(&error, "Design upload:")) {
          self->setDesignMode(false);
        }
      });
}

void TessarinImpl::presentActionSheetForDesignMode() {}

void TessarinImpl::forceScreenshotUploadCurrentVC() {}

void TessarinImpl::actionSheet(const std::shared_ptr<platform::Alert>& actionSheet, int clickedButtonAtIndex) {
  if (!actionSheet || actionSheet != design_action_sheet_) return;
  design_action_sheet_.reset();
  if (!design_mode_) return;
  if (clickedButtonAtIndex == 1) {
    TSR_LOG_DEBUG("Designer: User exit design mode");
    setDesignMode(false);
  } else if (clickedButtonAtIndex == 0) {
    TSR_LOG_DEBUG("Designer: User force screenshot upload");
    forceScreenshotUploadCurrentVC();
  }
}

}  // namespace tessarin
