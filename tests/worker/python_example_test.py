"""The Python example against the built library: python_example_test.py FOLDER_OF_EXAMPLE LIBRARY HOME"""

import os
import subprocess
import sys

folder, library, home = sys.argv[1:4]
sys.path.insert(0, folder)
sys.dont_write_bytecode = True
os.environ["ZVWORKER_HOME"] = home

import zvworker  # noqa: E402  (the home must be set before the library is loaded)

worker = zvworker.Worker(library)
worker.reset_progress_details()
assert worker.progress() == ("idle", "", 0, 0, 0), worker.progress()
assert worker.get_used_space() == 0
assert worker.get_drive_connection(zvworker.utf16("Y:"), None, None) == 1222
assert worker.delete_new_drive(zvworker.utf16("Y:")) == 31
assert worker.exist("/a", "/b") == (False, False)

said = subprocess.run([sys.executable, os.path.join(folder, "zvworker.py"), library],
                      capture_output=True, text=True, check=True).stdout
assert said == "idle  0/0 bytes, 0 s, 0 bytes used\n", said

# The block that this home's processes shared goes with it.
with open("/proc/self/maps", encoding="utf-8") as maps:
    blocks = {line.split()[-1] for line in maps if "/dev/shm/zvworker-" in line}
assert len(blocks) == 1, blocks
os.unlink(blocks.pop())
