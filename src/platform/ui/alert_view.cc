#include "platform/ui/alert_view.h"

#include <algorithm>
#include <cmath>

#include "platform/ui/text_layout.h"
#include "platform/ui/ui_environment.h"

namespace tessarin::platform::ui {

namespace {

constexpr double kCornerRadius = 14;
constexpr double kSideInset = 16;
constexpr double kTopInset = 20;
constexpr double kTitleSpacing = 4;
constexpr double kAccessorySpacing = 12;
constexpr double kBottomInset = 20;
constexpr double kHairline = 0.5;

constexpr Color kPanelColor = Color::fromRGBA(0xf2f2f2ff);
constexpr Color kSeparatorColor = Color::fromRGBA(0xc6c6c8ff);
constexpr Color kButtonTitleColor = Color::fromRGBA(0x007affff);
constexpr Color kButtonHighlightColor = Color::fromRGBA(0xd9d9d9ff);

// The message can come from outside the app (a link's whole address, say):
// text far longer than any screen shows is only measured for nothing.
constexpr std::size_t kMaxTextBytes = 4096;

std::string CutText(std::string text) { return truncateUtf8(std::move(text), kMaxTextBytes); }

std::shared_ptr<Label> MakeTextLabel(const Font& font, std::string text) {
  auto label = std::make_shared<Label>();
  label->setFont(font);
  label->setNumberOfLines(0);
  label->setTextAlignment(TextAlignment::kCenter);
  label->setText(CutText(std::move(text)));
  return label;
}

// The height of `attributes` wrapped at `width`, in as many lines as
// `lines` allows (0: all of them); nothing for no text.
double TextHeight(TextAttributes attributes, double width, int lines) {
  if (attributes.text.empty()) return 0;
  attributes.numberOfLines = lines;
  return measureText(attributes, width).height;
}

}  // namespace

struct AlertView::Placement {
  Rect title;
  Rect message;
  int messageLines = 0;  // 0: all of them
  Rect accessory;
  std::vector<Rect> buttons;
  std::vector<Rect> separators;
  double height = 0;
};

AlertView::AlertView(const UIEnvironment& environment, AlertContent content)
    : accessoryFont_(environment.preferredFont(TextStyle::kBody)) {
  setBackgroundColor(kPanelColor);
  setCornerRadius(kCornerRadius);
  // The buttons' highlights follow the rounded corners at the bottom.
  setClipsToBounds(true);

  title_ = MakeTextLabel(environment.preferredFont(TextStyle::kHeadline), std::move(content.title));
  addSubview(title_);
  message_ = MakeTextLabel(environment.preferredFont(TextStyle::kFootnote), std::move(content.message));
  addSubview(message_);

  hasAccessory_ = content.activityIndicator;
  if (hasAccessory_) {
    indicator_ = std::make_shared<ActivityIndicatorView>();
    addSubview(indicator_);
    // It turns once the panel is in a window on a screen.
    indicator_->startAnimating();
  }

  Font buttonFont = environment.preferredFont(TextStyle::kBody);
  for (std::size_t i = 0; i < content.buttons.size(); ++i) {
    auto button = std::make_shared<Button>();
    button->setTitle(CutText(std::move(content.buttons[i])));
    button->titleLabel()->setFont(buttonFont);
    button->titleLabel()->setTextColor(kButtonTitleColor);
    button->setHighlightedBackgroundColor(kButtonHighlightColor);
    // The button is the panel's, so the panel is its superview while it
    // can be tapped; the handler is copied, as it may drop the panel.
    button->addTarget(ControlEvent::kTouchUpInside, [index = static_cast<int>(i)](Button& sender) {
      auto* panel = dynamic_cast<AlertView*>(sender.superview());
      if (!panel || !panel->handler_) return;
      auto handler = panel->handler_;
      handler(index);
    });
    addSubview(button);
    buttons_.push_back(std::move(button));
  }
  // One line over the row and one between neighbouring buttons, drawn
  // over the buttons so that a highlight does not hide them.
  for (std::size_t i = 0; i < buttons_.size(); ++i) separators_.push_back(makeSeparator());
}

std::shared_ptr<View> AlertView::makeSeparator() {
  auto line = std::make_shared<View>();
  line->setBackgroundColor(kSeparatorColor);
  line->setUserInteractionEnabled(false);
  addSubview(line);
  return line;
}

void AlertView::replaceActivityIndicatorWithText(std::string text) {
  if (!hasAccessory_) return;
  if (indicator_) {
    indicator_->stopAnimating();
    indicator_->removeFromSuperview();
    indicator_.reset();
  }
  if (!accessoryLabel_) {
    accessoryLabel_ = std::make_shared<Label>();
    accessoryLabel_->setFont(accessoryFont_);
    accessoryLabel_->setTextAlignment(TextAlignment::kCenter);
    accessoryLabel_->setFrame(place().accessory);
    addSubview(accessoryLabel_);
  }
  accessoryLabel_->setText(CutText(std::move(text)));
}

AlertView::Placement AlertView::place() const {
  const double inner = kWidth - 2 * kSideInset;
  Placement p;
  double titleHeight = TextHeight(title_->textAttributes(), inner, 0);
  double messageHeight = TextHeight(message_->textAttributes(), inner, 0);
  double titleGap = titleHeight > 0 && messageHeight > 0 ? kTitleSpacing : 0;
  double accessoryHeight = hasAccessory_ ? kAccessorySpacing + kAccessorySize : 0;
  std::size_t count = buttons_.size();
  double rowHeight = count == 0 ? 0 : kButtonHeight * (count <= 2 ? 1 : static_cast<double>(count));
  double fixed = kTopInset + titleHeight + titleGap + accessoryHeight + kBottomInset + rowHeight;
  if (maxHeight_ > 0 && messageHeight > 0 && fixed + messageHeight > maxHeight_) {
    // As many whole lines as fit, the last one ending in an ellipsis.
    double lineHeight = TextHeight(message_->textAttributes(), inner, 1);
    p.messageLines = std::max(1, static_cast<int>(std::floor((maxHeight_ - fixed) / lineHeight)));
    messageHeight = TextHeight(message_->textAttributes(), inner, p.messageLines);
  }

  double y = kTopInset;
  p.title = {kSideInset, y, inner, titleHeight};
  y += titleHeight + titleGap;
  p.message = {kSideInset, y, inner, messageHeight};
  y += messageHeight;
  if (hasAccessory_) {
    y += kAccessorySpacing;
    p.accessory = {(kWidth - kAccessorySize) / 2, y, kAccessorySize, kAccessorySize};
    y += kAccessorySize;
  }
  y += kBottomInset;
  if (count > 0) p.separators.push_back({0, y, kWidth, kHairline});
  if (count == 2) {
    double half = kWidth / 2;
    p.buttons = {{0, y, half, kButtonHeight}, {half, y, kWidth - half, kButtonHeight}};
    p.separators.push_back({half - kHairline / 2, y, kHairline, kButtonHeight});
  } else {
    for (std::size_t i = 0; i < count; ++i) {
      double top = y + kButtonHeight * static_cast<double>(i);
      p.buttons.push_back({0, top, kWidth, kButtonHeight});
      if (i > 0) p.separators.push_back({0, top, kWidth, kHairline});
    }
  }
  p.height = y + rowHeight;
  return p;
}

Size AlertView::fitToHeight(double maxHeight) {
  maxHeight_ = std::max(0.0, maxHeight);
  Size size{kWidth, place().height};
  setFrame({frame().x, frame().y, size.width, size.height});
  setNeedsLayout();
  return size;
}

void AlertView::layoutSubviews() {
  Placement p = place();
  // Guarded: setting the lines asks for layout again.
  if (message_->numberOfLines() != p.messageLines) message_->setNumberOfLines(p.messageLines);
  title_->setFrame(p.title);
  message_->setFrame(p.message);
  if (indicator_) indicator_->setFrame(p.accessory);
  if (accessoryLabel_) accessoryLabel_->setFrame(p.accessory);
  for (std::size_t i = 0; i < buttons_.size(); ++i) buttons_[i]->setFrame(p.buttons[i]);
  for (std::size_t i = 0; i < separators_.size(); ++i) separators_[i]->setFrame(p.separators[i]);
}

}  // namespace tessarin::platform::ui
