#include "platform/ui/layout/layout_engine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "layout/test_item.h"

namespace tessarin::platform::ui::layout {
namespace {

using testing::TestItem;
using testing::TestTree;

void expectFrame(const TestItem* item, Rect expected) {
  EXPECT_NEAR(item->frame.x, expected.x, 1e-6) << item->layoutName();
  EXPECT_NEAR(item->frame.y, expected.y, 1e-6) << item->layoutName();
  EXPECT_NEAR(item->frame.width, expected.width, 1e-6) << item->layoutName();
  EXPECT_NEAR(item->frame.height, expected.height, 1e-6) << item->layoutName();
}

TEST(LayoutEngineTest, IntrinsicSizesHugUnlessStretchedAndResistUnlessSqueezed) {
  // Two items of intrinsic width 100 share a row with standard spacing;
  // `b` hugs harder, so `a` takes any extra room, and `a` resists
  // compression less, so it gives up room first.
  TestTree tree({300, 100});
  TestItem* a = tree.add("a");
  TestItem* b = tree.add("b");
  a->intrinsic = b->intrinsic = {100, 30};
  b->setContentHuggingPriority(251, Axis::kHorizontal);
  a->setContentCompressionResistancePriority(749, Axis::kHorizontal);
  tree.format("|-[a]-[b]-|");
  tree.format("V:|[a]");
  tree.format("V:|[b]");
  ASSERT_TRUE(tree.layout());
  expectFrame(a, {20, 0, 152, 30});
  expectFrame(b, {180, 0, 100, 30});

  tree.resize({200, 100});
  ASSERT_TRUE(tree.layout());
  expectFrame(a, {20, 0, 52, 30});
  expectFrame(b, {80, 0, 100, 30});
}

TEST(LayoutEngineTest, RightToLeftMirrorsLeadingAndTrailingButNotLeftAndRight) {
  TestTree tree({300, 100});
  TestItem* a = tree.add("a");
  TestItem* b = tree.add("b");
  TestItem* margined = tree.add("margined");
  TestItem* pinned = tree.add("pinned");
  tree.root()->margins = {0, 5, 0, 15};
  margined->margins = {0, 0, 0, 0};
  tree.format("|-10-[a(50)]-8-[b(60)]");
  tree.format("[margined(100)]");
  tree.format("[pinned(40)]");
  tree.format("V:|[a(10)][b(10)][margined(10)][pinned(10)]");
  LayoutConstraint::make(margined, LayoutAttribute::kLeadingMargin, LayoutRelation::kEqual, tree.root(),
                         LayoutAttribute::kLeadingMargin, 1, 2)
      ->setActive(true);
  LayoutConstraint::make(pinned, LayoutAttribute::kLeft, LayoutRelation::kEqual, tree.root(),
                         LayoutAttribute::kLeft, 1, 30)
      ->setActive(true);

  ASSERT_TRUE(tree.layout());
  expectFrame(a, {10, 0, 50, 10});
  expectFrame(b, {68, 10, 60, 10});
  expectFrame(margined, {5 + 2, 20, 100, 10});
  expectFrame(pinned, {30, 30, 40, 10});

  tree.engine.setLayoutDirection(LayoutDirection::kRightToLeft);
  ASSERT_TRUE(tree.layout());
  expectFrame(a, {300 - 10 - 50, 0, 50, 10});
  expectFrame(b, {300 - 10 - 50 - 8 - 60, 10, 60, 10});
  // The leading margin is now the right one, and 2 points further is leftwards.
  expectFrame(margined, {300 - 15 - 2 - 100, 20, 100, 10});
  expectFrame(pinned, {30, 30, 40, 10});
}

TEST(LayoutEngineTest, ConstantChangeReSolvesLikeAFreshLayout) {
  // A panel pinned to both sides, dragged sideways by moving both
  // constants and down against a required bottom bound.
  auto build = [](TestTree& tree) {
    tree.add("panel");
    tree.add("label", tree["panel"])->intrinsic = {120, 40};
    tree.format("|-10-[panel]-10-|");
    tree.format("V:|-30-[panel(>=44)]-(>=10)-|");
    tree.format("|-10-[label]-10-|");
    tree.format("V:|-10-[label]-10-|");
  };
  auto drag = [](TestTree& tree, double offset) {
    const auto& held = tree.root()->constraints();
    held[0]->setConstant(10 + offset);  // panel.leading == |.leading + 10
    held[1]->setConstant(10 - offset);  // |.trailing == panel.trailing + 10
    held[2]->setConstant(30 + offset);  // panel.top == |.top + 30
  };
  TestTree dragged({375, 300});
  build(dragged);
  ASSERT_TRUE(dragged.layout());
  ASSERT_EQ(dragged.root()->constraints().size(), 4u);  // panel holds its own height
  for (double offset : {-40.0, 25.0, 160.0, 0.0}) {
    int needsLayout = dragged.root()->needsLayout;
    drag(dragged, offset);
    EXPECT_GT(dragged.root()->needsLayout, needsLayout);
    std::string error;
    ASSERT_TRUE(dragged.layout(&error)) << error;
    expectFrame(dragged["panel"], {10 + offset, 30 + offset, 355, 60});

    TestTree fresh({375, 300});
    build(fresh);
    drag(fresh, offset);
    ASSERT_TRUE(fresh.layout());
    EXPECT_EQ(dragged["panel"]->frame, fresh["panel"]->frame) << offset;
    EXPECT_EQ(dragged["label"]->frame, fresh["label"]->frame) << offset;
  }

  // 30 + 240 + 60 + 10 > 300: the moved top constraint is left out...
  drag(dragged, 240);
  std::string error;
  EXPECT_FALSE(dragged.layout(&error));
  EXPECT_EQ(error, "unsatisfiable constraint left out: panel.top == root.top + 270 @1000");
  EXPECT_EQ(dragged["panel"]->frame.x, 250);
  // ...and comes back once it fits again.
  drag(dragged, 0);
  EXPECT_TRUE(dragged.layout(&error)) << error;
  expectFrame(dragged["panel"], {10, 30, 355, 60});
}

TEST(LayoutEngineTest, WrappingContentGetsASecondPassAtItsSolvedWidth) {
  TestTree tree({200, 400});
  TestItem* label = tree.add("label");
  TestItem* below = tree.add("below");
  label->textWidth = 500;  // 3 lines of 20 at width 180
  tree.format("|-10-[label]-10-|");
  tree.format("|[below]|");
  tree.format("V:|[label][below(10)]");
  ASSERT_TRUE(tree.layout());
  expectFrame(label, {10, 0, 180, 60});
  expectFrame(below, {0, 60, 200, 10});

  // Narrower: the label is asked again at its new width, once per change.
  tree.resize({110, 400});
  int queries = label->intrinsicQueries;
  ASSERT_TRUE(tree.layout());
  expectFrame(label, {10, 0, 90, 120});
  expectFrame(below, {0, 120, 110, 10});
  EXPECT_EQ(label->intrinsicQueries - queries, 2);
  queries = label->intrinsicQueries;
  ASSERT_TRUE(tree.layout());
  EXPECT_EQ(label->intrinsicQueries - queries, 1);
  expectFrame(label, {10, 0, 90, 120});
}

TEST(LayoutEngineTest, ConstraintsLiveOnTheClosestCommonAncestor) {
  TestTree tree({400, 400});
  TestItem* left = tree.add("left");
  TestItem* right = tree.add("right");
  TestItem* a = tree.add("a", left);
  TestItem* b = tree.add("b", right);
  TestItem* guide = tree.add("guide", left, /*guide=*/true);
  tree.format("|-10-[left(100)]-20-[right(150)]");
  tree.format("V:|-5-[left(200)]");
  tree.format("V:|-50-[right(300)]");
  tree.format("|-7-[a(30)]");
  tree.format("V:|-9-[a(40)]");

  auto cousins = LayoutConstraint::make(b, LayoutAttribute::kTop, LayoutRelation::kEqual, a,
                                        LayoutAttribute::kBottom, 1, 3);
  auto sameWidth = LayoutConstraint::make(b, LayoutAttribute::kWidth, LayoutRelation::kEqual, a,
                                          LayoutAttribute::kWidth, 2, 0);
  auto onGuide = LayoutConstraint::make(guide, LayoutAttribute::kHeight, LayoutRelation::kEqual, nullptr,
                                        LayoutAttribute::kNotAnAttribute, 1, 20);
  LayoutConstraint::activateConstraints({cousins, sameWidth, onGuide});
  EXPECT_EQ(cousins->isActive(), true);
  const auto& held = tree.root()->constraints();
  EXPECT_NE(std::find(held.begin(), held.end(), cousins), held.end());
  EXPECT_NE(std::find(held.begin(), held.end(), sameWidth), held.end());
  // A guide holds nothing: its owner does.
  EXPECT_TRUE(guide->constraints().empty());
  const auto& leftHeld = left->constraints();
  EXPECT_NE(std::find(leftHeld.begin(), leftHeld.end(), onGuide), leftHeld.end());

  tree.format("[b]|");  // b's trailing edge flush with right's
  tree.format("V:[b(12)]");
  tree.format("|[guide]|");
  tree.format("V:|[guide]");
  ASSERT_TRUE(tree.layout());
  // Frames are relative to each item's own parent.
  expectFrame(a, {7, 9, 30, 40});
  expectFrame(b, {150 - 60, 5 + 9 + 40 + 3 - 50, 60, 12});
  expectFrame(guide, {0, 0, 100, 20});

  // Leaving the tree takes along the constraints into it, and only those.
  std::size_t before = held.size();
  a->removeConstraintsFromAncestors();
  EXPECT_FALSE(sameWidth->isActive());
  EXPECT_FALSE(cousins->isActive());
  EXPECT_EQ(held.size(), before - 2);
  EXPECT_TRUE(onGuide->isActive());
  EXPECT_FALSE(a->constraints().empty());  // its own width and height stay with it
  cousins->setActive(true);
  EXPECT_TRUE(cousins->isActive());
  sameWidth->setActive(true);

  cousins->setActive(false);
  EXPECT_FALSE(cousins->isActive());
  EXPECT_EQ(std::find(held.begin(), held.end(), cousins), held.end());
  tree.format("V:|[b(12)]");
  ASSERT_TRUE(tree.layout());
  expectFrame(b, {90, 0, 60, 12});
}

TEST(LayoutEngineTest, UnsatisfiableRequiredConstraintIsLeftOutAndReported) {
  TestTree tree({300, 300});
  TestItem* a = tree.add("a");
  tree.format("|-10-[a(100)]");
  tree.format("V:|[a(50)]");
  auto conflict = LayoutConstraint::make(a, LayoutAttribute::kWidth, LayoutRelation::kEqual, nullptr,
                                         LayoutAttribute::kNotAnAttribute, 1, 200);
  conflict->setActive(true);
  std::string error;
  EXPECT_FALSE(tree.layout(&error));
  EXPECT_EQ(error, "unsatisfiable constraint left out: a.width == 200 @1000");
  expectFrame(a, {10, 0, 100, 50});

  // Lowered to a preference, it no longer needs reporting.
  conflict->setActive(false);
  conflict->setPriority(500);
  conflict->setActive(true);
  EXPECT_TRUE(tree.layout(&error)) << error;
  expectFrame(a, {10, 0, 100, 50});
}

TEST(LayoutEngineTest, EdgesOfAFixedWidthItemMayMoveTogether) {
  // Moving only one of the two constants at a time would conflict with the
  // fixed width midway; the pass takes them as one change.
  TestTree tree({300, 100});
  TestItem* a = tree.add("a");
  tree.format("|-10-[a(280)]-10-|");
  tree.format("V:|[a(10)]");
  ASSERT_TRUE(tree.layout());
  const auto& held = tree.root()->constraints();
  held[0]->setConstant(60);   // a.leading == |.leading + 10
  held[1]->setConstant(-40);  // |.trailing == a.trailing + 10
  std::string error;
  EXPECT_TRUE(tree.layout(&error)) << error;
  expectFrame(a, {60, 0, 280, 10});
}

TEST(LayoutEngineTest, IncrementalPassesAgreeWithAFreshEngineAfterRandomEdits) {
  // Rows of items whose widths, constants and constraints change at
  // random between passes; after each pass a fresh engine must agree.
  std::mt19937 random(5);
  TestTree tree({600, 400});
  std::vector<std::shared_ptr<LayoutConstraint>> optional;
  const int n = 6;
  for (int i = 0; i < n; ++i) {
    TestItem* item = tree.add("v" + std::to_string(i));
    item->intrinsic = {40.0 + 10 * i, 20};
    // Distinct priorities everywhere keep the optimum unique.
    item->setContentHuggingPriority(200 + 7 * i, Axis::kHorizontal);
    item->setContentCompressionResistancePriority(700 + 7 * i, Axis::kHorizontal);
  }
  tree.format("|-[v0]-[v1]-[v2]-|");
  tree.format("|-[v3]-[v4]-[v5]-|");
  tree.format("V:|-[v0]-[v3]");
  tree.format("V:|-[v1]-[v4]");
  tree.format("V:|-[v2]-[v5]");
  for (int step = 0; step < 40; ++step) {
    switch (random() % 4) {
      case 0: tree[("v" + std::to_string(random() % n))]->intrinsic.width = 20 + random() % 150; break;
      case 1: tree.resize({300.0 + random() % 400, 400}); break;
      case 2: {
        auto c = LayoutConstraint::make(tree["v" + std::to_string(random() % n)], LayoutAttribute::kWidth,
                                        LayoutRelation::kEqual, nullptr, LayoutAttribute::kNotAnAttribute, 1,
                                        30.0 + random() % 100);
        c->setPriority(300 + 5 * step);
        c->setActive(true);
        optional.push_back(c);
        break;
      }
      case 3:
        if (!optional.empty()) {
          if (random() % 2 == 0) {
            optional.back()->setActive(false);
            optional.pop_back();
          } else {
            optional.back()->setConstant(30.0 + random() % 100);
          }
        }
        break;
    }
    ASSERT_TRUE(tree.layout());

    std::vector<Rect> incremental;
    for (int i = 0; i < n; ++i) incremental.push_back(tree["v" + std::to_string(i)]->frame);
    LayoutEngine fresh;
    ASSERT_TRUE(tree.layoutWith(fresh));
    for (int i = 0; i < n; ++i) {
      Rect again = tree["v" + std::to_string(i)]->frame;
      EXPECT_NEAR(again.x, incremental[i].x, 1e-6) << "step " << step << " v" << i;
      EXPECT_NEAR(again.width, incremental[i].width, 1e-6) << "step " << step << " v" << i;
      EXPECT_NEAR(again.y, incremental[i].y, 1e-6) << "step " << step << " v" << i;
    }
  }
}

}  // namespace
}  // namespace tessarin::platform::ui::layout
