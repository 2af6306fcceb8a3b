/* zxvxzu: data conversion of messages between CCSIDs and integer encodings.
 *
 * vpiConvertData converts a whole message: it walks the chain of headers at
 * the front of the data by their format names, converts each built-in format
 * itself and hands a format it does not know to a user data-conversion exit
 * named after the format. vxKWXDX is the built-in data-conversion exit: the
 * same conversion behind the exit interface, without user exits.
 * vxtConvertCharsFn converts characters between CCSIDs; the vxtConvert*
 * integer primitives convert 16-, 32- and 64-bit integers between encodings;
 * the vxtConvert*CharInt helpers convert integers written as characters.
 *
 *   VPICONVERTREQ req = {0};
 *   req.SourceEncoding = 273; req.SourceCCSID = 37;
 *   req.TargetEncoding = 546; req.TargetCCSID = 850;
 *   memcpy(req.Format, "KWSTR   ", 8);
 *   req.DataLength = req.AvailableLength = inLen; req.InBuffer = in;
 *   req.BufferLength = sizeof out; req.OutBuffer = out;
 *   KWLONG reason = vpiConvertData(&req);   // req.DataLength: converted length
 */
#ifndef ZXVXZU_DATACONV_H
#define ZXVXZU_DATACONV_H

#include "kwmd.h"
#include "zxvxzu_types.h"

ZXV_EXTERN_C_BEGIN

/* Reason codes of data conversion not in zxvxzu_types.h. */
#define KWRC_TARGET_CCSID_ERROR 2115
#define KWRC_DBCS_ERROR 2150 /* a two-byte string of odd length (warning) */

/* Options of the get that matter to conversion (VPICONVERTREQ.Options and
 * KWDXP.AppOptions). */
#define KWGMO_ACCEPT_TRUNCATED_MSG 0x00000040

/* Format names of the built-in formats that kwrfh2.h does not name. All are
 * 8 characters, blank padded, compared over all 8 characters. */
#define KWFMT_COMMAND_1 "KWCMD1  "
#define KWFMT_COMMAND_2 "KWCMD2  "
#define KWFMT_TRIGGER "KWTRIG  "
#define KWFMT_REF_MSG_HEADER "KWHREF  "
#define KWFMT_TRX "KWTRX   "
#define KWFMT_TRX_VAR_STRING "KWTRXVS "
#define KWFMT_SAP "KWHSAP  "
#define KWFMT_AMQP "KWAMQP  "
#define KWFMT_WORK_INFO_HEADER "KWHWIH  "
#define KWFMT_TPMN "KWTPMN  "

/* ------------------------------------------------------------------------
 * The conversion request of vpiConvertData.
 * ------------------------------------------------------------------------ */
typedef struct VPICONVERTREQ {
  KWLONG SourceEncoding;         /* in: encoding of the data as given */
  KWLONG SourceCCSID;            /* in: CCSID of the data as given */
  KWLONG TargetEncoding;         /* in: wanted encoding */
  KWLONG TargetCCSID;            /* in: wanted CCSID */
  char Format[KW_FORMAT_LENGTH]; /* in: format of the data, blank padded */
  KWLONG Options;                /* in: get options (KWGMO_ACCEPT_TRUNCATED_MSG) */
  KWLONG CompCode;               /* in: of the get so far; out: of the conversion */
  KWLONG Reason;                 /* in: of the get so far (2079 when the get
                                    truncated the message); out: the result */
  KWLONG DataLength;             /* in: length of the whole message;
                                    out: length of the data in OutBuffer */
  KWLONG AvailableLength;        /* in: bytes of the message in InBuffer */
  KWLONG BufferLength;           /* in: size of OutBuffer */
  KWLONG ResultEncoding;         /* out: encoding of the data in OutBuffer */
  KWLONG ResultCCSID;            /* out: CCSID of the data in OutBuffer */
  const void* InBuffer;          /* in: the message (may be OutBuffer itself) */
  void* OutBuffer;               /* in: where the converted message goes */
} VPICONVERTREQ;

