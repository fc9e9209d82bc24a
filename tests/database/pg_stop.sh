#!/usr/bin/env bash
# Stops the server pg_start.sh started and removes its cluster folder.
# Usage: pg_stop.sh STATE_DIR
set -uo pipefail

state=${1:?state folder}
bin=${PG_BIN:-/usr/lib/postgresql/15/bin}
[ -f "$state/pg.env" ] || exit 0
# shellcheck disable=SC1091
. "$state/pg.env"
as_pg=()
if [ "$(id -u)" -eq 0 ]; then as_pg=(runuser -u postgres --); fi
"${as_pg[@]}" "$bin/pg_ctl" -D "$PGCLUSTER/data" -m immediate -w stop >/dev/null 2>&1
case "$PGCLUSTER" in /tmp/tarvex-pg.*) rm -rf "$PGCLUSTER" ;; esac
rm -f "$state/pg.env"
exit 0
