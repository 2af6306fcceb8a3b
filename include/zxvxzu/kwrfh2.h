/* zxvxzu: the name/value property header KWRFH2, its older form, and the
 * chain of headers in front of message data.
 *
 * A KWRFH2 sits in the chain of headers in front of message data (format
 * "KWHRF2  "). Its 36-byte fixed part is followed by folders, each a 4-byte
 * NameValueLength and that many bytes of folder text in NameValueCCSID,
 * padded with blanks of the folder's encoding to a multiple of 4. Integers
 * are in the encoding named by the structure in front of the header; its
 * StrucId and Format are in the CCSID named by that structure.
 *
 * Walking every KWRFH2 of a message, from the descriptor on:
 *
 *   ZRFLOC loc;
 *   KWULONG flags = 0, start = 0;
 *   const char* fmt = md.Format;
 *   KWLONG enc = md.Encoding, ccsid = md.CodedCharSetId, cc, rc;
 *   while (zrfLocateKWRFH2(data, len, fmt, enc, ccsid, start, &loc, &flags, &cc, &rc) == 0) {
 *     ... the header is at data + loc.Offset, loc.StrucLength bytes ...
 *     fmt = loc.NextFormat; enc = loc.NextEncoding;
 *     ccsid = loc.NextCCSID; start = loc.NextOffset;
 *   }
 *   ... rc 2471: no further header; anything else: the chain is malformed ...
 */
#ifndef ZXVXZU_KWRFH2_H
#define ZXVXZU_KWRFH2_H

#include "zxvxzu_types.h"

ZXV_EXTERN_C_BEGIN

#define KWRFH_STRUC_ID "RFH "
#define KWRFH_VERSION_1 1
#define KWRFH_VERSION_2 2
#define KWRFH_STRUC_LENGTH_FIXED 32   /* older form */
#define KWRFH_STRUC_LENGTH_FIXED_2 36 /* KWRFH2 */
#define KWRFH_INTERNAL_FLAGS_MASK 0xFFFF0000u

#define KWFMT_NONE "        "
#define KWFMT_RF_HEADER "KWHRF   "
#define KWFMT_RF_HEADER_2 "KWHRF2  "
#define KWFMT_STRING "KWSTR   "
#define KWFMT_ADMIN "KWADMIN "
#define KWFMT_EVENT "KWEVENT "
#define KWFMT_PCF "KWPCF   "
#define KWFMT_XMIT_Q_HEADER "KWXMIT  "
#define KWFMT_DEAD_LETTER_HEADER "KWDEAD  "
#define KWFMT_MD_EXTENSION "KWHMDE  "
#define KWFMT_EMBEDDED_PCF "KWHEPCF "

/* Reason codes of the header family. */
#define KWRC_HEADER_INCOMPLETE 2003       /* data ends inside a header in front of an insertion */
#define KWRC_HEADER_ERROR 2142            /* a header is truncated, or its StrucId is wrong */
#define KWRC_CFH_ERROR 2235               /* a command-format message shorter than its header */
#define KWRC_RFH_ERROR 2334               /* a KWRFH2 whose version is not 2 */
#define KWRC_EPH_ERROR 2420               /* an embedded command-format header is truncated */
#define KWRC_RFH_FORMAT_ERROR 2421        /* a folder is malformed */
#define KWRC_HEADERS_TOO_BIG 2469         /* the headers do not fit in the caller's buffer */
#define KWRC_PROPERTY_NOT_AVAILABLE 2471  /* no property of that name */
#define KWRC_RFH2_STRUC_LENGTH_SHORT 6123 /* a KWRFH2 with StrucLength below 36 */

/* The caller's flag that zrfLocateKWRFH2 sets when the chain holds a
 * command-format message of type 10 (a possible trace-route message). */
#define ZRF_LOC_TRACE_ROUTE 0x00000800u

/* Fixed part of the header, version 2 (36 bytes). */
typedef struct KWRFH2 {
  char StrucId[4];               /*  0 "RFH " */
  KWLONG Version;                /*  4 2 */
  KWLONG StrucLength;            /*  8 whole header, folders included */
  KWLONG Encoding;               /* 12 of the data that follows */
  KWLONG CodedCharSetId;         /* 16 of the data that follows */
  char Format[KW_FORMAT_LENGTH]; /* 20 of the data that follows */
  KWLONG Flags;                  /* 28 low 16 bits public, high 16 internal */
  KWLONG NameValueCCSID;         /* 32 of every folder's text */
} KWRFH2;

/* The older form (version 1, 32 bytes), followed by name/value text. */
typedef struct KWRFH {
  char StrucId[4];               /*  0 "RFH " */
  KWLONG Version;                /*  4 1 */
  KWLONG StrucLength;            /*  8 */
  KWLONG Encoding;               /* 12 */
  KWLONG CodedCharSetId;         /* 16 */
  char Format[KW_FORMAT_LENGTH]; /* 20 */
  KWLONG Flags;                  /* 28 */
} KWRFH;

