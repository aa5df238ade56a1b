#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Looks at the pages of 'orx check all --html' in a browser: takes screenshots of a healthy device,
# of a failing one and of one that sends hostile and long texts, at 360 and 1280 pixels, light and
# dark, and fails where something is wider than the page.
#
#   scripts/check_html.sh [FOLDER]     where the pages and pictures go; default: build/html
set -euo pipefail
cd "$(dirname "$0")/.."
# shellcheck source=scripts/common.sh
. scripts/common.sh

install_packages chromium fonts-dejavu-core python3
bin=$PWD/build/host/bin
out=$(realpath -m "${1:-build/html}")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$out"

# page NAME EXIT_CODE SETTING... -- OPTION...: the page of a device with these settings and faults.
page() {
  local name=$1 expected=$2 code=0
  shift 2
  "$bin/orx-sim" new "$work/$name"
  while [ "$1" != -- ]; do
    "$bin/orx-sim" set "$work/$name" "$1"
    shift
  done
  shift
  "$bin/orx-sim" run -q --device "$work/$name" "$@" -- \
    "$bin/orx" check all --keep-going --html "$out/$name.html" >/dev/null || code=$?
  [ "$code" = "$expected" ] || die "$name: exit code $code"
}

page healthy 0 --
page failing 1 strongbox-preshared-key=other provisioned-ids=serial=Other -- \
  --fault default.generateKey:damaged-leaf
page hostile 1 "ro.product.vendor.model=<script>document.title='harmed'</script>" \
  "attestation-root=/CN=$(printf 'W%.0s' {1..30})<img src=x onerror=alert(1)>" -- \
  --fault begin:params --fault default.generateKey:damaged-leaf

browse() {
  chromium --headless --no-sandbox --disable-gpu --disable-quic --no-first-run \
    --disable-background-networking --disable-component-update --disable-sync \
    --hide-scrollbars --user-data-dir="$work/profile" "$@" 2>"$work/browser.log" ||
    { tail -5 "$work/browser.log" >&2; exit 1; }
}

# frame PAGE WIDTH: a page that shows another in a frame of this width, and measures it. A browser's
# own window may not get as narrow.
frame() {
  python3 - "$1" "$2" <<'PYTHON'
import html, sys
page = open(sys.argv[1], encoding='utf-8').read()
print(f'''<!DOCTYPE html><meta charset="utf-8"><body style="margin:0">
<iframe style="border:0" width="{sys.argv[2]}" height="3000" srcdoc="{html.escape(page)}"></iframe>
<script>
document.querySelector('iframe').onload = event => {{
  const inner = event.target.contentDocument;
  const width = inner.documentElement.clientWidth;
  const wide = [...inner.querySelectorAll('*')].filter(
      e => e.getBoundingClientRect().right > width + 0.5 || e.scrollWidth > e.clientWidth + 1 &&
           e.clientWidth > 0);
  const page = inner.documentElement.scrollWidth > width;
  const text = e => e.tagName + ' ' + e.textContent.slice(0, 40).replace(/\\s+/g, ' ');
  document.title = 'measured ' + (page ? 'PAGE ' : '') + wide.map(text).join('; ') +
      (inner.title === 'harmed' ? 'SCRIPT RAN' : '');
}};
</script>''')
PYTHON
}

# measure PAGE WIDTH: what is too wide, if anything, after the word "measured".
measure() {
  frame "$1" "$2" >"$work/frame.html"
  browse --virtual-time-budget=5000 --dump-dom "file://$work/frame.html" |
    sed -n 's/.*<title>\(measured[^<]*\)<\/title>.*/\1/p'
}

# A page that cannot break its words is found to be too wide, or the measure is none.
sed 's/overflow-wrap: anywhere;//' "$out/hostile.html" >"$work/spoiled.html"
[[ $(measure "$work/spoiled.html" 360) == "measured "?* ]] || die "a page too wide was not found"

failed=0
for name in healthy failing hostile; do
  for width in 360 1280; do
    found=$(measure "$out/$name.html" "$width")
    if [ "$found" != "measured " ]; then
      echo "check_html: $name at $width pixels: ${found:-not measured}" >&2
      failed=1
    fi
    browse --window-size="$width,3000" --screenshot="$out/$name-$width.png" \
      "file://$work/frame.html"
  done
  browse --window-size=1280,3000 --blink-settings=preferredColorScheme=0 \
    --screenshot="$out/$name-dark.png" "file://$out/$name.html"
done
[ "$failed" = 0 ] && echo "check_html: nothing overflows; pictures in $out"
exit "$failed"
