/* zxvxzu: message handles.
 *
 * A message handle carries the named, typed properties of one message (in a
 * property list, see properties.h) and the message descriptor that travels
 * with them. Applications see a handle as a 64-bit value, hMsg, which is the
 * address of the handle object; 0 and -1 are never valid handles, and -1 is
 * what a deleted handle's variable holds.
 *
 * Handles hang from an anchor. A connection keeps one anchor for its own
 * handles ("Associated" handles, serialised by the connection, no mutexes).
 * Handles created with the unassociated connection handle
 * KWHC_UNASSOCIATED_HCONN ("Unassociated" handles) may be used by any thread:
 * their anchor and each handle have a thread mutex, taken anchor first. For
 * the unassociated connection handle a null anchor means the library's own
 * process-wide anchor.
 *
 *   KWHMSG hMsg;
 *   KWLONG cc, rc, type = KWTYPE_INT32, got, len;
 *   KWCMHO cmho = {KWCMHO_STRUC_ID_ARRAY, KWCMHO_VERSION_1, KWCMHO_VALIDATE};
 *   KWCHARV name = {"usr.count", 0, 0, 9, KWCCSI_UTF8};
 *   KWIMPO impo = KWIMPO_DEFAULT_INIT;
 *   KWLONG v = 42;
 *   zstCreateMessageHandle(NULL, KWHC_UNASSOCIATED_HCONN, &cmho, NULL, &hMsg, &cc, &rc);
 *   zstSetMessageProperty(NULL, KWHC_UNASSOCIATED_HCONN, hMsg, NULL, &name, NULL,
 *                         KWTYPE_INT32, sizeof v, &v, NULL, &cc, &rc);
 *   zstInquireMessageProperty(NULL, KWHC_UNASSOCIATED_HCONN, hMsg, &impo, &name, NULL,
 *                             &type, sizeof got, &got, &len, NULL, &cc, &rc);
 *   zstDeleteMessageHandle(NULL, KWHC_UNASSOCIATED_HCONN, &hMsg, NULL, NULL, &cc, &rc);
 *
 * Conventions of the zst* calls:
 * - The first argument is the calling thread's state block of the common
 *   services (null: the calling thread). Completion and reason codes go to
 *   the two last arguments (either may be null where noted); the function
 *   returns the reason code, 0 on success (zstReleaseMessageHandle returns
 *   an internal return code instead).
 * - Names are variable-length strings (KWCHARV) in their own CCSID.
 * - Property types are the external KWTYPE_* values of properties.h; the
 *   handle maps them onto the store's internal codes:
 *     KWTYPE_STRING 1024 -> 0    KWTYPE_INT16   32  -> 4
 *     KWTYPE_BOOLEAN   4 -> 1    KWTYPE_INT32   64  -> 5
 *     KWTYPE_BYTE_STRING 8 -> 2  KWTYPE_INT64  128  -> 6
 *     KWTYPE_INT8     16 -> 3    KWTYPE_FLOAT32 256 -> 7
 *     KWTYPE_NULL      2 -> 9    KWTYPE_FLOAT64 512 -> 8
 *     KWTYPE_AS_SET 0 or any other value -> 11 (no type requested)
 */
#ifndef ZXVXZU_MESSAGE_HANDLE_H
#define ZXVXZU_MESSAGE_HANDLE_H

#include "kwmd.h"
#include "properties.h"
#include "zxvxzu_types.h"

ZXV_EXTERN_C_BEGIN

/* ------------------------------------------------------------------------
 * Handles, connections and the calling thread.
 */
typedef KWINT64 KWHMSG; /* message handle: the handle object's address */
typedef KWLONG KWHCONN; /* connection handle */
typedef KWLONG KWHOBJ;  /* object (queue) handle */

#define KWHM_NONE 0                  /* never a valid handle */
#define KWHM_UNUSABLE_HMSG (-1)      /* what a deleted handle's variable holds */
#define KWHC_UNASSOCIATED_HCONN (-3) /* handle usable by every thread of the process */
#define KWHC_UNUSABLE_HCONN (-1)     /* no connection owns the object lock */
#define KWHO_UNUSABLE_HOBJ (-1)      /* no object owns the object lock */

/* The calling thread's state block of the common-services layer. */
typedef struct xihTHREAD* ZST_THREAD;

/* The handle object; opaque here. */
typedef struct MsgHandle MsgHandle;

