#!/usr/bin/env bash
# Folders are made, entries renamed, moved and deleted; server and drive agree.
address=127.78.1.5
source "$(dirname "$0")/lib.sh"
start_server
set_account
mount_drive
agree() {
  same <(inventory_without_times "$files") <(inventory_without_times "$drive")
}

step "a tree is copied in"
mkdir "$root/tree"
for folder in $(seq 25); do
  mkdir "$root/tree/folder $folder"
  for file in $(seq 8); do echo "$folder/$file" >"$root/tree/folder $folder/file $file.txt"; done
done
cp -r "$root/tree" "$drive/tree"
same_files "$root/tree" "$files/tree"
agree

step "a tree of 225 entries is moved"
mkdir "$drive/target"
mv "$drive/tree" "$drive/target/moved tree"
same_files "$root/tree" "$files/target/moved tree"
same_files "$root/tree" "$drive/target/moved tree"
agree

step "a rename replaces a file, or refuses to"
echo old >"$drive/old"
echo new >"$drive/new"
mv "$drive/new" "$drive/old"
[ "$(cat "$files/old")" = new ] || fail "not replaced"
[ -e "$drive/new" ] && fail "the source is still there"
echo third >"$drive/third"
mv -n "$drive/third" "$drive/old"
[ "$(cat "$files/old")" = new ] || fail "replaced although told not to"
[ "$(cat "$drive/third")" = third ] || fail "third"

step "renames that cannot be"
mkdir "$drive/a" "$drive/a/b"
mv "$drive/a" "$drive/a/b/" 2>/dev/null && fail "a folder into itself"
mv -T "$drive/third" "$drive/a" 2>/dev/null && fail "a file over a folder"
rmdir "$drive/a" 2>"$root/err" && fail "a folder that is not empty"
grep -q 'not empty' "$root/err" || fail "$(cat "$root/err")"
mkdir "$drive/a" 2>"$root/err" && fail "a folder that exists"
touch "$drive/what?" 2>/dev/null && fail "a name that listings cannot hold"
mv "$drive/third" "$drive/Third"
[ "$(ls "$files" | grep -i third)" = Third ] || fail "case"
agree

step "saves as office programs and editors do them"
echo one >"$drive/report.odt"
echo two >"$drive/lu123abc.tmp"
mv "$drive/lu123abc.tmp" "$drive/report.odt"
[ "$(cat "$files/report.odt")" = two ] || fail "report.odt"
echo three >"$drive/.report.odt.swp"
cat "$drive/.report.odt.swp" >"$drive/report.odt"
rm "$drive/.report.odt.swp"
[ "$(cat "$drive/report.odt")" = three ] || fail "report.odt"
agree

step "a tree is removed"
rm -r "$drive/target" "$drive/a"
[ -e "$files/target" ] && fail "still there"
agree

step "all of it stands after a new mount"
unmount
mount_drive
agree
