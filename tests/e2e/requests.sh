#!/usr/bin/env bash
# What a walk asks of the server, counted in its access log.
address=127.78.1.2
source "$(dirname "$0")/lib.sh"
start_server
mkdir -p "$files/Docs"
echo a >"$files/Docs/a.txt"
set_account

count() { settle_log; echo "$(requests 'verb=PROPFIND .*depth=0') $(requests 'verb=PROPFIND .*depth=1')"; }

step "the first walk fetches the root twice, and asks for its time after that and at the next entry"
"$zvdrive" ls / >"$root/first"
[ "$(count)" = "2 2" ] || fail "first walk: $(count)"

step "a second walk of an unchanged folder asks for its time, and for nothing else"
"$zvdrive" ls / >"$root/second"
[ "$(count)" = "3 2" ] || fail "second walk: $(count)"
same "$root/first" "$root/second"

step "a changed folder is fetched again"
echo b >"$files/b.txt"
touch -d '1 minute ago' "$files"
"$zvdrive" ls / >"$root/third"
[ "$(count)" = "4 4" ] || fail "third walk: $(count)"
grep -qx b.txt "$root/third" || fail "b.txt is missing"

step "space, and the exit codes of what is not there and of a wrong password"
"$zvdrive" space | grep -q '4096 MiB' || fail "space"
status=0; "$zvdrive" ls /nothing 2>/dev/null || status=$?
[ $status = 3 ] || fail "exit code $status for a missing folder"
echo wrong | "$zvdrive" account set --server "$address" --user anna
status=0; "$zvdrive" ls / 2>"$root/err" || status=$?
[ $status = 4 ] || fail "exit code $status for a wrong password"
grep -q 401 "$root/err" || fail "$(cat "$root/err")"

step "a server that is not there"
server stop >/dev/null
set_account
status=0; "$zvdrive" ls / 2>"$root/err" || status=$?
[ $status = 4 ] || fail "exit code $status without a server"
grep -q 'no answer' "$root/err" || fail "$(cat "$root/err")"
