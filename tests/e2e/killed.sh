#!/usr/bin/env bash
# A killed program loses nothing that was acknowledged, and serves no listing in part afterwards.
address=127.78.1.7
source "$(dirname "$0")/lib.sh"
start_server
set_account
mkdir "$files/many"
(cd "$files/many" && seq -f 'file %04g' 1 800 | xargs -d '\n' touch)

for round in 1 2 3 4; do
  step "round $round"
  mount_drive
  (
    i=0
    while [ $i -lt 400 ]; do
      i=$((i + 1))
      echo "round $round file $i" >"$drive/r$round-$i" 2>/dev/null && echo "r$round-$i" >>"$root/acknowledged"
      ls "$drive/many" >/dev/null 2>&1
    done
  ) &
  writer=$!
  # Some point in the middle of the work: after so many files as chance says.
  limit=$((RANDOM % 12 + 2)) tries=0
  until [ "$(grep -c "^r$round-" "$root/acknowledged" 2>/dev/null || true)" -ge $limit ] 2>/dev/null; do
    tries=$((tries + 1))
    [ $tries -lt 2000 ] || fail "nothing is written"
    sleep 0.01
  done
  kill -KILL "$mount_pid"
  wait "$mount_pid" 2>/dev/null || true
  mount_pid=
  kill "$writer" 2>/dev/null || true
  wait "$writer" 2>/dev/null || true
  umount -l "$drive"
  [ -z "$(ls -A "$drive")" ] || fail "under the mount: $(ls -A "$drive")"
  # Another client's file makes sure that no listing is current by chance. Rounds may follow each other within
  # one second, which is all that a folder's time tells: each has a time of its own here.
  touch "$files/many/after round $round"
  touch -d "2024-01-0$round" "$files/many"
done

mount_drive
wait_until_sent
step "every file that was acknowledged is there, on both sides"
while read -r name; do
  [ -s "$files/$name" ] || fail "$name is not on the server"
  cmp -s "$files/$name" "$drive/$name" || fail "$name differs"
done <"$root/acknowledged"
step "the listing is whole"
[ "$(ls "$drive/many" | wc -l)" = 804 ] || fail "$(ls "$drive/many" | wc -l) entries"
