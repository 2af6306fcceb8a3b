/* zxvxzu: the property store.
 *
 * A message's properties live in one contiguous, relocatable block, the
 * property list: a 24-byte header ("ZRFP") followed by self-describing,
 * variable-length nodes, each starting on a 4-byte boundary. Because a whole
 * list can be copied with memcpy, it can move between handles, travel in a
 * message's control data and be written out without walking pointers.
 *
 * A list travels as a ZRFPAL: the list's address and its allocated size,
 * passed by reference, because every operation that adds to a list may
 * re-allocate it.
 *
 *   ZRFPAL pal = {NULL, 0, 0};
 *   KWPD pd = {{'P', 'D', ' ', ' '}, KWPD_VERSION_1, 0, KWPD_SUPPORT_OPTIONAL,
 *              KWPD_NO_CONTEXT, KWCOPY_DEFAULT};
 *   KWLONG v = 42, cc, rc;
 *   zrfAppendProperty(&pal, "usr.count", 9, 1208, ZRF_TYPE_INT32, &v, sizeof v, &pd, &cc, &rc);
 *   ...
 *   zrfFreePAL(&pal, 0, &cc, &rc);
 *
 * Conventions of every operation here:
 * - Completion and reason codes go to the two last arguments (either may be
 *   null); the function also returns the reason code, 0 on success.
 * - A name is (address, length in bytes, CCSID). A name CCSID of 0 means
 *   "already in the list's CCSID". Names are compared byte for byte, after
 *   conversion into the list's CCSID.
 * - A value is (type word, address, length): the type word holds an internal
 *   type code (ZRF_TYPE_*) in its low byte and ZRF_FLAG_* bits above it.
 * - A failed operation leaves the list exactly as it was, bytes and
 *   allocation both.
 * - The store takes no locks: a list has one owner at a time.
 *
 * Order of the nodes (what zrfLocatePropertyNode imposes)
 * --------------------------------------------------------
 * A name is split into parts at the full stop of the list's encoding family
 * (0x2E for ASCII and UTF-8, 0x4B for EBCDIC, 2E 00 for UCS-2 little-endian,
 * 00 2E for UCS-2 big-endian). Two names belong to the same name group at
 * depth d when their first d parts are equal. The store keeps every group at
 * every depth contiguous:
 * - a name that is already in the list is replaced in place;
 * - a new name goes directly after the last node that shares the most
 *   leading parts with it (the end of the deepest group it joins);
 * - a new name that shares not even its first part with any node goes at
 *   the end of the list.
 * So within a group names stay in arrival order, and "a.x", "b", "a.y" are
 * kept as "a.x", "a.y", "b". Browsing walks the list in this order.
 */
#ifndef ZXVXZU_PROPERTIES_H
#define ZXVXZU_PROPERTIES_H

#include "kwmd.h"
#include "zxvxzu_types.h"

ZXV_EXTERN_C_BEGIN

/* ------------------------------------------------------------------------
 * The property descriptor KWPD (24 bytes).
 */
#define KWPD_STRUC_ID "PD  "
#define KWPD_VERSION_1 1
#define KWPD_CURRENT_VERSION 1
#define KWPD_LENGTH 24

#define KWPD_NONE 0 /* Options */

#define KWPD_SUPPORT_OPTIONAL 1 /* Support: a receiver may ignore the property */

#define KWPD_NO_CONTEXT 0   /* Context */
#define KWPD_USER_CONTEXT 1 /* the property belongs to the message's user context */

/* CopyOptions: for which kinds of copied message the property travels. */
#define KWCOPY_NONE 0
#define KWCOPY_ALL 1
#define KWCOPY_FORWARD 2
#define KWCOPY_PUBLISH 4
#define KWCOPY_REPLY 8
#define KWCOPY_REPORT 16
#define KWCOPY_DEFAULT 22 /* forward, publish and report */
#define KWCOPY_VALID_MASK 0x1F

