#!/bin/sh
# SPDX-License-Identifier: AGPL-3.0-only
# Usage: scan-clap.sh QTRACTOR_PLUGIN_SCAN FILE
# Has Qtractor's scanner look at a CLAP without a screen: two channels in and out, a MIDI input, seven parameters, a window.
set -eu

HOME=$(mktemp -d)
export HOME
trap 'rm -rf "$HOME"' EXIT
found=$( (echo "CLAP:$2"; sleep 5) | env -u DISPLAY QT_QPA_PLATFORM=offscreen "$1" )
echo "$found"
case $found in "CLAP|Varnel Reverb|2:2|1:0|7:0|GUI,"*) ;; *) exit 1 ;; esac
