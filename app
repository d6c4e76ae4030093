#!/usr/bin/env bash
# Installs what the application needs, builds it, and opens it. A document may be named: ./app FILE
set -euo pipefail
cd "$(dirname "$0")"
. scripts/packages.sh

need_packages "the application" \
    "g++ cmake make pkg-config qt6-base-dev qt6-qpa-plugins libgl-dev libplist-dev
     libpng-dev zlib1g-dev liblcms2-dev nlohmann-json3-dev" \
    "cmake pkg-config qt libplist libpng zlib little-cms2 nlohmann-json"

jobs=$(getconf _NPROCESSORS_ONLN)
mkdir -p build
log=build/app.log
echo "Building the application (log: $log)" >&2
if ! { cmake --preset release -DREQUIRE_APP=ON &&
    cmake --build build/release --parallel "$jobs" --target talvek_app; } >"$log" 2>&1; then
    tail -n 40 "$log" >&2
    echo "The build failed; the whole log is in $log." >&2
    exit 1
fi
exec "build/release/Talvek PSD Repair.app/Contents/MacOS/Talvek PSD Repair" "$@"