typedef struct KWPD {
  char StrucId[4];    /*  0 "PD  " */
  KWLONG Version;     /*  4 */
  KWLONG Options;     /*  8 */
  KWLONG Support;     /* 12 */
  KWLONG Context;     /* 16 */
  KWLONG CopyOptions; /* 20 */
} KWPD;

/* ------------------------------------------------------------------------
 * External property types (what applications pass) and the reason codes the
 * store gives beyond those of zxvxzu_types.h (where 2442, the name error, is:
 * the store gives it for a name that is empty or longer than 65,535 bytes).
 */
#define KWTYPE_AS_SET 0
#define KWTYPE_NULL 2
#define KWTYPE_BOOLEAN 4
#define KWTYPE_BYTE_STRING 8
#define KWTYPE_INT8 16
#define KWTYPE_INT16 32
#define KWTYPE_INT32 64
#define KWTYPE_INT64 128
#define KWTYPE_FLOAT32 256
#define KWTYPE_FLOAT64 512
#define KWTYPE_STRING 1024

#define KWRC_PROPERTY_NOT_AVAILABLE 2471 /* no property of that name */
#define KWRC_PROPERTY_TYPE_ERROR 2473    /* the value's type is not valid here */
#define KWRC_PD_ERROR 2482               /* property descriptor not valid */

/* ------------------------------------------------------------------------
 * The property list header ("ZRFP", 24 bytes).
 */
#define ZRFP_STRUC_ID "ZRFP"
#define ZRFP_VERSION_1 1
#define ZRFP_VERSION_MASK 0x000000FFu
#define ZRFP_DEFAULT_FLAGS 0x01000001u /* version 1 and the default flag bits */
#define ZRFP_FLAG_VERIFY 0x04000000u   /* check the list around every change */
#define ZRFP_HEADER_LENGTH 24
#define ZRFP_INITIAL_SIZE 4096 /* bytes allocated for a new list */

typedef struct ZRFPROPS {
  char StrucId[4];      /*  0 "ZRFP" */
  KWULONG VersionFlags; /*  4 low byte the version; ZRFP_FLAG_* above */
  KWULONG StrucLen;     /*  8 header plus all nodes; 24 when empty */
  KWULONG PropsLen;     /* 12 sum of all name and value lengths */
  KWLONG CCSID;         /* 16 CCSID of every name and string value; 0 unset */
  uint8_t CCSIDType;    /* 20 encoding family of CCSID (XCS_CCSID_TYPE_*) */
  uint8_t Reserved[3];  /* 21 zero */
} ZRFPROPS;

/* A list and its allocated size. pProps null with Size 0 is an empty list
 * that the first append creates. */
typedef struct ZRFPAL {
  ZRFPROPS* pProps; /* the list, from the platform allocator */
  KWULONG Size;     /* bytes allocated at pProps */
  KWULONG Reserved; /* zero */
} ZRFPAL;

/* ------------------------------------------------------------------------
 * Nodes. Internal type codes (low byte of a node's type word) and the node
 * layouts; n is the name length, v the value length. Integers and floats are
 * in the machine's byte order, at whatever 4-byte boundary the node starts.
 *
 *   code  type                 value               name len  Copy  name  length before padding
 *   0     string               u32 length at 8     12        14    15    16 + n + v
 *   1     boolean (0 or 1)     4 bytes at 8        12        14    15    15 + n
 *   2     byte string          u32 length at 8     12        14    15    16 + n + v
 *   3     8-bit integer        1 byte at 10        8         11    12    12 + n
 *   4     16-bit integer       2 bytes at 8        10        12    13    13 + n
 *   5     32-bit integer       4 bytes at 8        12        14    15    15 + n
 *   6     64-bit integer       8 bytes at 8        16        18    19    19 + n
 *   7     32-bit float         4 bytes at 8        12        14    15    15 + n
 *   8     64-bit float         8 bytes at 8        16        18    19    19 + n
 *   9     null                 none                8         10    11    11 + n
 *   10    name-only entry      none                8         -     10    10 + n
 *   11    value of no type     see below           20        22    23    24 + n + v
 *
 * Every node starts with its type word (u32 at 0) and the descriptor's
 * Support (u32 at 4). The name length is u16, CopyOptions one byte. String,
 * byte-string and code-11 values follow the name and are followed by one
 * zero byte, counted in the node's length but not in v. Nodes are padded
 * with zero bytes to the next multiple of 4.
 *
 * Code 10 marks a name that stands for a group rather than a value (an empty
 * group element of a header); it has no value and no CopyOptions.
 * Code 11 holds a value whose type was not given: bytes 8-11 the encoding
 * the value bytes are in (546 when the store wrote it), bytes 12-15 their
 * CCSID (the list's at the time), the u32 value length at 16.
 * A node whose type word has ZRF_FLAG_STRING_FORM is laid out as a string
 * (code 0) whatever its code: its value is text, in the list's CCSID, that
 * spells a value of the type given by the code.
 */
