/* zxvxzu: a message handle's properties to and from the property header.
 *
 * On put, a handle's properties travel in front of the message data as a
 * KWRFH2 header (kwrfh2.h) whose folders hold them as markup; on get, the
 * folders of every KWRFH2 of a message are parsed back into a handle
 * (folder_parser.h). This header offers both directions on handles
 * (zstPropertiesToKWRFH2, zstKWRFH2ToProperties), the converters beneath
 * them that work on a property list (properties.h), the older name/value
 * form of version 1 headers, the preparation of a message for a receiver
 * that does not handle properties, and the check of headers that an
 * application wrote itself (zstCalculatePropsLength).
 *
 *   KWMD md = ...;                          (the caller's descriptor, version 2)
 *   KWULONG headersLength = 0;
 *   KWLONG cc, rc;
 *   zstPropertiesToKWRFH2(NULL, hConn, hMsg, NULL, &md, buffer, sizeof buffer, &anchor,
 *                         &headersLength, &cc, &rc);
 *   ... message data = the headersLength bytes of buffer, then the body ...
 *   zstKWRFH2ToProperties(NULL, hConn, hMsg2, &md, data, dataLength, 0, &anchor,
 *                         NULL, NULL, &cc, &rc);
 *
 * Which folder a property goes to
 * -------------------------------
 * A property's name is split at the full stops of the list's encoding.
 * - "mcd.<x>" and "jms.<x>" go to the folders mcd and jms as the element
 *   <x>; so do the names of the other folders that the system defines:
 *   "psc.", "kwps.", "kwpse.", "kwpsi.", "kwext." and "zol_rfp." (the first
 *   name part is the folder). The folders jms, mcd, kwps, kwpsi and kwext
 *   hold no groups, so there only two-part names are written; psc, kwpse
 *   and zol_rfp take groups like the user folder.
 * - Every other name is a user property and goes to the folder usr, its
 *   name parts becoming nested group elements: "order.line.qty" is written
 *   <usr><order><line><qty>..</qty></line></order></usr>. The user folder's
 *   own name is not part of the names read back, so a name that begins
 *   "usr." keeps that part as a group (<usr><usr><x>..) and comes back as
 *   set. The same goes for a name of a folder above that the folder cannot
 *   hold (a jms name of three parts, say).
 * - The names of the queue manager's folder kw ("kw.<x>") and the internal
 *   names it yields ("kwi.<x>") are user properties too: a kw folder is the
 *   queue manager's, parsed with side effects (it adds kwi.Enc, kwi.Ccs and
 *   kwi.Fmt and carries the message's reject-support value), so the writer
 *   never writes one.
 * - A name that is no markup name (an empty part, a blank, "<", ">", "/",
 *   "=", "&", ":", a quote or a control character in it, a part beginning
 *   with a digit, "-" or ".", the reserved element name elt, or more than 62
 *   parts) is written whole in the user folder as <elt name='...'>, escaped,
 *   and so comes back as it was.
 *
 * Order and shape of the folders
 * ------------------------------
 * Properties whose Support lies in the accept range (folder_parser.h:
 * every receiver may ignore them; KWPD_SUPPORT_OPTIONAL among them) are the
 * compatible ones and are written first; the others, which a receiver must
 * recognise, follow in folders of their own. Within each part the folders
 * come in the order mcd, jms, usr, psc, kwps, kwpse, kwpsi, kwext, zol_rfp,
 * each written once, and within a folder the properties keep the order of
 * the list (properties.h), which keeps the members of a group together.
 *
 * Element text per type (no dt means string):
 *   string       escaped text; dt='string' only for the jms folder's Dlv, Pri,
 *                Seq, Exp and Tms, which are read as numbers otherwise
 *   boolean      dt='boolean', "1" or "0"
 *   byte string  dt='bin.hex', two lower-case hex digits per byte
 *   integers     dt='i1', 'i2', 'i4', 'i8', decimal (jms Dlv, Pri, Seq as i4
 *                and Exp, Tms as i8 without dt)
 *   floats       dt='r4', 'r8', the shortest decimal form that reads back as
 *                the same value; INF, -INF, NaN
 *   null         xsi:nil='true', an empty element
 *   text form    (a node held as text that spells its type) the text, with
 *                its type's dt
 *   no type      (a value stored without a type) dt='bin.hex' of its bytes
 * followed by context='user' for user context, support='xxxxxxxx' (eight
 * hex digits) when Support is not KWPD_SUPPORT_OPTIONAL, and copy='...'
 * ("none", or the words all, forward, publish, reply, report joined by
 * commas) when CopyOptions is not KWCOPY_DEFAULT. Name-only entries (group
 * markers) hold no value and are not written. Text is escaped with the
 * family's routine (value_escape.h); attribute values are quoted with
 * apostrophes. Each folder is padded with blanks of its encoding to a
 * multiple of 4 bytes.
 *
 * Marked properties
 * -----------------
 * The conversion marks the properties it writes among the non-compatible
 * ones: their Support asks a receiver to recognise something. It reports
 * how many there are, the or of their Support values and where the first
 * one is (ZRFMARKS); zrfProcessMarkedNodes then walks them once more and
 * applies the reject-support rules of the kw folder (zrfProcessKWFolder):
 * a Support bit this level does not recognise refuses the put (2443), or
 * allows it only to a transmission queue (2490).
 */
