/* zxvxzu: the lookup table.
 *
 * A thread-safe hash table that maps a 32-bit key (an identifier the caller
 * chooses, or the hash of a string) to an object the caller owns. Each entry
 * can also get a table-generated identifier, keeps a use count so that an
 * entry in use is not freed under its user, and can be visited with a walk.
 * The table never frees the objects registered in it.
 *
 * Every call takes the calling thread's state block (xihGetThread() from the
 * common-services layer; null means "the calling thread") as its first
 * argument. Calls return an internal return code: zutLURC_OK or one of the
 * zutLURC_* codes below, or an allocator or mutex code passed through.
 *
 *   hLook table;
 *   zutLookupCreateEx(NULL, 100, 0.75f, &table);
 *   zutLookupPutString(NULL, table, 0, 3, "abc", myObject, NULL);
 *
 *   void* obj; KWLONG uses; hLookEntry entry;
 *   if (zutLookupGetString(NULL, table, zutLUF_USE_COUNT, 3, "abc",
 *                          &obj, &uses, &entry) == zutLURC_OK) {
 *     ... use obj; it cannot be freed while the use is held ...
 *     KWLONG inTable;
 *     zutLookupRelease(NULL, table, 0, entry, &uses, &inTable);
 *   }
 *   zutLookupFree(NULL, table);
 *
 * Locking. Gets run side by side; puts, removes, moves, walks and growth
 * take the write lock, which nests for its owner. A thread that holds a read
 * lock (through zutLookupLock) must not ask for the write lock: it would wait
 * for itself. A callback of zutLookupIterate may get, release and remove
 * entries of the table it walks, but not put.
 */
#ifndef ZXVXZU_LOOKUP_H
#define ZXVXZU_LOOKUP_H

#include "zxvxzu_types.h"

ZXV_EXTERN_C_BEGIN

/* The calling thread's state block of the common-services layer (the same
 * type as its xihTHREAD). */
typedef struct xihTHREAD* ZUT_THREAD;

/* A table, and one entry of it. Both are opaque. */
typedef struct zutLOOKUPTABLE* hLook;
typedef struct zutLOOKUPENTRY* hLookEntry;

/* Flags (combine with |). */
#define zutLUF_USE_COUNT 0x1   /* put, get: raise the use count; iterate: hold a use per callback */
#define zutLUF_GENERATE_ID 0x2 /* put: give the new entry a generated identifier */
#define zutLUF_BY_ID 0x4       /* get, remove: the key given is a generated identifier */
#define zutLUF_NO_LOCK 0x8     /* iterate: the caller already holds the write lock */
#define zutLUF_ID_ONLY 0x10    /* put: index by generated identifier only */
#define zutLUF_BY_ENTRY 0x20   /* get: the entry is given by its handle, no search */

/* Lock types and options of zutLookupLock / zutLookupUnlock. */
#define zutLU_READ_LOCK 1
#define zutLU_WRITE_LOCK 2
#define zutLU_NO_WAIT 0x40 /* do not wait for the table's mutex */

/* Bit a callback sets in *pStop to end the walk. */
#define zutLU_STOP_ITERATION 0x1

/* Result codes. */
#define zutLURC_OK ZXVRC_OK
#define zutLURC_NOT_FOUND ZXVRC_NOT_FOUND     /* 0x0080520C */
#define zutLURC_REPLACED ((ZXVRC)0x20805215u) /* put replaced a live entry's object */
#define zutLURC_REMOVAL_DEFERRED                                                             \
  ((ZXVRC)0x10805216u)                            /* entry in use; freed at its last release \
                                                   */
#define zutLURC_MISUSE ZXVRC_MISUSE               /* 0x20805214, with a failure record */
#define zutLURC_FREE_REFUSED ((ZXVRC)0x40406109u) /* other threads are inside the table */
#define zutLURC_NOT_WRITER ((ZXVRC)0x20806013u)   /* write unlock by a non-writer */

/* Walk callback: called once per entry in insertion order, under the
 * table's write lock, with the entry's key, object and handle and the two
 * contexts given to zutLookupIterate. Setting zutLU_STOP_ITERATION in *pStop
 * ends the walk. */