#define ZRF_TYPE_STRING 0
#define ZRF_TYPE_BOOLEAN 1
#define ZRF_TYPE_BYTE_STRING 2
#define ZRF_TYPE_INT8 3
#define ZRF_TYPE_INT16 4
#define ZRF_TYPE_INT32 5
#define ZRF_TYPE_INT64 6
#define ZRF_TYPE_FLOAT32 7
#define ZRF_TYPE_FLOAT64 8
#define ZRF_TYPE_NULL 9
#define ZRF_TYPE_NAME_ONLY 10
#define ZRF_TYPE_AS_STORED 11 /* no type requested / value of no type */
#define ZRF_TYPE_COUNT 12

#define ZRF_TYPE_MASK 0x000000FFu
#define ZRF_FLAG_STRING_FORM 0x00000100u  /* node laid out as a string */
#define ZRF_FLAG_USER_CONTEXT 0x00001000u /* the descriptor's Context was 1 */

/* ------------------------------------------------------------------------
 * State kept between calls by the owner of a list (a message handle).
 */

/* Scratch space the store reuses for name and value conversion, so a set or
 * get in a foreign CCSID does not allocate on every call. Zero it before
 * first use; free pBuffer with xcsFreeMemFn when done. Flags and Length are
 * the owner's; the store uses pBuffer and Capacity. */
typedef struct ZRFWORKAREA {
  KWULONG Flags;
  KWULONG Reserved;
  uint8_t* pBuffer;
  KWULONG Capacity;
  KWULONG Length;
} ZRFWORKAREA;

/* Where a browse stands: a copy of the last name returned, in NameCCSID.
 * Created by the first browsing get; the buffer grows to the larger of 256
 * bytes and twice the name's length. Free with zrfFreeCursor. */
typedef struct ZRFCURSOR {
  uint8_t* pName;
  KWULONG Capacity;
  KWULONG NameLength;
  KWLONG NameCCSID;
  KWULONG NodeOffset; /* where the property's node was: a browse continues at
                         the first node from here when it has been deleted */
} ZRFCURSOR;

/* What a get found. Pointers point into the list, into the descriptor for a
 * name that maps onto a descriptor field, or (for a descriptor value that is
 * computed, such as one report option) at Scalar inside this structure; they
 * stay valid until the list or descriptor next changes and the structure is
 * not moved. Text values of descriptor fields are in CCSID 1208. */
#define ZRF_SOURCE_LIST 0
#define ZRF_SOURCE_DESCRIPTOR 1

typedef struct ZRFPROPINFO {
  KWULONG TypeFlags; /* the node's type word */
  KWLONG Support;    /* descriptor values the property was set with */
  KWLONG Context;
  KWLONG CopyOptions; /* KWCOPY_ALL for a name-only entry */
  const void* pName;  /* the name found, in NameCCSID */
  KWULONG NameLength;
  KWLONG NameCCSID;
  const void* pValue; /* the value bytes (text for string and string form) */
  KWULONG ValueLength;
  KWLONG ValueCCSID;  /* CCSID of text values */
  KWULONG NodeOffset; /* offset of the node from the list's start */
  KWULONG Source;     /* ZRF_SOURCE_* */
  KWINT64 Scalar;     /* room for a computed descriptor value */
} ZRFPROPINFO;

