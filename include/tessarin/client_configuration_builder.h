// The client configuration a host app hands to Tessarin at start. The SDK
// creates the builder and passes it to the block given to
// Tessarin::startWithClientConfiguration; the app fills it there.
//
// Thread contract: the builder lives only for the block, which runs on the
// thread that called the start, before the start returns.
#ifndef TESSARIN_CLIENT_CONFIGURATION_BUILDER_H_
#define TESSARIN_CLIENT_CONFIGURATION_BUILDER_H_

#include <string>

#include "tessarin/export.h"
#include "tessarin/json.h"

namespace tessarin {

class TESSARIN_EXPORT TSRClientConfigurationBuilder {
 public:
  std::string account;   // becomes "account"
  std::string dataset;   // becomes "dataset"
  bool usePushNotifications = false;
  bool useDesignMode = false;

  // Exactly the four keys, untrimmed and unchecked.
  Json toDictionary() const;
  // Trims account and dataset in place and logs, at Error level, which are
  // left empty. The start sequence does not call it; it is for the app.
  void logInvalidEntries();

 private:
  // Only the SDK creates builders.
  TSRClientConfigurationBuilder() = default;
  friend struct TSRClientConfigurationBuilderAccess;
};

}  // namespace tessarin

#endif  // TESSARIN_CLIENT_CONFIGURATION_BUILDER_H_
