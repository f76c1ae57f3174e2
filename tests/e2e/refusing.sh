#!/usr/bin/env bash
# The server refuses every upload: what waits for one can be cancelled all the same, and the drive unmounted.
address=127.78.1.12 behind=127.78.1.22
source "$(dirname "$0")/lib.sh"
refuser_pid=
# Whatever fails: a drive that does not end at a request does when nobody answers its uploads any more.
trap 'status=$?; set +e; [ -z "$refuser_pid" ] || kill "$refuser_pid" 2>/dev/null; (exit $status); finish' EXIT

# From now on a server in the account server's place answers with 507 and notes the uploads: every
# request, or with an address all but what it has the account server answer from there.
refuse() {  # [address]
  python3 - "$address" "$root/refused" "$@" <<'END' &
import http.client, http.server, sys
class Refuser(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    def body(self):
        return self.rfile.read(int(self.headers.get("Content-Length", 0)))
    def answer(self, status, headers, content):
        self.send_response_only(status)
        for name, value in headers:
            self.send_header(name, value)
        self.send_header("Content-Length", len(content))
        self.end_headers()
        self.wfile.write(content)
    def refuse(self):
        self.body()
        self.answer(507, [], b"")
        if self.command == "PUT":
            with open(sys.argv[2], "a") as log:
                print(self.path, file=log)
    def forward(self):
        server = http.client.HTTPConnection(sys.argv[3])
        server.request(self.command, self.path, self.body(), dict(self.headers))
        reply = server.getresponse()
        own = ("content-length", "transfer-encoding", "connection", "keep-alive")
        self.answer(reply.status, [h for h in reply.getheaders() if h[0].lower() not in own], reply.read())
    do_PUT = refuse
    do_GET = do_HEAD = do_DELETE = do_OPTIONS = do_PROPFIND = forward if sys.argv[3:] else refuse
    def log_message(self, *_):
        pass
http.server.ThreadingHTTPServer((sys.argv[1], 80), Refuser).serve_forever()
END
  refuser_pid=$!
}

stop_refusing() {
  kill "$refuser_pid"
  wait "$refuser_pid" || true
}

wait_for_refusal() { await "$1 is not sent" grep -qs "/$1\$" "$root/refused"; }

# Two pauses between attempts are ten seconds.
ends_soon() {
  local tries=0
  while kill -0 "$1" 2>/dev/null; do
    tries=$((tries + 1))
    [ $tries -lt 400 ] && { sleep 0.05; continue; }
    # Who is killed while the drive owes it an answer stays until the drive's connection is cut.
    umount -f "$drive" 2>/dev/null || true
    kill -KILL "$1" || true
    fail "$2 does not end"
  done
}

# A program whose close of the file waits for the upload.
write_file() {
  rm -f "$root/refused"
  cp "$root/content" "$drive/$1" 2>/dev/null &
  writer_pid=$!
  wait_for_refusal "$1"
}

# A program that waits behind the upload: it ends at a signal, and the upload goes on.
ends_at_a_signal() {
  "$@" 2>/dev/null &
  local pid=$!
  await "$1 does not wait for the drive" grep -qs request_wait_answer "/proc/$pid/wchan"
  kill -TERM $pid
  ends_soon $pid "$1"
  kill -0 "$writer_pid" || fail "the upload ended with $1"
}

shows_pending() { "$zvdrive" pending | grep -q "^/$1 " || fail "pending: $("$zvdrive" pending)"; }

start_server
set_account
for name in sent cancelled interrupted unmounted behind; do echo old >"$files/$name"; done
echo content >"$root/content"
mount_drive
ls "$drive" >/dev/null

step "who would remove or rename a file that another program sends ends at a signal"
server stop >/dev/null
address=$behind start_server
refuse "$behind"
write_file sent
ends_at_a_signal rm "$drive/sent"
ends_at_a_signal mv "$drive/sent" "$drive/elsewhere"
stop_refusing
server stop >/dev/null
start_server
wait "$writer_pid" || fail "the file was not sent in the end"
cmp "$root/content" "$files/sent"
server stop >/dev/null
refuse

step "zvdrive cancel ends an upload that is refused again and again"
write_file cancelled
[ "$("$zvdrive" cancel /cancelled)" = "asked to cancel /cancelled" ] || fail "cancel knows of no transfer"
ends_soon "$writer_pid" "the program that was cancelled"
wait "$writer_pid" && fail "the close says it is done"
"$zvdrive" pending | grep -q '^/cancelled .*canceled$' || fail "pending: $("$zvdrive" pending)"
"$zvdrive" cancel 2>/dev/null && fail "something is cancelled although nothing is transferred"

step "what waits behind one ends at a signal"
write_file interrupted
ends_at_a_signal cp "$root/content" "$drive/behind"

step "a signal to the program that waits for it cancels it"
kill -TERM "$writer_pid"  # a program in the background does not hear SIGINT
ends_soon "$writer_pid" "the program that was interrupted"
wait "$writer_pid" && fail "the close says it is done"
"$zvdrive" pending | grep -q '^/interrupted .*canceled$' || fail "pending: $("$zvdrive" pending)"

step "so does unmounting"
write_file unmounted
kill -INT "$mount_pid"
ends_soon "$mount_pid" "zvdrive mount"
unmount
wait "$writer_pid" && fail "the close says it is done"
for name in cancelled interrupted unmounted; do
  shows_pending $name
  grep -q "^  /$name\$" "$root/mount.log" || fail "unmounting says nothing of $name"
done

step "all is sent at the next mount"
stop_refusing
start_server
mount_drive
wait_until_sent
for name in cancelled interrupted unmounted; do cmp "$root/content" "$files/$name" || fail "$name"; done