/* A list of handles. A connection's anchor is zero-initialised by its owner
 * and never has a mutex; the unassociated anchor gets its mutex from the
 * first unassociated create. */
typedef struct MsgHandleAnchor {
  struct xcsMUTEX* hMutex; /* unassociated anchor only */
  KWULONG MsgHandleCount;  /* handles on the list */
  KWULONG Reserved;        /* zero */
  MsgHandle* pHead;        /* most recently created handle first */
} MsgHandleAnchor;

/* ------------------------------------------------------------------------
 * Reason codes given here, beyond those of zxvxzu_types.h and properties.h
 * (2471 property not available, 2473 property type error, 2482 property
 * descriptor error).
 */
#define KWRC_CMHO_ERROR 2461               /* create-handle options not valid */
#define KWRC_DMHO_ERROR 2462               /* delete-handle options not valid */
#define KWRC_SMPO_ERROR 2463               /* set-property options not valid */
#define KWRC_IMPO_ERROR 2464               /* inquire-property options not valid */
#define KWRC_PROPERTY_NAME_TOO_BIG 2465    /* (warning) returned name truncated */
#define KWRC_PROP_VALUE_NOT_CONVERTED 2466 /* (warning) value left in its stored CCSID */
#define KWRC_PROP_TYPE_NOT_SUPPORTED 2467  /* the stored value has no property type */
#define KWRC_PROPERTY_VALUE_TOO_BIG 2469   /* value buffer too small; length returned */
#define KWRC_PROP_CONV_NOT_SUPPORTED 2470  /* no conversion between the two types */
#define KWRC_PROP_NUMBER_FORMAT_ERROR 2472 /* text does not spell a value of the type */
#define KWRC_DMPO_ERROR 2481               /* delete-property options not valid */
#define KWRC_PROP_NAME_NOT_CONVERTED 2492  /* (warning) name left in its stored CCSID */
#define KWRC_MSG_HANDLE_IN_USE 2499        /* locked by another thread or an object */

/* Internal return code of zstReleaseMessageHandle for a release by a
 * non-owner (the common services' unexpected-error code). */
#define ZSTRC_UNEXPECTED_ERROR ((ZXVRC)0x20006118u)

/* ------------------------------------------------------------------------
 * Variable-length strings: a property name, or a buffer receiving one.
 */
#define KWVS_NULL_TERMINATED (-1) /* VSLength: the string ends at its NUL */
#define KWCCSI_APPL (-3)          /* the application's CCSID: 1208 here */
#define KWCCSI_AS_STORED 0        /* requested CCSID: leave text as it is stored */

typedef struct KWCHARV {
  void* VSPtr;      /* the string; null: at VSOffset from this structure */
  KWLONG VSOffset;  /* used when VSPtr is null */
  KWLONG VSBufSize; /* bytes available at the string (output buffers) */
  KWLONG VSLength;  /* bytes of the string, or KWVS_NULL_TERMINATED */
  KWLONG VSCCSID;   /* its CCSID */
} KWCHARV;

/* ------------------------------------------------------------------------
 * Options structures. Each starts with a 4-character eye-catcher and a
 * version; the parameter checks of the calls refuse others.
 */
#define KWCMHO_STRUC_ID "CMHO"
#define KWCMHO_STRUC_ID_ARRAY \
  { 'C', 'M', 'H', 'O' }
#define KWCMHO_VERSION_1 1
#define KWCMHO_DEFAULT_VALIDATION 0 /* no name validation (see zstCreateMessageHandle) */
#define KWCMHO_VALIDATE 1           /* validate property names on set */
#define KWCMHO_NO_VALIDATION 2

typedef struct KWCMHO {
  char StrucId[4]; /* "CMHO" */
  KWLONG Version;  /* 1 */
  KWLONG Options;  /* KWCMHO_* */
} KWCMHO;

#define KWDMHO_STRUC_ID "DMHO"
#define KWDMHO_VERSION_1 1
#define KWDMHO_NONE 0

typedef struct KWDMHO {
  char StrucId[4]; /* "DMHO" */
  KWLONG Version;  /* 1 */
  KWLONG Options;  /* KWDMHO_NONE */
} KWDMHO;

#define KWSMPO_STRUC_ID "SMPO"
#define KWSMPO_VERSION_1 1
#define KWSMPO_SET_FIRST 0 /* set the property of that name */

