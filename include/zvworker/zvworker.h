/*
 * ZVWorker: the worker library of a virtual network drive that shows an online storage account.
 *
 * Thirteen functions, exported by name and by fixed ordinal, with the platform's standard calling
 * convention. Usable from C and C++; from other languages through their foreign-function interface
 * (every argument is a pointer or a whole number).
 *
 * Common rules
 *
 * - Texts are zero-terminated UTF-16. A null text counts as an empty one.
 * - Paths on the server are relative to the account's root and begin with "/".
 * - Every function may be called from any thread, also several at once. None keeps anything between
 *   calls but the drive's connection to the driver and the block that all processes with this
 *   library share (progress and used space). On Windows a calling thread need not have initialised
 *   COM.
 * - No function throws. The system's last error means nothing after a call: what failed is in the
 *   result only, and what went wrong is in the log files below
 *   <local application data>\Orvelan\Cirrux\Log ("UserLog.txt" for the user).
 * - Settings (server, user, password, ...) are read from the current user's registry in every call;
 *   of StartPolling see there.
 */
#ifndef ZVWORKER_ZVWORKER_H_
#define ZVWORKER_ZVWORKER_H_

#include <stddef.h>
#include <stdint.h>

#if defined(_MSC_VER) || defined(__MINGW32__)
#define ZVWORKER_CALL __stdcall
#define ZVWORKER_API
#else
#define ZVWORKER_CALL
#define ZVWORKER_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
/* One UTF-16 unit. u"..." fits as it is; a wchar_t text of Windows has the same form and may be
 * cast. */
