#!/usr/bin/env bash
# Files on the mounted drive are the server's, byte for byte.
address=127.78.1.3
source "$(dirname "$0")/lib.sh"
start_server
for size in 0 1 51199 51200 51201 10485760; do random_file "$files/$size.bin" $size; done
random_file "$files/large.bin" 134217728
set_account
mount_drive --listing-seconds 0

step "small and large files compare"
for size in 0 1 51199 51200 51201 10485760; do
  cmp "$files/$size.bin" "$drive/$size.bin" || fail "$size.bin"
done
cmp "$files/large.bin" "$drive/large.bin" || fail "large.bin"

step "random reads"
for _ in $(seq 60); do
  skip=$((RANDOM * 32768 % 134000000 + RANDOM)) count=$((RANDOM * 3 + 1))
  cmp <(dd if="$files/large.bin" bs=1 skip=0 iflag=skip_bytes,count_bytes status=none bs=64K skip=$skip count=$count) \
    <(dd if="$drive/large.bin" iflag=skip_bytes,count_bytes status=none bs=64K skip=$skip count=$count) ||
    fail "at $skip, $count bytes"
done

step "twenty-four readers at once"
unmount
rm -rf "$ZVWORKER_HOME/drives/C/ZVWorker"
mount_drive --listing-seconds 0 --own-reads  # Mount.passing lets the kernel read
for reader in $(seq 24); do
  cmp "$files/10485760.bin" "$drive/10485760.bin" >"$root/reader$reader" 2>&1 &
  readers+=($!)
done
for reader in "${readers[@]}"; do wait "$reader" || fail "a reader: $(cat "$root"/reader*)"; done

step "a file that was changed on the server is read anew"
before=$(md5sum <"$drive/51201.bin")
random_file "$files/51201.bin" 51300
touch -d '1 hour ago' "$files/51201.bin"  # of times to come the server says that they are now
cmp "$files/51201.bin" "$drive/51201.bin" || fail "old content"
[ "$(md5sum <"$drive/51201.bin")" != "$before" ] || fail "nothing changed"

step "a clean file is not fetched again"
cmp "$files/large.bin" "$drive/large.bin"
settle_log
gets=$(requests 'verb=GET .*path=/users/anna/Files/large')
cmp "$files/large.bin" "$drive/large.bin"
settle_log
[ "$(requests 'verb=GET .*path=/users/anna/Files/large')" = "$gets" ] || fail "fetched again"

step "2 GiB and more are refused with a clear error, never with wrong bytes"
truncate -s 2G "$files/huge.bin"
touch -d '10 seconds' "$files"  # folders are compared to the second
head -c 1 "$drive/huge.bin" 2>"$root/err" && fail "huge.bin was opened"
grep -q 'File too large' "$root/err" || fail "$(cat "$root/err")"

step "a download is cancelled from another process"
truncate -s 1500M "$files/slow.bin"
touch -d '20 seconds' "$files"
stat "$drive/slow.bin" >/dev/null
cat "$drive/slow.bin" >/dev/null 2>"$root/err" &
reader=$!
until "$zvdrive" cancel /slow.bin >/dev/null 2>&1; do
  kill -0 $reader 2>/dev/null || fail "the download ended before it could be cancelled"
done
wait $reader && fail "the reader knows nothing of it"
ls "$ZVWORKER_HOME"/drives/C/ZVWorker/Cache@anna/ | grep -q 'slow.bin#$' && fail "a part of the file was left"
[ "$("$zvdrive" progress)" = idle ] || fail "not idle"