/* ------------------------------------------------------------------------
 * Option bits.
 */
#define ZRF_FREE_DESCRIPTOR 0x1 /* zrfFreePAL: also free the ZRFPAL block */

#define ZRF_GET_BROWSE_NEXT 0x8    /* continue from the cursor */
#define ZRF_GET_UNDER_CURSOR 0x10  /* re-read the property at the cursor */
#define ZRF_GET_VERIFY 0x80000000u /* check the list before reading it */

#define ZRF_MERGE_KEEP_EXISTING 0x1 /* a target property of the same name wins */

#define ZRF_SWAP_LIST_IS_NATIVE 0   /* list readable here: swap it for export */
#define ZRF_SWAP_LIST_IS_REVERSED 1 /* list from the other byte order: swap it here */

/* ------------------------------------------------------------------------
 * Lists.
 */

/* Allocates a ZRFPAL block holding pProps and Size (null and 0 when pProps
 * is null). *ppPAL receives it; free it with zrfFreePAL(..,
 * ZRF_FREE_DESCRIPTOR, ..). Reasons: 2071, 2102, 2195. */
ZXV_API KWLONG zrfAllocatePAL(ZRFPROPS* pProps, KWULONG Size, ZRFPAL** ppPAL, KWLONG* pCompCode,
                              KWLONG* pReason);

/* Frees the list and leaves pPAL empty (null, 0). With ZRF_FREE_DESCRIPTOR
 * also frees pPAL itself, which must come from zrfAllocatePAL. A list whose
 * eye-catcher is not "ZRFP" is not freed: a failure record is written and
 * 2195 returned. */
ZXV_API KWLONG zrfFreePAL(ZRFPAL* pPAL, KWLONG Options, KWLONG* pCompCode, KWLONG* pReason);

/* Makes *pPALout an independent copy of *pPALin with the same allocated size
 * (whatever *pPALout held is overwritten, not freed). A source of size 0
 * gives an empty descriptor. Reasons: 2071, 2102, 2195 (also for a source
 * that is not a valid list). */
ZXV_API KWLONG zrfDuplicatePAL(const ZRFPAL* pPALin, ZRFPAL* pPALout, KWLONG* pCompCode,
                               KWLONG* pReason);

/* Makes *pTarget equal to *pSource: a source of size 0 frees the target and
 * leaves it empty; a missing target becomes a duplicate; a target smaller
 * than the source's size is grown to it; then the source's bytes in use are
 * copied over. Reasons as zrfDuplicatePAL. */
ZXV_API KWLONG zrfReallocatePAL(const ZRFPAL* pSource, ZRFPAL* pTarget, KWLONG* pCompCode,
                                KWLONG* pReason);

/* Checks a list: eye-catcher, version 1, StrucLen within the allocation,
 * every node of a known type inside StrucLen with its zero byte, and
 * PropsLen equal to the sum of the nodes' name and value lengths. A list
 * that fails gets a failure record and 2195. */
ZXV_API KWLONG zrfVerifyPropertiesFn(const ZRFPAL* pPAL, KWLONG* pCompCode, KWLONG* pReason);

/* ------------------------------------------------------------------------
 * Adding, replacing and removing properties.
 */

/* Adds one property at its place (see "Order of the nodes"), or replaces the
 * node of the same name in place. A missing list, or one smaller than its
 * header, is created (4096 bytes, CCSID 1208); an empty list whose CCSID is
 * 0 takes CCSID 1208. The name (and a string or string-form value) is
 * converted into the list's CCSID first. When the node does not fit, the
 * list grows to twice (node length + current size).
 * TypeFlags: ZRF_TYPE_* in the low byte, ZRF_FLAG_STRING_FORM and other bits
 * as they are to be stored (ZRF_FLAG_USER_CONTEXT is taken from pPD). Fixed-
 * size values must have their size; pPD null means Support optional, no
 * context, KWCOPY_DEFAULT.
 * Reasons: 2071/2102 the list could not grow; 2119 name or value not
 * convertible into the list's CCSID; 2195 unknown type code ("Unrecognized
 * property type"), CopyOptions above 255 ("CopyOptions cannot be stored"), a
 * damaged list or an unexpected allocator or converter code (each with a
 * failure record); 2442 a name that is empty or longer than 65,535 bytes;
 * 2473 a value length that does not suit the type. */
