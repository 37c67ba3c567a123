#!/bin/sh
# Runs the demo against its embedded local service and checks that the
# session's promises show in what it printed: a delivered campaign, the
# product screen's own context and view action, the push token, the test
# selection riding on events, and the click on a notification.
set -eu
demo="$1"
out=$("$demo" --log-level 0 --handle promo-strip)
status=0
check() {
  if ! printf '%s\n' "$out" | grep -qF -- "$1"; then
    echo "demo output lacks: $1" >&2
    status=1
  fi
}
check 'campaign: home-banner {"headline":"Offer 1 for home-banner","discount":5}'
check 'campaign: promo-strip '
check '"action":"Product Detail",".ri":"1"'
check '".pv":""'
check '"action":"View Item",".ri":"1"'
check '"_ptu":"{\"APNS_SANDBOX\":{\"token\":\"5e551000cafef00d\"}}"'
check '"action":"Purchase",".ri":"Global"'
check '".testMessages":"true"'
check '".cStat":"[{\"id\":\"demo-exp-7\",\"type\":\"e\",\"stat\":\"c\"}]"'
check 'demo: every event delivered, stopped'
[ "$status" -eq 0 ] || printf '%s\n' "$out" >&2
exit "$status"
