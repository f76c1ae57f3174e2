"""ZVWorker from Python, through ctypes: what a user interface in another process may ask.

    python3 zvworker.py LIBRARY             the current transfer and the used space
    python3 zvworker.py LIBRARY cancel      asks the current transfer to stop
    python3 zvworker.py LIBRARY exist A B   which of two server paths exist

LIBRARY is ZVWorker.dll or libzvworker.so. The header zvworker.h says what every function does.
"""

import ctypes
import sys
from ctypes import POINTER, c_int32, c_int64, c_uint16, c_uint32, c_uint64, c_void_p

KINDS = {0: "idle", 1: "upload", 2: "download"}
READ_PROGRESS, CANCEL_TRANSFER = 0, 1


def utf16(text):
    """A zero-terminated UTF-16 text, on every system."""
    data = text.encode("utf-16-le") + b"\0\0"
    return (c_uint16 * (len(data) // 2)).from_buffer_copy(data)


class Worker:
    """The thirteen exports; on Windows they may as well be taken by ordinal: library[404]."""

    def __init__(self, path):
        # stdcall on 32-bit Windows, the only calling convention everywhere else.
        loader = getattr(ctypes, "WinDLL", ctypes.CDLL)
        library = loader(path)

        def export(name, result, *arguments):
            function = getattr(library, name)
            function.restype, function.argtypes = result, arguments
            return function

        text, count = POINTER(c_uint16), POINTER(c_uint32)
        self.create_new_drive = export("CreateNewDrive", c_uint32, c_void_p, text, text)
        self.delete_new_drive = export("DeleteNewDrive", c_uint32, text)
        self.start_polling = export("StartPolling", c_uint32)
        self.get_drive_connection = export("GetDriveConnection", c_uint32, text, text, count)
        self.get_internet_details = export(
            "GetInternetDetails", c_int32, text, count, count, count, c_uint16)
        self.wrapper_update = export("WrapperUpdate", c_uint32, text, c_void_p)
        self.get_folder_size = export("GetFolderSize", c_int64, text)
        self.is_listing_file_exist = export("IsListingFileExist", c_uint32, text, text)
        self.delete_listing_file = export("DeleteListingFile", c_uint32, text)
        self.get_used_space = export("GetUsedSpace", c_uint64)
        self.delete_cache = export("DeleteCache", c_uint32)
        self.reset_progress_details = export("ResetProgressDetails", None)
        self.check_last_modified_time = export("CheckLastModifiedTime", c_uint32, text)

    def progress(self):
        """Kind ("idle", "upload", "download"), name, bytes so far, bytes in all, seconds."""
        name = (c_uint16 * 260)()
        first, second, seconds = c_uint32(), c_uint32(), c_uint32()
        kind = self.get_internet_details(name, first, second, seconds, READ_PROGRESS)
        units = bytes(name).decode("utf-16-le").split("\0", 1)[0]
        # The two counts change places with the direction.
        done, total = (second, first) if kind == 1 else (first, second)
        return KINDS[kind], units, done.value, total.value, seconds.value

    def cancel(self, name):
        """Asks the transfer of this name to stop."""
        self.get_internet_details(utf16(name), None, None, None, CANCEL_TRANSFER)

    def exist(self, first, second):
        """Whether each of two server paths exists."""
        bits = self.is_listing_file_exist(utf16(first), utf16(second))
        return bool(bits & 1), bool(bits & 2)


def main(arguments):
    if len(arguments) < 2:
        sys.exit(__doc__)
    worker = Worker(arguments[1])
    if arguments[2:3] == ["exist"]:
        print(*worker.exist(*arguments[3:5]))
        return
    kind, name, done, total, seconds = worker.progress()
    print(f"{kind} {name} {done}/{total} bytes, {seconds} s, {worker.get_used_space()} bytes used")
    if arguments[2:3] == ["cancel"] and name:
        worker.cancel(name)


if __name__ == "__main__":
    main(sys.argv)