typedef char16_t ZvChar;
extern "C" {
#else
/* One UTF-16 unit: the same type as char16_t of <uchar.h>. */
typedef uint_least16_t ZvChar;
#endif

/* Status codes, the platform's own. */
#define ZV_SUCCESS 0u
#define ZV_GENERAL_FAILURE 31u
#define ZV_BAD_NET_NAME 67u
#define ZV_NO_NETWORK 1222u
/* CreateNewDrive only: the driver's control device cannot be opened. */
#define ZV_NO_DRIVER 9999u

/* The kind of the current transfer. */
#define ZV_IDLE 0
#define ZV_UPLOAD 1
#define ZV_DOWNLOAD 2

/* Modes of GetInternetDetails. */
#define ZV_READ_PROGRESS 0u
#define ZV_CANCEL_TRANSFER 1u

/* The platform's NETRESOURCEW. Only the two names are read. */
typedef struct ZvNetResource {
  uint32_t scope;
  uint32_t type;
  uint32_t display_type;
  uint32_t usage;
  ZvChar* local_name;  /* a drive letter and a colon: "Y:" */
  ZvChar* remote_name; /* the name that the drive answers to: "\\cirrux\drive" unless the settings
                          say otherwise */
  ZvChar* comment;
  ZvChar* provider;
} ZvNetResource;

/* The platform's WIN32_FIND_DATAW, 592 bytes. Times: 100-nanosecond units since 1601-01-01 UTC, low
 * half first. */
typedef struct ZvFindData {
  uint32_t attributes; /* 0x10: a folder */
  uint32_t creation_time[2];
  uint32_t last_access_time[2];
  uint32_t last_write_time[2];
  uint32_t size_high;
  uint32_t size_low; /* bytes */
  uint32_t reserved[2];
  ZvChar name[260];
  ZvChar alternate_name[14];
} ZvFindData;

/*
 * Logs in to the server, stores user name, password and drive letter in the settings, and asks the
 * driver for the drive. The shell is told of the new drive.
 *
 * - net_resource: local_name and remote_name are used; null: ZV_BAD_NET_NAME.
 * - password: in clear; it is stored in a hidden form.
 * - user_name: empty, or "(null)" in any case: ZV_BAD_NET_NAME.
 *
 * ZV_SUCCESS. ZV_BAD_NET_NAME: another remote name, no user name, no answer from the server,
 * settings that cannot be written, or the driver refuses - tested in this order. An HTTP status
 * other than 200: the login failed with it (401: wrong password). ZV_NO_DRIVER. Blocks while the
 * server is asked: at most three times ten seconds for each of connecting, sending and receiving.
 */
ZVWORKER_API uint32_t ZVWORKER_CALL CreateNewDrive(const ZvNetResource* net_resource,
                                                   const ZvChar* password, const ZvChar* user_name);

/*
 * Removes the drive of this local name ("Y:"). Both polling loops end.
 *
 * ZV_SUCCESS; ZV_GENERAL_FAILURE when there is no such drive or the driver refuses.
 */
ZVWORKER_API uint32_t ZVWORKER_CALL DeleteNewDrive(const ZvChar* local_name);

/*
 * Serves the driver's requests on two threads of its own until the driver ends both queues
 * (DeleteNewDrive brings that about), and blocks the caller for as long. Call it once for a drive,
 * on a thread that can be spared.
 *
 * Create the drive first. The loops wait for one that does not exist, looking for it once a second,
 * but they read the account's settings only once, when they start: user, password, server, proxy,
 * the folder of the cache and whether listings are compared. A change of these counts from the next
 * StartPolling on. The comparisons with the server read them each time; the account's type, the
 * local name and the UNC names are read at each use.
 *
 * Always 0; at once, with nothing served, when the two threads or their memory cannot be had.
 */
ZVWORKER_API uint32_t ZVWORKER_CALL StartPolling(void);

/*
 * Whether the local name ("Y:", case-blind) is the connected drive, and under which network name.
 *
 * - remote_name: null, or receives "\\server\share" of the settings, cut to the length, terminated.
 * - length: in: units of the buffer with the terminator; null or 0: nothing is written. Out: what
 *   would have been needed when the name was cut, otherwise unchanged.
 *
 * ZV_SUCCESS; ZV_NO_NETWORK when it is not connected.
 */
ZVWORKER_API uint32_t ZVWORKER_CALL GetDriveConnection(const ZvChar* local_name,
                                                       ZvChar* remote_name, uint32_t* length);

/*
 * The current transfer, of whichever process; or a request to cancel it.
 *
 * - name: null, or a buffer of 260 units. Mode 0: receives the name of the resource, empty when
 *   idle. Mode 1: an input, never written; the transfer of exactly this name (case-blind) is asked
 *   to stop. Between two attempts of an upload the record is idle; the empty name then stops the
 *   next one.
 * - first_count: null, or receives: of a download the bytes so far, of an upload the size of the
 *   file.
 * - second_count: null, or receives: of a download the size of the file, of an upload the bytes so
 *   far. Both counts are bytes modulo 2^32.
 * - elapsed_seconds: null, or receives the seconds since the transfer began; without meaning when
 *   idle.
 * - mode: ZV_READ_PROGRESS or ZV_CANCEL_TRANSFER.
 *
 * ZV_IDLE, ZV_UPLOAD or ZV_DOWNLOAD; 0 also when the names could not be compared. Name and counts
 * may be of two updates in a row: nothing is locked.
 */
ZVWORKER_API int32_t ZVWORKER_CALL GetInternetDetails(ZvChar* name, uint32_t* first_count,
                                                      uint32_t* second_count,
                                                      uint32_t* elapsed_seconds, uint16_t mode);

/*
 * Enters a file or folder into the cached listing of its parent folder, replacing what stands
 * there. The server is not asked.
 *
 * - path: server path; cut at 259 units.
 * - information: attributes (folder or not), last write time and the low half of the size are used.
 *
 * 1; 0 without information, or when the parent folder was never listed or its listing cannot be
 * written.
 */
ZVWORKER_API uint32_t ZVWORKER_CALL WrapperUpdate(const ZvChar* path,
                                                  const ZvFindData* information);

/*
 * Bytes in a folder of the server with everything beneath it, as the server's folder-size script
 * counts them; 0 when it cannot be told.
 */
ZVWORKER_API int64_t ZVWORKER_CALL GetFolderSize(const ZvChar* path);

/*
 * Which of two server paths exist: bit 0 is set when the first does, bit 1 when the second does (0
 * to 3). What cannot be asked counts as absent.
 */
ZVWORKER_API uint32_t ZVWORKER_CALL IsListingFileExist(const ZvChar* first_path,
                                                       const ZvChar* second_path);

/*
 * Deletes a file on the server; the cache is left alone. Non-zero on success.
 */
ZVWORKER_API uint32_t ZVWORKER_CALL DeleteListingFile(const ZvChar* path);

/*
 * The account's used space in bytes (whole mebibytes), as the last listing told; 0 before any.
 */
ZVWORKER_API uint64_t ZVWORKER_CALL GetUsedSpace(void);

/*
 * Sync accounts: drops everything that the journal "Delete_src.txt" lists from the cache and the
 * staging folder, then deletes the journal. What waits to be sent stays. 1 when the journal was
 * processed, 0 when there is none or it failed.
 */
ZVWORKER_API uint32_t ZVWORKER_CALL DeleteCache(void);

/*
 * Clears the progress record: idle, no name, zero counts. For a record that a process left behind
 * when it died.
 */
ZVWORKER_API void ZVWORKER_CALL ResetProgressDetails(void);

/*
 * Compares a cached file with the server's and drops the cached content when it is out of date, so
 * that the next read fetches it anew. What waits to be sent stays. Not while a new file is still
 * being written: what was stored of it would go.
 *
 * - path: on the drive, with its letter: "Y:\Docs\a.txt"; cut at 259 units.
 *
 * 1; 0 when the check broke off.
 */
ZVWORKER_API uint32_t ZVWORKER_CALL CheckLastModifiedTime(const ZvChar* path);

#ifdef __cplusplus
}
#endif

#endif /* ZVWORKER_ZVWORKER_H_ */
