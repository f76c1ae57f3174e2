#!/usr/bin/env bash
# No secret in any log, message or debug output, and nobody else's eyes on the files: after a session with transfers,
# a refused sign-on and connections that break.
address=127.78.1.9
source "$(dirname "$0")/lib.sh"
password='Nordkiel_73.Ufer'
wrong='Falsch-geraten_19'
proxy_password='Durchgang-verboten_55'
export ZVWORKER_DEBUG=yes
umask 000
printed=$root/printed
mkdir "$printed"
start_server --user "berta:$password"
files=$data/users/berta/Files
mkdir -p "$files/Docs"
random_file "$files/Docs/large.bin" 300000

set_secret() { echo "$1" | "$zvdrive" account set --server "$address" --user berta "${@:2}" >>"$printed/set" 2>&1; }
use_drive() {  # name of what is printed, zvdrive account options
  local name=$1
  set_secret "$password" "${@:2}"
  mount_drive
  ls -lR "$drive" >"$root/listing"
  cmp "$drive/Docs/large.bin" "$files/Docs/large.bin" || fail "reading"
  random_file "$drive/Docs/$name.bin" 200000
  cmp "$drive/Docs/$name.bin" "$files/Docs/$name.bin" || fail "writing"
  mkdir "$drive/$name" && mv "$drive/Docs/$name.bin" "$drive/$name/" && rm -r "${drive:?}/$name"
  [ "$("$zvdrive" size /Docs 2>>"$printed/size")" -ge 300000 ] || fail "the folder's size"
  unmount
  mv "$root/mount.log" "$printed/$name"
}
fails() {  # exit code, arguments of zvdrive
  local wanted=$1 status=0
  shift
  "$zvdrive" "$@" >>"$printed/failed" 2>&1 || status=$?
  [ $status = "$wanted" ] || fail "zvdrive $* ends with $status: $(tail -n 3 "$printed/failed")"
}

step "a session over HTTP and one over TLS"
use_drive plain
use_drive tls --ssl

step "a wrong password, a proxy that is not there, a server that is not there"
set_secret "$wrong"
fails 4 ls /
printf '%s\n%s\n' "$password" "$proxy_password" |
  "$zvdrive" account set --user berta --no-ssl --proxy "$address:9" --proxy-user carl --proxy-password
fails 4 ls /
fails 4 size /Docs
"$zvdrive" account set --keep-password --proxy ""
mount_drive
server stop >/dev/null
random_file "$drive/late.bin" 100000 2>/dev/null && fail "a write without a server succeeded"
unmount
mv "$root/mount.log" "$printed/stopped"
fails 4 size /Docs
"$zvdrive" account show >"$printed/show"
"$zvdrive" pending >"$printed/pending"
grep -q '^password *set$' "$printed/show" || fail "$(cat "$printed/show")"

step "no log, message or debug output has a secret, in whatever form"
searched=$root/searched
mkdir "$searched"
for log in "$ZVWORKER_HOME"/drives/C/Users/*/AppData/Local/Orvelan/Cirrux/Log/*; do
  iconv -f UTF-16 -t UTF-8 "$log" >"$searched/$(basename "$log")"
done
cp "$printed"/* "$searched/"
for name in UserLog.txt DavDebug.txt CacheDebug.txt PollDebug.txt; do
  [ -s "$searched/$name" ] || fail "$name has nothing to search"
done
grep -qh 401 "$searched"/*.txt || fail "the refused sign-on left no trace to search"
# Each character's code raised by 20, as the settings have it.
shifted() {
  local at code
  for ((at = 0; at < ${#1}; at++)); do
    printf -v code %d "'${1:at:1}"
    printf "\\U$(printf %08x $((code + 20)))"
  done
}
[ "$(shifted 'abc')" = uvw ] || fail "the search itself"
for user_and_secret in "berta:$password" "berta:$wrong" "carl:$proxy_password"; do
  secret=${user_and_secret#*:}
  for form in "$secret" "$(printf %s "$secret" | base64 -w 0)" "$(printf %s "$user_and_secret" | base64 -w 0)" \
    "$(shifted "$secret")"; do
    ! grep -rF -e "$form" "$searched" || fail "'$form' is in the lines above"
  done
done
! grep -ri 'Authorization: ' "$searched" || fail "a header with a secret"

step "the files are nobody else's, whatever the umask"
[ "$(find "$ZVWORKER_HOME" -type f | wc -l)" -ge 5 ] || fail "too few files to look at"
blocks=(/dev/shm/zvworker-"$(id -u)"-*)
[ -e "${blocks[0]}" ] || fail "no shared block to look at"
open=$(find "$ZVWORKER_HOME" "${blocks[@]}" -perm /077)
[ -z "$open" ] || fail "others may use: $open"
