// The app's provisioning profile ("embedded.mobileprovision" in its
// bundle): a signed envelope around an XML property list, which the SDK
// finds by its markers and reads to learn whether push tokens belong to the
// sandbox and whether the build is debuggable. The input is the whole
// file; it is also read as a property list in itself, as the reader's
// other entry.
#include <string>

#include "fuzz_support.h"
#include "fuzz_target.h"
#include "util/host_app.h"
#include "util/plist_parser.h"

namespace tessarin::fuzz {
namespace {

// Profiles are a few KB to a few dozen.
constexpr std::size_t kMaxFile = 1 << 20;
constexpr const char* kProfilePath = "/fuzz/App.app/embedded.mobileprovision";

}  // namespace
}  // namespace tessarin::fuzz

TESSARIN_FUZZ_TARGET(plist) {
  using namespace tessarin;
  using namespace tessarin::fuzz;
  if (input.size() > kMaxFile) return;

  std::optional<Json> parsed = ParseXMLPropertyList(input);
  if (parsed) {
    // Whatever it read is JSON the SDK can write back out.
    (void)JsonDump(*parsed);
  }

  SimulatedApp app;
  app.sim().app().resources["embedded.mobileprovision"] = kProfilePath;
  app.sim().app().simulator = false;
  app.files().put(kProfilePath, std::string(input));
  TSRUtilityHostApp& host = app.environment().hostApp();
  (void)host.provisionPlist();
  (void)host.sandboxedAPNS();
  (void)host.debuggableBuild();
  (void)host.appStoreBuild();
}