#ifndef ZXVXZU_PROPS_HEADER_H
#define ZXVXZU_PROPS_HEADER_H

#include "kwmd.h"
#include "message_handle.h"
#include "properties.h"
#include "zxvxzu_types.h"

ZXV_EXTERN_C_BEGIN

/* Reason codes given here beyond those of the headers included (and of
 * kwrfh2.h: 2469 the headers do not fit, 2471 no properties). */
#define KWRC_MD_ERROR 2026 /* a descriptor whose version is neither 1 nor 2 */

/* ------------------------------------------------------------------------
 * Options, buffers and results.
 */

/* zstPropertiesToKWRFH2 options (ZSTHDROPTS.Options). */
#define ZST_P2H_NONE 0x00000000u
#define ZST_P2H_PROCESS_MARKED 0x00000002u /* check the marked properties afterwards */
#define ZST_P2H_DLQ 0x00000004u            /* the message goes to a dead-letter queue */
#define ZST_P2H_TO_XMIT_Q 0x00000010u      /* the message goes to a transmission queue */

/* zstKWRFH2ToProperties options. */
#define ZST_H2P_NONE 0x00000000u
#define ZST_H2P_INTERNAL_ONLY 0x00000001u /* only headers flagged internal */

/* zrfProcessMarkedNodes options: the two destination bits above. */
#define ZRF_MARKED_DLQ ZST_P2H_DLQ
#define ZRF_MARKED_TO_XMIT_Q ZST_P2H_TO_XMIT_Q

/* zstCalculatePropsLength options. */
#define ZST_PROPSLEN_TO_XMIT_Q 0x00000010u /* the put is to a transmission queue */

/* The CCSID of folder text when none is asked for. */
#define ZRF_DEFAULT_NAME_VALUE_CCSID 1208

/* What zstPropertiesToKWRFH2 writes. A null pointer means all defaults. */
typedef struct ZSTHDROPTS {
  KWULONG Options;       /* ZST_P2H_* */
  KWLONG NameValueCCSID; /* CCSID of the folder text; 0: 1208 */
  KWLONG CopyPurpose;    /* 0 or KWCOPY_ALL: every property; otherwise only the
                            properties whose CopyOptions carry KWCOPY_ALL or a bit
                            of CopyPurpose (KWCOPY_FORWARD, _PUBLISH, ...) */
  KWLONG Reserved;       /* 0 */
} ZSTHDROPTS;

/* What the converters write. Encoding and CCSID are those named by the
 * structure in front of the header: the header's integers are in Encoding's
 * byte order, its StrucId in CCSID (0, -1, -2: 1208), and UCS-2 folder text
 * in Encoding's byte order. The Data* fields are what the header names for
 * the data behind it. */
typedef struct ZRFHDROPTS {
  KWULONG Options;                   /* 0 */
  KWLONG NameValueCCSID;             /* of the folder text; 0: 1208 */
  KWLONG CopyPurpose;                /* as ZSTHDROPTS */
  KWLONG Encoding;                   /* integers of the header */
  KWLONG CCSID;                      /* its StrucId and Format */
  KWLONG DataEncoding;               /* the header's Encoding field */
  KWLONG DataCCSID;                  /* the header's CodedCharSetId field */
  char DataFormat[KW_FORMAT_LENGTH]; /* the header's Format field (machine's CCSID) */
  KWLONG Flags;                      /* the header's Flags field */
} ZRFHDROPTS;

