// How a message's data becomes its panel: the panel placed on the screen,
// its labels, its row of buttons, and the tap and swipe actions. The
// constraints are written in the visual format; the strings below are the
// layout of every message and are kept as they are.
#include <algorithm>
#include <cctype>
#include <map>
#include <string>

#include "base/log.h"
#include "platform/ui/text_layout.h"
#include "platform/ui/layout/layout_constraint.h"
#include "platform/ui/tap_gesture_recognizer.h"
#include "ui/message_action.h"
#include "ui/message_button.h"
#include "ui/message_data.h"
#include "ui/message_view_controller.h"
#include "ui/swipe_gesture_recognizer.h"

namespace tessarin {

namespace kit = platform::ui;
using kit::layout::LayoutConstraint;
using kit::layout::LayoutItem;

namespace {

using Metrics = std::map<std::string, double>;
using Views = std::map<std::string, LayoutItem*>;

// More buttons than fit across any screen only cost layout time: data with
// thousands of them must not stall the app's main thread.
constexpr std::size_t kMaxButtons = 16;
// A label shows at most two lines; a longer text is only measured for
// nothing, so it is cut long before it could cost much.
constexpr std::size_t kMaxTextBytes = 4096;

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

std::string CutText(std::string text) { return kit::truncateUtf8(std::move(text), kMaxTextBytes); }

// Adds the constraints of one format to `holder`. The formats are fixed
// and their metrics numbers, so a failure is the SDK's own fault; it is
// logged and that part of the layout is left out.
void Install(kit::View& holder, const std::string& format, const Metrics& metrics, const Views& views) {
  std::string error;
  auto constraints = LayoutConstraint::constraintsWithVisualFormat(format, metrics, views, &holder, &error);
  if (!error.empty()) {
    TSR_LOG_ERROR("UI: InAppMessage layout %@ failed: %@", format, error);
    return;
  }
  holder.addConstraints(constraints);
}

std::shared_ptr<kit::View> MakeLayoutView() {
  auto view = std::make_shared<kit::View>();
  view->setTranslatesAutoresizingMaskIntoConstraints(false);
  return view;
}

}  // namespace

kit::TextAlignment TSRUIMessageViewController::textAlignmentFromString(const std::optional<std::string>& string,
                                                                       kit::TextAlignment fallback) {
  if (!string) return fallback;
  std::string lower = Lower(*string);
  if (lower == "left") return kit::TextAlignment::kLeft;
  if (lower == "center") return kit::TextAlignment::kCenter;
  if (lower == "right") return kit::TextAlignment::kRight;
  TSR_LOG_WARN("UI: InAppMessage Text alignment not supported: %@", *string);
  return fallback;
}

kit::TextStyle TSRUIMessageViewController::textStyleFromString(const std::optional<std::string>& string,
                                                               kit::TextStyle fallback) {
  if (!string) return fallback;
  std::string lower = Lower(*string);
  if (auto style = kit::textStyleFromName(lower)) return *style;
  TSR_LOG_WARN("UI: InAppMessage Text style not supported: %@", lower);
  return fallback;
}

std::shared_ptr<kit::Label> TSRUIMessageViewController::labelFromJSON(const Json& json, int numLines,
                                                                      kit::TextStyle style,
                                                                      kit::TextStyle* usedStyle) const {
  auto label = std::make_shared<kit::Label>();
  label->setBackgroundColor(kit::Color::clear());
  label->setTextColor(kit::Color::white());
  label->setTextAlignment(kit::TextAlignment::kCenter);
  label->setTruncatesTail(true);
  label->setNumberOfLines(numLines);
  label->setText(CutText(message_data::String(json, "text").value_or("")));
  if (auto color = message_data::Color(json, "textColor")) label->setTextColor(*color);
  label->setTextAlignment(textAlignmentFromString(message_data::String(json, "textAlignment"), kit::TextAlignment::kCenter));
  style = textStyleFromString(message_data::String(json, "textStyle"), style);
  label->setFont(preferredFontForTextStyle(style));
  if (label->text().empty()) return nullptr;
  if (usedStyle) *usedStyle = style;
  return label;
}

bool TSRUIMessageViewController::buildSubviews() {
  buildMainView();
  titleLabel_ = buildLabelFromJSONKey("title", 249, 1, kit::TextStyle::kHeadline, &titleStyle_);
  bodyLabel_ = buildLabelFromJSONKey("body", 248, 2, kit::TextStyle::kBody, &bodyStyle_);
  if (!titleLabel_ && !bodyLabel_) {
    TSR_LOG_WARN("UI: InAppMessage VC requires title and/or body");
    return false;
  }
  buildButtonViews();

  Install(*mainView_, "V:[lastVerticalView]-_paddingVertical-|", {{"_paddingVertical", paddingVertical_}},
          {{"lastVerticalView", lastVerticalView()}});

  // Without buttons the whole panel is the button: a tap runs its action,
  // which by default hides the message and tracks a dismissal.
  if (buttons_.empty()) {
    static const Json& kNoAction = *new Json(Json::object());  // never destroyed: threads may outlive exit
    const Json* interactions = message_data::Dictionary(json_, "interactionMap");
    const Json* tap = interactions ? message_data::Dictionary(*interactions, "tap") : nullptr;
    auto self = std::static_pointer_cast<TSRUIMessageViewController>(shared_from_this());
    tapAction_ = TSRUIMessageAction::initWithJSON(tap ? tap : &kNoAction, self, "message-tap");
    if (tapAction_) {
      auto recognizer = std::make_shared<kit::TapGestureRecognizer>();
      std::weak_ptr<TSRUIMessageAction> action = tapAction_;
      recognizer->addTarget([action](kit::GestureRecognizer& sender) {
        if (sender.state() != kit::GestureState::kEnded) return;
        if (auto a = action.lock()) a->runActionBlock(&sender);
      });
      mainView_->addGestureRecognizer(recognizer);
    } else {
      TSR_LOG_WARN("UI: InAppMessage VC has no buttons or tap action");
    }
  }
  buildSwipeSupport();
  return true;
}

void TSRUIMessageViewController::buildMainView() {
  mainView_ = MakeLayoutView();
  mainView_->setLayoutName("mainView");
  mainView_->setUserInteractionEnabled(true);
  mainView_->setBackgroundColor(message_data::Color(json_, "backgroundColor").value_or(kit::Color::black()));
  mainView_->setCornerRadius(std::max(0.0, message_data::Number(json_, "cornerRadius").value_or(0.0)));
  mainView_->setBorderWidth(std::max(0.0, message_data::Number(json_, "borderWidth").value_or(0.0)));
  mainView_->setBorderColor(message_data::Color(json_, "borderColor").value_or(kit::Color::white()));
  auto& root = *view();
  root.addSubview(mainView_);

  Metrics metrics{{"_marginHorizontal", marginHorizontal_}, {"_marginVertical", marginVertical_},
                  {"_heightMin", heightMin_}};
  Views views{{"_mainView", mainView_.get()},
              {"topLG", topLayoutGuide().get()},
              {"botLG", bottomLayoutGuide().get()}};
  Install(root, "|-_marginHorizontal-[_mainView]-_marginHorizontal-|", metrics, views);
  std::string vertical = FormatLogMessage(
      "V:%@-(%@_marginVertical)-[_mainView(>=_heightMin)]-(%@_marginVertical)-%@",
      {LogArg(useLayoutGuides_ ? "[topLG]" : "|"), LogArg(position_ == "top" ? "==" : ">="),
       LogArg(position_ == "bottom" ? "==" : ">="), LogArg(useLayoutGuides_ ? "[botLG]" : "|")});
  Install(root, vertical, metrics, views);
  if (position_ == "center") {
    root.addConstraint(LayoutConstraint::make(mainView_.get(), kit::LayoutAttribute::kCenterY,
                                              kit::LayoutRelation::kEqual, &root, kit::LayoutAttribute::kCenterY,
                                              1.0, 0.0));
  }
}

std::shared_ptr<kit::Label> TSRUIMessageViewController::buildLabelFromJSONKey(const char* key,
                                                                              double verticalHuggingPriority,
                                                                              int numLines, kit::TextStyle style,
                                                                              kit::TextStyle* usedStyle) {
  const Json* json = message_data::Dictionary(json_, key);
  if (!json || json->empty()) return nullptr;
  auto label = labelFromJSON(*json, numLines, style, usedStyle);
  if (!label) return nullptr;
  label->setLayoutName(key);
  label->setTranslatesAutoresizingMaskIntoConstraints(false);
  label->setContentHuggingPriority(verticalHuggingPriority, kit::Axis::kVertical);
  mainView_->addSubview(label);

  kit::View* above = titleLabel_.get();
  Metrics metrics{{"_paddingHorizontal", paddingHorizontal_}, {"_paddingVertical", paddingVertical_}};
  Views views{{"label", label.get()}};
  if (above) views["lastVerticalView"] = above;
  Install(*mainView_, "|-_paddingHorizontal-[label]-_paddingHorizontal-|", metrics, views);
  // Title and body touch: no space between them.
  Install(*mainView_, above ? "V:[lastVerticalView][label]" : "V:|-_paddingVertical-[label]", metrics, views);
  return label;
}

void TSRUIMessageViewController::buildButtonViews() {
  buttonsSpacing_ = 10;
  buttonsHeightMin_ = 36;
  // From the default height, before any override: a custom height alone
  // leaves the minimum width as it is.
  buttonsWidthMin_ = 3 * buttonsHeightMin_;
  buttonsWidthStrict_ = true;
  if (const Json* settings = message_data::Dictionary(json_, "interactionSettings")) {
    buttonsHeightMin_ = message_data::Number(*settings, "buttonsHeightMin").value_or(buttonsHeightMin_);
    buttonsWidthMin_ = message_data::Number(*settings, "buttonsWidthMin").value_or(buttonsWidthMin_);
    buttonsSpacing_ = message_data::Number(*settings, "buttonsSpacing").value_or(buttonsSpacing_);
    buttonsWidthStrict_ = message_data::Flag(*settings, "buttonsWidthStrict").value_or(buttonsWidthStrict_);
  }

  const Json* map = message_data::Dictionary(json_, "buttonMap");
  if (!map || map->empty()) return;
  std::size_t count = map->size();
  if (count > kMaxButtons) {
    TSR_LOG_WARN("UI: InAppMessage Buttons limited to %lu of %lu", kMaxButtons, count);
    count = kMaxButtons;
  }
  auto self = std::static_pointer_cast<TSRUIMessageViewController>(shared_from_this());
  for (std::size_t i = 0; i < count; ++i) {
    std::string key = std::to_string(i);
    auto it = map->find(key);
    if (it == map->end()) break;
    const Json& value = *it;
    if (!value.is_object()) {
      TSR_LOG_WARN("UI: InAppMessage Button class unexpected %@ %@", JsonClassName(value), value);
      break;
    }
    std::string logName = FormatLogMessage("button%@", {LogArg(key)});
    auto button = TSRUIMessageButton::initWithJSON(&value, self, logName);
    if (!button) continue;
    button->setLayoutName(logName);
    button->setTranslatesAutoresizingMaskIntoConstraints(false);
    buttons_.push_back(button);
    mainView_->addSubview(button);
  }
  if (buttons_.empty()) return;

  kit::View* above = bodyLabel_ ? bodyLabel_.get() : titleLabel_ ? titleLabel_.get() : mainView_.get();
  auto leading = MakeLayoutView();
  auto trailing = MakeLayoutView();
  for (const auto& spacer : {leading, trailing}) {
    spacer->setBackgroundColor(kit::Color::clear());
    spacer->setUserInteractionEnabled(false);
    mainView_->addSubview(spacer);
  }
  leading->setLayoutName("leadingSpacerView");
  trailing->setLayoutName("trailingSpacerView");

  Metrics metrics{{"_paddingHorizontal", paddingHorizontal_},
                  {"_paddingVertical", paddingVertical_},
                  {"_buttonsHeightMin", buttonsHeightMin_},
                  {"_buttonsWidthMin", buttonsWidthMin_},
                  {"_buttonsSpacing", buttonsSpacing_},
                  {"buttonsEqualWidthPriority", buttonsWidthStrict_ ? 1000.0 : 251.0}};
  Views views{{"lastVerticalView", above}, {"leadingSpacerView", leading.get()}, {"trailingSpacerView", trailing.get()}};
  Install(*mainView_, "V:[lastVerticalView]-_paddingVertical-[leadingSpacerView(_buttonsHeightMin)]", metrics, views);
  Install(*mainView_, "V:[lastVerticalView]-_paddingVertical-[trailingSpacerView(_buttonsHeightMin)]", metrics, views);

  kit::View* previous = nullptr;
  for (const auto& button : buttons_) {
    button->setContentHuggingPriority(250, kit::Axis::kVertical);
    views["button"] = button.get();
    Install(*mainView_, "V:[lastVerticalView]-_paddingVertical-[button(>=_buttonsHeightMin)]", metrics, views);
    if (previous) views["previousButton"] = previous;
    // After the leading spacer with no gap, or after the previous button.
    const char* before = previous ? "[previousButton]" : "|-_paddingHorizontal-[leadingSpacerView]";
    const char* gap = previous ? "_buttonsSpacing" : "0";
    Install(*mainView_, FormatLogMessage("%@-%@-[button(>=_buttonsWidthMin)]", {LogArg(before), LogArg(gap)}), metrics,
            views);
    if (previous) Install(*mainView_, "[button(previousButton@buttonsEqualWidthPriority)]", metrics, views);
    previous = button.get();
  }
  // Equal spacers on both sides centre the row.
  Install(*mainView_, "[button][trailingSpacerView(leadingSpacerView)]-_paddingHorizontal-|", metrics, views);
}

void TSRUIMessageViewController::buildSwipeSupport() {
  const Json* interactions = message_data::Dictionary(json_, "interactionMap");
  if (!interactions || interactions->empty()) return;
  auto self = std::static_pointer_cast<TSRUIMessageViewController>(shared_from_this());
  std::map<std::string, std::shared_ptr<TSRUIMessageAction>> swipes;
  TSRUISwipeGestureRecognizer::SwipeActions blocks;
  for (const char* direction : {TSRUISwipeGestureRecognizer::kSwipeLeft, TSRUISwipeGestureRecognizer::kSwipeRight,
                                TSRUISwipeGestureRecognizer::kSwipeUp, TSRUISwipeGestureRecognizer::kSwipeDown}) {
    const Json* json = message_data::Dictionary(*interactions, direction);
    if (!json) continue;
    auto action = TSRUIMessageAction::initWithJSON(json, self, FormatLogMessage("swipe-%@", {LogArg(direction)}));
    if (!action) continue;
    swipes[direction] = action;
    std::weak_ptr<TSRUIMessageAction> weak = action;
    blocks[direction] = [weak](kit::GestureRecognizer& sender) {
      if (auto a = weak.lock()) a->runActionBlock(&sender);
    };
  }
  if (blocks.empty()) return;
  swipes_ = std::move(swipes);
  const Json* settings = message_data::Dictionary(json_, "interactionSettings");
  static const Json& kNoSettings = *new Json(Json::object());  // never destroyed: threads may outlive exit
  swipeRecognizer_ = TSRUISwipeGestureRecognizer::initWithSwipeActions(std::move(blocks), settings ? *settings : kNoSettings);
  if (swipeRecognizer_) mainView_->addGestureRecognizer(swipeRecognizer_);
}

kit::View* TSRUIMessageViewController::lastVerticalView() const {
  if (!buttons_.empty()) return buttons_.back().get();
  if (bodyLabel_) return bodyLabel_.get();
  if (titleLabel_) return titleLabel_.get();
  return mainView_.get();
}

}  // namespace tessarin