/* A string value is taken to be in the name's CCSID. */
typedef struct KWSMPO {
  char StrucId[4]; /* "SMPO" */
  KWLONG Version;  /* 1 */
  KWLONG Options;  /* KWSMPO_* */
} KWSMPO;

#define KWDMPO_STRUC_ID "DMPO"
#define KWDMPO_VERSION_1 1
#define KWDMPO_DEL_FIRST 0             /* delete the property of that name */
#define KWDMPO_DEL_PROP_UNDER_CURSOR 1 /* delete the property the last inquiry returned */

typedef struct KWDMPO {
  char StrucId[4]; /* "DMPO" */
  KWLONG Version;  /* 1 */
  KWLONG Options;  /* KWDMPO_* */
} KWDMPO;

#define KWIMPO_STRUC_ID "IMPO"
#define KWIMPO_VERSION_1 1
#define KWIMPO_INQ_FIRST 0                /* the first property matching the name */
#define KWIMPO_CONVERT_TYPE 0x2           /* return the value in the requested type */
#define KWIMPO_QUERY_LENGTH 0x4           /* return lengths (value and name), no value */
#define KWIMPO_INQ_NEXT 0x8               /* the next property matching the name */
#define KWIMPO_INQ_PROP_UNDER_CURSOR 0x10 /* the property the last inquiry returned */
#define KWIMPO_CONVERT_VALUE 0x20         /* text in RequestedCCSID, numbers in RequestedEncoding */

/* Inquire options. In: Options, RequestedEncoding and RequestedCCSID (both
 * used with KWIMPO_CONVERT_VALUE; CCSID 0 keeps text as stored,
 * KWCCSI_APPL means 1208), ReturnedName's buffer (VSPtr, VSBufSize) and
 * VSCCSID, the CCSID wanted for the name (0: RequestedCCSID, and when that
 * is 0 too, the name as stored). Out: ReturnedEncoding and ReturnedCCSID of
 * the value, and ReturnedName's VSLength (the whole name's length, even
 * when it was cut to fit) and VSCCSID. */
typedef struct KWIMPO {
  char StrucId[4];          /*  0 "IMPO" */
  KWLONG Version;           /*  4 1 */
  KWLONG Options;           /*  8 KWIMPO_* */
  KWLONG RequestedEncoding; /* 12 */
  KWLONG RequestedCCSID;    /* 16 */
  KWLONG ReturnedEncoding;  /* 20 */
  KWLONG ReturnedCCSID;     /* 24 */
  KWLONG Reserved1;         /* 28 */
  KWCHARV ReturnedName;     /* 32 */
} KWIMPO;

#define KWIMPO_DEFAULT_INIT                                                                       \
  {                                                                                               \
    {'I', 'M', 'P', 'O'}, KWIMPO_VERSION_1, KWIMPO_INQ_FIRST, KWENC_NATIVE, KWCCSI_APPL, 0, 0, 0, \
    {                                                                                             \
      NULL, 0, 0, 0, KWCCSI_AS_STORED                                                             \
    }                                                                                             \
  }

/* ------------------------------------------------------------------------
 * Locks. A handle may be held by one thread (re-entrantly) and, at the same
 * time, by one object on behalf of that thread or of no thread.
 */
#define ZST_LOCK_THREAD 0        /* thread lock, re-entrant for its owner */
#define ZST_LOCK_EXCLUSIVE 1     /* thread lock refused whenever the handle is held */
#define ZST_LOCK_THREAD_FORCED 2 /* as 0; its release frees the handle whoever holds it */
#define ZST_LOCK_OBJECT 3        /* object lock, owned by (HConn, HObj) */

#define ZST_ACQUIRE_NO_VERIFY 0x1 /* zstAcquireMessageHandle: skip the list check */

/* ------------------------------------------------------------------------
 * Creating, resetting and deleting handles.
 */

/* Creates a handle on the anchor: the connection's for a connection handle,
 * the unassociated one (pAnchor may be null: the process-wide anchor) for
 * KWHC_UNASSOCIATED_HCONN. The handle gets a 4096-byte empty property list,
 * the default descriptor (datagram, unlimited expiry, native encoding, blank
 * format, priority and persistence as the queue's defaults, sequence number
 * 1, original length -1) and goes to the head of the anchor's list. Names
 * are validated on set only when pCrtMsgHOpts (may be null) carries
 * KWCMHO_VALIDATE. *phMsg receives the handle.
 * Reasons: 2071/2102 out of storage, resource problem; 2195 any other
 * allocator failure, a mutex that could not be created or taken, or an
 * associated create without an anchor (failure record written). A failed
 * create leaves nothing behind and *phMsg unchanged. */