/* A growable output buffer. pBuffer null with Size 0 is an empty buffer;
 * a converter grows it through the platform allocator (xcsGetMemFn,
 * xcsReallocMemFn), keeping its content, and appends at Length. Free pBuffer
 * with xcsFreeMemFn. */
typedef struct ZRFHDRBUF {
  uint8_t* pBuffer;
  KWULONG Size;   /* bytes allocated */
  KWULONG Length; /* bytes in use */
} ZRFHDRBUF;

/* What a conversion wrote (see "Marked properties" above). */
typedef struct ZRFMARKS {
  KWULONG Written;       /* properties written */
  KWULONG Compatible;    /* of which compatible */
  KWULONG NonCompatible; /* of which not: the marked ones */
  KWULONG Skipped;       /* not selected, or of no value (name-only entries) */
  KWULONG MarkedSupport; /* or of the Support values of the marked properties */
  KWULONG FirstMarked;   /* node offset of the first marked property; 0 when none */
  KWLONG CopyPurpose;    /* the selection the conversion made */
} ZRFMARKS;

/* What zstCalculatePropsLength found, in bytes of the message data. */
typedef struct ZSTPROPSLEN {
  KWULONG MsgLength;          /* the data length given */
  KWULONG CompatLength;       /* KWRFH2 headers directly behind the descriptor whose
                                 properties a handle can take: folder text in 1208,
                                 no internal flags, no property that must be
                                 recognised */
  KWULONG NonCompatLength;    /* every other KWRFH2 of the chain */
  KWULONG NonPropsLength;     /* the chain's other headers */
  KWULONG EligibleForMerge;   /* 1 when CompatLength is not 0 */
  KWULONG OffsetEndRFH2Props; /* where the compatible headers end; 0 when none */
} ZSTPROPSLEN;

/* ------------------------------------------------------------------------
 * Message handles.
 */

/* Writes the handle's properties as headers. Takes the handle's thread lock
 * for the call (hConn and pAnchor as for zstSetMessageProperty).
 *
 * pMsgDesc: the caller's descriptor, version 1 (324 bytes) or 2 (364
 * bytes), as its Version says. It receives the handle's descriptor in its
 * version, and then names the first header:
 * - version 2: the whole descriptor; Format "KWHRF2  ".
 * - version 1: its 324 bytes. When the handle's group fields (GroupId,
 *   MsgSeqNumber, Offset, MsgFlags, OriginalLength) differ from their
 *   defaults (zero, 1, 0, 0, -1), a version 1 descriptor cannot carry them:
 *   a 72-byte descriptor extension KWMDE (headers.h) comes first, holding
 *   them, and the descriptor gets Encoding 546, the application's CCSID
 *   (zrfGetApplicationCCSID) and Format "KWHMDE  "; the extension names the
 *   KWRFH2 (Encoding 546, CCSID 0, Format "KWHRF2  ").
 * The KWRFH2 names what the handle's descriptor named for the body
 * (Encoding, CodedCharSetId, Format); its integers are in the byte order of
 * the encoding in front of it and its StrucId in that CCSID.
 *
 * pBuffer/BufferLength: receives the headers (extension and KWRFH2), whose
 * length goes to *pHeadersLength (required). When they do not fit, nothing
 * is copied, *pHeadersLength says how many bytes are needed and the reason
 * is 2469. A handle without properties (or none selected) writes no KWRFH2:
 * the length is 0, or 72 when an extension is still needed (it then names
 * the body itself), and the call succeeds.
 *
 * With ZST_P2H_PROCESS_MARKED the marked properties are checked afterwards
 * (zrfProcessMarkedNodes with the destination bits); a refusal (2443, 2490)
 * replaces the codes of a call that had succeeded. The headers are written
 * all the same.
 *
 * Reasons: 2460/2499 the handle; 2071/2102/2195 the work buffer could not be
 * allocated or grown; 2026 the descriptor's Version is neither 1 nor 2;
 * 2119 a name or value cannot be written in NameValueCCSID; 2111
 * NameValueCCSID has no encoding family; 2469 the buffer is too small.
 * The handle is released and every block freed on every path. */