ZXV_API KWLONG zrfAppendProperty(ZRFPAL* pPAL, const void* pName, KWULONG NameLength,
                                 KWLONG NameCCSID, KWULONG TypeFlags, const void* pValue,
                                 KWULONG ValueLength, const KWPD* pPD, KWLONG* pCompCode,
                                 KWLONG* pReason);

/* Sets a typed property in the list only, without looking at the message
 * descriptor: replaces a property of the same name or appends a new one.
 * Type is a value type, ZRF_TYPE_STRING..ZRF_TYPE_NULL (2473 otherwise).
 * pWork (may be null) supplies conversion space. Reasons as
 * zrfAppendProperty. */
ZXV_API KWLONG zrfSetNamedProperty(ZRFPAL* pPAL, const void* pName, KWULONG NameLength,
                                   KWLONG NameCCSID, const KWPD* pPD, KWULONG Type,
                                   const void* pValue, KWULONG ValueLength, ZRFWORKAREA* pWork,
                                   KWLONG* pCompCode, KWLONG* pReason);

/* The set path of message handles. Unless ValidationOff, the name is first
 * checked by the property-name rules (2442). A name that maps onto a field of
 * the message descriptor stores the value in *pMsgDesc and sets the field's
 * bit in *pMsgDescFieldsSet (2473 when the value cannot be that field's);
 * any other name goes to zrfSetNamedProperty. Options are the caller's set
 * options; no bit changes what the store does. */
ZXV_API KWLONG zrfSetProperty(KWLONG Options, ZRFPAL* pPAL, KWMD* pMsgDesc,
                              KWULONG* pMsgDescFieldsSet, const void* pName, KWULONG NameLength,
                              KWLONG NameCCSID, const KWPD* pPD, KWULONG Type, const void* pValue,
                              KWULONG ValueLength, ZRFWORKAREA* pWork, KWLONG ValidationOff,
                              KWLONG* pCompCode, KWLONG* pReason);

/* Removes the property of that exact name from the list. 2471 when there is
 * none; 2119 when the name cannot be converted into the list's CCSID. */
ZXV_API KWLONG zrfDeleteNamedProperty(ZRFPAL* pPAL, const void* pName, KWULONG NameLength,
                                      KWLONG NameCCSID, ZRFWORKAREA* pWork, KWLONG* pCompCode,
                                      KWLONG* pReason);

/* The delete path of message handles: a name that maps onto a descriptor
 * field restores that field's default value and clears its bit (2471 when
 * the bit was clear); any other name goes to zrfDeleteNamedProperty.
 * Options are the caller's delete options. */
ZXV_API KWLONG zrfDeleteProperty(KWLONG Options, ZRFPAL* pPAL, KWMD* pMsgDesc,
                                 KWULONG* pMsgDescFieldsSet, const void* pName, KWULONG NameLength,
                                 KWLONG NameCCSID, ZRFWORKAREA* pWork, KWLONG* pCompCode,
                                 KWLONG* pReason);

/* ------------------------------------------------------------------------
 * Finding properties.
 */

/* Finds the node for a name already in the list's CCSID. 0 with *pOffset the
 * node's offset from the list's start; 2471 with *pOffset the offset at
 * which a node of that name is to be created (see "Order of the nodes").
 * An empty or missing list gives 2471 and offset 24. */
ZXV_API KWLONG zrfLocatePropertyNode(const ZRFPAL* pPAL, const void* pName, KWULONG NameLength,
                                     KWULONG* pOffset, KWLONG* pCompCode, KWLONG* pReason);

/* As zrfLocatePropertyNode for a name in any CCSID (converted first; 2119
 * when it cannot be). */
