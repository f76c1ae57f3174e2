#!/usr/bin/env bash
# The disk beneath the cache is full: programs hear of it at once, what the server has stands, and what was written
# before is kept.
address=127.78.1.14
source "$(dirname "$0")/lib.sh"
cache_disk=$ZVWORKER_HOME/drives/C
trap 'status=$?; set +e; unmount || status=1; umount -l "$cache_disk" 2>/dev/null; (exit $status); finish' EXIT
mkdir -p "$cache_disk"
mount -t tmpfs -o size=8m tmpfs "$cache_disk"
start_server
set_account
mount_drive

fill_disk() { cat /dev/zero >"$cache_disk/filler" 2>/dev/null || true; }
free_disk() { rm "$cache_disk/filler"; }
# Fails, and soon: a download that is tried again takes 15 seconds.
fails() {  # command...
  local began=$SECONDS
  "$@" >/dev/null 2>"$root/err" && fail "done on a full disk: $*"
  [ $((SECONDS - began)) -lt 5 ] || fail "$*: after $((SECONDS - began)) seconds"
}
# The same, with the system's words for a full disk.
does_not_fit() {  # command...
  fails "$@"
  grep -q 'No space left on device' "$root/err" || fail "$*: $(cat "$root/err")"
}

step "what cannot be sent is kept"
random_file "$root/kept" 100000
server stop >/dev/null
echo old >"$files/kept"
start_server
ls "$drive" >/dev/null
server stop >/dev/null
cp "$root/kept" "$drive/kept" 2>"$root/err" && fail "cp says it is done"
start_server

step "a file that is larger than the disk does not fit"
random_file "$root/large" 20000000
does_not_fit cp "$root/large" "$drive/large"
[ "$(stat -c %s "$files/large" 2>/dev/null || echo 0)" -lt 20000000 ] || fail "the server holds all of it"
rm "$drive/large"

step "what the server has is not cut when that does not fit, and not asked for"
random_file "$files/many" 3000000
cp "$files/many" "$root/many"
touch -d '20 seconds' "$files"  # folders are compared to the second
await "many does not appear" test -e "$drive/many"
fill_disk
fails cp "$drive/many" "$root/got"  # newer kernels make an I/O error of whatever a read of their pages fails with
does_not_fit truncate -s 100000 "$drive/many"
cmp "$files/many" "$root/many" || fail "many"

step "nothing is added to what was not sent"
does_not_fit dd if="$root/many" of="$drive/kept" bs=300000 count=1 conv=notrunc oflag=append status=none

step "when there is room again the drive is as before"
free_disk
cmp "$drive/many" "$root/many" || fail "many is not what the server has"
cp "$root/many" "$drive/new"
cmp "$files/new" "$root/many" || fail "new"

step "what was not sent before is sent"
unmount
mount_drive
wait_until_sent
cmp -n 100000 "$root/kept" "$files/kept" || fail "kept"
