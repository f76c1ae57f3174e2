#!/bin/bash
# Tests of the account server: account_server_test.sh SERVER CASE NUMBER
#
# A case is a function of this file whose name states a fact. It gets a server of its own at
# 127.77.2.NUMBER with the accounts anna:secret and bert:other, and ends at its first failure.

set -u
export LC_ALL=C

server=$1 case_name=$2 address=127.77.2.$3
port=18080 tls_port=18443
work=$(mktemp -d)
data=$work/data
base=http://$address:$port
tls_base=https://$address:$tls_port
root=$base/users/anna/Files
files=$data/users/anna/Files
kept=$data/users/anna/kept

readonly LISTING='<?xml version="1.0"?><propfind xmlns="DAV:"><prop><getcontentlength/>
<creationdate/><getlastmodified/><quota/><used/></prop></propfind>'

cleanup() {
  local folder
  for folder in "$work"/*/; do "$server" stop --data "$folder" >/dev/null; done
  ! mountpoint -q "$data/users" || umount "$data/users"
  rm -rf "$work"
}
trap cleanup EXIT

fail() {
  echo "FAILED: $case_name, line ${BASH_LINENO[1]}: $*"
  tail -n 20 "$data/server/logs/error.log" 2>/dev/null
  exit 1
}

expect() { # expect WANTED GOT
  [[ $1 == "$2" ]] || fail "wanted '$1', got '$2'"
}

expect_same() { cmp "$1" "$2" || fail "$1 and $2 differ"; }

start() {
  "$server" start --address "$address" --port $port --tls-port $tls_port --data "$data" \
    --user anna:secret --user bert:other "$@" >"$work/start.out" 2>&1 ||
    fail "$(cat "$work/start.out")"
}

ask() { curl -s -k -u anna:secret --max-time 30 "$@"; }
status() { ask -o /dev/null -w '%{http_code}' "$@"; }
random_file() { head -c "$2" /dev/urandom >"$1"; }

wait_until() { # wait_until COMMAND...: for at most ten seconds
  local tries=0
  until "$@"; do
    ((++tries < 500)) || fail "never came true: $*"
    sleep 0.02
  done
}

keeps_nothing() { [[ -z $(ls -A "$kept") ]]; }
is_kept() { compgen -G "$kept/*.part" >/dev/null; }
has_size() { [[ $(stat -c %s "$1" 2>/dev/null) == "$2" ]]; }

put_head() { # put_head NAME LENGTH
  printf 'PUT /users/anna/Files/%s HTTP/1.1\r\nHost: %s\r\n' "$1" "$address"
  printf 'Authorization: Basic %s\r\n' "$(printf anna:secret | base64)"
  printf 'Content-Length: %s\r\n\r\n' "$2"
}

break_upload() { # break_upload NAME FILE BYTES: the line breaks when BYTES of FILE are through
  exec 4<>"/dev/tcp/$address/$port"
  put_head "$1" "$(stat -c %s "$2")" >&4
  head -c "$3" "$2" >&4
  exec 4>&-
  wait_until is_kept
}

continue_upload() { # continue_upload NAME FILE FIRST [TOTAL]: prints the status
  local size
  size=$(stat -c %s "$2")
  tail -c +$(($3 + 1)) "$2" >"$work/rest"
  status -T "$work/rest" -H "Content-Range: bytes $3-$((size - 1))/${4:-$size}" "$root/$1"
}

answers_options_by_credentials() {
  start
  expect 200 "$(status -X OPTIONS "$root")"
  expect 401 "$(status -u anna:wrong -X OPTIONS "$root")"
  expect 401 "$(curl -s -o /dev/null -w '%{http_code}' -X OPTIONS "$root")"
  expect 200 "$(status -X OPTIONS "$tls_base/users/anna/Files")"
}

keeps_each_user_in_his_own_folder() {
  start
  expect 403 "$(status -X OPTIONS "$base/users/bert/Files")"
  expect 403 "$(status -T "$0" "$base/users/bert/Files/x")"
  expect 403 "$(status -X DELETE "$base/users/bert/Files/y")"
  expect 403 "$(status "$base/users/anna/quota")"
  expect 403 "$(status "$base/server/passwords")"
  expect '' "$(ls -A "$data/users/bert/Files")"
}

lists_in_the_accounts_dialect() {
  start --quota 500
  mkdir "$files/Docs"
  random_file "$files/Docs/<D:lp1:x & <lp1:y> xmlns:lp1=#%é.txt" 1234
  ask -X PROPFIND -H Depth:1 -d "$LISTING" "$root/Docs/" |
    sed -E 's/>[0-9-]{10}T[0-9:]{8}Z</>CREATED</; s/>[A-Z][a-z]{2}, .* GMT</>MODIFIED</' >"$work/got"
  cat >"$work/wanted" <<'XML'
<?xml version="1.0" encoding="utf-8"?>
<D:multistatus xmlns:D="DAV:" xmlns:ns0="DAV:">
<D:response xmlns:lp0="DAV:" xmlns:lp2="http://apache.org/dav/props/" xmlns:g0="DAV:">
<D:href>/users/anna/Files/Docs/%3cD:lp1:x%20&amp;%20%3clp1:y%3e%20xmlns:lp1=%23%25%c3%a9.txt</D:href>
<D:propstat>
<D:prop>
<lp0:getcontentlength>1234</lp0:getcontentlength>
<lp0:creationdate>CREATED</lp0:creationdate>
<lp0:getlastmodified>MODIFIED</lp0:getlastmodified>
</D:prop>
<D:status>HTTP/1.1 200 OK</D:status>
</D:propstat>
</D:response>
<D:response xmlns:lp0="DAV:" xmlns:lp2="http://apache.org/dav/props/" xmlns:g0="DAV:">
<D:href>/users/anna/Files/Docs/</D:href>
<D:propstat>
<D:prop>
<lp0:creationdate>CREATED</lp0:creationdate>
<lp0:getlastmodified>MODIFIED</lp0:getlastmodified>
<D:quota>500</D:quota>
<D:used>0</D:used>
</D:prop>
<D:status>HTTP/1.1 200 OK</D:status>
</D:propstat>
<D:propstat>
<D:prop>
<g0:getcontentlength/>
</D:prop>
<D:status>HTTP/1.1 404 Not Found</D:status>
</D:propstat>
</D:response>
</D:multistatus>
XML
  diff "$work/wanted" "$work/got" || fail "not the dialect"
}

lists_one_entry_at_depth_0() {
  start
  ask -X PROPFIND -H Depth:0 "$root/" >"$work/got" \
    -d "<?xml version='1.0'?><propfind xmlns='DAV:'><prop><getlastmodified/></prop></propfind>"
  expect 1 "$(grep -c '<D:response' "$work/got")"
  expect 1 "$(grep -c '<lp0:getlastmodified>.* GMT</lp0:getlastmodified>' "$work/got")"
  expect 0 "$(grep -c 'lp1' "$work/got")"
  random_file "$files/plain" 10
  ask -X PROPFIND -H Depth:1 -d "$LISTING" "$root/plain" >"$work/got"
  expect 1 "$(grep -c '<D:href>/users/anna/Files/plain</D:href>' "$work/got")"
  expect 0 "$(grep -c '<D:used>' "$work/got")"
}

lists_five_thousand_entries() {
  local i length
  start
  mkdir "$files/many"
  for ((i = 1; i <= 5000; i++)); do : >"$files/many/entry number $i.txt"; done
  length=$(ask -X PROPFIND -H Depth:1 -d "$LISTING" -o "$work/got" -D "$work/head" \
    -w '%{size_download}' "$root/many")
  expect 5001 "$(grep -c '^<D:href>' "$work/got")"
  expect '<D:href>/users/anna/Files/many/</D:href>' "$(grep '^<D:href>' "$work/got" | tail -n 1)"
  expect 5000 "$(grep -c '<lp0:getcontentlength>0</lp0:getcontentlength>' "$work/got")"
  expect 1 "$(grep -ci "^content-length: $length" "$work/head")"
  grep -o 'entry%20number%20[0-9]*' "$work/got" | sort -u >"$work/names"
  expect 5000 "$(wc -l <"$work/names")"
}

used() {
  ask -X PROPFIND -H Depth:0 -d "$LISTING" "$root/" | sed -n 's/.*<D:used>\(.*\)<\/D:used>/\1/p'
}

counts_used_space_in_mebibytes() {
  start
  random_file "$work/three" $((3 * 1048576))
  expect 0 "$(used)"
  expect 201 "$(status -T "$work/three" "$root/a")"
  expect 3 "$(used)"
  expect 201 "$(status -X MKCOL "$root/deep")"
  expect 201 "$(status -X COPY -H "Destination: $root/deep/b" "$root/a")"
  expect 6 "$(used)"
  expect 204 "$(status -T "$0" "$root/a")"
  expect 3 "$(used)"
  expect 204 "$(status -T "$work/three" "$root/a")"
  expect 6 "$(used)"
  expect 204 "$(status -X DELETE "$root/deep")"
  expect 3 "$(used)"
  break_upload new "$work/three" 2000000
  expect 3 "$(used)"
}

continues_a_broken_upload_byte_for_byte() {
  start
  random_file "$work/older" 400000
  random_file "$work/newer" 204800
  expect 201 "$(status -T "$work/older" "$root/f")"
  break_upload f "$work/newer" 102400
  expect_same "$work/older" "$files/f"
  expect 204 "$(continue_upload f "$work/newer" 102399)"
  expect_same "$work/newer" "$files/f"
  expect 400 "$(continue_upload f "$work/newer" 102399)"
  wait_until keeps_nothing
}

continues_a_broken_upload_of_a_new_file() {
  start
  random_file "$work/newer" 204800
  break_upload 'new%20%C3%A9' "$work/newer" 60000
  expect 404 "$(status "$root/new%20%C3%A9")"
  expect 201 "$(continue_upload 'new%20%C3%A9' "$work/newer" 60000)"
  expect_same "$work/newer" "$files/new é"
}

continues_an_upload_that_broke_twice() {
  start
  random_file "$work/newer" 300000
  break_upload f "$work/newer" 100000
  tail -c +100000 "$work/newer" >"$work/rest"
  exec 4<>"/dev/tcp/$address/$port"
  put_head f 200001 | sed "s|^Host:|Content-Range: bytes 99999-299999/300000\r\nHost:|" >&4
  head -c 100001 "$work/rest" >&4
  wait_until has_size "$files/f" 200000
  exec 4>&-
  wait_until is_kept
  expect 201 "$(continue_upload f "$work/newer" 199999)"
  expect_same "$work/newer" "$files/f"
}

refuses_a_ranged_upload_that_continues_nothing() {
  start
  random_file "$work/older" 400000
  random_file "$work/newer" 204800
  expect 201 "$(status -T "$work/older" "$root/f")"
  expect 400 "$(continue_upload f "$work/newer" 102399)"
  expect 400 "$(continue_upload absent "$work/newer" 102399)"
  break_upload f "$work/newer" 102400
  expect 400 "$(continue_upload f "$work/newer" 102401)"      # a gap
  expect 400 "$(continue_upload f "$work/newer" 20000)"       # another upload's offset
  expect 400 "$(continue_upload f "$work/newer" 102399 9999)" # another length
  expect 400 "$(continue_upload g "$work/newer" 102399)"      # another file
  expect 400 "$(status -T "$work/newer" -H 'Content-Range: bytes */204800' "$root/f")"
  expect_same "$work/older" "$files/f"
  expect f "$(ls -A "$files")"
}

