/* zxvxzu: the folder parser of the property header KWRFH2.
 *
 * Each folder of a KWRFH2 (kwrfh2.h) is a small piece of markup: one outer
 * element whose name is the folder name, holding elements that are
 * properties or groups of properties. zrfParse turns the folders of every
 * KWRFH2 in a message into nodes of a property list (properties.h);
 * zrf_folder_parse does it for one folder. Folder text is read in its own
 * CCSID and never converted first: ASCII-based, EBCDIC, UTF-8 and UCS-2 in
 * either byte order (the CCSIDType families of property_names.h).
 *
 *   ZRFPAL pal = {NULL, 0, 0};
 *   KWULONG offset, length;
 *   KWLONG cc, rc;
 *   zrfParse(ZRF_PARSE_FILL_HANDLE, data, dataLength, md.Format, md.Encoding,
 *            md.CodedCharSetId, &pal, NULL, NULL, &offset, &length, &cc, &rc);
 *   ... the message now starts at data + offset and is length bytes long ...
 *
 * The folder grammar
 * ------------------
 *   folder   := blanks '<' NAME fattr* ( '/>' | '>' item* '</' NAME blanks '>' ) blanks
 *   item     := blanks | element
 *   element  := '<' NAME eattr* ( '/>' | '>' ( text | item* ) '</' NAME blanks '>' )
 *   attr     := NAME blanks '=' blanks ( "'" value "'" | '"' value '"' )
 * - Blanks are space, tab, CR and LF of the folder's encoding. Text and a
 *   trailing run of NUL units after the folder's end tag are allowed; any
 *   other text outside elements, text beside child elements (mixed content),
 *   comments and processing instructions are syntax errors.
 * - NAME is a run of characters up to a blank, "/", ">", "<", "=" or a quote;
 *   control characters in it are refused. A tag name longer than 255
 *   characters is cut to 255 ("Tag name too long (%u chars). Truncating to
 *   %u"); the end tag is compared after the same cut.
 * - Nesting is limited to 64 levels, the folder included; a deeper folder
 *   ends in "memory exhausted". The parser keeps its own stack and never
 *   recurses, whatever the input.
 * - An element holding elements is a group; any other element is a property.
 *   Groups are refused in the folders jms, mcd, kw, kwps, kwpsi and kwext
 *   ("Nested group where no group allowed"); elsewhere they are traced once
 *   per folder ("Folder contains a nested group").
 *
 * Names. A property's name is the folder name, the names of the enclosing
 * groups and its own element's name, joined by the full stop of the folder's
 * family: <jms><Dlv>2</Dlv></jms> gives "jms.Dlv". The user folder "usr" is
 * the one folder whose name is not part of the names: <usr><color>..</color>
 * gives "color" (a writer puts an application's names there, and they come
 * back as they were set; the prefix "usr." belongs to the folder). An element
 * named "elt" takes its name part from its name attribute
 * (<elt name='a b'>...) so that a name which is no markup name can travel;
 * "elt" without a name attribute is a syntax error. The name attribute may
 * also rename any other element. Every name is checked by the property-name
 * rules (property_names.h): a refused name ends the folder with 2442.
 *
 * Folder attributes: content='properties' marks a folder that exists only to
 * carry properties: it is parsed and then removed from the message
 * ("Removing folder as it is marked with content='properties'"); any other
 * content value is refused ("Invalid content attribute value"). Other folder
 * attributes (namespace declarations) are ignored.
 *
 * Element attributes (unknown ones are ignored; one of a kind may appear once):
 * - dt: the type of the text. "string" and "char" string (a char is text of
 *   any length, kept as it is); "boolean" boolean ("1"/"true" or
 *   "0"/"false"); "bin.hex" byte string (an even number of hex digits);
 *   "int" and "i4" 32-bit integer; "i1", "i2", "i8" 8, 16, 64-bit integers
 *   (decimal, optional sign, range checked); "r4", "r8" 32 and 64-bit floats
 *   (decimal or exponent form, "INF", "-INF", "NaN"). Numbers may have
 *   blanks around them. An element without dt is a string, except the jms
 *   folder's Dlv, Pri and Seq (32-bit integers) and Exp and Tms (64-bit
 *   integers) when their text is such a number. A text that does not spell
 *   its type, or an unknown dt value, is a syntax error.
 * - xsi:nil='true' makes the property null (the element must be empty);
 *   'false' changes nothing. dt after xsi:nil is refused ("Explicit data type
 *   used after xsi attribute"); dt before xsi:nil='true' as well ("Explicit
 *   data type used before xsi attribute": a null has no type); dt before
 *   xsi:nil='false' is accepted.
 * - context: "none" or "user" (the node's user-context flag).
 * - copy: one or more of "forward", "publish", "reply", "report", "all",
 *   "default", "none" separated by commas, or-ed into CopyOptions
 *   (properties.h KWCOPY_*); default KWCOPY_DEFAULT.
 * - support: exactly 8 hexadecimal digits, the property's Support value
 *   ("Length of support attribute value incorrect", "Incorrectly formatted
 *   support attribute value"); default KWPD_SUPPORT_OPTIONAL.
 * Element text and attribute values are unescaped with the family's routine
 * (value_escape.h). Group elements take no dt or xsi:nil.
 *
 * The "kw" folder is the queue manager's: it is parsed once per message (a
 * second one is left alone, "<kw> folder already parsed. Ignoring this one.");
 * parsing it adds the properties "kwi.Enc", "kwi.Ccs" (32-bit integers) and
 * "kwi.Fmt" (string) holding the Encoding, CodedCharSetId and Format that
 * its KWRFH2 names for the data behind it. Its element Rsv holds the
 * message's reject-support value (8 hexadecimal digits: the or of the Support
 * values of the message's properties, see zrfProcessKWFolder); it is checked,
 * not kept as a property.
 *
 * Reasons of the parser: 2421 a folder is malformed (every grammar text is
 * traced); 2442 a property name is refused; 2071/2102 the list could not grow
 * (2195 for other allocator codes, with a failure record); 2119 a name or
 * value cannot be converted into the list's CCSID; 2443/2490 from the kw
 * folder; the chain walk's reasons for a malformed header (kwrfh2.h).
 * A folder is all or nothing: when it fails, the list (and descriptor) are
 * as they were before it; properties of earlier folders stay.
 */
