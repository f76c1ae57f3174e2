#!/usr/bin/env bash
# A sync account on the mounted drive: everything goes through its utility library, and server and drive agree.
# usage: sync.sh ZVDRIVE SOURCE ADDRESS APPLICATION_PATH
address=$3
application_path=$4
source "$(dirname "$0")/lib.sh"
start_server
mkdir -p "$files/Letters and notes/deep" "$files/Übersicht" "$files/Empty" "$files/Many"
echo hello >"$files/Letters and notes/a b & c #1 100%.txt"
echo x >"$files/Übersicht/日本語.txt"
for size in 0 1 51199 51200 51201 10485760; do random_file "$files/$size.bin" $size; done
(cd "$files/Many" && seq -f 'File %04g.txt' 1 1000 | xargs -d '\n' touch -d '2024-02-29 12:34:56 UTC')
head -c 3145728 /dev/zero >"$files/Letters and notes/deep/three megabytes.bin"
set_account --type sync --application-path "$application_path"
mount_drive --listing-seconds 0
agree() {
  same <(inventory_without_times "$files") <(inventory_without_times "$drive")
}

step "the account says what serves it"
"$zvdrive" account show >"$root/show"
grep -q '^type *sync' "$root/show" && grep -q '^served by *ZVUtil, ' "$root/show" || fail "$(cat "$root/show")"

step "names, sizes and times equal the server's"
same <(inventory "$files") <(inventory "$drive")

step "df shows quota and used space, which follows what is written"
space() { df -B1M --output=size,used "$drive" | tail -n 1 | xargs; }
[ "$(space)" = "4096 13" ] || fail "$(space)"
random_file "$root/eight.bin" 8388608
cp "$root/eight.bin" "$drive/eight.bin"
[ "$(space)" = "4096 21" ] || fail "$(space)"
rm "$drive/eight.bin"
[ "$(space)" = "4096 13" ] || fail "$(space)"

step "files compare, and a clean one is not fetched again"
for size in 0 1 51199 51200 51201 10485760; do
  cmp "$files/$size.bin" "$drive/$size.bin" || fail "$size.bin"
done
settle_log
gets=$(requests 'verb=GET .*path=/users/anna/Files/10485760')
cmp "$files/10485760.bin" "$drive/10485760.bin"
settle_log
[ "$(requests 'verb=GET .*path=/users/anna/Files/10485760')" = "$gets" ] || fail "fetched again"

step "a file that was changed on the server is read anew"
random_file "$files/51201.bin" 51300
touch -d '1 hour ago' "$files/51201.bin"  # of times to come the server says that they are now
cmp "$files/51201.bin" "$drive/51201.bin" || fail "old content"

step "written files are the server's, byte for byte"
mkdir "$drive/written"
for size in 0 1 51200 51201 3000000; do
  random_file "$root/$size.bin" $size
  cp "$root/$size.bin" "$drive/written/$size.bin"
  cmp "$root/$size.bin" "$files/written/$size.bin" || fail "$size.bin"
done
echo more >>"$drive/written/51201.bin"
echo more >>"$root/51201.bin"
cmp "$root/51201.bin" "$files/written/51201.bin" || fail "appended"
truncate -s 1000 "$drive/written/3000000.bin"
[ "$(stat -c %s "$files/written/3000000.bin")" = 1000 ] || fail "truncated"
: >"$drive/written/51200.bin"
[ "$(stat -c %s "$files/written/51200.bin")" = 0 ] || fail "emptied"
agree

step "a tree is copied in, moved and removed"
mkdir "$root/tree"
for folder in $(seq 6); do
  mkdir "$root/tree/folder $folder"
  for file in $(seq 5); do echo "$folder/$file" >"$root/tree/folder $folder/file $file.txt"; done
done
cp -r "$root/tree" "$drive/tree"
same_files "$root/tree" "$files/tree"
mv "$drive/tree" "$drive/written/moved tree"
same_files "$root/tree" "$files/written/moved tree"
same_files "$root/tree" "$drive/written/moved tree"
agree
rm -r "$drive/written/moved tree"
[ -e "$files/written/moved tree" ] && fail "still there"
agree

step "a rename replaces a file, or refuses to"
echo old >"$drive/old.txt"
echo new >"$drive/new.txt"
mv "$drive/new.txt" "$drive/old.txt"
[ "$(cat "$files/old.txt")" = new ] || fail "not replaced"
[ -e "$files/new.txt" ] && fail "the source is still there"
echo third >"$drive/third.txt"
mv -n "$drive/third.txt" "$drive/old.txt"
[ "$(cat "$files/old.txt")" = new ] || fail "replaced although told not to"
rmdir "$drive/written" 2>/dev/null && fail "a folder that is not empty"
agree

step "saves as editors and office programs do them"
echo one >"$drive/report.odt"
echo two >"$drive/lu123abc.tmp"
[ -e "$files/lu123abc.tmp" ] && fail "a temporary file was sent"
[ "$(cat "$drive/lu123abc.tmp")" = two ] || fail "lu123abc.tmp"
mv "$drive/lu123abc.tmp" "$drive/report.odt"
[ "$(cat "$files/report.odt")" = two ] || fail "report.odt"
[ "$(cat "$drive/report.odt")" = two ] || fail "report.odt"
agree

step "a name without an extension stays on this side, until it gets one"
echo kept >"$drive/README"
[ -e "$files/README" ] && fail "README was sent"
ls "$drive" | grep -qx README || fail "README is not listed"
unmount
mount_drive --listing-seconds 0
[ "$(cat "$drive/README")" = kept ] || fail "README"
"$zvdrive" pending | grep -q '^/README .*on purpose' || fail "$("$zvdrive" pending)"
mv "$drive/README" "$drive/README.md"
[ "$(cat "$files/README.md")" = kept ] || fail "README.md"
agree

step "several at once"
for writer in 1 2 3 4; do
  (
    for round in 1 2 3 4 5; do
      random_file "$root/at-once-$writer-$round.bin" $((writer * 20000 + round))
      cp "$root/at-once-$writer-$round.bin" "$drive/"
      ls "$drive/Many" "$drive/Letters and notes" >/dev/null
    done
  ) &
  writers+=($!)
done
for writer in "${writers[@]}"; do wait "$writer" || fail "a writer"; done
for file in "$root"/at-once-*; do
  cmp "$file" "$files/${file##*/}" || fail "$file"
  cmp "$file" "$drive/${file##*/}" || fail "$file"
done
agree

step "nothing is left of what was brought and sent"
left=$(find "$ZVWORKER_HOME/drives/C" -ipath '*/cache@anna/*' -type f -not -name 'dir#ZV*' -not -name 'file#ZV*')
[ -z "$left" ] || fail "$left"

step "a server that is not there fails, and what was written is sent later"
exec 5>"$drive/later.txt"
server stop >/dev/null
echo later >&5
exec 5>&- 2>/dev/null || true
mkdir "$drive/unmade" 2>/dev/null && fail "a folder without a server"
start_server
unmount
mount_drive --listing-seconds 0
wait_until_sent
[ "$(cat "$files/later.txt")" = later ] || fail "later.txt"
agree
