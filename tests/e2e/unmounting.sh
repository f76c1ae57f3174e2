#!/usr/bin/env bash
# The drive is unmounted while programs have files open on it and are at work: it ends at once, and in order.
address=127.78.1.10
source "$(dirname "$0")/lib.sh"
start_server
set_account
for i in 1 2 3 4; do echo "file $i" >"$files/$i.txt"; done

# Reads as long as the drive is there.
reader() {
  while [ "$(cat "$drive/$1.txt" 2>/dev/null)" = "file $1" ]; do echo "$1" >>"$root/reads"; done
}

step "files are open, and readers at work"
for round in $(seq 10); do
  : >"$root/reads"
  mount_drive
  exec 5<"$drive/1.txt" 6>>"$drive/2.txt"
  readers=()
  for i in 1 2 3 4; do
    reader $i 5<&- 6>&- &
    readers+=($!)
  done
  tries=0
  until [ "$(sort -u "$root/reads" | wc -l)" = 4 ]; do
    tries=$((tries + 1))
    [ $tries -lt 600 ] || fail "nobody reads"
    sleep 0.02
  done
  unmount
  mountpoint -q "$drive" && fail "still mounted"
  wait "${readers[@]}"
  exec 5<&- 6>&-
done
for i in 1 2 3 4; do [ "$(cat "$files/$i.txt")" = "file $i" ] || fail "$i.txt"; done

step "one mount at a time; what was written to an open file is kept, and sent at the next mount"
mount_drive
mkdir "$root/second"
"$zvdrive" mount "$root/second" 2>"$root/err" && fail "mounted twice"
grep -q 'mounted already' "$root/err" || fail "$(cat "$root/err")"
# The shell itself would close a copy of the descriptor, and so send the file.
coproc writer {
  exec python3 -c 'import os, sys
file = os.open(sys.argv[1], os.O_WRONLY | os.O_CREAT)
os.write(file, b"written")
print("written", flush=True)
sys.stdin.read()' "$drive/open.txt"
}
writer_pid=$writer_PID
read -r _ <&"${writer[0]}" || fail "nothing is written"
[ -e "$files/open.txt" ] && fail "sent before its close"
unmount
grep -q '^  /open.txt$' "$root/mount.log" || fail "unmounting says nothing of it"
kill "$writer_pid"
mount_drive
wait_until_sent
[ "$(cat "$files/open.txt")" = written ] || fail "open.txt"

step "it is unmounted from outside"
umount "$drive"
wait "$mount_pid" || fail "zvdrive mount ended with $?"
mount_pid=
