// Test campaigns: a link with the SDK's URL scheme switches the device into
// a test selection (all test campaigns, none, or one experience), which
// rides on every event the façade builds until it times out, is replaced,
// or the SDK stops. Each change is confirmed to the person testing by a
// short alert.
#include <algorithm>
#include <cctype>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/log.h"
#include "core/tessarin_impl.h"
#include "platform/alert.h"
#include "platform/platform.h"
#include "platform/unicode_library.h"
#include "platform/ui/alert_presenter.h"
#include "util/environment.h"
#include "util/config.h"
#include "util/networking_url.h"
#include "util/safety.h"
#include "util/string_util.h"
#include "util/timing_util.h"
#include "util/utf8_text.h"

namespace tessarin {
namespace {

constexpr const char* kTestingTitle = "Tessarin Testing";
constexpr const char* kAlertTitle = "Tessarin Designer";
constexpr const char* kTitlePrefix = "Tessarin ";

std::string AsciiLower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::string PercentDecode(const std::string& text) {
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size() && HexDigit(text[i + 1]) >= 0 && HexDigit(text[i + 2]) >= 0) {
      decoded.push_back(static_cast<char>(HexDigit(text[i + 1]) * 16 + HexDigit(text[i + 2])));
      i += 2;
    } else {
      decoded.push_back(text[i]);
    }
  }
  return decoded;
}

// The host of an authority "user@host:port", without brackets.
std::string HostOfAuthority(const std::string& authority) {
  std::string host = authority.substr(authority.find('@') == std::string::npos ? 0 : authority.find('@') + 1);
  if (!host.empty() && host.front() == '[') {
    auto end = host.find(']');
    return end == std::string::npos ? host.substr(1) : host.substr(1, end - 1);
  }
  auto colon = host.rfind(':');
  if (colon != std::string::npos) host.resize(colon);
  return PercentDecode(host);
}

// The path split as the platform's URL type splits it: the root "/" first
// when the path is absolute, then each non-empty segment, decoded. An empty
// path has no components.
std::vector<std::string> PathComponents(const std::string& path) {
  std::vector<std::string> components;
  if (path.empty()) return components;
  if (path.front() == '/') components.emplace_back("/");
  std::size_t start = 0;
  while (start <= path.size()) {
    std::size_t end = path.find('/', start);
    if (end == std::string::npos) end = path.size();
    if (end > start) components.push_back(PercentDecode(path.substr(start, end - start)));
    start = end + 1;
  }
  return components;
}

}  // namespace

bool TessarinImpl::handleOpenURL(const std::optional<std::string>& url) { return handleURL(url, false); }

bool TessarinImpl::handleURL(const std::optional<std::string>& url, bool ifSwizzling) {
  if (!url) return false;
  std::optional<TSRURL> parsed = TSRURL::parse(*url);
  if (!parsed || !parsed->scheme) return false;
  if (!AsciiLower(*parsed->scheme).starts_with("tsr")) return false;
  // The URL is the SDK's either way; it is acted on by exactly one of the
  // two paths (the app's own call, or the intercepted delegate callback).
  if (ifSwizzling != swizzlingEnabled()) return true;
  OnMain("-[Tessarin(Swizzling) handleURL:ifSwizzling:]", [url = *parsed](TessarinImpl& self) {
    const std::string host = url.authority ? AsciiLower(HostOfAuthority(*url.authority)) : std::string();
    std::vector<std::string> components = PathComponents(url.path);
    if (host == "test" && components.size() == 2) {
      self.updateTestExperienceId(components[1], false);
    } else {
      self.updateAlertViewWithTitle(kTestingTitle, FormatLogMessage("Unrecognized URL: %@", {LogArg(url.absoluteString())}),
                                    false, false);
    }
  });
  return true;
}