ZXV_API KWLONG zstCreateMessageHandle(ZST_THREAD pThread, KWHCONN hConn, const KWCMHO* pCrtMsgHOpts,
                                      MsgHandleAnchor* pAnchor, KWHMSG* phMsg, KWLONG* pCompCode,
                                      KWLONG* pReason);

/* Deletes the handle *phMsg of the anchor chosen as for create, after
 * taking it exclusively, and sets *phMsg to -1. pDltMsgHOpts may be null.
 * Reasons: 2460 not a handle of that anchor; 2499 held by any thread
 * (including the caller) or object; 2195 a mutex failure or a damaged
 * handle (failure record written). */
ZXV_API KWLONG zstDeleteMessageHandle(ZST_THREAD pThread, KWHCONN hConn, KWHMSG* phMsg,
                                      const KWDMHO* pDltMsgHOpts, MsgHandleAnchor* pAnchor,
                                      KWLONG* pCompCode, KWLONG* pReason);

/* The freeing part of delete: unlinks the handle from the anchor, frees its
 * property list, browse cursor and work area, releases its exclusive lock
 * when ReleaseLock is non-zero, destroys its mutex and frees it. The caller
 * serialises the anchor (holds its mutex for the unassociated anchor).
 * A connection that ends with handles on its anchor calls this with
 * ReleaseLock 0 for each handle from the head until the anchor is empty.
 * Reasons: 2195 when the anchor's count is 0 or the handle's eye-catcher is
 * not "ZSTM" (failure record, nothing freed), or when the lock could not be
 * released (the handle is freed all the same). */
ZXV_API KWLONG zstDeleteMessageHandleResources(ZST_THREAD pThread, MsgHandleAnchor* pAnchor,
                                               MsgHandle* pMsgHandle, KWLONG ReleaseLock,
                                               KWLONG* pCompCode, KWLONG* pReason);

/* Empties the handle's property list (keeping its allocation) and clears the
 * work area's flag and length; with ResetDescriptor non-zero also restores
 * the default descriptor and clears MsgDescFieldsSet. Takes no lock: the
 * caller holds the handle. Always returns 0. */
ZXV_API KWLONG zstResetMessageHandle(ZST_THREAD pThread, MsgHandle* pMsgHandle,
                                     KWLONG ResetDescriptor);

/* ------------------------------------------------------------------------
 * Properties. Each call takes the handle's thread lock for its duration and
 * leaves the lock state as it found it, whatever its outcome. pAnchor is
 * the connection's anchor, or for KWHC_UNASSOCIATED_HCONN the unassociated
 * anchor (null: the process-wide one). Common reasons: 2460 not a handle of
 * that anchor; 2499 held by another thread or an object; 2195 a mutex
 * failure.
 */

/* Sets property pName to a value of Type (KWTYPE_*), ValueLength bytes at
 * pValue (numbers in the machine's byte order; a boolean as 4 bytes).
 * pSetPropOpts and pPropDesc may be null (descriptor: support optional, no
 * context, KWCOPY_DEFAULT). On a handle created without KWCMHO_VALIDATE the
 * property's Support is stored as optional whatever pPropDesc says. A name
 * that maps onto a descriptor field changes the descriptor.
 * Reasons: 2482 Context not 0 or 1, or CopyOptions outside 0x1F; 2442 a
 * refused name; 2473 a value that does not suit its type or field;
 * 2119 a name or text not convertible into the list's CCSID; 2071/2102 the
 * list could not grow. A failed set leaves the properties as they were. */
ZXV_API KWLONG zstSetMessageProperty(ZST_THREAD pThread, KWHCONN hConn, KWHMSG hMsg,
                                     const KWSMPO* pSetPropOpts, const KWCHARV* pName,
                                     const KWPD* pPropDesc, KWLONG Type, KWLONG ValueLength,
                                     const void* pValue, MsgHandleAnchor* pAnchor,
                                     KWLONG* pCompCode, KWLONG* pReason);

