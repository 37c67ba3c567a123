#include "platform/shared_library.h"

#include <gtest/gtest.h>

#include "support/log_capture.h"

namespace tessarin::platform {
namespace {

using testing::LogCapture;

// zlib is on every machine the SDK runs on and has a function the test
// can be sure of.
constexpr const char* kPresent = "libz.so.1";

TEST(SharedLibrary, OpensWhatIsThereAndSaysOnceWhatIsNot) {
  LogCapture capture;
  bool found = false;
  EXPECT_TRUE(OpenSharedLibrary(kPresent, "Tessarin: no test, ", [&](void* handle) -> const char* {
    found = FindSymbol(handle, "deflate") != nullptr;
    return nullptr;
  }));
  EXPECT_TRUE(found);
  EXPECT_TRUE(capture.records().empty());

  bool resolved = false;
  EXPECT_FALSE(OpenSharedLibrary("libtessarin-absent.so.0", "Tessarin: no test, ", [&](void*) -> const char* {
    resolved = true;
    return nullptr;
  }));
  EXPECT_FALSE(resolved);
  EXPECT_FALSE(OpenSharedLibrary(kPresent, "Tessarin: no test, ", [](void* handle) -> const char* {
    return FindSymbol(handle, "tessarin_absent") ? nullptr : "tessarin_absent";
  }));
  std::vector<std::string> messages = capture.messages();
  ASSERT_EQ(messages.size(), 2u);
  EXPECT_EQ(messages[0].rfind("Tessarin: no test, libtessarin-absent.so.0: cannot open shared object file", 0), 0u)
      << messages[0];
  EXPECT_EQ(messages[1], "Tessarin: no test, libz.so.1 has no tessarin_absent");
}

}  // namespace
}  // namespace tessarin::platform
