/* zxvxzu: the name/value property header KWRFH2 and its older form.
 *
 * A KWRFH2 sits in the chain of headers in front of message data (format
 * "KWHRF2  "). Its 36-byte fixed part is followed by folders, each a 4-byte
 * NameValueLength and that many bytes of folder text in NameValueCCSID,
 * padded with blanks of the folder's encoding to a multiple of 4. Integers
 * are in the encoding named by the structure in front of the header.
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

#if defined(__cplusplus)
static_assert(sizeof(KWRFH2) == KWRFH_STRUC_LENGTH_FIXED_2, "KWRFH2 fixed part is 36 bytes");
static_assert(offsetof(KWRFH2, NameValueCCSID) == 32, "NameValueCCSID at 32");
static_assert(sizeof(KWRFH) == KWRFH_STRUC_LENGTH_FIXED, "KWRFH fixed part is 32 bytes");
#else
_Static_assert(sizeof(KWRFH2) == KWRFH_STRUC_LENGTH_FIXED_2, "KWRFH2 fixed part is 36 bytes");
_Static_assert(offsetof(KWRFH2, NameValueCCSID) == 32, "NameValueCCSID at 32");
_Static_assert(sizeof(KWRFH) == KWRFH_STRUC_LENGTH_FIXED, "KWRFH fixed part is 32 bytes");
#endif

ZXV_EXTERN_C_END

#endif