/* What zrfLocateKWRFH2 reports. Offset, Format, Encoding and CodedCharSetId
 * say where the walk stopped and what was in force there: on success the
 * header found (its integers are in Encoding, its StrucId and Format in
 * CodedCharSetId); on 2471 the structure that ends the chain (the message
 * body); on any other reason the malformed structure. Format is always in
 * the machine's CCSID (1208). All integers here are in the machine's order. */
typedef struct ZRFLOC {
  KWULONG Offset;                    /* from the start of the data */
  KWLONG Encoding;                   /* encoding in force at Offset */
  KWLONG CodedCharSetId;             /* CCSID in force at Offset */
  char Format[KW_FORMAT_LENGTH];     /* format in force at Offset */
  KWULONG StrucLength;               /* of the header found; 0 otherwise */
  KWLONG NameValueCCSID;             /* of the header found; 0 otherwise */
  KWULONG InternalFlags;             /* high 16 bits of Flags of a KWRFH2 met here, else 0 */
  KWLONG FirstRFH2Offset;            /* see zrfLocateKWRFH2; -1 when none */
  KWULONG NextOffset;                /* behind the header found (Offset otherwise) */
  KWLONG NextEncoding;               /* what the header found names for the data */
  KWLONG NextCCSID;                  /*   behind it (0, -1, -2 already resolved); */
  char NextFormat[KW_FORMAT_LENGTH]; /*   otherwise as Encoding, CCSID, Format */
} ZRFLOC;

#if defined(__cplusplus)
static_assert(sizeof(KWRFH2) == KWRFH_STRUC_LENGTH_FIXED_2, "KWRFH2 fixed part is 36 bytes");
static_assert(offsetof(KWRFH2, NameValueCCSID) == 32, "NameValueCCSID at 32");
static_assert(sizeof(KWRFH) == KWRFH_STRUC_LENGTH_FIXED, "KWRFH fixed part is 32 bytes");
#else
_Static_assert(sizeof(KWRFH2) == KWRFH_STRUC_LENGTH_FIXED_2, "KWRFH2 fixed part is 36 bytes");
_Static_assert(offsetof(KWRFH2, NameValueCCSID) == 32, "NameValueCCSID at 32");
_Static_assert(sizeof(KWRFH) == KWRFH_STRUC_LENGTH_FIXED, "KWRFH fixed part is 32 bytes");
#endif

/* Conventions of the three calls below: completion and reason codes go to
 * the two last arguments (either may be null) and the reason is also
 * returned, 0 on success. A missing required pointer writes a failure record
 * and gives 2195. Formats are 8 characters, blank padded, not terminated.
 *
 * Byte order and CCSIDs in the chain: a structure's integers are in the
 * encoding that the structure in front of it names (reversed when the
 * integer part, the low four bits, is neither 0 nor 2); its character
 * fields are in the CCSID that structure names, and are converted for
 * comparison when that CCSID is not 1208 (a CCSID the platform cannot
 * convert is compared as it stands). A CCSID of 0, -1 or -2 means the CCSID
 * in force before; at the start of a walk it means 1208. The starting
 * format (the descriptor's) is in the machine's CCSID. */

/* Walks the chain of headers from StartOffset to the next KWRFH2.
 *
 * pData/DataLength: the message data (behind the descriptor). pFormat,
 * Encoding, CCSID: what the structure in front of StartOffset names (the
 * descriptor's Format, Encoding and CodedCharSetId when StartOffset is 0;
 * ZRFLOC's Next* fields to continue behind a header found). pFormat may
 * point into *pLocation.
 *
 * Formats walked: "KWHRF2  " (this header; with the environment variable
 * ZXV_PARTIAL_MATCH_RFH2 set, any format beginning "KWHRF2"), "KWHRF   "
 * (older form, stepped over), "KWHEPCF " (embedded command format, at least
 * 68 bytes, stepped over), "KWXMIT  " (428 bytes) and "KWDEAD  " (172 bytes)
 * stepped over, "KWADMIN " (command format, at least 36 bytes, ends the
 * chain), any other format beginning "KWH" (a header with the standard
 * prefix, at least 32 bytes, stepped over). "KWSTR   " and any format not
 * beginning "KW" end the chain.
 *
 * *pLocation (may be null): as ZRFLOC says. FirstRFH2Offset is the header's
 * offset when the walk started at offset 0, the header found follows the
 * descriptor with nothing in between but older-form headers, and its
 * NameValueCCSID is 1208; -1 otherwise.
 * *pFlags (may be null): ZRF_LOC_TRACE_ROUTE is or-ed in when an embedded or
 * plain command-format message of type 10 was passed; other bits are kept.
 *
 * Reasons: 0 found; 2471 no KWRFH2 before the chain ends (the normal
 * negative answer); 2142 a header truncated or a KWRFH2 with a wrong StrucId;
 * 6123 a KWRFH2 StrucLength below 36; 2334 a KWRFH2 version other than 2;
 * 2420 an embedded command-format header truncated; 2235 a command-format
 * message shorter than 36 bytes; 2195 a missing pointer. */
