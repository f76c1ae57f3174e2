#!/usr/bin/env bash
# Large files that are in the cache: the kernel reads them where they lie, if it can, and nobody sees a difference.
address=127.78.1.33
source "$(dirname "$0")/lib.sh"
start_server
for name in read written renamed removed; do random_file "$files/$name.bin" 4194304; done
set_account
mount_drive --listing-seconds 0

# From the worker, until the mount is asked no more: what its own pages hold would say nothing about the content.
fetch() { for name in "$@"; do cmp "$files/$name.bin" "$drive/$name.bin" || fail "$name.bin"; done; }
forget_pages() {
  unmount
  mount_drive --listing-seconds 0
}
read_on() { cat <&5; }
# What the reader of descriptor 5, the server and the drive have of a file.
expect_everywhere() {  # name, file
  read_on | cmp - "$2" || fail "the reader sees something else"
  exec 5<&-
  cmp "$files/$1" "$2" || fail "the server has something else"
  cmp "$drive/$1" "$2" || fail "the drive has something else"
}
# Whether a file can be read whole between the stop of a process and its going on, ten seconds later at most.
read_while_stopped() {  # process, file, file to write what was read to
  python3 - "$@" <<'END'
import os, signal, sys, threading
process, source, target = int(sys.argv[1]), *sys.argv[2:]
went_on = threading.Event()
def go_on():
    went_on.set()
    os.kill(process, signal.SIGCONT)
reader = os.open(source, os.O_RDONLY)
os.kill(process, signal.SIGSTOP)
watch = threading.Timer(10, go_on)
watch.start()
content = bytearray()
while data := os.read(reader, 1 << 20): content += data
in_time = not went_on.is_set()
watch.cancel()
os.kill(process, signal.SIGCONT)
open(target, 'wb').write(content)
sys.exit(0 if in_time else 1)
END
}
can_pass_through() {
  [ "$(stat -f -c %T "$root")" != overlayfs ] || return 1
  { zcat /proc/config.gz || cat "/boot/config-$(uname -r)"; } 2>/dev/null | grep '^CONFIG_FUSE_PASSTHROUGH=y' >/dev/null
}

fetch read written renamed removed
forget_pages

step "a cached file is read to its end while nobody serves the drive"
if can_pass_through; then
  read_while_stopped "$mount_pid" "$drive/read.bin" "$root/got" || fail "the reader waits for the drive"
  cmp "$root/got" "$files/read.bin" || fail "read.bin"
else
  echo "  (this kernel, or the file system of the cache, cannot do it)"
fi

step "who has it open sees what another program writes"
cp "$files/written.bin" "$root/expected"
exec 5<"$drive/written.bin"
random_file "$root/piece" 300000
for at in 0 1000000 4100000; do
  dd if="$root/piece" of="$drive/written.bin" bs=100000 seek=$at oflag=seek_bytes conv=notrunc status=none
  dd if="$root/piece" of="$root/expected" bs=100000 seek=$at oflag=seek_bytes conv=notrunc status=none
done
expect_everywhere written.bin "$root/expected"

step "one program reads and writes it while another one reads"
exec 5<"$drive/written.bin"
python3 - "$drive/written.bin" "$root/expected" <<'END' || fail "reading and writing"
import sys
for name in sys.argv[1:]:
    with open(name, 'r+b') as file:
        file.seek(2000000)
        before = file.read(70000)
        file.seek(2000000)
        file.write(before[::-1])
        file.seek(2000000)
        assert file.read(70000) == before[::-1]
END
expect_everywhere written.bin "$root/expected"

step "what one program changes as shared memory while another one reads is sent"
exec 5<"$drive/written.bin"
python3 - "$drive/written.bin" "$root/expected" <<'END' || fail "changing the memory"
import mmap, sys
for name in sys.argv[1:]:
    with open(name, 'r+b') as file:
        memory = mmap.mmap(file.fileno(), 0)
        memory[3000000:3000005] = b'first'
        memory.flush()
    memory[3000005:3000011] = b'second'  # after the close
    memory.close()
END
wait_until_sent
expect_everywhere written.bin "$root/expected"
exec 5<"$drive/written.bin"
settle_log
puts=$(requests 'verb=PUT .*path=/users/anna/Files/written')
python3 -c 'import sys; open(sys.argv[1], "r+b").close()' "$drive/written.bin"
wait_until_sent
exec 5<&-
settle_log
[ "$(requests 'verb=PUT .*path=/users/anna/Files/written')" = "$puts" ] || fail "sent without a change"

step "a reader keeps the version that it opened; who opens later gets the new one"
cp "$files/read.bin" "$root/old"
exec 5<"$drive/read.bin"
random_file "$root/new" 5000000
cp "$root/new" "$files/read.bin"
touch -d '1 hour ago' "$files/read.bin"
cmp "$drive/read.bin" "$root/new" || fail "not the new version"
if can_pass_through; then read_on | cmp - "$root/old" || fail "not the old version"; fi
exec 5<&-
cmp "$drive/read.bin" "$root/new" || fail "not the new version afterwards"

step "a file that is renamed, replaced or removed is read to its end"
exec 5<"$drive/renamed.bin"
mv "$drive/renamed.bin" "$drive/moved.bin"
read_on | cmp - "$files/moved.bin" || fail "renamed"
exec 5<"$drive/moved.bin"
cp "$files/moved.bin" "$root/old"
mv "$drive/written.bin" "$drive/moved.bin"
read_on | cmp - "$root/old" || fail "replaced"
cmp "$drive/moved.bin" "$root/expected" || fail "what replaced it"
exec 5<"$drive/removed.bin"
cp "$files/removed.bin" "$root/old"
rm "$drive/removed.bin"
read_on | cmp - "$root/old" || fail "removed"
exec 5<&-

if can_pass_through; then  # others wait for pages, and the system lets them go
  step "a signal ends a program that waits for a large file to be fetched"
  truncate -s 1500M "$files/slow.bin"
  touch -d '1 hour ago' "$files"  # folders are compared to the second
  cat "$drive/slow.bin" >/dev/null 2>&1 &
  reader=$!
  is_fetching() { [[ $("$zvdrive" progress) == *slow.bin* ]]; }
  await "the file is not fetched" is_fetching
  kill $reader
  wait $reader && fail "the reader knows nothing of it"
  [ "$("$zvdrive" progress)" = idle ] || fail "it is fetched on"
  ls "$ZVWORKER_HOME"/drives/C/ZVWorker/Cache@anna/ | grep -q 'slow.bin#$' && fail "it was fetched whole"
fi

step "a program that has one open does not hold up the unmounting"
exec 5<"$drive/moved.bin"
unmount
exec 5<&-
mount_drive --listing-seconds 0
cmp "$drive/moved.bin" "$root/expected" || fail "after the unmounting"
