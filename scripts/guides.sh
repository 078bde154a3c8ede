#!/usr/bin/env bash
# scripts/guides.sh OUTPUT-FOLDER: the guides as HTML (user guide in English and German, monitoring
# guide, integrator guide, lines and centres, message centre, an index) and user and integrator guides as
# PDF, to which the pages link. Installs what is missing. The folder belongs beside that of the examples,
# to which some pages link as ../examples.
#
# The same commit gives the same bytes, under the same SOURCE_DATE_EPOCH when one is set.
set -euo pipefail
[ $# -eq 1 ] || { sed -n '2,/^set/s/^# \{0,1\}//p' "$0" >&2; exit 2; }
output=$(realpath "$1")
cd "$(dirname "$0")/.."
. scripts/packages.sh

install_missing "${guide_packages[@]}"
export SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git log --max-count=1 --format=%ct 2>/dev/null || echo 0)}
exec python3 -B scripts/guides.py "$output"