/* Inquires a property. The name is exact, or ends in "%" to match every
 * property whose name begins with what precedes it ("%" alone: all), in
 * list order; KWIMPO_INQ_NEXT continues after the property the last inquiry
 * of the same name returned, KWIMPO_INQ_PROP_UNDER_CURSOR reads that
 * property again (pName is then ignored). A name that maps onto a
 * descriptor field is one property: an inquire next after it gives 2471.
 * *pType: in, the type wanted when pInqPropOpts carries KWIMPO_CONVERT_TYPE;
 * out, the type of the value returned. The value goes to pValue (ValueLength
 * bytes) and its length to *pDataLength; pPropDesc (may be null) receives
 * the property's descriptor; with a ReturnedName buffer or
 * KWIMPO_QUERY_LENGTH the name found goes to ReturnedName. pInqPropOpts may
 * be null (KWIMPO_DEFAULT_INIT).
 * Reasons: 2471 no (further) matching property; 2469 the value does not fit
 * (*pDataLength gives its length); 2470, 2472, 2467 type conversion (see
 * zstCopyPropertyValue); warnings 2465, 2466, 2492. */
ZXV_API KWLONG zstInquireMessageProperty(ZST_THREAD pThread, KWHCONN hConn, KWHMSG hMsg,
                                         KWIMPO* pInqPropOpts, const KWCHARV* pName,
                                         KWPD* pPropDesc, KWLONG* pType, KWLONG ValueLength,
                                         void* pValue, KWLONG* pDataLength,
                                         MsgHandleAnchor* pAnchor, KWLONG* pCompCode,
                                         KWLONG* pReason);

/* Deletes property pName (a descriptor-mapped name restores the field's
 * default), or with KWDMPO_DEL_PROP_UNDER_CURSOR the property the last
 * inquiry returned. pDltPropOpts may be null. Reasons: 2471 no such
 * property. */
ZXV_API KWLONG zstDeleteMessageProperty(ZST_THREAD pThread, KWHCONN hConn, KWHMSG hMsg,
                                        const KWDMPO* pDltPropOpts, const KWCHARV* pName,
                                        MsgHandleAnchor* pAnchor, KWLONG* pCompCode,
                                        KWLONG* pReason);

/* ------------------------------------------------------------------------
 * Locking. Used by every call above; exported for the other layers that
 * hold handles (an object lock while a get or put runs, for example).
 */

/* 0 when hMsg is the address of a handle on the anchor's list, else 2460.
 * Compares addresses only: never reads what a foreign value points at. The
 * caller serialises the anchor. */
ZXV_API KWLONG zstVerifyMessageHandle(ZST_THREAD pThread, KWHMSG hMsg,
                                      const MsgHandleAnchor* pAnchor, KWLONG* pCompCode,
                                      KWLONG* pReason);

/* Finds and locks a handle. Exactly one anchor is given: pConnAnchor for a
 * connection's handle, pUnassocAnchor for an unassociated one (whose mutex
 * is taken first and, unless ReleaseAnchor is non-zero, stays held for the
 * caller to release). pDescription names the caller in the trace. LockType,
 * hConn and hObj as for zstLockMessageHandle; Options ZST_ACQUIRE_*.
 * *ppMsgHandle receives the handle, or null on failure (then no anchor
 * mutex is held). Reasons: 2460, 2499, 2195. */
ZXV_API KWLONG zstAcquireMessageHandle(ZST_THREAD pThread, KWHMSG hMsg, const char* pDescription,
                                       MsgHandleAnchor* pConnAnchor,
                                       MsgHandleAnchor* pUnassocAnchor, KWLONG ReleaseAnchor,
                                       KWLONG LockType, KWHCONN hConn, KWHOBJ hObj, KWLONG Options,
                                       MsgHandle** ppMsgHandle, KWLONG* pCompCode, KWLONG* pReason);

/* Takes a lock of LockType (ZST_LOCK_*) on the handle; for ZST_LOCK_OBJECT
 * the owner is (hConn, hObj). MutexRequired: the handle must have a mutex
 * (an unassociated handle). Reasons: 2499 held in a way that excludes the
 * request, or no mutex where one is required; 2195 the mutex could not be
 * taken. */
ZXV_API KWLONG zstLockMessageHandle(ZST_THREAD pThread, MsgHandle* pMsgHandle, KWLONG LockType,
                                    KWHCONN hConn, KWHOBJ hObj, KWLONG MutexRequired,
                                    KWLONG* pCompCode, KWLONG* pReason);