#ifndef ZXVXZU_FOLDER_PARSER_H
#define ZXVXZU_FOLDER_PARSER_H

#include "kwmd.h"
#include "properties.h"
#include "zxvxzu_types.h"

ZXV_EXTERN_C_BEGIN

/* Reasons of the reject-support processing. */
#define KWRC_PROPERTY_NOT_SUPPORTED 2443 /* a property needs support this level lacks */
#define KWRC_XMIT_Q_REQUIRED 2490        /* only a transmission queue may take the message */

/* Support values (KWPD Support) in three ranges: a receiver that does not
 * recognise a bit of the reject range must refuse the message; one that does
 * not recognise a bit of the transmission range may only pass the message
 * on to a transmission queue; bits of the accept range may be ignored. */
#define ZRF_SUPPORT_REJECT_MASK 0xFFF00000u
#define ZRF_SUPPORT_XMIT_MASK 0x000FFC00u
#define ZRF_SUPPORT_ACCEPT_MASK 0x000003FFu
#define ZRF_SUPPORT_REQUIRED 0x00100000u          /* must be understood */
#define ZRF_SUPPORT_REQUIRED_IF_LOCAL 0x00000400u /* must be understood unless forwarded */
/* The bits this level recognises (it supports every property it can hold). */
#define ZRF_SUPPORT_RECOGNISED \
  (ZRF_SUPPORT_REQUIRED | ZRF_SUPPORT_REQUIRED_IF_LOCAL | KWPD_SUPPORT_OPTIONAL)

/* Options of zrfParse and zrf_folder_parse. */
#define ZRF_PARSE_INTERNAL_ONLY 0x00000001u /* only headers flagged internal (high Flags bits) */
#define ZRF_PARSE_STRIP_PARSED 0x00000002u  /* cut every folder parsed into the list */
#define ZRF_PARSE_DLQ 0x00000004u           /* the caller dead-letters a refused message */
#define ZRF_PARSE_FILL_HANDLE 0x00000008u   /* filling a message handle: parse every folder */
#define ZRF_PARSE_TO_XMIT_Q 0x00000010u     /* the message goes to a transmission queue */
#define ZRF_PARSE_BACK_LEVEL 0x00000080u    /* preparing for a receiver without properties */

