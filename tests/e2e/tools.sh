#!/usr/bin/env bash
# Programs that people use work on the mounted drive as on a local disk.
address=127.78.1.6
source "$(dirname "$0")/lib.sh"
start_server
set_account
mount_drive

step "git: clone into the drive, commit there, check"
git init -q "$root/repo"
cd "$root/repo"
git config user.name anna
git config user.email anna@example.org
for i in $(seq 12); do
  seq "$i" 400 >"file $i"
  git add -A
  git commit -qm "commit $i"
done
git clone -q "$root/repo" "$drive/clone" 2>"$root/err" || fail "$(cat "$root/err")"
cd "$drive/clone"
git fsck --full >"$root/fsck" 2>&1 || fail "$(cat "$root/fsck")"
git config user.name anna
git config user.email anna@example.org
echo more >more
git add more
git commit -qm more
[ -z "$(git status --porcelain)" ] || fail "git status: $(git status --porcelain)"
cd "$root"
same_files "$drive/clone" "$files/clone"

step "sqlite: a database is made, filled and checked"
sqlite3 "$drive/people.db" "create table people(id integer primary key, name text);"
sqlite3 "$drive/people.db" "begin; $(for i in $(seq 200); do echo "insert into people(name) values('name $i');"; done) commit;"
[ "$(sqlite3 "$drive/people.db" 'pragma integrity_check; select count(*) from people;' | tr '\n' ' ')" = "ok 200 " ] ||
  fail "the database"
cmp "$drive/people.db" "$files/people.db" || fail "people.db"

step "rsync -a, twice: the second time sends nothing but what changed"
mkdir "$root/tree"
for i in $(seq 40); do seq "$i" >"$root/tree/$i.txt"; done
rsync -a --size-only "$root/tree" "$drive/"
same_files "$root/tree" "$files/tree"
echo changed >"$root/tree/7.txt"
rsync -a --size-only --out-format=%n "$root/tree" "$drive/" | grep -v '/$' >"$root/sent"
[ "$(cat "$root/sent")" = tree/7.txt ] || fail "sent: $(cat "$root/sent")"
same_files "$root/tree" "$files/tree"

step "tar: packed on the drive and unpacked there"
# A folder's time that its parent's listing tells is brought up to date when the folder is listed: tar would take that
# for a change.
unmount
mount_drive
tar -C "$drive" -cf "$drive/tree.tar" tree
mkdir "$drive/unpacked"
tar -C "$drive/unpacked" -xf "$drive/tree.tar"
same_files "$root/tree" "$files/unpacked/tree"
