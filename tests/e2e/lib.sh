# What every case of the mounted drive needs: a server and an account of its own, a mount, requests to count.
# usage: a case sources this after setting `address`; $1 is the zvdrive program, $2 the source folder.
set -euo pipefail
zvdrive=$1
source_folder=$2

root=$(mktemp -d -t zv-e2e."$(printf 'X%.0s' 1 2 3 4 5 6)")
export ZVWORKER_HOME=$root/home
data=$root/data
drive=$root/drive
files=$data/users/anna/Files
access_log=$data/server/logs/access.log
mount_pid=
mkdir -p "$data" "$drive"

server() { "$source_folder/server/account_server" "$@" --data "$data"; }

start_server() {
  server start --address "$address" --port 80 --tls-port 443 --user anna:secret --quota 4096 "$@" >/dev/null
}

unmount() {
  [ -z "$mount_pid" ] && return
  kill -INT "$mount_pid" 2>/dev/null || true
  local status=0
  wait "$mount_pid" || status=$?
  mount_pid=
  [ $status -eq 0 ] || { echo "FAILED: zvdrive mount ended with $status" >&2; return 1; }
  ! grep '^fuse:' "$root/mount.log" >&2 || { echo "FAILED: libfuse complains" >&2; return 1; }
}

finish() {
  local status=$?
  set +e
  unmount || status=1
  server stop >/dev/null 2>&1 || true
  if [ $status -ne 0 ]; then
    echo "---- last lines of the logs"
    tail -n 5 "$root/mount.log" 2>/dev/null || true
    for log in "$ZVWORKER_HOME"/drives/C/Users/*/AppData/Local/Orvelan/Cirrux/Log/{UserLog,DavDebug,CacheDebug}.txt; do
      [ -f "$log" ] && echo "$log" && iconv -f UTF-16 -t UTF-8 "$log" | tail -n 8
    done
  fi
  mountpoint -q "$drive" && umount -l "$drive"
  rm -rf "$root"
  exit $status
}
trap finish EXIT

fail() {
  echo "FAILED: $*" >&2
  exit 1
}
step() { echo "- $*"; }

# Until a command succeeds; fails with the text when it does not.
await() {  # text, command...
  local text=$1 tries=0
  shift
  until "$@"; do
    tries=$((tries + 1))
    [ $tries -lt 600 ] || fail "$text"
    sleep 0.05
  done
}

set_account() { echo secret | "$zvdrive" account set --server "$address" --user anna --quota 4G "$@"; }

mount_drive() {
  : >"$root/mount.log"  # or the last mount's line would be taken for this one's
  "$zvdrive" mount "$drive" "$@" >"$root/mount.log" 2>&1 &
  mount_pid=$!
  local tries=0
  until grep -q '^mounted' "$root/mount.log"; do
    kill -0 "$mount_pid" 2>/dev/null || { cat "$root/mount.log" >&2; fail "zvdrive mount ended"; }
    tries=$((tries + 1))
    [ $tries -lt 600 ] || fail "zvdrive mount does not come up"
    sleep 0.05
  done
}

# The mount sends what an earlier one left behind.
wait_until_sent() {
  local tries=0
  until "$zvdrive" pending | grep -q everything; do
    tries=$((tries + 1))
    [ $tries -lt 600 ] || fail "not sent: $("$zvdrive" pending)"
    sleep 0.05
  done
}

# Requests that the server has logged: an extended regular expression over its lines.
requests() { grep -cE "$1" "$access_log" || true; }
# A line is written after its reply went out: waits until a request of this very moment is in the log.
settle_log() {
  local mark=/users/anna/Files/mark-$RANDOM$RANDOM
  curl -s -o /dev/null -u anna:secret "http://$address$mark"
  await "the server logs nothing" grep -q "path=$mark" "$access_log"
}

# Type, path, size of files and time of everything beneath a folder.
inventory() {
  (cd "$1" && find . -mindepth 1 \( -type f -printf 'f %p %s %Ts\n' -o -printf 'd %p %Ts\n' \) | sort)
}
# The same without times: empty files that were just written from here still carry this machine's clock.
inventory_without_times() {
  (cd "$1" && find . -mindepth 1 \( -type f -printf 'f %p %s\n' -o -printf 'd %p\n' \) | sort)
}
same() { diff "$@" >"$root/diff" || { head -n 20 "$root/diff"; fail "differences: diff $*"; }; }
same_files() { diff -r "$1" "$2" >"$root/diff" 2>&1 || { head -n 20 "$root/diff"; fail "$1 and $2 differ"; }; }
random_file() { head -c "$2" /dev/urandom >"$1"; }