/* What becomes of a folder (zrf_folder_parse *pAction). */
#define ZRF_FOLDER_KEEP 0   /* left in the message as it is */
#define ZRF_FOLDER_REMOVE 1 /* to be cut out of the message */

/* ZRFFOLDERCTX State bits. */
#define ZRF_STATE_KW_PARSED 0x00000001u /* a kw folder of this message was parsed */

/* What zrf_folder_parse needs to know beyond the folder, and keeps from one
 * folder to the next of one message. Zero it, then fill Options and the
 * Data* fields (what the folder's KWRFH2 names for the data behind it). */
typedef struct ZRFFOLDERCTX {
  KWULONG Options;                   /* ZRF_PARSE_* */
  KWULONG State;                     /* ZRF_STATE_*, kept across the folders */
  KWLONG DataEncoding;               /* for kwi.Enc */
  KWLONG DataCCSID;                  /* for kwi.Ccs */
  char DataFormat[KW_FORMAT_LENGTH]; /* for kwi.Fmt, in CCSID 1208 */
  KWULONG RejectSupport;             /* out: the kw folder's reject-support value */
  KWMD* pMsgDesc;                    /* may be null; see zrfParse */
  KWULONG* pMsgDescFieldsSet;        /* may be null */
} ZRFFOLDERCTX;

/* The folder-name scanners, one per encoding family: find the name in the
 * start tag of a folder's text. Blanks are skipped to the first "<"; the
 * name runs to the first blank, "/" or ">". *pNameOffset / *pNameLength
 * receive its place in bytes (both required).
 * Reason 2421 (traced): "Folder contains no data" (nothing but blanks),
 * "End of folder reached before tag start" (a NUL before any "<"), "Invalid
 * character 0x%d reached before tag start", "End of folder reached before
 * folder name", "Invalid control character 0x%d reached before folder name",
 * "End of folder reached before folder name end", "Invalid control character
 * 0x%d reached before folder name end", "syntax error" (an empty name).
 * The UCS-2 scanners ignore a trailing odd byte. 2195 for a missing pointer. */
ZXV_API KWLONG zrfParseASCIIFolderName(const void* pFolder, KWULONG Length, KWULONG* pNameOffset,
                                       KWULONG* pNameLength, KWLONG* pCompCode, KWLONG* pReason);
ZXV_API KWLONG zrfParseEBCDICFolderName(const void* pFolder, KWULONG Length, KWULONG* pNameOffset,
                                        KWULONG* pNameLength, KWLONG* pCompCode, KWLONG* pReason);
ZXV_API KWLONG zrfParseUTF8FolderName(const void* pFolder, KWULONG Length, KWULONG* pNameOffset,
                                      KWULONG* pNameLength, KWLONG* pCompCode, KWLONG* pReason);
ZXV_API KWLONG zrfParseBUCS2FolderName(const void* pFolder, KWULONG Length, KWULONG* pNameOffset,
                                       KWULONG* pNameLength, KWLONG* pCompCode, KWLONG* pReason);
ZXV_API KWLONG zrfParseLUCS2FolderName(const void* pFolder, KWULONG Length, KWULONG* pNameOffset,
                                       KWULONG* pNameLength, KWLONG* pCompCode, KWLONG* pReason);

/* Parses one folder of Length bytes in CCSID (UCS-2 byte order from the low
 * four bits of Encoding: 1 most significant byte first) into *pPAL.
 * pCtx (required) carries the options and the message's state; *pAction
 * (required) says whether the folder is to stay in the message or be cut
 * out. Which folders are parsed and which are removed, by options:
 * - by default (and with ZRF_PARSE_FILL_HANDLE) every folder is parsed;
 *   a folder marked content='properties' is removed;
 * - ZRF_PARSE_STRIP_PARSED: every folder parsed is removed;
 * - ZRF_PARSE_BACK_LEVEL: nothing goes into the list; the queue manager's
 *   folders (kw, kwps, kwpsi, kwext) and folders marked
 *   content='properties' are removed, all others kept unparsed ("Parsing
 *   not required for this folder").
 * A second kw folder is kept unparsed. A list missing (pProps null) is
 * created as zrfAppendProperty creates it. Reasons: see the top of this
 * header; on failure *pAction is ZRF_FOLDER_KEEP and the list as before. */