starts_a_broken_upload_over() {
  local size
  start
  random_file "$work/older" 204800
  for size in 10 204800; do
    random_file "$work/newer" $size
    break_upload f$size "$work/older" 102400
    expect 201 "$(status -T "$work/newer" "$root/f$size")"
    expect_same "$work/newer" "$files/f$size"
    expect 400 "$(continue_upload f$size "$work/older" 102399)"
    wait_until keeps_nothing
  done
}

lets_no_older_upload_spoil_a_newer_one() {
  local size
  start
  random_file "$work/older" 300000
  for size in 10 200000; do
    random_file "$work/newer" $size
    exec 4<>"/dev/tcp/$address/$port"
    put_head f$size 300000 >&4
    head -c 100000 "$work/older" >&4
    wait_until has_size "$files/f$size" 100000
    expect 2 "$(status -T "$work/newer" "$root/f$size" | cut -c1)"
    tail -c +100001 "$work/older" >&4
    read -r -t 10 <&4
    exec 4>&-
    expect_same "$work/newer" "$files/f$size"
  done
}

brings_the_former_version_back_after_a_kill() {
  start
  random_file "$work/older" 300000
  random_file "$work/newer" 200000
  expect 201 "$(status -T "$work/older" "$root/f")"
  exec 4<>"/dev/tcp/$address/$port"
  put_head f 200000 >&4
  head -c 100000 "$work/newer" >&4
  wait_until has_size "$files/f" 100000
  kill -KILL -- "-$(cat "$data/server/run/httpd.pid")"
  exec 4>&-
  start
  expect_same "$work/older" "$files/f"
  expect 204 "$(continue_upload f "$work/newer" 99999)"
  expect_same "$work/newer" "$files/f"
}