ZXV_API KWLONG zstPropertiesToKWRFH2(ZST_THREAD pThread, KWHCONN hConn, KWHMSG hMsg,
                                     const ZSTHDROPTS* pOpts, KWMD* pMsgDesc, void* pBuffer,
                                     KWULONG BufferLength, MsgHandleAnchor* pAnchor,
                                     KWULONG* pHeadersLength, KWLONG* pCompCode, KWLONG* pReason);

/* Empties the handle (as zstResetMessageHandle with the descriptor flag) and
 * fills it from a message: the caller's descriptor (Version 1: 324 bytes, 2:
 * 364 bytes) is copied into the handle's, then every KWRFH2 of the data is
 * parsed (zrfParse with ZRF_PARSE_FILL_HANDLE and Options'
 * ZST_H2P_INTERNAL_ONLY) starting at the descriptor's Format, Encoding and
 * CodedCharSetId. Properties that name descriptor fields set them.
 * A version 1 descriptor followed by a descriptor extension (Format
 * "KWHMDE  ", StrucId "MDE ") also takes the extension's group fields.
 *
 * pData/DataLength: the message data; folders that the parser removes
 * (content='properties') are cut out in place, and *pDataOffset,
 * *pDataLength (either may be null) say where the data then starts and how
 * long it is. Reasons: 2460/2499 the handle; 2026 the descriptor's version;
 * the parser's (folder_parser.h), after which the properties of the folders
 * before the failing one stay in the handle. */
ZXV_API KWLONG zstKWRFH2ToProperties(ZST_THREAD pThread, KWHCONN hConn, KWHMSG hMsg,
                                     const KWMD* pMsgDesc, void* pData, KWULONG DataLength,
                                     KWULONG Options, MsgHandleAnchor* pAnchor,
                                     KWULONG* pDataOffset, KWULONG* pDataLength, KWLONG* pCompCode,
                                     KWLONG* pReason);

/* Measures and checks the chain of headers at the start of message data
 * that an application supplies, before it is put (pFormat, Encoding, CCSID:
 * the descriptor's). Every KWRFH2 is checked: its CodedCharSetId (below -2:
 * "KWRFH2 contains an invalid CCSID: %d"), NameValueCCSID (of no encoding
 * family: the same trace), Encoding (each part a defined value: "KWRFH2
 * contains an invalid encoding: %d"), StrucLength (a multiple of 4: "KWRFH2
 * contains bad struclength 0X%X"), internal flags (accepted only with
 * ZST_PROPSLEN_TO_XMIT_Q), each folder's length and start tag, and whether
 * a folder holds a property that a receiver must recognise ("Non-optional
 * property included"). *pLengths (required) receives the lengths.
 * Reasons: 2142 a bad CCSID, encoding or StrucLength, or a truncated header;
 * 2421 a folder length that runs past its header; 2490 internal flags on a
 * put that is not to a transmission queue; the chain walk's reasons. A
 * message without headers is no error. */
ZXV_API KWLONG zstCalculatePropsLength(ZST_THREAD pThread, const void* pData, KWULONG DataLength,
                                       const char* pFormat, KWLONG Encoding, KWLONG CCSID,
                                       KWULONG Options, ZSTPROPSLEN* pLengths, KWLONG* pCompCode,
                                       KWLONG* pReason);

/* ------------------------------------------------------------------------
 * Property lists to headers.
 */

/* Appends one complete KWRFH2 holding the selected properties of *pPAL to
 * *pOut, folders chosen and ordered as described at the top. pOpts may be
 * null (NameValueCCSID 1208, encoding 546, CCSID 1208, nothing named for the
 * data). *pMarks (may be null) receives what was written.
 * Reasons: 2471 no property was selected (nothing appended); 2111
 * NameValueCCSID has no encoding family; 2119 a name or value cannot be
 * converted into it; 2071/2102/2195 the buffer could not grow; 2195 a
 * damaged list. On failure *pOut keeps its length (its block may have
 * grown). */
ZXV_API KWLONG zrfConvertAllPropertiesToKWRFH2(const ZRFPAL* pPAL, const ZRFHDROPTS* pOpts,
                                               ZRFHDRBUF* pOut, ZRFMARKS* pMarks, KWLONG* pCompCode,
                                               KWLONG* pReason);

