#!/bin/sh
# A layer sees the folders below it and not those above: each probe includes
# a header from the layer itself (it must compile) and one from the layer
# just above it (it must not).
# usage: check_layers.sh CXX LAYERS_DIR INCLUDE_DIR
set -u
cxx=$1 layers=$2 include=$3
probe=$(mktemp --suffix=.cc)
trap 'rm -f "$probe"' EXIT
failed=0

compiles() {  # layer header
  printf '#include "%s"\n' "$2" > "$probe"
  "$cxx" -std=c++20 -fsyntax-only -I"$layers/$1" -I"$include" "$probe" 2>/dev/null
}

check() {  # layer own-header header-above
  if ! compiles "$1" "$2"; then echo "layer $1 cannot include its own $2"; failed=1; fi
  if compiles "$1" "$3"; then echo "layer $1 includes $3 from above it"; failed=1; fi
}

check platform platform/platform.h base/log.h
check base base/log.h util/config.h
check util util/config.h transport/sender.h
check items items/json_fields.h tracking/campaign_dispatcher.h
check jsonpath jsonpath/json_path.h tracking/campaign_dispatcher.h
check transport transport/sender.h tracking/campaign_dispatcher.h
check tracking tracking/campaign_dispatcher.h push/push_token_manager.h
check push push/push_token_manager.h core/tessarin_impl.h
check ui ui/utility_color.h design/screen_uploads.h
check design design/screen_uploads.h core/tessarin_impl.h
# Push and in-app messages are side by side: neither sees the other.
check push push/push_token_manager.h ui/utility_color.h
check ui ui/utility_color.h push/push_token_manager.h
check design design/screen_uploads.h push/push_token_manager.h
check core core/tessarin_impl.h capi/capi_items.h
# The UI kit is part of the platform layer and builds on the rest of it, so
# the rest of the platform's folder must not include the kit (a cycle).
kit_users=$(grep -rl --include='*.h' --include='*.cc' '#include "platform/ui/' "$layers/platform/platform/" |
  grep -v '/platform/ui/' || true)
if [ -n "$kit_users" ]; then echo "the platform includes its UI kit: $kit_users"; failed=1; fi
check platform platform/ui/layout/layout_engine.h base/log.h

[ "$failed" -eq 0 ] && echo "every layer sees exactly the folders below it"
exit "$failed"
