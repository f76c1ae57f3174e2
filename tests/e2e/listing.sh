#!/usr/bin/env bash
# The mounted drive shows what the server has: names, sizes, times, space.
address=127.78.1.1
source "$(dirname "$0")/lib.sh"
start_server
mkdir -p "$files/Letters and notes/deep/er" "$files/Übersicht 2026" "$files/Empty" "$files/Many"
echo hello >"$files/Letters and notes/a b & c #1 100%.txt"
echo x >"$files/Übersicht 2026/日本語 Ελλάδα.txt"
random_file "$files/Letters and notes/deep/er/data.bin" 123456
(cd "$files/Many" && seq -f 'File %04g.txt' 1 5000 | xargs -d '\n' touch -d '2024-02-29 12:34:56 UTC')
head -c 3145728 /dev/zero >"$files/three megabytes"
set_account
mount_drive

step "names, sizes and times equal the server's"
same <(inventory "$files") <(inventory "$drive")

step "df shows quota and used space"
read -r total used < <(df -B1M --output=size,used "$drive" | tail -n 1)
[ "$total" = 4096 ] || fail "quota $total"
[ "$used" = 3 ] || fail "used $used"

step "a name that is not there, and one that is"
stat "$drive/nothing" 2>"$root/err" && fail "stat of nothing"
grep -q 'No such file' "$root/err" || fail "$(cat "$root/err")"
[ "$(stat -c %s "$drive/three megabytes")" = 3145728 ] || fail "size"

step "a file that another client makes shows up"
echo new >"$files/Letters and notes/fresh.txt"
unmount
mount_drive
[ "$(cat "$drive/Letters and notes/fresh.txt")" = new ] || fail "fresh.txt"

step "an unmounted drive leaves an empty folder"
unmount
[ -z "$(ls -A "$drive")" ] || fail "not empty"