kill_within_upload() { # kill_within_upload NAME FILE BYTES: when BYTES of FILE are through
  exec 4<>"/dev/tcp/$address/$port"
  put_head "$1" "$(stat -c %s "$2")" >&4
  head -c "$3" "$2" >&4
  wait_until has_size "$files/$1" "$3"
  kill -KILL -- "-$(cat "$data/server/run/httpd.pid")"
  exec 4>&-
}

leaves_a_file_alone_whose_upload_was_killed_before_it_was_set_aside() {
  start
  random_file "$work/older" 300000
  random_file "$work/newer" 200000
  expect 201 "$(status -T "$work/older" "$root/f")"
  kill_within_upload f "$work/newer" 100000
  mv "$kept"/*.former "$files/f"
  start
  expect_same "$work/older" "$files/f"
  expect '' "$(ls -A "$kept")"
}

puts_the_former_version_back_when_a_continuing_upload_was_killed_at_its_start() {
  start
  random_file "$work/older" 300000
  random_file "$work/newer" 200000
  expect 201 "$(status -T "$work/older" "$root/f")"
  break_upload f "$work/newer" 100000
  "$server" stop --data "$data" >/dev/null
  local part
  part=$(compgen -G "$kept/*.part")
  mv "$files/f" "${part%part}former"
  start
  expect_same "$work/older" "$files/f"
  expect 204 "$(continue_upload f "$work/newer" 99999)"
  expect_same "$work/newer" "$files/f"
}

drops_a_record_that_was_cut_short() {
  start
  expect 201 "$(status -T "$0" "$root/f")"
  "$server" stop --data "$data" >/dev/null
  mkdir -p "$kept"
  : >"$kept/0123456789abcdef.record"
  : >"$kept/0123456789abcdef.new-1-table"
  start
  expect_same "$0" "$files/f"
  expect '' "$(ls -A "$kept")"
}

# Needs root for a disk of its own.
brings_the_former_version_back_when_the_disk_is_full() {
  mkdir -p "$data/users"
  mount -t tmpfs -o size=1m none "$data/users" || fail "no disk of its own: root is needed"
  start
  random_file "$work/older" 100000
  random_file "$work/newer" 204800
  expect 201 "$(status -T "$work/older" "$root/f")"
  head -c 860160 /dev/zero >"$files/filler" # room for a record and a piece, not for the file
  expect 507 "$(status -T "$work/newer" "$root/f")"
  wait_until keeps_nothing
  expect_same "$work/older" "$files/f"
  ! head -c 1048576 /dev/zero >>"$files/filler" 2>/dev/null || fail "the disk is not full"
  expect 507 "$(status -T "$work/newer" "$root/f")"
  expect_same "$work/older" "$files/f"
  expect 'f filler ' "$(ls -A "$files" | tr '\n' ' ')"
  expect '' "$(ls -A "$kept")"
}

answers_every_size_of_upload() {
  local size
  start
  for size in 0 1 51200 51201 1048576; do
    random_file "$work/file" $size
    expect 201 "$(status -T "$work/file" "$root/f$size")"
    expect 204 "$(status -T "$work/file" "$root/f$size")"
    expect_same "$work/file" "$files/f$size"
  done
  expect 201 "$(status -T - "$root/chunked" <"$work/file")"
  expect_same "$work/file" "$files/chunked"
  expect 409 "$(status -T "$work/file" "$root/no/folder")"
}

moves_without_replacing() {
  start
  : >"$files/a"
  : >"$files/b"
  expect 412 "$(status -X MOVE -H 'Overwrite: F' -H "Destination: $root/b" "$root/a")"
  expect 201 "$(status -X MOVE -H 'Overwrite: F' -H "Destination: $root/c" "$root/a")"
  expect 'b c ' "$(ls "$files" | tr '\n' ' ')"
}

moves_over_tls_to_a_plain_destination() {
  start
  : >"$files/a"
  local there=$address/users/anna/Files
  expect 201 "$(status -X MOVE -H 'Overwrite: F' -H "Destination: http://$there/b" \
    "$tls_base/users/anna/Files/a")"
  expect 201 "$(status -X MOVE -H 'Overwrite: F' -H "Destination: https://$there/c" "$root/b")"
  expect c "$(ls "$files")"
}

makes_and_deletes() {
  start
  expect 201 "$(status -X MKCOL "$root/folder")"
  expect 405 "$(status -X MKCOL "$root/folder")"
  expect 409 "$(status -X MKCOL "$root/no/folder")"
  expect 201 "$(status -T "$0" "$root/folder/file")"
  expect 204 "$(status -X DELETE "$root/folder")"
  expect 404 "$(status -X DELETE "$root/folder")"
  expect '' "$(ls -A "$files")"
}

serves_ranges() {
  start
  printf 0123456789 >"$files/f"
  expect 23456789 "$(ask -H 'Range: bytes=2-' "$root/f")"
  expect 206 "$(status -H 'Range: bytes=2-' "$root/f")"
  expect 34 "$(ask -H 'Range: bytes=3-4' "$root/f")"
  expect 416 "$(status -H 'Range: bytes=10-' "$root/f")"
  : >"$files/empty"
  expect 200 "$(status -H 'Range: bytes=0-100' "$root/empty")"
  expect '' "$(ask -H 'Range: bytes=0-100' "$root/empty")"
  expect 1 "$(ask -I "$root/f" | grep -ci '^last-modified: ..., .* GMT')"
}

keeps_any_name() {
  local name
  start
  local escaped
  for name in .htaccess .htpasswd 'a b' 'ü€😀' 'a&b' 'a#b' 'a%20b' "it's" 'a+b=c;d' index.html \
    x.gz; do
    escaped=$(printf %s "$name" | sed 's/%/%25/g; s/ /%20/g; s/#/%23/g')
    expect 201 "$(status -T "$0" "$root/$escaped")"
    expect_same "$0" "$files/$name"
  done
  ask -X PROPFIND -H Depth:1 -d "$LISTING" "$root/" >"$work/got"
  expect 11 "$(grep -c '<lp0:getcontentlength>' "$work/got")"
  expect '' "$(ask -I "$root/x.gz" | grep -i '^content-encoding')"
}

size_url="cgi-bin/compute_size_long.cgi"

answers_a_folders_size_in_kilobytes() {
  start --user 'carl:a&path=%2Fb+%'
  mkdir -p "$files/Docs é/deep" "$data/users/carl/Files/x"
  random_file "$files/Docs é/a" 1000
  random_file "$files/Docs é/deep/b" 536
  random_file "$files/other" 1
  random_file "$data/users/carl/Files/x/y" 2048
  expect 1.5000000000 "$(ask --http1.0 --no-alpn \
    "$tls_base/$size_url?user=anna&pass=secret&path=%2FDocs%20%C3%A9%2F")"
  expect 1.5009765625 "$(ask "$base/$size_url?user=anna&pass=secret&path=%2F%2F")"
  expect 2.0000000000 "$(ask "$base/$size_url?user=carl&pass=a&path=%2Fb+%&path=%2Fx%2F")"
}

tells_no_size_to_strangers() {
  start
  expect 403 "$(status "$base/$size_url?user=anna&pass=wrong&path=%2F")"
  expect 403 "$(status "$base/$size_url?user=nobody&pass=&path=%2F")"
  expect 403 "$(status "$base/$size_url?user=anna&pass=secret&path=%2F..%2F..%2Fbert%2FFiles%2F")"
  ln -s /etc "$files/link"
  expect 403 "$(status "$base/$size_url?user=anna&pass=secret&path=%2Flink%2F")"
  expect 404 "$(status "$base/$size_url?user=anna&pass=secret&path=%2Fabsent%2F")"
  expect 400 "$(status "$base/$size_url?user=anna")"
}

keeps_a_connection_open() {
  start
  printf x >"$files/f"
  expect 10 "$(ask -w '%{num_connects}' -o /dev/null -o /dev/null "$root/f" "$root/f")"
}

lets_idle_connections_delay_neither_requests_nor_a_stop() {
  local number connection answer
  start
  for ((number = 0; number < 300; number++)); do
    exec {connection}<>"/dev/tcp/$address/$port"
    put_head f 1 >&"$connection"
    printf x >&"$connection"
    read -r -t 10 answer <&"$connection" || fail "connection $number got no answer"
    expect 'HTTP/1.1 20' "${answer:0:11}"
  done
  expect 200 "$(status "$root/f")"
  SECONDS=0
  "$server" stop --data "$data" >/dev/null || fail "did not stop"
  ((SECONDS < 5)) || fail "the stop took $SECONDS seconds"
}

logs_what_tests_count() {
  start
  printf 0123456789 >"$files/f"
  ask -o /dev/null -H 'Range: bytes=2-' "$root/f"
  ask -o /dev/null -X PROPFIND -H Depth:1 "$root/"
  random_file "$work/newer" 204800
  continue_upload f "$work/newer" 102399 >"$work/ignored"
  ask -o /dev/null -T "$work/newer" "$root/f"
  wait_until has_lines 4
  local line="user=anna verb=GET status=206 depth=- .* body=8 .* range=bytes=2- content-range=- \
answered-range=bytes 2-9/10 .* path=/users/anna/Files/f\$"
  expect 1 "$(grep -c -- "$line" "$data/server/logs/access.log")"
  expect 1 "$(grep -c 'verb=PROPFIND status=207 depth=1 ' "$data/server/logs/access.log")"
  expect 1 "$(grep -c 'verb=PUT status=400 .* content-range=bytes 102399-204799/204800 ' \
    "$data/server/logs/access.log")"
  expect 1 "$(grep -c 'verb=PUT status=204 .* content-range=- ' "$data/server/logs/access.log")"
}
has_lines() { [[ $(wc -l <"$data/server/logs/access.log") == "$1" ]]; }

runs_beside_another_server() {
  start
  "$server" start --address "$address" --port 18081 --tls-port 0 --data "$work/second data" \
    --user anna:secret >/dev/null || fail "the second did not start"
  expect 201 "$(status -T "$0" "$root/first")"
  expect 201 "$(status -T "$0" "http://$address:18081/users/anna/Files/second")"
  expect first "$(ls "$files")"
  expect second "$(ls "$work/second data/users/anna/Files")"
  "$server" stop --data "$data" >/dev/null
  expect 000 "$(status "$root/first")"
  expect 200 "$(status "http://$address:18081/users/anna/Files/second")"
}

says_what_is_wrong() {
  start
  local said
  said=$("$server" start --address "$address" --port $port --tls-port 0 --data "$work/second" 2>&1)
  expect "1 account_server: port $port of $address is taken by another program" "$? $said"
  said=$("$server" start --address "$address" --port 1 --tls-port 0 --data "$data" 2>&1)
  expect 1 $?
  expect 1 "$(grep -c 'already running' <<<"$said")"
  said=$("$server" start --address 192.0.2.1 --port $port --tls-port 0 --data "$work/second" 2>&1)
  expect "1 account_server: this machine has no address 192.0.2.1" "$? $said"
  "$server" start --data "$work/second" --port 99999 2>/dev/null
  expect 2 $?
  "$server" start --data "$work/second" --user name 2>/dev/null
  expect 2 $?
}

takes_users_while_it_runs() {
  start
  expect 401 "$(status -u dora:new -X OPTIONS "$base/users/dora/Files")"
  "$server" add-user dora new --data "$data" --quota 7 >/dev/null || fail "add-user failed"
  expect 200 "$(status -u dora:new -X OPTIONS "$base/users/dora/Files")"
  expect 1 "$(ask -u dora:new -X PROPFIND -H Depth:0 -d "$LISTING" "$base/users/dora/Files/" |
    grep -c '<D:quota>7</D:quota>')"
  "$server" add-user dora newer --data "$data" >/dev/null
  expect 401 "$(status -u dora:new -X OPTIONS "$base/users/dora/Files")"
  expect 200 "$(status -u dora:newer -X OPTIONS "$base/users/dora/Files")"
}

refuses_names_and_passwords_that_clients_would_spell_differently() {
  start
  local said
  said=$("$server" add-user jürgen new --data "$data" 2>&1)
  expect 2 $?
  expect "account_server: a user's name is of ASCII characters; 'jürgen' is not" \
    "$(head -n 1 <<<"$said")"
  [[ ! -e $data/users/jürgen ]] || fail "a folder was made"
  expect 0 "$(grep -c rgen "$data/server/passwords")"
  said=$("$server" add-user juergen schlüssel --data "$data" 2>&1)
  expect 2 $?
  expect "account_server: a password is of ASCII characters; that of juergen is not" \
    "$(head -n 1 <<<"$said")"
  [[ ! -e $data/users/juergen ]] || fail "a folder was made"
}

starts_stops_and_keeps_everything() {
  start
  "$server" status --data "$data" >/dev/null || fail "not running"
  expect 201 "$(status -T "$0" "$root/f")"
  "$server" stop --data "$data" >/dev/null || fail "did not stop"
  "$server" status --data "$data" >/dev/null
  expect 3 $?
  expect 000 "$(status "$root/f")"
  "$server" start --address "$address" --port $port --tls-port 0 --data "$data" >/dev/null ||
    fail "did not start again"
  expect 200 "$(status "$root/f")"
}

runs_in_the_foreground() {
  "$server" run --address "$address" --port $port --tls-port 0 --data "$data" --user anna:secret \
    >"$work/out" &
  wait_until grep -qs '^account server at ' "$work/out"
  expect 200 "$(status -X OPTIONS "$root")"
  kill -TERM $!
  wait $!
  expect 0 $?
  expect 000 "$(status -X OPTIONS "$root")"
}

serves_an_ordinary_user() {
  local as=()
  ((EUID != 0)) || as=(setpriv --reuid=nobody --regid=nogroup --clear-groups)
  chmod 755 "$work"
  cp -r "$(dirname "$server")" "$work/program"
  mkdir "$data"
  ((EUID != 0)) || chown nobody "$data"
  "${as[@]}" "$work/program/account_server" start --address "$address" --port $port \
    --tls-port $tls_port --data "$data" --user anna:secret >"$work/out" 2>&1 ||
    fail "$(cat "$work/out")"
  expect 201 "$(status -T "$0" "$root/f")"
  expect 200 "$(status "$tls_base/users/anna/Files/f")"
  "${as[@]}" "$work/program/account_server" stop --data "$data" >/dev/null || fail "did not stop"
}

serves_folders_that_only_root_may_enter() {
  chmod 700 "$work"
  start
  expect 201 "$(status -T "$0" "$root/f")"
  expect 200 "$(status "$root/f")"
}

leaves_stock_replies_alone_when_asked_to() {
  start --stock
  ask -X PROPFIND -H Depth:1 -d "$LISTING" "$root/" >"$work/got"
  expect 1 "$(grep -c '<lp1:getlastmodified>' "$work/got")"
  expect 1 "$(grep -c '<g0:quota/>' "$work/got")"
}

"$case_name"
echo "passed: $case_name"