/* Releases a lock taken by zstLockMessageHandle with the same LockType (and
 * for ZST_LOCK_OBJECT the same hConn, hObj). Returns ZXVRC_OK, or
 * ZSTRC_UNEXPECTED_ERROR when the caller does not own the lock (a failure
 * record is written; the owner fields stay, except that a
 * ZST_LOCK_THREAD_FORCED release frees the thread lock all the same) or the
 * mutex could not be taken. */
ZXV_API ZXVRC zstReleaseMessageHandle(ZST_THREAD pThread, MsgHandle* pMsgHandle, KWLONG LockType,
                                      KWHCONN hConn, KWHOBJ hObj);

/* ------------------------------------------------------------------------
 * Helpers of inquiry.
 */

/* Copies the value of a property found by a store get (*pInfo) into the
 * caller's buffer. *pType: in, the type wanted (KWTYPE_*) when pInqPropOpts
 * carries KWIMPO_CONVERT_TYPE, otherwise ignored; out, the type returned.
 * Conversions between types (a value of the stored type read as another):
 *   boolean         -> string "TRUE"/"FALSE"
 *   8-bit integer   -> 16, 32, 64-bit integer, string (decimal)
 *   16-bit integer  -> 32, 64-bit integer, string
 *   32-bit integer  -> 64-bit integer, string
 *   64-bit integer  -> string
 *   32-bit float    -> 64-bit float, string
 *   64-bit float    -> string
 *   string          -> every type but byte string: "TRUE"/"FALSE" (any
 *                      case) or "1"/"0" for a boolean, decimal integers in
 *                      range, floats; 2472 when the text does not spell one
 *   null            -> null in every type
 * any other pair gives 2470; a stored value without a property type (a
 * group entry, an untyped header value) 2467. A node held as text (string
 * form) counts as its type, read from the text.
 * With KWIMPO_CONVERT_VALUE, text is converted into RequestedCCSID
 * (2466 warning and the stored text when it cannot be) and numbers are
 * given in RequestedEncoding's byte order; ReturnedCCSID and
 * ReturnedEncoding say what was done. The value's length goes to
 * *pDataLength; 2469 when ValueLength is smaller (nothing copied) unless
 * KWIMPO_QUERY_LENGTH asks for the length only. pPropDesc (may be null)
 * receives Support, Context and CopyOptions. pWork (may be null) lends
 * conversion space. */
ZXV_API KWLONG zstCopyPropertyValue(ZST_THREAD pThread, const ZRFPROPINFO* pInfo,
                                    KWIMPO* pInqPropOpts, KWLONG* pType, KWPD* pPropDesc,
                                    KWLONG ValueLength, void* pValue, KWLONG* pDataLength,
                                    ZRFWORKAREA* pWork, KWLONG* pCompCode, KWLONG* pReason);

/* Puts the name of a property found by a store get (*pInfo) into
 * pInqPropOpts->ReturnedName, converted into the CCSID it asks for
 * (ReturnedName.VSCCSID, else RequestedCCSID, else as stored). VSLength
 * receives the whole name's length and VSCCSID its CCSID. Warnings (cc 1):
 * 2465 the buffer took only part of the name; 2492 the name could not be
 * converted and is given as stored. pWork may be null. */
ZXV_API KWLONG zstCalculatePropertyName(ZST_THREAD pThread, const ZRFPROPINFO* pInfo,
                                        KWIMPO* pInqPropOpts, ZRFWORKAREA* pWork, KWLONG* pCompCode,
                                        KWLONG* pReason);

/* ------------------------------------------------------------------------
 * Layout checks.
 */
#if defined(__cplusplus)
#define ZST_STATIC_ASSERT static_assert
#else
#define ZST_STATIC_ASSERT _Static_assert
#endif
ZST_STATIC_ASSERT(sizeof(KWHMSG) == 8, "hMsg is 64 bits");
ZST_STATIC_ASSERT(sizeof(KWCMHO) == 12, "create options are 12 bytes");
ZST_STATIC_ASSERT(sizeof(KWDMHO) == 12, "delete options are 12 bytes");
ZST_STATIC_ASSERT(sizeof(KWDMPO) == 12, "delete-property options are 12 bytes");
ZST_STATIC_ASSERT(offsetof(KWIMPO, ReturnedName) == 32, "ReturnedName at 32");
#undef ZST_STATIC_ASSERT

ZXV_EXTERN_C_END

#endif
