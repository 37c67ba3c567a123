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
#   check_demo.sh DEMO message  the in-app message on the simulated host:
#       a screenshot, its first button pressed (a link), and its impression,
#       click-through and dismissal at the service
#   check_demo.sh DEMO linux-message   the same on the Linux host, flung
#       away to the left: an impression and a dismissal, no click-through
#   check_demo.sh DEMO design   design mode: the three-finger press connects,
#       home and product (visited twice each) are uploaded once each, with
#       pictures of what they show within 1024 pixels
#   check_demo.sh DEMO design-cellular   the same on a cellular network,
#       where the SDK warns first and the marketer accepts
set -eu
demo="$1"
mode="${2:-sim}"
err=$(mktemp)
shot=$(mktemp)
trap 'rm -f "$err" "$shot"' EXIT
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
check_not() {
  if printf '%s\n' "$out" | grep -qF -- "$1"; then
    echo "demo output has: $1" >&2
    status=1
  fi
}
# The screenshot is a PNG file, by its signature.
check_png() {
  if [ "$(head -c 8 "$shot" | od -An -tx1 | tr -d ' \n')" != "89504e470d0a1a0a" ]; then
    echo "the screenshot is not a PNG file" >&2
    status=1
  fi
}
message='of message demo-message-msg (experience demo-message-exp)'

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
message)
  run --press-button 0 --screenshot "$shot"
  check 'demo: in-app message shown, {"panel":['
  check "demo: screenshot written to $shot (1170 x 2532 pixels)"
  check 'demo: the user pressed button 0 at ('
  check 'demo: the message is gone'
  check 'app: the system was asked to open https://shop.example/sku-42'
  check "stat: impression $message"
  check "stat: click-through $message"
  check "stat: dismissal $message"
  check 'demo: every event delivered, stopped'
  check_png
  ;;
linux-message)
  run --host linux --swipe left --screenshot "$shot"
  check 'demo: in-app message shown, {"panel":['
  check "demo: screenshot written to $shot (750 x 1334 pixels)"
  check 'demo: the user swiped the panel left from ('
  check 'demo: the message is gone'
  check "stat: impression $message"
  check "stat: dismissal $message"
  check_not "stat: click-through $message"
  check 'demo: every event delivered'
  check_png
  ;;
design | design-cellular)
  if [ "$mode" = design ]; then run --design; else run --design --cellular; fi
  check 'demo: connected to the designer'
  check 'upload: HomeViewController 474x1024 centre #F4F1EA (what the screen shows)'
  check 'upload: ProductViewController 474x1024 centre #2E6B4F (what the screen shows)'
  check 'demo: 2 screen(s) uploaded, each once, with a picture of what it shows'
  if [ "$mode" = design-cellular ]; then
    check 'demo: the SDK asks: We recommend using this feature over a Wi-Fi network. Are you sure you wish to proceed?'
  else
    check_not 'demo: the SDK asks:'
  fi
  ;;
*)
  echo "usage: check_demo.sh DEMO [sim|linux|events|message|linux-message|design|design-cellular]" >&2
  exit 64
  ;;
esac
if [ "$status" -ne 0 ]; then
  printf '%s\n' "$out" >&2
  cat "$err" >&2
fi
exit "$status"
