#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Draws the documents' pictures, writes their generated tables and builds the reference of the
# headers. Run it through ./dev docs.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/common.sh

# draw NAME: docs/pictures/NAME.svg from NAME.dot, with the colours of a dark page and the digest of
# both, by which a test tells a picture that was not drawn anew.
draw() {
  local source=docs/pictures/$1.dot style=docs/pictures/dark.css digest
  digest=$(cat "$source" "$style" | sha256sum)
  dot -Tsvg "$source" | sed '/^<!--.*-->$/d; /^<!--/,/-->$/d' |
    sed "0,/^<g /s//<!-- $1.dot and dark.css, SHA-256 ${digest%% *} -->\n<style>\n<\/style>\n<g /" |
    sed "/^<style>$/r $style" >"docs/pictures/$1.svg"
}

install_packages graphviz doxygen
step "Drawing the pictures"
draw architecture
draw chain

build host orx_tool
step "Writing the tables"
android/needs.py
scripts/reason_tables.py

step "Building the reference"
mkdir -p build/docs
doxygen docs/Doxyfile
echo "build/docs/html/index.html"
