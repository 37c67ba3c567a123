#include "util/host_app.h"

#include <string_view>

#include "base/log.h"
#include "util/plist_parser.h"

namespace tessarin {
namespace {

constexpr std::string_view kPlistStart = "<plist";
constexpr std::string_view kPlistEnd = "</plist>";

// A URL's parts as the receipt rules need them.
struct UrlFacts {
  bool isFile = false;
  std::string path;  // percent-decoded
};

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::string PercentDecode(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size() && HexValue(text[i + 1]) >= 0 && HexValue(text[i + 2]) >= 0) {
      out += static_cast<char>(HexValue(text[i + 1]) * 16 + HexValue(text[i + 2]));
      i += 2;
    } else {
      out += text[i];
    }
  }
  return out;
}

bool IsSchemeChar(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '+' || c == '-' ||
         c == '.';
}

UrlFacts ParseUrl(std::string_view url) {
  UrlFacts facts;
  std::size_t colon = url.find(':');
  std::string scheme;
  if (colon != std::string_view::npos && colon > 0) {
    bool valid = true;
    for (char c : url.substr(0, colon)) valid = valid && IsSchemeChar(c);
    if (valid) {
      for (char c : url.substr(0, colon)) scheme += static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
      url.remove_prefix(colon + 1);
    }
  }
  facts.isFile = scheme == "file";
  if (url.substr(0, 2) == "//") {
    std::size_t slash = url.find('/', 2);
    url = slash == std::string_view::npos ? std::string_view() : url.substr(slash);
  }
  url = url.substr(0, url.find_first_of("?#"));
  facts.path = PercentDecode(url);
  return facts;
}

// The last component of a path, trailing slashes ignored.
std::string LastPathComponent(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  if (path == "/") return path;
  std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

const Json* Entitlement(const std::optional<Json>& plist, const char* name) {
  if (!plist || !plist->is_object()) return nullptr;
  auto entitlements = plist->find("Entitlements");
  if (entitlements == plist->end() || !entitlements->is_object()) return nullptr;
  auto value = entitlements->find(name);
  return value == entitlements->end() ? nullptr : &*value;
}

bool BoolValue(const Json& value) {
  if (value.is_boolean()) return value.get<bool>();
  if (value.is_number()) return value.get<double>() != 0;
  return false;
}

const char* YesNo(bool value) { return value ? "YES" : "NO"; }

}  // namespace

TSRUtilityHostApp::TSRUtilityHostApp(std::shared_ptr<platform::Platform> platform)
    : platform_(std::move(platform)) {}

std::optional<std::string> TSRUtilityHostApp::bundleIdentifier() {
  return platform_->hostApplication().bundleIdentifier();
}

std::optional<std::string> TSRUtilityHostApp::bundleVersion() {
  auto value = platform_->hostApplication().infoValue("CFBundleShortVersionString");
  if (!value || !value->is_string()) return std::nullopt;
  return std::move(value->get_ref<std::string&>());
}

std::optional<Json> TSRUtilityHostApp::tessarinConfiguration() {
  return platform_->hostApplication().infoValue("TessarinConfiguration");
}

std::optional<double> TSRUtilityHostApp::dataCreatedDate() {
  platform::DateResult created = platform_->hostApplication().homeDirectoryCreationDate();
  if (!created.date) {
    TSR_LOG_WARN("Could not determine home created date: %@",
                 created.error.empty() ? std::nullopt : std::optional<std::string>(created.error));
  }
  return created.date;
}

std::optional<double> TSRUtilityHostApp::bundleModifiedDate() {
  platform::DateResult modified = platform_->hostApplication().bundleModificationDate();
  if (!modified.date) {
    TSR_LOG_WARN("Could not determine bundle modified date: %@",
                 modified.error.empty() ? std::nullopt : std::optional<std::string>(modified.error));
  }
  return modified.date;
}

std::optional<std::string> TSRUtilityHostApp::provisionPath() {
  std::call_once(provision_path_once_, [this] {
    auto path = platform_->hostApplication().bundleResourcePath("embedded", "mobileprovision");
    if (path && platform_->fileSystem().fileExists(*path)) provision_path_ = path;
  });
  return provision_path_;
}