ZXV_API KWLONG zrfLocateProperty(const ZRFPAL* pPAL, const void* pName, KWULONG NameLength,
                                 KWLONG NameCCSID, ZRFWORKAREA* pWork, KWULONG* pOffset,
                                 KWLONG* pCompCode, KWLONG* pReason);

/* Gets the property of that exact name: a name that maps onto a descriptor
 * field is read from *pMsgDesc (which may be null: then only the list is
 * searched), any other from the list. 2471 when there is none. */
ZXV_API KWLONG zrfGetProperty(const ZRFPAL* pPAL, const KWMD* pMsgDesc, const void* pName,
                              KWULONG NameLength, KWLONG NameCCSID, ZRFWORKAREA* pWork,
                              ZRFPROPINFO* pInfo, KWLONG* pCompCode, KWLONG* pReason);

/* As zrfGetProperty, for a caller that needs the value in one type: 2473
 * when the property is stored in another type (RequestedType
 * ZRF_TYPE_AS_STORED takes any). A string-form node counts as its code's
 * type only when RequestedType is ZRF_TYPE_STRING (it is text). */
ZXV_API KWLONG zrfGetProperty2(const ZRFPAL* pPAL, const KWMD* pMsgDesc, const void* pName,
                               KWULONG NameLength, KWLONG NameCCSID, KWULONG RequestedType,
                               ZRFWORKAREA* pWork, ZRFPROPINFO* pInfo, KWLONG* pCompCode,
                               KWLONG* pReason);

/* Browses the list for a name: an exact name, or a pattern whose last
 * character is "%", matching every name that begins with what precedes it
 * ("%" alone matches all). Without ZRF_GET_BROWSE_NEXT, or when the cursor's
 * name does not match the pattern, the browse starts at the first node;
 * otherwise it continues after the cursor's property (or, when that was
 * deleted meanwhile, at the node that took its place). The property found is
 * recorded in the cursor, which is created on first use (*ppCursor null).
 * With ZRF_GET_UNDER_CURSOR the cursor's property is read again. 2471 when
 * nothing (further) matches; 2071/2102/2195 when the cursor cannot be
 * created or grown. */
ZXV_API KWLONG zrfGetNamedProperty(KWLONG Options, const ZRFPAL* pPAL, ZRFCURSOR** ppCursor,
                                   const void* pName, KWULONG NameLength, KWLONG NameCCSID,
                                   ZRFWORKAREA* pWork, ZRFPROPINFO* pInfo, KWLONG* pCompCode,
                                   KWLONG* pReason);

/* The browsing get of message handles: ZRF_GET_UNDER_CURSOR re-reads the
 * cursor's property; a name that maps onto a descriptor field is a single
 * property, read from *pMsgDesc, and a ZRF_GET_BROWSE_NEXT for the same name
 * (same bytes, length and CCSID) gives 2471; every other name is browsed in
 * the list by zrfGetNamedProperty. Patterns do not match descriptor fields.
 * With ZRF_GET_VERIFY the list is checked first. */
ZXV_API KWLONG zrfGetPropertyWithBrowse(KWLONG Options, const ZRFPAL* pPAL, const KWMD* pMsgDesc,
                                        ZRFCURSOR** ppCursor, const void* pName, KWULONG NameLength,
                                        KWLONG NameCCSID, ZRFWORKAREA* pWork, ZRFPROPINFO* pInfo,
                                        KWLONG* pCompCode, KWLONG* pReason);

/* Frees a cursor from the browsing gets and sets *ppCursor to null. */
ZXV_API void zrfFreeCursor(ZRFCURSOR** ppCursor);

/* ------------------------------------------------------------------------
 * Whole-list operations.
 */

/* Adds every property of *pSource to *pTarget (created when missing), each
 * placed as zrfAppendProperty places it and converted into the target's
 * CCSID. A property of the same name in the target is replaced, or kept with
 * ZRF_MERGE_KEEP_EXISTING. On failure the target is unchanged. */
ZXV_API KWLONG zrfMergeProperties(KWLONG Options, const ZRFPAL* pSource, ZRFPAL* pTarget,
                                  KWLONG* pCompCode, KWLONG* pReason);

