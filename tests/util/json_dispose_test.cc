#include "util/json_dispose.h"

#include <gtest/gtest.h>

namespace tessarin {
namespace {

TEST(JsonDisposeTest, EmptiesContainersAndLeavesDeepDocumentsToTheLibrary) {
  Json item = Json::parse(R"({"_id":"p-1","categories":[{"_id":"c-1","tags":[{"_id":"t-1"}]}],"n":[1,[2,[3]]]})");
  DisposeJson(item);
  EXPECT_TRUE(item.is_object());
  EXPECT_TRUE(item.empty());

  Json list = Json::array({Json::object({{"a", 1}}), "text", nullptr});
  DisposeJson(list);
  EXPECT_EQ(list, Json::array());

  Json text = "unchanged";
  DisposeJson(text);
  EXPECT_EQ(text, "unchanged");

  // Far deeper than the recursion goes: freed without exhausting the stack.
  Json deep = Json::array();
  Json* level = &deep;
  for (int i = 0; i < 200000; ++i) {
    level->push_back(Json::array());
    level = &level->back();
  }
  DisposeJson(deep);
  EXPECT_EQ(deep, Json::array());
}

}  // namespace
}  // namespace tessarin
