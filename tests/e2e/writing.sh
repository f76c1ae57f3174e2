#!/usr/bin/env bash
# What is written to the mounted drive is on the server when the program has closed it.
address=127.78.1.4
source "$(dirname "$0")/lib.sh"
start_server
set_account
mount_drive

step "300 small files copied into one folder"
mkdir "$root/small" "$drive/small"
for i in $(seq 300); do echo "content of file $i" >"$root/small/file $i.txt"; done
cp "$root"/small/* "$drive/small/"
same_files "$root/small" "$files/small"

step "their times are the server's at once, and stay so when the folder is listed anew"
same <(inventory "$files/small") <(inventory "$drive/small")
unmount
mount_drive
same <(inventory "$files/small") <(inventory "$drive/small")

step "a large file, and the sizes around a chunk"
for size in 0 1 51199 51200 51201 102400 33554433; do
  random_file "$root/f" $size
  cp "$root/f" "$drive/$size.bin"
  cmp "$root/f" "$files/$size.bin" || fail "$size bytes"
  cmp "$root/f" "$drive/$size.bin" || fail "$size bytes, read back"
done

step "written over in part, appended to, cut, emptied and written again"
random_file "$root/f" 200000
cp "$root/f" "$drive/f"
for target in "$root/f" "$drive/f"; do
  printf 'PATCH' | dd of="$target" bs=1 seek=70000 conv=notrunc status=none
  echo appended >>"$target"
  truncate -s 150001 "$target"
  truncate -s 180000 "$target"
  printf 'far' | dd of="$target" bs=1 seek=300000 conv=notrunc status=none
done
cmp "$root/f" "$files/f" || fail "changed file"
: >"$drive/f"
[ "$(stat -c %s "$files/f")" = 0 ] || fail "not emptied"
echo again >"$drive/f"
[ "$(cat "$files/f")" = again ] || fail "not rewritten"
touch "$drive/touched"
[ "$(stat -c %s "$files/touched")" = 0 ] || fail "touched"

step "a file of an earlier session is written over in part"
random_file "$files/old.bin" 300000
cp "$files/old.bin" "$root/old.bin"
unmount
rm -rf "$ZVWORKER_HOME/drives/C/ZVWorker"
mount_drive
for target in "$root/old.bin" "$drive/old.bin"; do
  printf 'PATCH' | dd of="$target" bs=1 seek=123456 conv=notrunc status=none
done
cmp "$root/old.bin" "$files/old.bin" || fail "old.bin"

step "an append goes behind what another client appended"
printf 'first\n' >"$files/log.txt"
touch -d '10 seconds' "$files"  # folders are compared to the second
await "log.txt does not appear" test -e "$drive/log.txt"
printf 'first\nsecond\n' >"$files/log.txt"
touch -d '1 hour ago' "$files/log.txt"
echo third >>"$drive/log.txt"
printf 'first\nsecond\nthird\n' | cmp - "$files/log.txt" || fail "$(cat "$files/log.txt")"

step "verified writes in sequence and at random"
cd "$root"  # where the program leaves its state
fio --name=v --directory="$drive" --size=4M --bs=64k --rw=write --verify=crc32c --do_verify=1 \
  --end_fsync=1 --output="$root/fio" >/dev/null 2>&1 || fail "fio write: $(cat "$root/fio")"
fio --name=r --directory="$drive" --size=2M --bs=4k --rw=randwrite --verify=crc32c --do_verify=1 \
  --output="$root/fio" >/dev/null 2>&1 || fail "fio randwrite: $(cat "$root/fio")"
cmp "$drive/r.0.0" "$files/r.0.0" || fail "r.0.0"

step "past 2 GiB a write is refused"
printf x | dd of="$drive/f" bs=1 seek=2147483647 conv=notrunc status=none 2>"$root/err" && fail "written"
grep -q 'File too large' "$root/err" || fail "$(cat "$root/err")"

step "what cannot be sent is reported, kept, and sent later"
echo old >"$drive/precious"
echo precious >"$root/precious"
server stop >/dev/null
cp "$root/precious" "$drive/precious" 2>"$root/err" && fail "cp says it is done"
"$zvdrive" pending | grep -q '^/precious ' || fail "pending: $("$zvdrive" pending)"
[ "$(cat "$drive/precious")" = precious ] || fail "the content is gone"
unmount
grep -q '/precious' "$root/mount.log" || fail "unmounting says nothing of it"
start_server
mount_drive
wait_until_sent
cmp "$root/precious" "$files/precious" || fail "precious"