ZXV_API KWLONG zrfLocateKWRFH2(const void* pData, KWULONG DataLength, const char* pFormat,
                               KWLONG Encoding, KWLONG CCSID, KWULONG StartOffset,
                               ZRFLOC* pLocation, KWULONG* pFlags, KWLONG* pCompCode,
                               KWLONG* pReason);

/* Inserts a built KWRFH2 into message data, behind any transmission-queue
 * ("KWXMIT  "), dead-letter ("KWDEAD  "), descriptor-extension ("KWHMDE  ",
 * 72 bytes) and older name/value ("KWHRF   ") headers at its start, in front
 * of whatever followed them (another KWRFH2 included).
 *
 * pData: DataLength bytes of message data in a buffer of BufferLength bytes.
 * pFormat (8 characters), pEncoding, pCCSID: the descriptor's Format,
 * Encoding and CodedCharSetId (in/out). pHeader/HeaderLength: the header to
 * insert, a complete KWRFH2 (StrucId "RFH ", version 2, StrucLength equal to
 * HeaderLength); its integers are in HeaderEncoding and its StrucId and
 * Format in HeaderCCSID. It must not overlap the buffer.
 *
 * The chain is re-pointed: the structure in front of the insertion point
 * (the descriptor, or the last header stepped over) is given Format
 * "KWHRF2  ", Encoding HeaderEncoding and CCSID HeaderCCSID, and the inserted
 * header takes over what that structure named before (Format, Encoding and
 * the CCSID in force there) for the data behind it. Nothing else of the
 * header is changed.
 *
 * *pInsertOffset, *pNewDataLength (either may be null): where the header
 * now starts and the data length with it.
 *
 * Reasons: 0; 2003 the data ends inside a header in front of the insertion
 * point (nothing changed); 2142 the header to insert is not a complete
 * KWRFH2; 2334 its version is not 2; 2469 the buffer cannot take the header
 * (*pNewDataLength says how long it must be); 2005 DataLength exceeds
 * BufferLength; 2195 a missing pointer.
 * On failure nothing is changed. */
ZXV_API KWLONG zrfInsertKWRFH2(void* pData, KWULONG DataLength, KWULONG BufferLength, char* pFormat,
                               KWLONG* pEncoding, KWLONG* pCCSID, const void* pHeader,
                               KWULONG HeaderLength, KWLONG HeaderEncoding, KWLONG HeaderCCSID,
                               KWULONG* pInsertOffset, KWULONG* pNewDataLength, KWLONG* pCompCode,
                               KWLONG* pReason);

/* Removes folders by name from the KWRFH2 at Offset in message data and
 * closes the gap: later folders and the rest of the message move down and
 * the header's StrucLength shrinks by what was removed.
 *
 * pData/DataLength: the message data. Offset and Encoding: where the header
 * is and the encoding of its integers (ZRFLOC's Offset and Encoding).
 * ppFolderNames/FolderNameCount: the folders to remove, as NUL-terminated
 * UTF-8 names (e.g. "kwps"); a folder goes when its name, read from its
 * start tag in NameValueCCSID, equals one of them exactly. Names of
 * NameValueCCSID 1208 are compared as bytes, others after conversion to
 * UTF-8 (a name that cannot be converted, or that takes more than 255 bytes
 * of UTF-8, is never removed). For the UCS-2 CCSIDs the byte order of the
 * folder text is that of Encoding.
 * *pNewDataLength (may be null): the data length afterwards.
 *
 * Every folder is checked before anything moves: its NameValueLength must
 * fit in what remains of the header and its start tag must hold a name.
 *
 * Reasons: 0; 2421 a folder is malformed (nothing changed); 2142 the
 * header is truncated; 6123 its StrucLength is below 36; 2111 its
 * NameValueCCSID is of no known encoding family; 2195 a missing pointer. */
ZXV_API KWLONG zrfStripFolders(void* pData, KWULONG DataLength, KWULONG Offset, KWLONG Encoding,
                               const char* const* ppFolderNames, KWULONG FolderNameCount,
                               KWULONG* pNewDataLength, KWLONG* pCompCode, KWLONG* pReason);

ZXV_EXTERN_C_END

#endif
