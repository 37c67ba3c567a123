#include "util/device_util.h"

#include <algorithm>
#include <cctype>

#include "util/environment.h"
#include "util/safety.h"

namespace tessarin {
namespace {

// Identifiers are ASCII; the C library's tolower would also consult the
// host app's locale, on every event.
std::string LowerCase(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

std::string PaddedVersion(std::string_view version) {
  std::string padded(version);
  while (std::count(padded.begin(), padded.end(), '.') + 1 < 3) padded += ".0";
  return padded;
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Compares two runs of digits by their value, however long they are.
std::strong_ordering CompareDigitRuns(std::string_view a, std::string_view b) {
  auto significant = [](std::string_view run) {
    std::size_t first = run.find_first_not_of('0');
    return first == std::string_view::npos ? std::string_view() : run.substr(first);
  };
  a = significant(a);
  b = significant(b);
  if (auto order = a.size() <=> b.size(); order != 0) return order;
  int c = a.compare(b);
  return c < 0 ? std::strong_ordering::less : c > 0 ? std::strong_ordering::greater : std::strong_ordering::equal;
}

std::strong_ordering CompareNumerically(std::string_view a, std::string_view b) {
  std::size_t i = 0, j = 0;
  while (i < a.size() && j < b.size()) {
    if (IsDigit(a[i]) && IsDigit(b[j])) {
      std::size_t end_a = i, end_b = j;
      while (end_a < a.size() && IsDigit(a[end_a])) ++end_a;
      while (end_b < b.size() && IsDigit(b[end_b])) ++end_b;
      if (auto order = CompareDigitRuns(a.substr(i, end_a - i), b.substr(j, end_b - j)); order != 0) return order;
      i = end_a;
      j = end_b;
      continue;
    }
    auto ca = static_cast<unsigned char>(a[i]), cb = static_cast<unsigned char>(b[j]);
    if (ca != cb) return ca <=> cb;
    ++i;
    ++j;
  }
  return (a.size() - i) <=> (b.size() - j);
}

}  // namespace

std::optional<std::string> TSRUtilityDevice::identifierForVendor(Environment& di) {
  auto identifier = di.currentDevice().identifierForVendor();
  if (!identifier) return std::nullopt;
  return LowerCase(std::move(*identifier));
}

std::optional<std::string> TSRUtilityDevice::advertisingIdentifier(Environment& di) {
  std::optional<std::string> identifier;
  TSRUtilitySafety::runWithTag("+[TSRUtilityDevice advertisingIdentifier]", [&] {
    if (auto answer = di.currentDevice().advertisingIdentifier()) identifier = LowerCase(*answer);
  });
  return identifier;
}

bool TSRUtilityDevice::advertisingTrackingEnabled(Environment& di) {
  bool enabled = false;
  TSRUtilitySafety::runWithTag("+[TSRUtilityDevice advertisingTrackingEnabled]", [&] {
    enabled = di.currentDevice().advertisingTrackingEnabled().value_or(false);
  });
  return enabled;
}

std::string TSRUtilityDevice::machine(Environment& di) {
  platform::Device& device = di.currentDevice();
  std::string machine = device.hardwareMachine();
  if ((machine == "x86_64" || machine == "i386") && di.mainBundle().runningInSimulator()) {
    switch (device.userInterfaceIdiom()) {
      case 1: return "iPad Simulator";
      case 0: return "iPhone Simulator";
      default: return "Simulator";
    }
  }
  return machine;
}

std::string TSRUtilityDevice::model(Environment& di) { return di.currentDevice().model(); }

std::string TSRUtilityDevice::osVersion(Environment& di) { return di.currentDevice().systemVersion(); }

std::strong_ordering TSRUtilityDevice::compareOsVersion(std::string_view version, std::string_view to) {
  return CompareNumerically(PaddedVersion(version), PaddedVersion(to));
}

}  // namespace tessarin
