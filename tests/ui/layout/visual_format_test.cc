#include "platform/ui/layout/visual_format.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "platform/ui/layout/attribute_expression.h"

namespace tessarin::platform::ui::layout {
namespace {

// "b.leading == a.trailing + 8", "a.width >= 44 @750": one line per
// constraint, so that expectations read like the formats they come from.
std::string text(const FormatConstraint& c) {
  const char* relations[] = {"<=", "==", ">="};
  std::string out = c.first + "." + attributeName(c.firstAttribute) + " " +
                    relations[static_cast<int>(c.relation) + 1] + " ";
  char number[32];
  std::snprintf(number, sizeof number, "%g", c.constant);
  if (c.second.empty()) {
    out += number;
  } else {
    out += c.second + "." + attributeName(c.secondAttribute);
    if (c.constant != 0) out += std::string(" + ") + number;
  }
  if (c.priority != kLayoutPriorityRequired) {
    std::snprintf(number, sizeof number, " @%g", c.priority);
    out += number;
  }
  return out;
}

class VisualFormatTest : public ::testing::Test {
 protected:
  std::vector<std::string> parse(const std::string& format) {
    FormatResult result = parseVisualFormat(format, metrics_, views_);
    EXPECT_EQ(result.error, "") << format;
    std::vector<std::string> out;
    for (const FormatConstraint& c : result.constraints) {
      EXPECT_EQ(c.multiplier, 1);
      out.push_back(text(c));
    }
    return out;
  }
  std::string error(const std::string& format) {
    FormatResult result = parseVisualFormat(format, metrics_, views_);
    EXPECT_TRUE(result.constraints.empty()) << format;
    EXPECT_EQ(result.error.find('\n'), std::string::npos) << result.error;
    return result.error;
  }

