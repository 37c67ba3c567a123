#include "util/weak_reference.h"

#include <gtest/gtest.h>

#include <string>

namespace tessarin {
namespace {

TEST(WeakReference, NeverKeepsItsObjectAlive) {
  auto screen = std::make_shared<std::string>("Screen 0");
  TSRUtilityWeakReference<std::string> box(screen);
  EXPECT_EQ(box.reference(), screen);
  EXPECT_EQ(screen.use_count(), 1);
  screen.reset();
  EXPECT_EQ(box.reference(), nullptr);
  EXPECT_EQ(TSRUtilityWeakReference<>().reference(), nullptr);
}

}  // namespace
}  // namespace tessarin
