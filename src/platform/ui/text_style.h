// Dynamic type: the text styles an interface names instead of point sizes,
// and the content-size category (the reader's chosen text size) that scales
// them. The sizes per category are those of the reference toolkit, so a
// message reads the same size on both. Fonts are always "DejaVu Sans" so
// that measurements do not depend on the fonts a machine happens to have.
#ifndef TESSARIN_PLATFORM_UI_TEXT_STYLE_H_
#define TESSARIN_PLATFORM_UI_TEXT_STYLE_H_

#include <optional>
#include <string>
#include <string_view>

namespace tessarin::platform::ui {

enum class TextStyle { kHeadline, kSubheadline, kBody, kFootnote, kCaption1, kCaption2 };

// The style's name in message data ("headline", "caption1"), and back.
const char* textStyleName(TextStyle style);
std::optional<TextStyle> textStyleFromName(std::string_view name);

enum class FontWeight { kRegular = 400, kSemibold = 600 };

struct Font {
  std::string family = "DejaVu Sans";
  double pointSize = 17;
  FontWeight weight = FontWeight::kRegular;
  friend bool operator==(const Font&, const Font&) = default;
};

// Content-size categories, by their platform names. The default is large.
inline constexpr const char* kContentSizeCategoryExtraSmall = "UICTContentSizeCategoryXS";
inline constexpr const char* kContentSizeCategorySmall = "UICTContentSizeCategoryS";
inline constexpr const char* kContentSizeCategoryMedium = "UICTContentSizeCategoryM";
inline constexpr const char* kContentSizeCategoryLarge = "UICTContentSizeCategoryL";
inline constexpr const char* kContentSizeCategoryExtraLarge = "UICTContentSizeCategoryXL";
inline constexpr const char* kContentSizeCategoryExtraExtraLarge = "UICTContentSizeCategoryXXL";
inline constexpr const char* kContentSizeCategoryExtraExtraExtraLarge = "UICTContentSizeCategoryXXXL";
inline constexpr const char* kContentSizeCategoryAccessibilityMedium = "UICTContentSizeCategoryAccessibilityM";
inline constexpr const char* kContentSizeCategoryAccessibilityLarge = "UICTContentSizeCategoryAccessibilityL";
inline constexpr const char* kContentSizeCategoryAccessibilityExtraLarge = "UICTContentSizeCategoryAccessibilityXL";
inline constexpr const char* kContentSizeCategoryAccessibilityExtraExtraLarge =
    "UICTContentSizeCategoryAccessibilityXXL";
inline constexpr const char* kContentSizeCategoryAccessibilityExtraExtraExtraLarge =
    "UICTContentSizeCategoryAccessibilityXXXL";

// Posted on the platform's notification centre when the category changes;
// userInfo[kContentSizeCategoryNewValueKey] is the new category's name.
inline constexpr const char* kContentSizeCategoryDidChangeNotification =
    "UIContentSizeCategoryDidChangeNotification";
inline constexpr const char* kContentSizeCategoryNewValueKey = "UIContentSizeCategoryNewValueKey";

bool isContentSizeCategory(std::string_view category);

// The font of `style` at `category`; an unknown category counts as large.
Font preferredFont(TextStyle style, std::string_view category);

}  // namespace tessarin::platform::ui

#endif  // TESSARIN_PLATFORM_UI_TEXT_STYLE_H_
