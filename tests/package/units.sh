#!/usr/bin/env bash
# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

# units.sh <program> <folder of units>: systemd understands the units, and rates the service's
# exposure at 1.5 of 10 or less.

set -euo pipefail
program="$1" units="$2"
scratch="$(mktemp -d)"
trap 'rm -r "$scratch"' EXIT
cp "$units"/tessaryn.{service,socket} "$scratch"
sed -i "s|/usr/bin/tessaryn|$program|" "$scratch/tessaryn.service"
# It ends with 0 also where it has something to say.
findings="$(systemd-analyze verify --man=no "$scratch"/tessaryn.* 2>&1)"
if [[ -n "$findings" ]]; then
    echo "$findings"
    exit 1
fi
systemd-analyze security --no-pager --offline=yes --threshold=15 "$units/tessaryn.service" | tail -n 1