std::optional<Json> TSRUtilityHostApp::provisionPlist() {
  std::call_once(provision_plist_once_, [this] {
    auto path = provisionPath();
    if (!path) return;
    std::string bytes;
    if (!platform_->fileSystem().readFile(*path, &bytes).ok || bytes.empty()) return;
    // The profile is a signed binary envelope around an XML property list:
    // the list is found by its markers rather than by decoding the envelope.
    std::size_t start = bytes.find(kPlistStart);
    std::size_t end = bytes.find(kPlistEnd);
    if (start == std::string::npos || end == std::string::npos || end <= start) return;
    provision_plist_ =
        ParseXMLPropertyList(std::string_view(bytes).substr(start, end + kPlistEnd.size() - start));
  });
  return provision_plist_;
}

bool TSRUtilityHostApp::runningInSimulator() { return platform_->hostApplication().runningInSimulator(); }

bool TSRUtilityHostApp::sandboxedAPNS() {
  auto plist = provisionPlist();
  // Simulator builds carry no profile and their push tokens belong to the
  // sandbox environment.
  if (!plist && runningInSimulator()) return true;
  const Json* environment = Entitlement(plist, "aps-environment");
  return environment && environment->is_string() && environment->get<std::string>() == "development";
}

bool TSRUtilityHostApp::debuggableBuild() {
  auto plist = provisionPlist();
  if (!plist && runningInSimulator()) return true;
  const Json* allowed = Entitlement(plist, "get-task-allow");
  return allowed && BoolValue(*allowed);
}

bool TSRUtilityHostApp::appStoreBuild() {
  // A store build has no embedded profile; a sandbox receipt means a
  // TestFlight-style or development install instead.
  if (provisionPath()) return false;
  auto receipt = platform_->hostApplication().appStoreReceiptURL();
  if (!receipt) return false;
  UrlFacts url = ParseUrl(*receipt);
  if (LastPathComponent(url.path).starts_with("sandbox")) return false;
  if (url.isFile) return platform_->fileSystem().fileExists(url.path);
  return true;
}

bool TSRUtilityHostApp::testFlightBuild() {
  if (provisionPath()) return false;
  auto receipt = platform_->hostApplication().appStoreReceiptURL();
  if (!receipt) return false;
  UrlFacts url = ParseUrl(*receipt);
  if (!LastPathComponent(url.path).starts_with("sandbox")) return false;
  if (url.isFile) return platform_->fileSystem().fileExists(url.path);
  return true;
}

bool TSRUtilityHostApp::appStateIs(int state) {
  platform::HostApplication& app = platform_->hostApplication();
  // Without an application object (an extension, a bare process) the state
  // counts as active: code that waits for "active" then goes ahead.
  int current = app.hasSharedApplication() ? app.applicationState() : 0;
  return current == state;
}

bool TSRUtilityHostApp::userIdle() {
  return platform_->hostApplication().hasSharedApplication() && !last_event_date_;
}

bool TSRUtilityHostApp::swizzlingEnabled() {
  std::call_once(swizzling_once_, [this] {
    swizzling_enabled_ = platform_->hostApplication().swizzlingEnabledByDefault();
    auto value = platform_->hostApplication().infoValue("TessarinSwizzlingEnabled");
    if (!value) return;
    // Straight to the system log: the switch is read before the host app
    // has had a chance to raise the SDK's log threshold.
    if (JsonIsKind(*value, JsonKind::kNumber)) {
      swizzling_enabled_ = BoolValue(*value);
      LogToSystem(FormatLogMessage("TessarinSwizzlingEnabled found in plist, set to %@",
                                   {LogArg(YesNo(swizzling_enabled_))}));
    } else {
      LogToSystem(FormatLogMessage(
          "TessarinSwizzlingEnabled found in plist, but instead of BOOL/NSNumber found %@, falling back to "
          "default value %@",
          {LogArg(JsonClassName(*value)), LogArg(YesNo(swizzling_enabled_))}));
    }
  });
  return swizzling_enabled_;
}

std::shared_ptr<platform::Window> TSRUtilityHostApp::firstNormalWindow() {
  for (auto& window : platform_->hostApplication().windows()) {
    if (window && !window->isHidden() && window->windowLevel() == platform::kWindowLevelNormal) return window;
  }
  return nullptr;
}

std::shared_ptr<platform::ViewController> TSRUtilityHostApp::topPresentedVCForWindow(
    std::shared_ptr<platform::Window> window) {
  if (!window) window = firstNormalWindow();
  if (!window) return nullptr;
  auto top = window->rootViewController();
  // A chain of presentations is short; the bound only guards against a cycle.
  for (int depth = 0; top && depth < 64; ++depth) {
    auto presented = top->presentedViewController();
    if (!presented) break;
    top = std::move(presented);
  }
  return top;
}

}  // namespace tessarin
