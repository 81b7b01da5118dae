#!/usr/bin/env bash
# A throwaway PostgreSQL cluster for the server's tests and benchmarks.
#
#   pg_cluster.sh start INFO_FILE [durable]   initdb + start; writes INFO_FILE
#   pg_cluster.sh stop INFO_FILE              stop and delete the cluster
#
# The cluster lives in a fresh folder under /tmp and listens only on a Unix
# socket in that folder, so it collides with no other server or port. INFO_FILE
# holds "url <libpq URI of the postgres database>" and "dir <folder>", or
# "unavailable <reason>" when the cluster cannot start; the tests then skip
# with that reason, except under CI (CI set), where this script fails instead.
# Without "durable" the cluster trades crash safety for speed (fsync off).
set -uo pipefail

cmd=${1:-}
info=${2:-}
[[ -n $cmd && -n $info ]] || { echo "usage: $0 start|stop INFO_FILE [durable]" >&2; exit 2; }

bindir=$(ls -d /usr/lib/postgresql/*/bin 2>/dev/null | sort -V | tail -n 1)

# initdb and postgres refuse to run as root: run them as the postgres user
# that Debian's package creates (or nobody).
as_owner=()
owner=$(id -un)
if [[ $(id -u) -eq 0 ]]; then
  if id postgres >/dev/null 2>&1; then owner=postgres; else owner=nobody; fi
  as_owner=(runuser -u "$owner" --)
fi

unavailable() {
  echo "unavailable $*" >"$info"
  echo "pg_cluster.sh: PostgreSQL test cluster unavailable: $*" >&2
  if [[ -n ${CI:-} ]]; then
    exit 1
  fi
  exit 0
}

case $cmd in
  start)
    mkdir -p "$(dirname "$info")"
    [[ -x $bindir/initdb && -x $bindir/pg_ctl ]] ||
      unavailable "no PostgreSQL server binaries under /usr/lib/postgresql (Debian package postgresql)"
    dir=$(mktemp -d /tmp/talvo-pg.XXXXXX) || unavailable "cannot make a folder in /tmp"
    chmod 700 "$dir"
    [[ $owner == "$(id -un)" ]] || chown "$owner" "$dir"
    if ! "${as_owner[@]}" "$bindir/initdb" -D "$dir/data" -U talvo -A trust -E UTF8 --no-locale \
         --no-sync >"$dir/initdb.log" 2>&1; then
      reason=$(tail -n 3 "$dir/initdb.log" | tr '\n' ' ')
      rm -rf "$dir"
      unavailable "initdb failed: $reason"
    fi
    settings="-c listen_addresses='' -c unix_socket_directories=$dir -c max_connections=300"
    if [[ ${3:-} != durable ]]; then
      settings+=" -c fsync=off -c synchronous_commit=off -c full_page_writes=off"
    fi
    if ! "${as_owner[@]}" "$bindir/pg_ctl" -D "$dir/data" -l "$dir/server.log" -w -t 60 \
         -o "$settings" start >/dev/null 2>&1; then
      reason=$(tail -n 3 "$dir/server.log" 2>/dev/null | tr '\n' ' ')
      rm -rf "$dir"
      unavailable "the server did not start: $reason"
    fi
    printf 'url postgresql:///postgres?host=%s&user=talvo\ndir %s\n' "$dir" "$dir" >"$info"
    echo "pg_cluster.sh: PostgreSQL test cluster up in $dir" >&2
    ;;
  stop)
    dir=$(sed -n 's/^dir //p' "$info" 2>/dev/null)
    if [[ -n $dir && -d $dir ]]; then
      "${as_owner[@]}" "$bindir/pg_ctl" -D "$dir/data" -m immediate -w stop >/dev/null 2>&1
      rm -rf "$dir"
    fi
    rm -f "$info"
    ;;
  *)
    echo "usage: $0 start|stop INFO_FILE [durable]" >&2
    exit 2
    ;;
esac