/* Converts the message of `request` and returns the reason code, also set in
 * request->Reason with request->CompCode.
 *
 * On success (reason 0, or the incoming 2079 for a message the get had
 * truncated) OutBuffer holds the converted message, DataLength its length
 * and ResultEncoding/ResultCCSID the target values. When the converted
 * message does not fit BufferLength: with KWGMO_ACCEPT_TRUNCATED_MSG the part
 * that fits, completion code 1 and 2079; without it 2120. Data of no format
 * ("        ") or "KWAMQP  " is copied without conversion and keeps its
 * source values (in ResultEncoding/ResultCCSID, or in the header in front).
 *
 * A message that cannot be converted is returned as it was given (its first
 * min(AvailableLength, BufferLength) bytes, ResultEncoding/ResultCCSID the
 * source values) with completion code 1 and one of: 2110 format error (a
 * header that is not what its format names, or a format that is neither
 * built in nor served by a user exit), 2112 source encoding not valid, 2115
 * target CCSID not supported, 2116 target encoding not valid, 2119 not
 * converted (malformed structure, characters that do not map, CCSID pair not
 * supported), 2120 converted message too big, 2190 converted string too big
 * for its field, 2374 a user exit faulted, or the reason a user exit gave.
 * Storage failures give completion code 2 with 2071, 2102 or 2195 (data as
 * given). A null request, null buffers or negative lengths give completion
 * code 2 with 2004 or 2005 and touch nothing.
 *
 * Environment (each read once per process): ZXV_TRACE_DATACONV (present:
 * trace the data before and after), ZXV_NO_USER_DATACONV (present: a format
 * that is not built in stays unconverted; the reason of the built-in stage
 * stands and no exit is loaded). */
ZXV_API KWLONG vpiConvertData(VPICONVERTREQ* request);

/* ------------------------------------------------------------------------
 * Data-conversion exits.
 * ------------------------------------------------------------------------ */
#define KWDXP_STRUC_ID "DXP "
#define KWDXP_VERSION_1 1
#define KWDXP_LENGTH 48

/* Exit responses. */
#define KWXDR_OK 0
#define KWXDR_CONVERSION_FAILED 1

/* The parameter block handed to a data-conversion exit. */
typedef struct KWDXP {
  char StrucId[4];       /*  0 "DXP " */
  KWLONG Version;        /*  4 1 */
  KWLONG ExitOptions;    /*  8 reserved, 0 */
  KWLONG AppOptions;     /* 12 the get options */
  KWLONG Encoding;       /* 16 target encoding */
  KWLONG CodedCharSetId; /* 20 target CCSID */
  KWLONG DataLength;     /* 24 in: bytes of data given; out: bytes converted */
  KWLONG CompCode;       /* 28 in: pending; out: of the conversion */
  KWLONG Reason;         /* 32 in: pending; out: of the conversion */
  KWLONG ExitResponse;   /* 36 out: KWXDR_OK or KWXDR_CONVERSION_FAILED */
  KWLONG Hconn;          /* 40 the connection, 0 when there is none */
  KWLONG Reserved;       /* 44 0 */
} KWDXP;

#if defined(__cplusplus)
static_assert(sizeof(KWDXP) == KWDXP_LENGTH, "KWDXP is 48 bytes");
#else
_Static_assert(sizeof(KWDXP) == KWDXP_LENGTH, "KWDXP is 48 bytes");
#endif