typedef void (*zutLOOKUP_CALLBACK)(ZUT_THREAD pThread, hLook table, KWLONG key, void* pObject,
                                   hLookEntry hEntry, void* context1, void* context2,
                                   KWULONG* pStop);

/* Output of zutLookupDebug: receives one NUL-terminated line at a time,
 * newline included. */
typedef void (*zutLOOKUP_OUTPUT)(void* context, const char* line);

/* Creates a table of the prime capacity for `requestedCapacity` (0 and 1
 * give 2; above 181693, 199873) that grows by about three times when
 * Size/Capacity passes `loadFactor`. On success *phLook is the table; on
 * failure it is null, nothing is left allocated, and the allocator's or
 * mutex's code is returned. zutLURC_MISUSE when phLook is null. */
ZXV_API ZXVRC zutLookupCreateEx(ZUT_THREAD pThread, KWULONG requestedCapacity, float loadFactor,
                                hLook* phLook);

/* Adds `pObject` under the key `identifier`. Flags: zutLUF_USE_COUNT (needs
 * phEntry; the entry comes back with one use held), zutLUF_GENERATE_ID,
 * zutLUF_ID_ONLY (with zutLUF_GENERATE_ID: index by generated identifier
 * only). *phEntry (phEntry may be null) receives the entry.
 * Returns zutLURC_OK; zutLURC_REPLACED when a live entry had the key: its
 * object is replaced by pObject, *phEntry is that entry, Size is unchanged;
 * zutLURC_MISUSE for a null table, zutLUF_USE_COUNT without phEntry,
 * zutLUF_ID_ONLY without zutLUF_GENERATE_ID, or a put from a walk callback;
 * an allocator code when memory runs out (the table is then unchanged). */
ZXV_API ZXVRC zutLookupPut(ZUT_THREAD pThread, hLook table, KWULONG flags, KWLONG identifier,
                           void* pObject, hLookEntry* phEntry);

/* As zutLookupPut with the `length` bytes at `string` as key (at least one
 * byte, not terminated; the table keeps a copy). The key is the sum of the
 * bytes as signed 8-bit values, so anagrams share a key and are told apart
 * by their bytes. zutLURC_MISUSE also for length < 1 or a null string. */
ZXV_API ZXVRC zutLookupPutString(ZUT_THREAD pThread, hLook table, KWULONG flags, KWLONG length,
                                 const char* string, void* pObject, hLookEntry* phEntry);

/* Finds an entry by key, by generated identifier (zutLUF_BY_ID) or by handle
 * (zutLUF_BY_ENTRY: *phEntry is the entry given, no search). On success
 * *ppObject is its object, *phEntry the entry, *pUseCount the use count after
 * this get with zutLUF_USE_COUNT (the caller then owes one zutLookupRelease),
 * else -1. Output pointers may be null, except phEntry with zutLUF_USE_COUNT
 * or zutLUF_BY_ENTRY. Returns zutLURC_OK; zutLURC_NOT_FOUND (outputs
 * cleared), also for a null table; zutLURC_MISUSE for zutLUF_USE_COUNT
 * without phEntry or zutLUF_BY_ENTRY without an entry. */
ZXV_API ZXVRC zutLookupGet(ZUT_THREAD pThread, hLook table, KWULONG flags, KWLONG identifier,
                           void** ppObject, KWLONG* pUseCount, hLookEntry* phEntry);

/* As zutLookupGet with a string key (zutLUF_BY_ID is ignored). Also
 * zutLURC_MISUSE for length < 1 or a null string. */
ZXV_API ZXVRC zutLookupGetString(ZUT_THREAD pThread, hLook table, KWULONG flags, KWLONG length,
                                 const char* string, void** ppObject, KWLONG* pUseCount,
                                 hLookEntry* phEntry);

/* Gives back one use of `hEntry`. *pUseCount (may be null) receives the
 * count left, *pStillInTable (may be null) 1 while the entry is in the
 * table and 0 when it was removed while in use. When the last use of such a
 * removed entry goes, the table frees the entry (the handle is then invalid)
 * and the caller disposes of the object. Returns zutLURC_OK or
 * zutLURC_MISUSE (null table or entry; no use outstanding: the count is left
 * at 0). */
ZXV_API ZXVRC zutLookupRelease(ZUT_THREAD pThread, hLook table, KWULONG flags, hLookEntry hEntry,
                               KWLONG* pUseCount, KWLONG* pStillInTable);