  // The in-app message panel's metrics and views.
  std::map<std::string, double> metrics_ = {
      {"_marginHorizontal", 10}, {"_marginVertical", 10}, {"_heightMin", 44},
      {"_paddingHorizontal", 10}, {"_paddingVertical", 10}, {"_buttonsHeightMin", 36},
      {"_buttonsWidthMin", 108}, {"_buttonsSpacing", 10}, {"buttonsEqualWidthPriority", 251},
      {"half", 0.5}};
  std::set<std::string> views_ = {"_mainView", "topLG", "botLG", "label", "lastVerticalView",
                                  "leadingSpacerView", "trailingSpacerView", "button", "previousButton",
                                  "a", "b", "c"};
};

using Lines = std::vector<std::string>;

TEST_F(VisualFormatTest, PanelPlacement) {
  EXPECT_EQ(parse("|-_marginHorizontal-[_mainView]-_marginHorizontal-|"),
            (Lines{"_mainView.leading == |.leading + 10", "|.trailing == _mainView.trailing + 10"}));

  // Every way the vertical format is filled in: anchors and relations.
  for (bool guides : {false, true}) {
    for (const char* top : {"==", ">="}) {
      for (const char* bottom : {"==", ">="}) {
        char format[200];
        std::snprintf(format, sizeof format, "V:%s-(%s_marginVertical)-[_mainView(>=_heightMin)]-(%s_marginVertical)-%s",
                      guides ? "[topLG]" : "|", top, bottom, guides ? "[botLG]" : "|");
        std::string topLine = std::string("_mainView.top ") + top + (guides ? " topLG.bottom + 10" : " |.top + 10");
        std::string bottomLine = guides ? std::string("botLG.top ") + bottom + " _mainView.bottom + 10"
                                        : std::string("|.bottom ") + bottom + " _mainView.bottom + 10";
        EXPECT_EQ(parse(format), (Lines{topLine, "_mainView.height >= 44", bottomLine})) << format;
      }
    }
  }
}

TEST_F(VisualFormatTest, PanelLabelsAndButtons) {
  EXPECT_EQ(parse("|-_paddingHorizontal-[label]-_paddingHorizontal-|"),
            (Lines{"label.leading == |.leading + 10", "|.trailing == label.trailing + 10"}));
  EXPECT_EQ(parse("V:|-_paddingVertical-[label]"), (Lines{"label.top == |.top + 10"}));
  // Title and body are flush on purpose.
  EXPECT_EQ(parse("V:[lastVerticalView][label]"), (Lines{"label.top == lastVerticalView.bottom"}));

  EXPECT_EQ(parse("V:[lastVerticalView]-_paddingVertical-[leadingSpacerView(_buttonsHeightMin)]"),
            (Lines{"leadingSpacerView.top == lastVerticalView.bottom + 10", "leadingSpacerView.height == 36"}));
  EXPECT_EQ(parse("V:[lastVerticalView]-_paddingVertical-[trailingSpacerView(_buttonsHeightMin)]"),
            (Lines{"trailingSpacerView.top == lastVerticalView.bottom + 10", "trailingSpacerView.height == 36"}));
  EXPECT_EQ(parse("V:[lastVerticalView]-_paddingVertical-[button(>=_buttonsHeightMin)]"),
            (Lines{"button.top == lastVerticalView.bottom + 10", "button.height >= 36"}));
  EXPECT_EQ(parse("|-_paddingHorizontal-[leadingSpacerView]-0-[button(>=_buttonsWidthMin)]"),
            (Lines{"leadingSpacerView.leading == |.leading + 10", "button.leading == leadingSpacerView.trailing",
                   "button.width >= 108"}));
  EXPECT_EQ(parse("[previousButton]-_buttonsSpacing-[button(>=_buttonsWidthMin)]"),
            (Lines{"button.leading == previousButton.trailing + 10", "button.width >= 108"}));
  EXPECT_EQ(parse("[button(previousButton@buttonsEqualWidthPriority)]"),
            (Lines{"button.width == previousButton.width @251"}));
  metrics_["buttonsEqualWidthPriority"] = 1000;
  EXPECT_EQ(parse("[button(previousButton@buttonsEqualWidthPriority)]"),
            (Lines{"button.width == previousButton.width"}));
  EXPECT_EQ(parse("[button][trailingSpacerView(leadingSpacerView)]-_paddingHorizontal-|"),
            (Lines{"trailingSpacerView.leading == button.trailing", "trailingSpacerView.width == leadingSpacerView.width",
                   "|.trailing == trailingSpacerView.trailing + 10"}));
  EXPECT_EQ(parse("V:[lastVerticalView]-_paddingVertical-|"), (Lines{"|.bottom == lastVerticalView.bottom + 10"}));
}

TEST_F(VisualFormatTest, GrammarBeyondThePanel) {
  // A bare "-" is the standard spacing: wider at the superview edge.
  EXPECT_EQ(parse("H:|-[a]-[b]-|"), (Lines{"a.leading == |.leading + 20", "b.leading == a.trailing + 8",
                                          "|.trailing == b.trailing + 20"}));
  EXPECT_EQ(parse("V:|[a][b]|"),
            (Lines{"a.top == |.top", "b.top == a.bottom", "|.bottom == b.bottom"}));
  EXPECT_EQ(parse("[a(>=50,<=120.5@750)]-(>=8,==20@half)-[b(==a)]"),
            (Lines{"a.width >= 50", "a.width <= 120.5 @750", "b.leading >= a.trailing + 8",
                   "b.leading == a.trailing + 20 @0.5", "b.width == a.width"}));
  EXPECT_EQ(parse("[a]-(-4)-[b(<=c@250)]"), (Lines{"b.leading == a.trailing + -4", "b.width <= c.width @250"}));
  EXPECT_EQ(parse("[c]"), Lines{});
}

TEST_F(VisualFormatTest, MalformedFormatsSayWhatAndWhere) {
  struct Case {
    const char* format;
    const char* error;
  };
  const Case cases[] = {
      {"[nope]", "unknown view 'nope' at position 1"},
      {"|-margin-[a]", "unknown metric 'margin' at position 2"},
      {"[a]-(>=b)-[c]", "unknown metric 'b' at position 7"},
      {"[a(>=zz)]", "unknown metric or view 'zz' at position 5"},
      {"[a", "expected ']' but the format ends at position 2"},
      {"[a(>=10]", "expected ')' but found ']' at position 7"},
      {"[a]-", "the connection has no view or '|' after it at position 3"},
      {"[a]-10-", "the connection has no view or '|' after it at position 3"},
      {"[a]-10", "the connection has no closing '-' at position 3"},
      {"-[a]", "a connection needs a view or '|' before it at position 0"},
      {"|[a]|x", "expected the end of the format after the closing '|' but found 'x' at position 5"},
      {"", "expected a view at position 0"},
      {"V:", "expected a view at position 2"},
      {"||", "expected a view between the superview bars at position 1"},
      {"[a(>=10@2000)]", "priority 2000 is not between 1 and 1000 at position 8"},
      {"X:[a]", "expected '[' or '|' but found 'X' at position 0"},
      {"[a] [b]", "expected '-', '[' or '|' but found ' ' at position 3"},
      {"[a]--[b]", "expected a number or metric but found '-' at position 4"},
      {"[]", "expected a view name but found ']' at position 1"},
  };
  for (const Case& c : cases) {
    std::string message = error(c.format);
    EXPECT_NE(message.find(c.error), std::string::npos) << c.format << " gave: " << message;
    EXPECT_NE(message.find(std::string("\"") + c.format + "\""), std::string::npos) << message;
  }
}

TEST_F(VisualFormatTest, ArbitraryStringsNeverCrash) {
  // Strings made of the language's own pieces, well-formed or not, hit the
  // parser's corners far more often than random bytes would.
  const std::vector<std::string> pieces = {"H:", "V:", "|", "-", "[a]", "[b(>=10,<=c@750)]", "(", ")", "-10-",
                                           "[", "]", "@", "==", "a", "5", ",", "-(>=8@250)-", ".", "_x", "[c"};
  std::mt19937 random(3);
  int parsed = 0;
  for (int i = 0; i < 20000; ++i) {
    std::string format;
    int length = static_cast<int>(random() % 8);
    for (int j = 0; j < length; ++j) format += pieces[random() % pieces.size()];
    FormatResult result = parseVisualFormat(format, metrics_, views_);
    if (!result.error.empty()) {
      EXPECT_TRUE(result.constraints.empty()) << format;
      continue;
    }
    for (const FormatConstraint& c : result.constraints) {
      EXPECT_TRUE(c.first == kSuperviewName || views_.count(c.first) != 0) << format;
      EXPECT_TRUE(c.second.empty() || c.second == kSuperviewName || views_.count(c.second) != 0) << format;
    }
    ++parsed;
  }
  EXPECT_GT(parsed, 0);
}

}  // namespace
}  // namespace tessarin::platform::ui::layout
