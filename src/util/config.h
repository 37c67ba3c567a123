// TSRConfig: every tunable of the SDK, as five stacked layers of key/value
// dictionaries (0 defaults, 1 client, 2 the SDK's own records, 3 server,
// 4 run-time overrides). A look-up takes the value of the highest layer that
// holds the key with the requested kind. Layers 1-3 persist in
// "Tessarin-config". There is no lock: the SDK changes it on the main thread.
// The file follows on a background queue, so a change never makes the main
// thread wait for the disk, and a change that changes nothing is not written.
#ifndef TESSARIN_UTIL_CONFIG_H_
#define TESSARIN_UTIL_CONFIG_H_

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tessarin/json.h"

namespace tessarin {

class TSRBackgroundFileWriter;
class Environment;
class TSRUtilityPersistence;

inline constexpr const char* kConfigFileName = "Tessarin-config";

class TSRConfig {
 public:
  static constexpr long kLayerDefaults = 0;
  static constexpr long kLayerClient = 1;
  static constexpr long kLayerSDK = 2;
  static constexpr long kLayerServer = 3;
  static constexpr long kLayerRuntime = 4;
  static constexpr long kLayerCount = 5;

  // Defaults plus the layers persisted by earlier runs.
  explicit TSRConfig(std::shared_ptr<Environment> di);
  // Finishes the writes already requested.
  ~TSRConfig();
  TSRConfig(const TSRConfig&) = delete;
  TSRConfig& operator=(const TSRConfig&) = delete;

  // The 34 built-in defaults (layer 0).
  static const Json& defaults();

  void loadFromFile();
  // Asks for the persisted layers as they are now to be written; returns at
  // once.
  void saveToFile();
  static void deleteFile(TSRUtilityPersistence& persistence);
  void reset();
  // Blocks until every write of the file requested before the call is on
  // disk (for a stop, or before the process goes away). Safe from any
  // thread, the main thread included.
  void waitForPendingWrites();

  // Merge into layer 2, 3 or 4; replace layer 1, 3 or 4. Others are refused.
  void setConfiguration(const Json& configuration, long layer);
  void replaceConfiguration(const Json& configuration, long layer);

  // The value of the highest layer holding `key` with the requested kind, or
  // null. The pointer stays valid until the configuration next changes.
  // Keys are views so that a look-up by a literal allocates nothing: the SDK
  // reads its tunables on the host app's UI thread, often.
  const Json* type(JsonKind kind, std::string_view key, bool checkThread = false) const;
  // That one layer's value if it has the requested kind.
  const Json* type(JsonKind kind, std::string_view key, long layer, bool checkThread) const;

  std::optional<std::string> stringForKey(std::string_view key) const;
  const Json* numberForKey(std::string_view key) const;
  const Json* jsonArrayForKey(std::string_view key) const;
  const Json* jsonForKey(std::string_view key) const;
  // Conveniences over numberForKey (booleans are numbers; a fraction is
  // truncated towards zero for longForKey; any non-zero number is true).
  std::optional<double> doubleForKey(std::string_view key) const;
  std::optional<long long> longForKey(std::string_view key) const;
  std::optional<bool> boolForKey(std::string_view key) const;

  std::optional<double> lastUpdatedForLayer(long layer) const;  // seconds since 1970
  bool hasEmptyLayer(long layer) const;
  bool expired() const;
  void setExpired(bool expired);
  std::optional<double> lastModified() const;  // seconds since 1970

  Json filterConfiguration(const Json& configuration, long layer) const;

  static bool clientConfigValid(const Json& configuration);
  bool clientConfigRequiresReset(const Json& configuration) const;

  const std::vector<Json>& configLayers() const { return config_layers_; }

 private:
  double Now() const;

  std::shared_ptr<Environment> di_;
  std::vector<Json> config_layers_;
  std::unique_ptr<TSRBackgroundFileWriter> writer_;
};

}  // namespace tessarin

#endif  // TESSARIN_UTIL_CONFIG_H_
