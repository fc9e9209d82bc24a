#!/usr/bin/env bash
# Starts a throwaway PostgreSQL 15 server on 127.0.0.1 for one test run.
# Usage: pg_start.sh STATE_DIR
# Writes STATE_DIR/pg.env (host, port, the cluster folder) for the tests and
# for pg_stop.sh. Runs initdb as the postgres user when started as root,
# since initdb refuses root. Never touches the packaged clusters.
set -euo pipefail

state=${1:?state folder}
bin=${PG_BIN:-/usr/lib/postgresql/15/bin}
mkdir -p "$state"
rm -f "$state/pg.env"

as_pg=()
if [ "$(id -u)" -eq 0 ]; then as_pg=(runuser -u postgres --); fi

cluster=$(mktemp -d /tmp/tarvex-pg.XXXXXX)
if [ "$(id -u)" -eq 0 ]; then chown postgres: "$cluster"; fi
chmod 700 "$cluster"

"${as_pg[@]}" "$bin/initdb" -D "$cluster/data" -A trust -U postgres -E UTF8 --locale=C.UTF-8 -N \
    >"$cluster/initdb.log" 2>&1 || { cat "$cluster/initdb.log" >&2; exit 1; }

# Ports are tried upwards from a start that differs per process, so two runs
# at once rarely collide; a start that fails on a taken port tries the next.
port=$((54320 + $$ % 400))
for attempt in $(seq 1 40); do
    if "${as_pg[@]}" "$bin/pg_ctl" -D "$cluster/data" -l "$cluster/server.log" -w -t 30 \
        -o "-p $port -k $cluster -c listen_addresses=127.0.0.1 -c fsync=off -c synchronous_commit=off -c full_page_writes=off -c max_connections=60" \
        start >/dev/null 2>&1; then
        printf 'PGHOST=127.0.0.1\nPGPORT=%s\nPGCLUSTER=%s\n' "$port" "$cluster" >"$state/pg.env"
        echo "PostgreSQL on 127.0.0.1:$port ($cluster)"
        exit 0
    fi
    port=$((port + 1))
done
cat "$cluster/server.log" >&2 || true
exit 1