/* As zrfMergeProperties, then empties the source (StrucLen 24, PropsLen 0;
 * it keeps its allocation, CCSID and flags). On failure both lists are
 * unchanged. */
ZXV_API KWLONG zrfMoveProperties(KWLONG Options, ZRFPAL* pSource, ZRFPAL* pTarget,
                                 KWLONG* pCompCode, KWLONG* pReason);

/* Converts every name and every string or string-form value into
 * RequestedCCSID and records it, with its encoding family, in the header.
 * The list may move and grow. 2119 when a name or value cannot be converted
 * (the list is then unchanged). */
ZXV_API KWLONG zrfChangePropertiesCCSID(ZRFPAL* pPAL, KWLONG RequestedCCSID, KWLONG* pCompCode,
                                        KWLONG* pReason);

/* Reverses the byte order of every numeric field: header words, type words,
 * Support, lengths and numeric values. Options say which order the list is
 * in now (ZRF_SWAP_LIST_IS_NATIVE or ZRF_SWAP_LIST_IS_REVERSED), so that its
 * lengths are read correctly. A list that cannot be walked gives 2195 and is
 * left as it was. */
ZXV_API KWLONG zrfByteSwapProperties(KWLONG Options, ZRFPAL* pPAL, KWLONG* pCompCode,
                                     KWLONG* pReason);

/* Decides whether the list must be rewritten before it is copied to a new
 * message made for CopyPurpose (KWCOPY_FORWARD, _PUBLISH, _REPLY, _REPORT):
 * *pModificationRequired is 1 when some property's CopyOptions has neither
 * KWCOPY_ALL nor the purpose's bit, else 0. A purpose of KWCOPY_ALL keeps
 * everything. */
ZXV_API KWLONG zrfCheckCopyOptions(const ZRFPAL* pPAL, KWLONG CopyPurpose,
                                   KWLONG* pModificationRequired, KWLONG* pCompCode,
                                   KWLONG* pReason);

/* ------------------------------------------------------------------------
 * Stepping through a list: the only way to read nodes. pNode points at a
 * node inside a list.
 */

/* The node's length including padding; 0 for a type code the store does not
 * know (a damaged list). */
ZXV_API KWULONG zrfGetPropLength(const void* pNode);

/* The node's name (not terminated); null for an unknown type code. */
ZXV_API const void* zrfGetPropName(const void* pNode);

/* The node's name length in bytes; 0 for an unknown type code. */
ZXV_API KWULONG zrfGetPropNameLength(const void* pNode);

/* ------------------------------------------------------------------------
 * Layout checks.
 */
#if defined(__cplusplus)
#define ZRF_STATIC_ASSERT static_assert
#else
#define ZRF_STATIC_ASSERT _Static_assert
#endif
ZRF_STATIC_ASSERT(sizeof(KWPD) == KWPD_LENGTH, "KWPD is 24 bytes");
ZRF_STATIC_ASSERT(offsetof(KWPD, CopyOptions) == 20, "KWPD CopyOptions at 20");
ZRF_STATIC_ASSERT(sizeof(ZRFPROPS) == ZRFP_HEADER_LENGTH, "property list header is 24 bytes");
ZRF_STATIC_ASSERT(offsetof(ZRFPROPS, VersionFlags) == 4, "version and flags at 4");
ZRF_STATIC_ASSERT(offsetof(ZRFPROPS, StrucLen) == 8, "StrucLen at 8");
ZRF_STATIC_ASSERT(offsetof(ZRFPROPS, PropsLen) == 12, "PropsLen at 12");
ZRF_STATIC_ASSERT(offsetof(ZRFPROPS, CCSID) == 16, "CCSID at 16");
ZRF_STATIC_ASSERT(offsetof(ZRFPROPS, CCSIDType) == 20, "CCSIDType at 20");
ZRF_STATIC_ASSERT(offsetof(ZRFPROPS, Reserved) == 21, "further fields at 21");
#undef ZRF_STATIC_ASSERT

ZXV_EXTERN_C_END

#endif
