#include "platform/host_object.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tessarin::platform {
namespace {

// An implementation that appends `name` to `calls` and returns it.
ImpPtr Recording(std::vector<std::string>* calls, std::string name) {
  return MakeImp([calls, name](HostObject&, const HostArgs&) {
    calls->push_back(name);
    return std::any(name);
  });
}

std::string Text(const std::any& value) {
  auto* text = std::any_cast<std::string>(&value);
  return text ? *text : "<not text>";
}

class HostObjectTest : public ::testing::Test {
 protected:
  HostRuntime runtime;
  std::shared_ptr<HostClass> root = runtime.defineClass("NSObject", nullptr);
  std::shared_ptr<HostClass> base = runtime.defineClass("Base", root);
  std::shared_ptr<HostClass> left = runtime.defineClass("Left", base);
  std::shared_ptr<HostClass> right = runtime.defineClass("Right", base);
  std::vector<std::string> calls;
};

TEST_F(HostObjectTest, ReplacingInASubclassShadowsTheInheritedMethodThereOnly) {
  base->addMethod("greet", Recording(&calls, "base"));
  HostObject on_base(base), on_left(left), on_right(right);

  // The subclass only inherited the method: there is no own one to give back.
  EXPECT_EQ(left->replaceMethod("greet", Recording(&calls, "left")), nullptr);
  on_base.send("greet");
  on_left.send("greet");
  on_right.send("greet");
  EXPECT_EQ(calls, (std::vector<std::string>{"base", "left", "base"}));

  // Now it has its own, which a second replacement gives back and adding leaves alone.
  ImpPtr own = left->ownMethod("greet");
  EXPECT_FALSE(left->addMethod("greet", Recording(&calls, "ignored")));
  EXPECT_EQ(left->replaceMethod("greet", Recording(&calls, "left2")), own);
  EXPECT_TRUE(right->addMethod("greet", Recording(&calls, "right")));
  EXPECT_EQ(base->ownMethod("greet"), base->lookupMethod("greet"));
}

TEST_F(HostObjectTest, AnUnrecognisedSelectorRaisesTheRuntimesException) {
  HostObject object(left);
  try {
    object.send("missing:", {1L});
    FAIL() << "no exception";
  } catch (const HostException& e) {
    EXPECT_EQ(e.name(), "NSInvalidArgumentException");
    EXPECT_EQ(std::string(e.what()).rfind("-[Left missing:]: unrecognized selector sent to instance 0x", 0), 0u)
        << e.what();
  }
}

TEST_F(HostObjectTest, ValueForKeyPrefersTheAccessorThenTheUnderscoredVariable) {
  HostObject object(base);
  object.setIvar("identifier", std::string("plain"));
  EXPECT_EQ(Text(object.valueForKey("identifier")), "plain");
  object.setIvar("_identifier", std::string("underscored"));
  EXPECT_EQ(Text(object.valueForKey("identifier")), "underscored");
  base->addMethod("identifier", MakeImp([](HostObject&, const HostArgs&) { return std::any(std::string("accessor")); }));
  EXPECT_EQ(Text(object.valueForKey("identifier")), "accessor");

  // A nil variable is a value; a missing one is an error.
  object.setIvar("_empty", std::any());
  EXPECT_FALSE(object.valueForKey("empty").has_value());
  EXPECT_TRUE(object.hasIvar("_empty"));
  try {
    object.valueForKey("nothing");
    FAIL() << "no exception";
  } catch (const HostException& e) {
    EXPECT_EQ(e.name(), "NSUnknownKeyException");
    EXPECT_NE(std::string(e.what()).find("not key value coding-compliant for the key nothing."), std::string::npos);
  }
}

TEST_F(HostObjectTest, AssociatedObjectsLiveExactlyAsLongAsTheirObject) {
  static const char kKey = 0;
  auto value = std::make_shared<int>(42);
  std::weak_ptr<int> watch = value;
  auto object = std::make_shared<HostObject>(base);
  object->setAssociatedObject(&kKey, std::move(value));
  EXPECT_EQ(*std::any_cast<std::shared_ptr<int>>(object->associatedObject(&kKey)), 42);
  EXPECT_FALSE(watch.expired());
  object.reset();
  EXPECT_TRUE(watch.expired());

  // Setting nothing removes the association (and releases the value) at once.
  auto other = std::make_shared<HostObject>(base);
  auto second = std::make_shared<int>(1);
  watch = second;
  other->setAssociatedObject(&kKey, std::move(second));
  other->setAssociatedObject(&kKey, std::any());
  EXPECT_TRUE(watch.expired());
  EXPECT_FALSE(other->associatedObject(&kKey).has_value());
}

TEST_F(HostObjectTest, EachRuntimeHasItsOwnClasses) {
  EXPECT_EQ(runtime.defineClass("Base", root), nullptr);
  EXPECT_EQ(runtime.defineClass("Orphan", "NoSuchClass"), nullptr);
  EXPECT_EQ(left->classHierarchy(), (std::vector<std::string>{"Left", "Base", "NSObject"}));

  HostRuntime other;
  EXPECT_EQ(other.lookUpClass("Base"), nullptr);
  auto other_base = other.defineClass("Base", nullptr);
  ASSERT_NE(other_base, nullptr);
  other_base->addMethod("greet", Recording(&calls, "other"));
  EXPECT_FALSE(HostObject(base).respondsToSelector("greet"));
}


TEST_F(HostObjectTest, ProtocolsAndDeclaredInstanceVariablesAreFoundByNameThroughTheSuperclasses) {
  auto protocol = runtime.defineProtocol("Greeter", {"greet"}, {"wave:", "bow"});
  ASSERT_TRUE(protocol);
  EXPECT_EQ(runtime.defineProtocol("Greeter", {}, {}), nullptr);  // names are unique
  EXPECT_EQ(runtime.lookUpProtocol("Greeter"), protocol);
  EXPECT_EQ(runtime.lookUpProtocol("Waver"), nullptr);
  EXPECT_TRUE(protocol->declaresInstanceMethod("greet"));
  EXPECT_TRUE(protocol->declaresInstanceMethod("wave:"));
  EXPECT_FALSE(protocol->declaresInstanceMethod("wave"));

  // Adopted by Base: its subclasses conform, its superclass and a class
  // that merely implements the methods do not.
  base->addProtocol(protocol);
  EXPECT_TRUE(left->conformsToProtocol(*protocol));
  EXPECT_FALSE(root->conformsToProtocol(*protocol));
  auto lookalike = runtime.defineClass("Lookalike", root);
  lookalike->addMethod("greet", MakeImp([](HostObject&, const HostArgs&) { return std::any(); }));
  EXPECT_FALSE(lookalike->conformsToProtocol(*protocol));

  // A declared variable is the class's, whatever an instance holds.
  base->declareIvar("_secret");
  EXPECT_TRUE(left->hasInstanceVariable("_secret"));
  EXPECT_FALSE(root->hasInstanceVariable("_secret"));
  HostObject instance(root);
  instance.setIvar("_secret", std::string("x"));
  EXPECT_FALSE(root->hasInstanceVariable("_secret"));
}

TEST_F(HostObjectTest, RuntimeAssociationsAreKeptPerKeyUntilCleared) {
  static const char key_a = 0, key_b = 0;
  auto value = std::make_shared<int>(7);
  runtime.setAssociatedObject(&key_a, value);
  EXPECT_EQ(std::any_cast<std::shared_ptr<int>>(runtime.associatedObject(&key_a)), value);
  EXPECT_FALSE(runtime.associatedObject(&key_b).has_value());
  runtime.setAssociatedObject(&key_a, std::any());
  EXPECT_FALSE(runtime.associatedObject(&key_a).has_value());
  EXPECT_EQ(value.use_count(), 1);  // released when cleared
}

}  // namespace
}  // namespace tessarin::platform