/* The entry point of a user data-conversion exit. Its module is named after
 * the format with trailing blanks removed and is found through the platform's
 * exit search path; its entry point is KW_DATACONV_EXIT_ENTRY.
 *
 * The exit converts inLength bytes at inBuffer, described by md (Encoding,
 * CodedCharSetId, Format of the data as given), into outBuffer of outLength
 * bytes, for the target dxp->Encoding and dxp->CodedCharSetId. On success it
 * sets dxp->CompCode 0 (or 1 with 2079 when it truncated under
 * KWGMO_ACCEPT_TRUNCATED_MSG), dxp->DataLength to the converted length, and
 * md->Encoding/md->CodedCharSetId to the target values; on failure
 * dxp->CompCode 1 or 2, dxp->Reason and dxp->ExitResponse
 * KWXDR_CONVERSION_FAILED. */
typedef void (*KW_DATACONV_EXIT)(KWDXP* dxp, KWMD* md, KWLONG inLength, void* inBuffer,
                                 KWLONG outLength, void* outBuffer);
#define KW_DATACONV_EXIT_ENTRY "KWDataConvExit"

/* The built-in data-conversion exit, with the signature of KW_DATACONV_EXIT:
 * converts the message described by md (Encoding, CodedCharSetId, Format)
 * to dxp->Encoding and dxp->CodedCharSetId, headers included, through the
 * built-in converters only. A null dxp or one whose StrucId is not "DXP "
 * gives 2119 (nothing converted, written or read beyond the eye-catcher); a
 * format that is not built in gives 2110. Other reasons and the handling of
 * truncation (dxp->AppOptions) as vpiConvertData; on failure the output holds
 * the data as given. Sets dxp->CompCode, dxp->Reason, dxp->ExitResponse,
 * and on success dxp->DataLength and md->Encoding/md->CodedCharSetId.
 * Returns the reason code. */
ZXV_API KWLONG vxKWXDX(KWDXP* dxp, KWMD* md, KWLONG inLength, void* inBuffer, KWLONG outLength,
                       void* outBuffer);

/* ------------------------------------------------------------------------
 * Character conversion.
 * ------------------------------------------------------------------------ */

/* Options of vxtConvertCharsFn. Output too small: with VXT_CHARS_MESSAGE
 * 2120; with VXT_CHARS_FIELD (the output is a fixed field, its rest padded
 * with the target's blank) 2190; with VXT_CHARS_ACCEPT_TRUNCATION the whole
 * characters that fit and 2079. */
#define VXT_CHARS_MESSAGE 0x0
#define VXT_CHARS_FIELD 0x1
#define VXT_CHARS_ACCEPT_TRUNCATION 0x2

/* Converts inputLength bytes at input from (sourceCCSID, sourceEncoding) to
 * (targetCCSID, targetEncoding) into output of outputLength bytes; the
 * encodings matter only for two-byte sets (UCS-2/UTF-16), where a byte-order
 * mark in the source overrides sourceEncoding. *dataLength receives the
 * bytes written (with VXT_CHARS_FIELD: outputLength). Input and output must
 * not overlap. Returns the reason code, also set in *reason with *compCode:
 *   0       converted (or copied or byte-swapped for equal CCSIDs);
 *   2116    target encoding whose low four bits are not 1 or 2 (cc 2);
 *   2112    two-byte source whose encoding's low four bits are not 1 or 2
 *           (cc 2), byte-order mark or not;
 *   2150    a two-byte source of odd length: its last byte was dropped and
 *           the rest converted (cc 1);
 *   2079    truncated under VXT_CHARS_ACCEPT_TRUNCATION (cc 1);
 *   2115    the target CCSID has no converter (cc 2);
 *   2119    the source CCSID or the pair is not supported, the source is not
 *           valid or ends inside a character, or a character has no mapping
 *           in the target (cc 2);
 *   2120    the output is too small (cc 2);
 *   2190    the output field is too small (VXT_CHARS_FIELD, cc 2);
 *   2004/2005 null pointer / negative length (cc 2);
 *   2071/2102/2195 storage (2195 with a failure record) (cc 2). */
