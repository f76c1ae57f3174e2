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
# What another client makes there later must not be of the same second: by the folder's time it shows.
touch -d '2026-01-02 03:04:05 UTC' "$files/Letters and notes"
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

step "who has a folder open reads it under its new name, and what lies beneath it"
python3 - "$drive" <<'END'
import os, sys
os.chdir(sys.argv[1])
above, beneath = (os.open(path, os.O_RDONLY) for path in ("Letters and notes", "Letters and notes/deep"))
for new in ("Letters", "Notes"):
    before = [sorted(os.listdir(folder)) for folder in (above, beneath)]
    os.rename(os.readlink(f"/proc/self/fd/{above}"), new)
    open(new + "/deep/" + new, "w").close()
    after = [sorted(os.listdir(folder)) for folder in (above, beneath)]
    assert after == [before[0], sorted(before[1] + [new])], (before, after)
END

step "an open file that is removed keeps its size"
python3 - "$drive" <<'END'
import os, sys
os.chdir(sys.argv[1])
with open("removed", "w+b") as file:
    file.write(b"0123456789")
    file.flush()
    os.remove("removed")
    assert os.fstat(file.fileno()).st_size == 10 and os.lseek(file.fileno(), 0, os.SEEK_END) == 10
    file.write(b"ab")
    file.flush()
    os.ftruncate(file.fileno(), 11)
    assert os.fstat(file.fileno()).st_size == 11 and os.pread(file.fileno(), 99, 0) == b"0123456789a"
END
[ -z "$(ls -A "$drive" | grep removed)" ] || fail "it is still there"

step "an unmounted drive leaves an empty folder"
unmount
[ -z "$(ls -A "$drive")" ] || fail "not empty"