/* Appends one folder holding the property whose node is at NodeOffset of
 * *pPAL: its NameValueLength (in pOpts->Encoding's byte order) and the
 * padded folder text. Reasons: 2473 a name-only entry, which holds no
 * value; 2195 NodeOffset is not a node of the list; otherwise as
 * zrfConvertAllPropertiesToKWRFH2. */
ZXV_API KWLONG zrfConvertPropertyToKWRFH2(const ZRFPAL* pPAL, KWULONG NodeOffset,
                                          const ZRFHDROPTS* pOpts, ZRFHDRBUF* pOut,
                                          KWLONG* pCompCode, KWLONG* pReason);

/* Appends the property at NodeOffset in the name/value form of a version 1
 * header, in Rfh1CCSID (UCS-2 in Rfh1Encoding's byte order): a blank, the
 * name (in double quotes when it holds a blank or a double quote), a blank
 * and the value in double quotes, double quotes inside doubled. Values are
 * text: strings as they are, booleans TRUE or FALSE, numbers as in folders.
 * The form holds no property descriptor and no null, so these are skipped
 * with a trace and the call succeeds with *pWritten (may be null) 0:
 * user context ("Ignoring user context (which is not RFH1 representable)"),
 * Support other than optional ("Ignoring non-optional support value (which
 * is not RFH1 representable)"), CopyOptions other than KWCOPY_DEFAULT
 * ("Ignoring non-default copy options (which is not RFH1 representable)"),
 * a null ("Ignoring null property (which is not RFH1 representable)") and a
 * string holding a zero character ("Property contains a null character
 * (which is not RFH1 representable)").
 * Reasons: 2473 a byte string, name-only entry or untyped value, which the
 * form cannot hold; 2119 a name or value with characters that Rfh1CCSID
 * cannot hold ("Property contains characters that are in error"); 2111 a
 * CCSID of no encoding family; 2195 NodeOffset is not a node of the list;
 * 2071/2102/2195 the buffer could not grow. */
ZXV_API KWLONG zrfConvertPropertyToKWRFH1(const ZRFPAL* pPAL, KWULONG NodeOffset, KWLONG Rfh1CCSID,
                                          KWLONG Rfh1Encoding, ZRFHDRBUF* pOut, KWLONG* pWritten,
                                          KWLONG* pCompCode, KWLONG* pReason);

/* Walks the properties a conversion marked (*pMarks from it, on the same
 * unchanged list) once more, tracing each, and applies the reject-support
 * rules to the or of their Support values: 2443 a bit this level does not
 * recognise in the reject range (0 with ZRF_MARKED_DLQ); 2490 one in the
 * transmission range unless ZRF_MARKED_TO_XMIT_Q. No marks: 0. */
ZXV_API KWLONG zrfProcessMarkedNodes(const ZRFPAL* pPAL, const ZRFMARKS* pMarks, KWULONG Options,
                                     KWLONG* pCompCode, KWLONG* pReason);

/* ------------------------------------------------------------------------
 * Back level and the application's CCSID.
 */

/* Prepares a message for a receiver that does not handle properties: the
 * folder parser runs over every KWRFH2 with ZRF_PARSE_BACK_LEVEL and cuts
 * the queue manager's folders (kw, kwps, kwpsi, kwext) and folders marked
 * content='properties' out of the data, in place. *pDataOffset and
 * *pDataLength (both required) say where the data starts and its length
 * afterwards; they are valid whatever the outcome. A parse that fails, or
 * that builds properties when it should not, writes a failure record; the
 * reason is the parser's (folder_parser.h), 2195 for missing pointers. */
ZXV_API KWLONG zrfPrepareMsgForBackLevel(void* pData, KWULONG DataLength, const char* pFormat,
                                         KWLONG Encoding, KWLONG CCSID, KWULONG* pDataOffset,
                                         KWULONG* pDataLength, KWLONG* pCompCode, KWLONG* pReason);

/* The application's CCSID: the value of the environment variable KWCCSID
 * when it is set to a positive number (read once per process), otherwise
 * 1208. Traced as "Application CCSID selected is %d.". */
ZXV_API KWLONG zrfGetApplicationCCSID(void);

ZXV_EXTERN_C_END

#endif