std::optional<std::string> TessarinImpl::validateTestExperienceId(const std::optional<std::string>& experienceId) {
  std::optional<std::string> trimmed = TSRUtilityString::trimString(experienceId);
  if (trimmed) {
    // Five characters as the platform counts them (UTF-16 units), each a
    // letter, a mark or a digit of any script.
    // ASCII needs no character tables.
    std::u16string text = Utf16FromUtf8(*trimmed);
    bool valid = text.size() == 5;
    for (std::size_t i = 0; valid && i < text.size(); ++i) {
      const char16_t unit = text[i];
      if (unit < 0x80) {
        valid = (unit >= u'0' && unit <= u'9') || (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z');
      } else {
        const int32_t mask = U_GC_L_MASK | U_GC_M_MASK | U_GC_N_MASK;
        valid = platform::unicodeAvailable() && (U_MASK(platform::unicode().u_charType(unit)) & mask) != 0;
      }
    }
    if (valid) return trimmed;
  }
  TSR_LOG_WARN("Testing: Invalid experience id: %@", experienceId);
  return std::nullopt;
}

void TessarinImpl::updateTestExperienceId(const std::optional<std::string>& experienceId, bool alertOnlyIfChanging) {
  std::optional<std::string> requested = TSRUtilityString::trimString(experienceId);
  const std::string lowered = requested ? AsciiLower(*requested) : std::string();
  std::optional<std::string> candidate = requested;
  bool accepted = false;
  std::string message;
  if (requested && lowered == "all") {
    candidate = "true";
    accepted = true;
    message = "Including all test campaigns";
  } else if (!requested || lowered == "none") {
    candidate.reset();
    accepted = true;
    message = "Not including any test campaigns";
  } else if (validateTestExperienceId(requested)) {
    accepted = true;
    message = FormatLogMessage("Including specific campaign experience: %@", {LogArg(*requested)});
  } else {
    message = FormatLogMessage("Ignoring invalid campaign experience: %@", {LogArg(*requested)});
  }
  if (disabled_) {
    accepted = false;
    message = "Ignoring test campaigns, Tessarin is currently disabled.";
  }

  const bool changing = (candidate || test_experience_id_) && !(candidate && candidate == test_experience_id_);
  if (!alertOnlyIfChanging || changing) updateAlertViewWithTitle(kTestingTitle, message, false, false);
  if (!accepted) return;

  test_experience_id_ = candidate;
  TSRUtilityTiming::invalidateTimer(clear_test_experience_id_timer_);
  clear_test_experience_id_timer_.reset();
  const double timeout = config_->doubleForKey("testExperienceTimeout").value_or(0);
  if (!test_experience_id_ || timeout <= 0) return;
  std::weak_ptr<TessarinImpl> weak = weak_from_this();
  auto timer_slot = std::make_shared<std::weak_ptr<platform::Timer>>();
  clear_test_experience_id_timer_ = TSRUtilityTiming::createAndScheduleTimer(
      *platform_, "-[Tessarin updateTestExperienceId:alertOnlyIfChanging:]", platform_->mainQueue(), false, timeout,
      0, std::min(timeout / 10, 2.0), [weak, timer_slot] {
        auto self = weak.lock();
        if (!self || !self->clear_test_experience_id_timer_ ||
            self->clear_test_experience_id_timer_ != timer_slot->lock()) {
          return;
        }
        TSRUtilityTiming::invalidateTimer(self->clear_test_experience_id_timer_);
        self->clear_test_experience_id_timer_.reset();
        self->test_experience_id_.reset();
        self->updateAlertViewWithTitle(kTestingTitle,
                                       "No longer including any test campaigns. Reopen URL to start again.", false,
                                       false);
      });
  *timer_slot = clear_test_experience_id_timer_;
}

platform::AlertPresenter* TessarinImpl::AlertPresenter() {
  if (platform::AlertPresenter* platform_alerts = platform_->alertPresenter()) return platform_alerts;
  // A host without alerts of its own (the Linux host) shows the SDK's
  // windows on a screen the kit draws for it: the alert is drawn there too.
  platform::ui::Screen* screen = di_->screen();
  if (!screen) return nullptr;
  if (!kit_alert_presenter_ || kit_alert_screen_ != screen) {
    kit_alert_presenter_ = std::make_unique<platform::ui::KitAlertPresenter>(*screen);
    kit_alert_screen_ = screen;
  }
  return kit_alert_presenter_.get();
}

void TessarinImpl::updateAlertViewWithTitle(const std::string& title, const std::string& message,
                                        bool cancelButtonAndDelegate, bool activityIndicator) {
  // Dismissing may run the alert's dismissal callback, which forgets the
  // current alert: hold it while it goes.
  std::shared_ptr<platform::Alert> previous = alert_view_;
  if (message.empty()) {
    if (previous) previous->dismiss(true);
    return;
  }
  // The title only labels the log line; the alert always carries the
  // designer's title.
  const std::string label = title.starts_with(kTitlePrefix) ? title.substr(9) : title;
  TSR_LOG_INFO("%@: %@", label, message);
  if (previous) previous->dismiss(false);

  platform::AlertPresenter* presenter = AlertPresenter();
  const double alert_time = config_->doubleForKey("designerAlertTime").value_or(0);
  if (alert_time <= 0 || !platform_->hostApplication().hasSharedApplication() || !presenter) {
    alert_view_.reset();
    return;
  }
  platform::AlertRequest request;
  request.title = kAlertTitle;
  request.message = message;
  request.buttons = cancelButtonAndDelegate ? std::vector<std::string>{"Cancel", "OK"} : std::vector<std::string>{"OK"};
  request.activityIndicator = activityIndicator;
  std::weak_ptr<TessarinImpl> weak = weak_from_this();
  auto shown = std::make_shared<std::weak_ptr<platform::Alert>>();
  // An alert with a cancel button asks its delegate, the façade, what the
  // person chose; any other is only forgotten once it has gone.
  request.didDismiss = [weak, shown, delegate = cancelButtonAndDelegate,
                        buttons = request.buttons.size()](int buttonIndex) {
    auto self = weak.lock();
    if (!self) return;
    auto alert = shown->lock();
    if (delegate) {
      self->alertView(alert, buttonIndex, buttons);
    } else if (self->alert_view_ && self->alert_view_ == alert) {
      self->alert_view_.reset();
    }
  };
  alert_view_ = presenter->show(std::move(request));
  *shown = alert_view_;
  // An alert with an activity indicator stays until the work it shows ends.
  if (!alert_view_ || activityIndicator) return;
  TSRUtilitySafety::runAfterDelay(*platform_, alert_time, false, platform_->mainQueue(),
                                  "-[Tessarin updateAlertViewWithTitle:message:cancelButtonAndDelegate:activityIndicator:]",
                                  [weak, shown] {
                                    auto self = weak.lock();
                                    auto alert = shown->lock();
                                    if (self && alert && alert->visible() && self->alert_view_ == alert) {
                                      alert->dismiss(true);
                                    }
                                  });
}

}  // namespace tessarin
