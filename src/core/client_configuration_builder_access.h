// Builders are the SDK's to create: the start hands one to the app's block.
// This is the SDK's key to the builder's private constructor.
#ifndef TESSARIN_CORE_CLIENT_CONFIGURATION_BUILDER_ACCESS_H_
#define TESSARIN_CORE_CLIENT_CONFIGURATION_BUILDER_ACCESS_H_

#include "tessarin/client_configuration_builder.h"

namespace tessarin {

struct TSRClientConfigurationBuilderAccess {
  static TSRClientConfigurationBuilder Make() { return TSRClientConfigurationBuilder(); }
};

}  // namespace tessarin

#endif  // TESSARIN_CORE_CLIENT_CONFIGURATION_BUILDER_ACCESS_H_