/* Removes the entry with key `identifier` (with zutLUF_BY_ID: with that
 * generated identifier). When hEntry is given it is the entry removed, and
 * its key (identifier) must equal `identifier`. Returns zutLURC_OK (the
 * entry is freed); zutLURC_REMOVAL_DEFERRED when it is in use: it leaves
 * every chain now and is freed at its last zutLookupRelease;
 * zutLURC_NOT_FOUND; zutLURC_MISUSE for a null table or a handle whose key
 * does not match. Allowed from a walk callback, on any entry. */
ZXV_API ZXVRC zutLookupRemove(ZUT_THREAD pThread, hLook table, KWULONG flags, KWLONG identifier,
                              hLookEntry hEntry);

/* As zutLookupRemove with a string key; a given hEntry must carry the same
 * string. zutLUF_BY_ID is ignored. Also zutLURC_MISUSE for length < 1 or a
 * null string. */
ZXV_API ZXVRC zutLookupRemoveString(ZUT_THREAD pThread, hLook table, KWULONG flags, KWLONG length,
                                    const char* string, hLookEntry hEntry);

/* Calls `callback` for each keyed entry in insertion order under the write
 * lock (zutLUF_NO_LOCK: the caller holds it already). zutLUF_USE_COUNT holds
 * a use on each entry during its callback. Entries removed by the callback,
 * the current one included, are skipped from then on; the walk goes on.
 * Returns zutLURC_OK, a lock failure, or zutLURC_MISUSE (null table or
 * callback; zutLUF_NO_LOCK without holding the write lock). */
ZXV_API ZXVRC zutLookupIterate(ZUT_THREAD pThread, hLook table, KWULONG flags,
                               zutLOOKUP_CALLBACK callback, void* context1, void* context2);

/* Gives `hEntry` the key of `newKey` (another entry) and moves it to the
 * tail of that key's bucket; the entry's string, if any, is not changed, so
 * this is meant for identifier keys. Nothing happens when the keys are
 * equal. Returns zutLURC_OK; zutLURC_NOT_FOUND, leaving the entry as it was,
 * when hEntry is not in the bucket of its present key (it was removed, or is
 * indexed by generated identifier only); zutLURC_MISUSE for a null table or
 * entry. */
ZXV_API ZXVRC zutLookupMove(ZUT_THREAD pThread, hLook table, hLookEntry hEntry, hLookEntry newKey);

/* Takes the table's lock, zutLU_READ_LOCK or zutLU_WRITE_LOCK; options
 * zutLU_NO_WAIT returns the mutex's timeout code instead of waiting for it.
 * Each successful lock needs one zutLookupUnlock of the same type. Returns
 * zutLURC_OK, the mutex's code, or zutLURC_MISUSE (null table, unknown type,
 * or a table being freed). */
ZXV_API ZXVRC zutLookupLock(ZUT_THREAD pThread, hLook table, KWLONG lockType, KWULONG options);

/* Gives back a lock taken by zutLookupLock. Returns zutLURC_OK,
 * zutLURC_NOT_WRITER when a write unlock comes from a thread that is not the
 * writer, or zutLURC_MISUSE (null table, unknown type, no read lock held);
 * a refused unlock leaves the lock as it was. */
ZXV_API ZXVRC zutLookupUnlock(ZUT_THREAD pThread, hLook table, KWLONG lockType);

/* Frees the table, its entries and its buckets, never the objects. Returns
 * zutLURC_OK; zutLURC_FREE_REFUSED when another thread is inside the table:
 * nothing is freed and the table refuses every later lock; zutLURC_MISUSE
 * for a null table or one already being freed. */
ZXV_API ZXVRC zutLookupFree(ZUT_THREAD pThread, hLook table);

/* Writes the table header's state, one line at a time, each line starting
 * with `prefix` and the last ending with `trailer` (both may be null), to
 * `output`, or to the trace when output is null. The values are read without
 * the lock. Returns zutLURC_OK or zutLURC_MISUSE for a null table. */
ZXV_API ZXVRC zutLookupDebug(ZUT_THREAD pThread, hLook table, const char* prefix,
                             const char* trailer, zutLOOKUP_OUTPUT output, void* context);

ZXV_EXTERN_C_END

#endif
