#include "platform/ui/text_style.h"

#include <array>
#include <cstddef>

namespace tessarin::platform::ui {

namespace {

constexpr std::array<const char*, 12> kCategories = {
    kContentSizeCategoryExtraSmall,
    kContentSizeCategorySmall,
    kContentSizeCategoryMedium,
    kContentSizeCategoryLarge,
    kContentSizeCategoryExtraLarge,
    kContentSizeCategoryExtraExtraLarge,
    kContentSizeCategoryExtraExtraExtraLarge,
    kContentSizeCategoryAccessibilityMedium,
    kContentSizeCategoryAccessibilityLarge,
    kContentSizeCategoryAccessibilityExtraLarge,
    kContentSizeCategoryAccessibilityExtraExtraLarge,
    kContentSizeCategoryAccessibilityExtraExtraExtraLarge,
};
constexpr std::size_t kLargeIndex = 3;

// Point sizes per style (rows, in TextStyle order) and category (columns,
// in kCategories order). The large column is the default size of each style.
constexpr double kSizes[6][12] = {
    {14, 15, 16, 17, 19, 21, 23, 28, 33, 40, 47, 53},  // headline
    {12, 13, 14, 15, 17, 19, 21, 25, 30, 36, 42, 49},  // subheadline
    {14, 15, 16, 17, 19, 21, 23, 28, 33, 40, 47, 53},  // body
    {12, 12, 12, 13, 15, 17, 19, 23, 27, 33, 38, 44},  // footnote
    {11, 11, 11, 12, 14, 16, 18, 22, 26, 32, 37, 43},  // caption1
    {11, 11, 11, 11, 13, 15, 17, 20, 24, 29, 34, 40},  // caption2
};

constexpr std::array<const char*, 6> kStyleNames = {"headline", "subheadline", "body",
                                                    "footnote", "caption1",    "caption2"};

std::size_t categoryIndex(std::string_view category) {
  for (std::size_t i = 0; i < kCategories.size(); ++i) {
    if (category == kCategories[i]) return i;
  }
  return kLargeIndex;
}

}  // namespace

const char* textStyleName(TextStyle style) { return kStyleNames[static_cast<std::size_t>(style)]; }

std::optional<TextStyle> textStyleFromName(std::string_view name) {
  for (std::size_t i = 0; i < kStyleNames.size(); ++i) {
    if (name == kStyleNames[i]) return static_cast<TextStyle>(i);
  }
  return std::nullopt;
}

bool isContentSizeCategory(std::string_view category) {
  for (const char* known : kCategories) {
    if (category == known) return true;
  }
  return false;
}

Font preferredFont(TextStyle style, std::string_view category) {
  Font font;
  font.pointSize = kSizes[static_cast<std::size_t>(style)][categoryIndex(category)];
  font.weight = style == TextStyle::kHeadline ? FontWeight::kSemibold : FontWeight::kRegular;
  return font;
}

}  // namespace tessarin::platform::ui