ZXV_API KWLONG zrf_folder_parse(const void* pFolder, KWULONG Length, KWLONG CCSID, KWLONG Encoding,
                                ZRFFOLDERCTX* pCtx, ZRFPAL* pPAL, KWULONG* pAction,
                                KWLONG* pCompCode, KWLONG* pReason);

/* Parses every KWRFH2 of a message (found by zrfLocateKWRFH2 from pFormat,
 * Encoding and CCSID, the descriptor's fields) into *pPAL, and cuts the
 * folders to be removed (see zrf_folder_parse) out of the message.
 *
 * pData/DataLength: the message data, changed in place when folders are cut
 * out. A folder is cut by moving the shorter side: the rest of the message
 * down ("removing down %u bytes at offset %u, Rfh2StrucLength:%p:%d") or the
 * bytes in front of it up ("removing up ..."), so the message may then start
 * later in the buffer: *pDataOffset and *pDataLength (both required) give
 * where it starts and its length. The header's StrucLength shrinks by what
 * was cut; everything else stays as it was.
 * pMsgDesc/pMsgDescFieldsSet (may be null): when given, properties whose
 * names stand for descriptor fields (Root.KWMD.*, their JMS and folder
 * synonyms, properties.h) are written into the descriptor and their bits
 * set, instead of going into the list; a value that the field cannot take
 * is kept in the list.
 *
 * Headers are skipped, the message left as it is from there: one whose
 * fixed part is wrong ends the walk with the chain's reason ("Skipping
 * KWRFH2 due to error found in header": 2142, 6123, 2334, 2420, 2235); with
 * ZRF_PARSE_INTERNAL_ONLY one not flagged internal ("Skipping KWRFH2 as not
 * flagged RFH_INTERNAL"); one whose NameValueCCSID is 0 or negative
 * ("Skipping KWRFH2 due to invalid NameValueCCSID: %d") or of no encoding
 * family or name table ("Skipping KWRFH2 due to unsupported NameValueCCSID:
 * %d") - these two go on with the next header. A NameValueLength that runs
 * past the header ends the parse with 2421 ("FolderLength is invalid for
 * remaining data. FL: %u, RL: %d"). A message without a KWRFH2 is no error.
 * Reasons: those of zrf_folder_parse and the chain's; 2195 a missing
 * pointer. On failure the properties and cuts of earlier folders stay. */
ZXV_API KWLONG zrfParse(KWULONG Options, void* pData, KWULONG DataLength, const char* pFormat,
                        KWLONG Encoding, KWLONG CCSID, ZRFPAL* pPAL, KWMD* pMsgDesc,
                        KWULONG* pMsgDescFieldsSet, KWULONG* pDataOffset, KWULONG* pDataLength,
                        KWLONG* pCompCode, KWLONG* pReason);

/* The reject-support processing of the kw folder. RejectSupport is the or
 * of the Support values of the message's properties. Bits that this level
 * does not recognise (outside ZRF_SUPPORT_RECOGNISED):
 * - in the reject range: 2443 ("Unrecognised reject support value"), or 0
 *   with ZRF_PARSE_DLQ ("Ignoring unrecognised reject support value
 *   (DLQing)": a dead-letter queue takes any message);
 * - in the transmission range: 2490 ("Put allowed only to xmit queue")
 *   unless ZRF_PARSE_TO_XMIT_Q;
 * - in the accept range: ignored. */
ZXV_API KWLONG zrfProcessKWFolder(KWULONG RejectSupport, KWULONG Options, KWLONG* pCompCode,
                                  KWLONG* pReason);

ZXV_EXTERN_C_END

#endif