ZXV_API KWLONG vxtConvertCharsFn(KWLONG sourceCCSID, KWLONG targetCCSID, const void* input,
                                 KWLONG inputLength, void* output, KWLONG outputLength,
                                 KWLONG sourceEncoding, KWLONG targetEncoding, KWLONG options,
                                 KWLONG* dataLength, KWLONG* compCode, KWLONG* reason);

/* ------------------------------------------------------------------------
 * Integer primitives. Each converts `count` integers of its width at input
 * from sourceEncoding to targetEncoding into output (which may be input
 * itself; otherwise they must not overlap). Returns the reason, also set in
 * *compCode and *reason: 0; 2112 when sourceEncoding's low four bits are not 1 or
 * 2; 2116 likewise for targetEncoding (2116 is checked first); 2004 for a
 * null pointer with count > 0; 2005 for a negative count. Nothing is written
 * on failure.
 * ------------------------------------------------------------------------ */
ZXV_API KWLONG vxtConvertShort(KWLONG sourceEncoding, KWLONG targetEncoding, KWLONG count,
                               const void* input, void* output, KWLONG* compCode, KWLONG* reason);
ZXV_API KWLONG vxtConvertLong(KWLONG sourceEncoding, KWLONG targetEncoding, KWLONG count,
                              const void* input, void* output, KWLONG* compCode, KWLONG* reason);
ZXV_API KWLONG vxtConvertInt64(KWLONG sourceEncoding, KWLONG targetEncoding, KWLONG count,
                               const void* input, void* output, KWLONG* compCode, KWLONG* reason);

/* ------------------------------------------------------------------------
 * Character integers: integers written as characters (digits, an optional
 * leading sign, blanks before or after) in fixed or variable fields. They
 * are converted character by character between the families of the two
 * CCSIDs (ASCII-based, EBCDIC, UTF-8, UCS-2 either byte order; the UCS-2
 * byte order from the encoding), without a conversion service. Each returns
 * the reason, also set in *compCode and *reason: 0; 2119 when a character is not
 * a digit, sign or blank, or a CCSID's family is unknown; 2190 when the
 * value does not fit the output field; 2116/2112 for a two-byte target or
 * source whose encoding's low four bits are not 1 or 2; 2004/2005 for null
 * pointers or negative lengths.
 * ------------------------------------------------------------------------ */

/* A field of `length` characters to a field of the same number of
 * characters, each character converted in its place (lengths here and in
 * vxtConvertCharIntOL count characters: two bytes each in a two-byte set). */
ZXV_API KWLONG vxtConvertCharInt(KWLONG sourceCCSID, KWLONG sourceEncoding, KWLONG targetCCSID,
                                 KWLONG targetEncoding, const void* input, void* output,
                                 KWLONG length, KWLONG* compCode, KWLONG* reason);

/* A field of inputLength characters to a field of outputLength characters:
 * the value's characters right-aligned, blanks filling the front (the value
 * keeps its own leading zeros and sign). 2190 when the value's characters do
 * not fit. */
ZXV_API KWLONG vxtConvertCharIntOL(KWLONG sourceCCSID, KWLONG sourceEncoding, KWLONG targetCCSID,
                                   KWLONG targetEncoding, const void* input, KWLONG inputLength,
                                   void* output, KWLONG outputLength, KWLONG* compCode,
                                   KWLONG* reason);

/* A variable character integer: the optional sign and the digits at the
 * start of input (inputLength bytes) are converted into output (outputLength
 * bytes); *consumed receives the source bytes used and
 * *dataLength the bytes written. 2119 when there is no digit. */
ZXV_API KWLONG vxtConvertVarCharInt(KWLONG sourceCCSID, KWLONG sourceEncoding, KWLONG targetCCSID,
                                    KWLONG targetEncoding, const void* input, KWLONG inputLength,
                                    void* output, KWLONG outputLength, KWLONG* consumed,
                                    KWLONG* dataLength, KWLONG* compCode, KWLONG* reason);

ZXV_EXTERN_C_END

#endif
