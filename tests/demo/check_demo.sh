#!/bin/sh
# Runs the demo against its embedded local service and checks that the
# session's promises show in what it printed.
#
#   check_demo.sh DEMO [sim]    the simulated host's session: a delivered
#       campaign, the product screen's own context and view action, the push
#       token, the test selection riding on events, the click on a notification
#   check_demo.sh DEMO linux    the Linux host's session: the app's actions
#       on the global context, the test selection, the click, the campaigns
#       and their impressions all delivered; the SDK's log kept to warnings
#       and errors
#   check_demo.sh DEMO events   a load run of 500 events on the Linux host:
#       every one reaches the service and the SDK's diagnostics count them
#       all as sent, none dropped
set -eu
demo="$1"
mode="${2:-sim}"
err=$(mktemp)
trap 'rm -f "$err"' EXIT
status=0
run() {
  set +e
  out=$("$demo" "$@" 2>"$err")
  code=$?
  set -e
  if [ "$code" -ne 0 ]; then
    echo "demo exited with $code" >&2
    status=1
  fi
}
check() {
  if ! printf '%s\n' "$out" | grep -qF -- "$1"; then
    echo "demo output lacks: $1" >&2
    status=1
  fi
}

case "$mode" in
sim)
  run --log-level 0 --handle promo-strip
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
  ;;
linux)
  run --host linux --handle promo-strip
  check 'campaign: home-banner {"headline":"Offer 1 for home-banner","discount":5}'
  check 'campaign: promo-strip {"headline":"Offer 2 for promo-strip","discount":10}'
  check '"action":"View Item",".ri":"Global"'
  check '"action":"Add To Cart",".ri":"Global"'
  check '"action":"Purchase",".ri":"Global"'
  check '".testMessages":"true"'
  check '".cStat":"[{\"id\":\"demo-exp-7\",\"type\":\"e\",\"stat\":\"c\"}]"'
  check '".cStat":"[{\"id\":\"demo-1-exp\",\"type\":\"e\",\"stat\":\"i\"}'
  check '".cStat":"[{\"id\":\"demo-2-exp\",\"type\":\"e\",\"stat\":\"i\"}'
  check 'came back: 2 campaign(s) delivered to handlers'
  check 'demo: every event delivered'
  # By default the SDK says only what went wrong.
  if grep -E 'TSR (Info|Debug) ' "$err" >/dev/null; then
    echo "the SDK logged below warnings by default:" >&2
    grep -E 'TSR (Info|Debug) ' "$err" | head -3 >&2
    status=1
  fi
  ;;
events)
  run --host linux --events 500
  check 'demo: the service received 500 "Load Event" events'
  check 'demo: every event delivered'
  # "sent S events, retried R batches, dropped D (...)": the launch's events
  # go too, so at least the 500.
  diagnostics=$(printf '%s\n' "$out" | sed -n 's/^demo: events: sent \([0-9]*\) events, .* dropped \([0-9]*\) .*/\1 \2/p')
  set -- $diagnostics
  if [ "$#" -ne 2 ] || [ "$1" -lt 500 ] || [ "$2" -ne 0 ]; then
    echo "the diagnostics do not count the 500 events as sent: ${diagnostics:-no diagnostics line}" >&2
    status=1
  fi
  ;;
*)
  echo "usage: check_demo.sh DEMO [sim|linux|events]" >&2
  exit 64
  ;;
esac
if [ "$status" -ne 0 ]; then
  printf '%s\n' "$out" >&2
  cat "$err" >&2
fi
exit "$status"
