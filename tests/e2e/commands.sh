#!/usr/bin/env bash
# What the commands say and end with: a missing answer is no 0, a wrong option is told, a name is no escape code.
address=127.78.1.13
source "$(dirname "$0")/lib.sh"
start_server
mkdir -p "$files/Docs/deep" "$files/Empty/er"
random_file "$files/Docs/a.txt" 1000
random_file "$files/Docs/deep/b.txt" 2000
: >"$files/Empty/er/nothing.txt"

ends() {  # exit code, what is said, arguments of zvdrive
  local wanted=$1 said=$2 status=0
  shift 2
  "$zvdrive" "$@" </dev/null >"$root/out" 2>"$root/err" || status=$?
  [ $status = "$wanted" ] || fail "zvdrive $* ends with $status: $(cat "$root/err")"
  grep -qF -- "$said" "$root/err" || fail "zvdrive $* says $(cat "$root/err")"
}

step "an account without a password, an empty one, nothing at all"
"$zvdrive" account set --server "$address" --user anna --keep-password
ends 4 'the password of anna is missing' ls /
echo | "$zvdrive" account set --user anna 2>"$root/err" && fail "an empty password was taken"
grep -q 'empty password' "$root/err" || fail "$(cat "$root/err")"
ends 2 'nothing to set' account set
for quota in -5 1.5G ten ''; do ends 2 'a size is a whole number' account set --quota "$quota"; done
ZVWORKER_HOME=/proc/none ends 1 'the setting "UserName" cannot be written' account set --user bert --keep-password
set_account
"$zvdrive" account show | grep -q '^quota  *4294967296 bytes$' || fail "$("$zvdrive" account show)"

step "sizes of folders"
[ "$("$zvdrive" size /Docs)" = 3000 ] || fail "Docs"
[ "$("$zvdrive" size /)" = 3000 ] || fail "the root"
[ "$("$zvdrive" size Docs/deep/)" = 2000 ] || fail "deep"
[ "$("$zvdrive" size /Empty)" = 0 ] || fail "Empty"

step "no size of what is not there, is no folder, or cannot be asked for"
ends 3 'not found' size /nothing
ends 1 'it is not a folder' size /Docs/a.txt
server stop >/dev/null
server start --address "$address" --port 80 --tls-port 0 >/dev/null
ends 1 'gives no answer' size /Docs
[ ! -s "$root/out" ] || fail "printed: $(cat "$root/out")"
echo wrong | "$zvdrive" account set --user anna
ends 4 'refuses this user and password' size /Docs

step "a name with escape codes reaches a file as it is, and a terminal without them"
set_account
: >"$files/"$'red\e[31m'
touch -d '1 hour ago' "$files"  # folders are compared to the second
"$zvdrive" ls / >"$root/plain"
grep -qF $'red\e[31m' "$root/plain" || fail "$(cat -v "$root/plain")"
script -qec "'$zvdrive' ls /" /dev/null </dev/null >"$root/terminal"
grep -qF 'red?[31m' "$root/terminal" || fail "$(cat -v "$root/terminal")"
! grep -q $'\e' "$root/terminal" || fail "escape codes reach the terminal"
