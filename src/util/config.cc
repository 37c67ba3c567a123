#include "util/config.h"

#include <cmath>
#include <cstring>

#include "base/log.h"
#include "util/environment.h"
#include "util/persistence.h"

namespace tessarin {
namespace {

// The persisted layers and the file sections that hold them.
struct PersistedLayer {
  long layer;
  const char* section;
};
constexpr PersistedLayer kPersistedLayers[] = {
    {TSRConfig::kLayerClient, "client"},
    {TSRConfig::kLayerSDK, "sdk"},
    {TSRConfig::kLayerServer, "server"},
};

constexpr const char* kUpdatedKey = "__updated";
constexpr const char* kLastModifiedKey = "__lastModified";
constexpr double kDefaultConfigMaxAge = 120;

// The writes go to their own queue, off the main thread.
constexpr std::string_view kWriterQueueLabel = "com.tessarin.sdk.TSRConfig";

bool ValidLayer(long layer) { return layer >= TSRConfig::kLayerDefaults && layer < TSRConfig::kLayerCount; }

// A layer's value for `key`, or null. Layers are small insertion-ordered
// maps (the largest is the 34 defaults), so a scan that compares lengths
// before bytes beats hashing the key, and it needs no owned copy of it.
const Json* FindInLayer(const Json& layer, std::string_view key) {
  if (!layer.is_object()) return nullptr;
  for (const auto& [name, value] : layer.get_ref<const Json::object_t&>()) {
    if (name.size() == key.size() && std::memcmp(name.data(), key.data(), key.size()) == 0) return &value;
  }
  return nullptr;
}

bool IsPersisted(long layer) {
  for (const PersistedLayer& persisted : kPersistedLayers) {
    if (persisted.layer == layer) return true;
  }
  return false;
}

// Whether two layers hold the same entries, in any order. Their "__updated"
// stamps are left out: a merge or replace restamps the layer in memory
// every time, but for the SDK's own records a new stamp alone is not worth
// a write (an event response repeats the same affinity id every time, and
// each write is an fsync'd rename); it reaches the file with the next real
// change. See StampIsWorthAWrite for the server layer.
bool SameEntries(const Json& a, const Json& b);

// The server layer's stamp is its freshness: it says when the service last
// confirmed the configuration (a 304 does nothing else), and the next
// launch decides from the file whether to ask again. It changes at most
// once per configuration request, so it is always written.
bool StampIsWorthAWrite(long layer) { return layer == TSRConfig::kLayerServer; }

bool SameEntries(const Json& a, const Json& b) {
  auto count = [](const Json& layer) {
    std::size_t n = layer.size();
    return FindInLayer(layer, kUpdatedKey) ? n - 1 : n;
  };
  if (!a.is_object() || !b.is_object() || count(a) != count(b)) return false;
  for (const auto& [key, value] : a.get_ref<const Json::object_t&>()) {
    if (key == kUpdatedKey) continue;
    const Json* other = FindInLayer(b, key);
    if (!other || *other != value) return false;
  }
  return true;
}

// The kinds a layer may hold: what the file format and the server can
// express. Anything else (binary data, a discarded parse) is refused.
bool IsConfigurationValue(const Json& value) {
  return value.is_string() || value.is_number() || value.is_boolean() || value.is_null() || value.is_object() ||
         value.is_array();
}

std::optional<std::string> StringIn(const Json& dictionary, const char* key) {
  const Json* value = FindInLayer(dictionary, key);
  if (!value || !value->is_string()) return std::nullopt;
  return value->get<std::string>();
}

double NumberValue(const Json& number) {
  if (number.is_boolean()) return number.get<bool>() ? 1 : 0;
  return number.get<double>();
}

}  // namespace

TSRConfig::TSRConfig(std::shared_ptr<Environment> di)
    : di_(std::move(di)),
      writer_(std::make_unique<TSRBackgroundFileWriter>(
          di_->platformPtr(), di_->persistence(), kConfigFileName, std::string(kWriterQueueLabel), true,
          [](const Json& file) { TSR_LOG_DEBUG("Config: saving: %@", file); })) {
  config_layers_.reserve(kLayerCount);
  loadFromFile();
}

TSRConfig::~TSRConfig() = default;

const Json& TSRConfig::defaults() {
  // Never destroyed: the SDK's threads may read the configuration while the
  // process exits.
  static const Json& kDefaults = *new Json(Json::object({
      {"__updated", 0},
      {"usePushNotifications", false},
      {"useDesignMode", false},
      {"disable", false},
      {"trackForeground", true},
      {"trackBackground", true},
      {"trackLaunch", true},
      {"trackInstallUpgrade", true},
      {"trackOrientation", false},
      {"screenUploadDelay", 0.3},
      {"ignorableClasses", Json::array({"UISnapshotModalViewController", "UIAlertController"})},
      {"callHandlersSafely", false},
      {"port", 443},
      {"protocol", "https"},
      {"configMaxAge", 120},
      {"testExperienceTimeout", 1800},
      {"delayOnResume", 0},
      {"useCDN", true},
      {"timeOnPageTimeout", 120},
      {"maxScreens", 50},
      {"maxEventsInQueue", 1000},
      {"campaignDispatchTimeout", 5},
      {"campaignTTL", 300},
      {"eventThrottleLimit", 50},
      {"eventThrottleInterval", 10},
      {"windowLevel", "alert-1"},
      {"statusBarRefVC", "top"},
      {"orientationRefVC", "root"},
      {"contextChecksAppState", true},
      {"contextChecksUserIdle", true},
      {"apnsReregister", false},
      {"allowFirebaseTokenFetch", true},
      {"designerMaxImageDimenPx", 1024},
      {"designerAlertTime", 3.0},
  }));
  return kDefaults;
}

void TSRConfig::loadFromFile() {
  // The file is to hold what was last asked of it before it is read back.
  waitForPendingWrites();
  config_layers_.clear();
  config_layers_.push_back(defaults());
  for (long layer = kLayerClient; layer < kLayerCount; ++layer) config_layers_.push_back(Json::object());

  std::optional<Json> stored = di_->persistence().loadJSONFromFilename(kConfigFileName);
  if (!stored) return;
  for (const PersistedLayer& persisted : kPersistedLayers) {
    const Json* section = FindInLayer(*stored, persisted.section);
    if (section && section->is_object()) {
      config_layers_[persisted.layer] = filterConfiguration(*section, persisted.layer);
    }
  }
}

void TSRConfig::saveToFile() {
  Json file = Json::object();
  for (const PersistedLayer& persisted : kPersistedLayers) {
    const Json& layer = config_layers_[persisted.layer];
    file[persisted.section] = layer.is_object() ? layer : Json::object();
  }
  writer_->save(std::move(file));
}

void TSRConfig::waitForPendingWrites() { writer_->waitForPendingWrites(); }

void TSRConfig::deleteFile(TSRUtilityPersistence& persistence) { persistence.deleteFilename(kConfigFileName); }

void TSRConfig::reset() {
  for (long layer = kLayerRuntime; layer > kLayerDefaults; --layer) config_layers_[layer] = Json::object();
  // Through the writer, so that a write still waiting cannot bring the file
  // back after it is gone.
  writer_->remove();
}

void TSRConfig::setConfiguration(const Json& configuration, long layer) {
  // Layer 1 is the host app's configuration as a whole, so it is only ever
  // replaced; the defaults are never written.
  if (layer < kLayerSDK || layer > kLayerRuntime) {
    TSR_LOG_WARN("Config: Ignoring attempt to set layer %ld", layer);
    return;
  }
  Json filtered = filterConfiguration(configuration, layer);
  Json& target = config_layers_[layer];
  bool changed = false;
  for (const auto& [key, value] : filtered.get_ref<const Json::object_t&>()) {
    if (key == kUpdatedKey) continue;
    const Json* current = FindInLayer(target, key);
    if (!current || *current != value) changed = true;
  }
  filtered[kUpdatedKey] = Now();
  for (auto& [key, value] : filtered.get_ref<Json::object_t&>()) target[key] = std::move(value);
  if ((changed || StampIsWorthAWrite(layer)) && IsPersisted(layer)) saveToFile();
}

void TSRConfig::replaceConfiguration(const Json& configuration, long layer) {
  // Layer 2 collects the SDK's own records from several owners; replacing it
  // would let one of them erase the others'.
  if (layer != kLayerClient && layer != kLayerServer && layer != kLayerRuntime) {
    TSR_LOG_WARN("Config: Ignoring attempt to replace layer %ld", layer);
    return;
  }
  Json filtered = filterConfiguration(configuration, layer);
  const bool changed = !SameEntries(filtered, config_layers_[layer]) || StampIsWorthAWrite(layer);
  filtered[kUpdatedKey] = Now();
  config_layers_[layer] = std::move(filtered);
  if (changed && IsPersisted(layer)) saveToFile();
}

const Json* TSRConfig::type(JsonKind kind, std::string_view key, bool /*checkThread*/) const {
  // A null or mistyped value in a higher layer (a server sending "port" as
  // text, say) must not hide a usable value below it.
  for (long layer = kLayerRuntime; layer >= kLayerDefaults; --layer) {
    const Json* value = FindInLayer(config_layers_[layer], key);
    if (value && JsonIsKind(*value, kind)) return value;
  }
  return nullptr;
}

const Json* TSRConfig::type(JsonKind kind, std::string_view key, long layer, bool /*checkThread*/) const {
  if (!ValidLayer(layer)) return nullptr;
  const Json* value = FindInLayer(config_layers_[layer], key);
  return value && JsonIsKind(*value, kind) ? value : nullptr;
}

std::optional<std::string> TSRConfig::stringForKey(std::string_view key) const {
  const Json* value = type(JsonKind::kString, key);
  if (!value) return std::nullopt;
  return value->get_ref<const std::string&>();
}

const Json* TSRConfig::numberForKey(std::string_view key) const { return type(JsonKind::kNumber, key); }

const Json* TSRConfig::jsonArrayForKey(std::string_view key) const { return type(JsonKind::kArray, key); }

const Json* TSRConfig::jsonForKey(std::string_view key) const { return type(JsonKind::kDictionary, key); }

std::optional<double> TSRConfig::doubleForKey(std::string_view key) const {
  const Json* value = numberForKey(key);
  if (!value) return std::nullopt;
  return NumberValue(*value);
}

std::optional<long long> TSRConfig::longForKey(std::string_view key) const {
  const Json* value = numberForKey(key);
  if (!value) return std::nullopt;
  if (value->is_number_integer()) return value->get<long long>();
  double number = NumberValue(*value);
  if (!std::isfinite(number)) return std::nullopt;
  return static_cast<long long>(number);
}

std::optional<bool> TSRConfig::boolForKey(std::string_view key) const {
  const Json* value = numberForKey(key);
  if (!value) return std::nullopt;
  return NumberValue(*value) != 0;
}

std::optional<double> TSRConfig::lastUpdatedForLayer(long layer) const {
  const Json* updated = type(JsonKind::kNumber, kUpdatedKey, layer, false);
  if (!updated) return std::nullopt;
  return NumberValue(*updated);
}

bool TSRConfig::hasEmptyLayer(long layer) const {
  if (!ValidLayer(layer)) return true;
  return config_layers_[layer].empty();
}

bool TSRConfig::expired() const {
  double updated = lastUpdatedForLayer(kLayerServer).value_or(0);
  double max_age = doubleForKey("configMaxAge").value_or(kDefaultConfigMaxAge);
  // A zero or negative age would make every trigger fetch anew; the server
  // cannot ask for that.
  if (!(max_age > 0)) max_age = kDefaultConfigMaxAge;
  return Now() >= updated + max_age;
}

void TSRConfig::setExpired(bool expired) {
  Json& server = config_layers_[kLayerServer];
  if (expired) {
    if (server.contains(kUpdatedKey)) server[kUpdatedKey] = 0;
    // Without a stored date the next request carries no condition, so the
    // server answers with the whole configuration.
    server.erase(kLastModifiedKey);
  } else {
    server[kUpdatedKey] = Now();
  }
}

std::optional<double> TSRConfig::lastModified() const {
  const Json* modified = type(JsonKind::kNumber, kLastModifiedKey, kLayerServer, false);
  if (!modified) return std::nullopt;
  return NumberValue(*modified);
}

Json TSRConfig::filterConfiguration(const Json& configuration, long layer) const {
  Json filtered = Json::object();
  if (!configuration.is_object()) return filtered;
  // Only the top level is inspected: a nested value that cannot be written
  // is caught when the file is serialised.
  for (const auto& [key, value] : configuration.get_ref<const Json::object_t&>()) {
    if (IsConfigurationValue(value)) {
      filtered[key] = value;
    } else {
      TSR_LOG_WARN("Config: Filter rejecting entry: layer %ld key %@ value %@", layer, key, value);
    }
  }
  return filtered;
}

bool TSRConfig::clientConfigValid(const Json& configuration) {
  auto present = [&](const char* key) { return FindInLayer(configuration, key); };
  auto nonEmptyString = [](const Json* value) {
    return value && value->is_string() && !value->get_ref<const std::string&>().empty();
  };

  // Every failing key is collected so that one line tells the developer all
  // that is wrong with what they passed.
  Json invalid = Json::array();
  if (!nonEmptyString(present("account"))) invalid.push_back("account");
  if (!nonEmptyString(present("dataset"))) invalid.push_back("dataset");
  if (const Json* protocol = present("protocol")) {
    if (!(protocol->is_string() && (*protocol == "https" || *protocol == "http"))) invalid.push_back("protocol");
  }
  if (const Json* domain = present("domain"); domain && !nonEmptyString(domain)) invalid.push_back("domain");
  for (const char* key : {"port", "useCDN", "usePushNotifications", "useDesignMode"}) {
    if (const Json* value = present(key); value && !JsonIsKind(*value, JsonKind::kNumber)) invalid.push_back(key);
  }

  if (invalid.empty()) return true;
  TSR_LOG_ERROR("Config: Invalid keys: %@", invalid);
  return false;
}

bool TSRConfig::clientConfigRequiresReset(const Json& configuration) const {
  // Events, identities and the server layer all belong to one account and
  // dataset; any other client key can change in place.
  const Json& stored = config_layers_[kLayerClient];
  std::optional<std::string> stored_account = StringIn(stored, "account");
  std::optional<std::string> stored_dataset = StringIn(stored, "dataset");
  std::optional<std::string> account = StringIn(configuration, "account");
  std::optional<std::string> dataset = StringIn(configuration, "dataset");
  if ((stored_dataset && stored_dataset != dataset) || (stored_account && stored_account != account)) {
    TSR_LOG_WARN("Config: Will require reset to update from old client configuration: %@", stored);
    return true;
  }
  return false;
}

double TSRConfig::Now() const { return di_->platform().now(platform::Clock::kWall); }

}  // namespace tessarin
