/* zxvxzu: the programmable command format (PCF).
 *
 * A PCF message (formats "KWADMIN ", "KWEVENT ", "KWPCF   ") is a 36-byte
 * header KWCFH followed by ParameterCount parameter structures. Every
 * parameter structure starts with its Type and its StrucLength in bytes,
 * padding included, then its parameter identifier. A group (KWCFGR) is
 * followed by its ParameterCount member structures, which may be groups in
 * turn. All integers are in the encoding of the message; each string carries
 * its own CCSID (0: the CCSID of the message).
 *
 * The structures below are the fixed parts; variable data (strings, values of
 * lists) follows the fixed part directly. In a message the structures are
 * aligned on 4 bytes only, so a 64-bit value may sit at any multiple of 4.
 *
 *   KWCFH h = {KWCFT_COMMAND, KWCFH_STRUC_LENGTH, KWCFH_VERSION_1, cmd, 1,
 *              KWCFC_LAST, KWCC_OK, KWRC_NONE, 1};
 *   KWCFIN p = {KWCFT_INTEGER, KWCFIN_STRUC_LENGTH, param, value};
 */
#ifndef ZXVXZU_PCF_H
#define ZXVXZU_PCF_H

#include "zxvxzu_types.h"

ZXV_EXTERN_C_BEGIN

/* Structure types (the Type field). Header types first. */
#define KWCFT_NONE 0
#define KWCFT_COMMAND 1
#define KWCFT_RESPONSE 2
#define KWCFT_EVENT 7
#define KWCFT_USER 8
#define KWCFT_TRACE_ROUTE 10
#define KWCFT_REPORT 12
#define KWCFT_STATISTICS 21
#define KWCFT_ACCOUNTING 22
/* Parameter types. */
#define KWCFT_INTEGER 3
#define KWCFT_STRING 4
#define KWCFT_INTEGER_LIST 5
#define KWCFT_STRING_LIST 6
#define KWCFT_BYTE_STRING 9
#define KWCFT_INTEGER_FILTER 13
#define KWCFT_STRING_FILTER 14
#define KWCFT_BYTE_STRING_FILTER 15
#define KWCFT_GROUP 20
#define KWCFT_INTEGER64 23
#define KWCFT_INTEGER64_LIST 25

/* Header versions and the Control field. */
#define KWCFH_VERSION_1 1
#define KWCFH_VERSION_2 2
#define KWCFH_VERSION_3 3
#define KWCFC_NOT_LAST 0
#define KWCFC_LAST 1

/* Filter operators (the Operator field of the filters). */
#define KWCFOP_LESS 1
#define KWCFOP_EQUAL 2
#define KWCFOP_NOT_GREATER 3
#define KWCFOP_GREATER 4
#define KWCFOP_NOT_EQUAL 5
#define KWCFOP_NOT_LESS 6
#define KWCFOP_CONTAINS 10
#define KWCFOP_EXCLUDES 13
#define KWCFOP_LIKE 18
#define KWCFOP_NOT_LIKE 21
#define KWCFOP_CONTAINS_GEN 26
#define KWCFOP_EXCLUDES_GEN 29

/* Structure lengths: whole structures, or the fixed part in front of the
 * variable data (_FIXED). */
#define KWCFH_STRUC_LENGTH 36
#define KWCFIN_STRUC_LENGTH 16
#define KWCFST_STRUC_LENGTH_FIXED 20
#define KWCFIL_STRUC_LENGTH_FIXED 16
#define KWCFSL_STRUC_LENGTH_FIXED 24
#define KWCFBS_STRUC_LENGTH_FIXED 16
#define KWCFIF_STRUC_LENGTH 20
#define KWCFSF_STRUC_LENGTH_FIXED 24
#define KWCFBF_STRUC_LENGTH_FIXED 20
#define KWCFGR_STRUC_LENGTH 16
#define KWCFIN64_STRUC_LENGTH 24
#define KWCFIL64_STRUC_LENGTH_FIXED 16

/* Header, 36 bytes. */
typedef struct KWCFH {
  KWLONG Type;           /*  0 KWCFT_COMMAND, KWCFT_RESPONSE, KWCFT_USER, ... */
  KWLONG StrucLength;    /*  4 36 */
  KWLONG Version;        /*  8 KWCFH_VERSION_* */
  KWLONG Command;        /* 12 command identifier */
  KWLONG MsgSeqNumber;   /* 16 message sequence number, from 1 */
  KWLONG Control;        /* 20 KWCFC_LAST or KWCFC_NOT_LAST */
  KWLONG CompCode;       /* 24 completion code */
  KWLONG Reason;         /* 28 reason code */
  KWLONG ParameterCount; /* 32 parameter structures that follow */
} KWCFH;

/* Integer parameter (type 3), 16 bytes. */
typedef struct KWCFIN {
  KWLONG Type;        /*  0 KWCFT_INTEGER */
  KWLONG StrucLength; /*  4 16 */
  KWLONG Parameter;   /*  8 parameter identifier */
  KWLONG Value;       /* 12 */
} KWCFIN;

/* String parameter (type 4): 20 bytes, then StringLength bytes of string in
 * CodedCharSetId, then padding up to StrucLength. */
typedef struct KWCFST {
  KWLONG Type;           /*  0 KWCFT_STRING */
  KWLONG StrucLength;    /*  4 20 + StringLength + padding */
  KWLONG Parameter;      /*  8 */
  KWLONG CodedCharSetId; /* 12 of the string; 0 the message's */
  KWLONG StringLength;   /* 16 bytes of string */
} KWCFST;

/* Integer list (type 5): 16 bytes, then Count 32-bit values. */
typedef struct KWCFIL {
  KWLONG Type;        /*  0 KWCFT_INTEGER_LIST */
  KWLONG StrucLength; /*  4 16 + 4 * Count */
  KWLONG Parameter;   /*  8 */
  KWLONG Count;       /* 12 values that follow */
} KWCFIL;

/* String list (type 6): 24 bytes, then Count strings of StringLength bytes
 * each in CodedCharSetId, then padding. */
typedef struct KWCFSL {
  KWLONG Type;           /*  0 KWCFT_STRING_LIST */
  KWLONG StrucLength;    /*  4 24 + Count * StringLength + padding */
  KWLONG Parameter;      /*  8 */
  KWLONG CodedCharSetId; /* 12 of every string; 0 the message's */
  KWLONG Count;          /* 16 strings that follow */
  KWLONG StringLength;   /* 20 bytes of each string */
} KWCFSL;

/* Byte string (type 9): 16 bytes, then StringLength bytes, then padding. */
typedef struct KWCFBS {
  KWLONG Type;         /*  0 KWCFT_BYTE_STRING */
  KWLONG StrucLength;  /*  4 16 + StringLength + padding */
  KWLONG Parameter;    /*  8 */
  KWLONG StringLength; /* 12 */
} KWCFBS;

/* Integer filter (type 13), 20 bytes. */
typedef struct KWCFIF {
  KWLONG Type;        /*  0 KWCFT_INTEGER_FILTER */
  KWLONG StrucLength; /*  4 20 */
  KWLONG Parameter;   /*  8 */
  KWLONG Operator;    /* 12 KWCFOP_* */
  KWLONG FilterValue; /* 16 */
} KWCFIF;

/* String filter (type 14): 24 bytes, then FilterValueLength bytes in
 * CodedCharSetId, then padding. */
typedef struct KWCFSF {
  KWLONG Type;              /*  0 KWCFT_STRING_FILTER */
  KWLONG StrucLength;       /*  4 24 + FilterValueLength + padding */
  KWLONG Parameter;         /*  8 */
  KWLONG Operator;          /* 12 KWCFOP_* */
  KWLONG CodedCharSetId;    /* 16 of the value; 0 the message's */
  KWLONG FilterValueLength; /* 20 */
} KWCFSF;

/* Byte string filter (type 15): 20 bytes, then FilterValueLength bytes, then
 * padding. */
typedef struct KWCFBF {
  KWLONG Type;              /*  0 KWCFT_BYTE_STRING_FILTER */
  KWLONG StrucLength;       /*  4 20 + FilterValueLength + padding */
  KWLONG Parameter;         /*  8 */
  KWLONG Operator;          /* 12 KWCFOP_* */
  KWLONG FilterValueLength; /* 16 */
} KWCFBF;

/* Group (type 20), 16 bytes; its ParameterCount member structures follow. */
typedef struct KWCFGR {
  KWLONG Type;           /*  0 KWCFT_GROUP */
  KWLONG StrucLength;    /*  4 16 */
  KWLONG Parameter;      /*  8 */
  KWLONG ParameterCount; /* 12 members that follow */
} KWCFGR;

/* 64-bit integer parameter (type 23), 24 bytes. */
typedef struct KWCFIN64 {
  KWLONG Type;        /*  0 KWCFT_INTEGER64 */
  KWLONG StrucLength; /*  4 24 */
  KWLONG Parameter;   /*  8 */
  KWLONG Reserved;    /* 12 */
  KWINT64 Value;      /* 16 */
} KWCFIN64;

/* 64-bit integer list (type 25): 16 bytes, then Count 64-bit values. */
typedef struct KWCFIL64 {
  KWLONG Type;        /*  0 KWCFT_INTEGER64_LIST */
  KWLONG StrucLength; /*  4 16 + 8 * Count */
  KWLONG Parameter;   /*  8 */
  KWLONG Count;       /* 12 values that follow */
} KWCFIL64;

#if defined(__cplusplus)
#define ZXV_PCF_ASSERT(cond, text) static_assert(cond, text)
#else
#define ZXV_PCF_ASSERT(cond, text) _Static_assert(cond, text)
#endif
ZXV_PCF_ASSERT(sizeof(KWCFH) == KWCFH_STRUC_LENGTH, "KWCFH is 36 bytes");
ZXV_PCF_ASSERT(offsetof(KWCFH, ParameterCount) == 32, "KWCFH ParameterCount at 32");
ZXV_PCF_ASSERT(sizeof(KWCFIN) == KWCFIN_STRUC_LENGTH, "KWCFIN is 16 bytes");
ZXV_PCF_ASSERT(sizeof(KWCFST) == KWCFST_STRUC_LENGTH_FIXED, "KWCFST fixed part is 20 bytes");
ZXV_PCF_ASSERT(sizeof(KWCFIL) == KWCFIL_STRUC_LENGTH_FIXED, "KWCFIL fixed part is 16 bytes");
ZXV_PCF_ASSERT(sizeof(KWCFSL) == KWCFSL_STRUC_LENGTH_FIXED, "KWCFSL fixed part is 24 bytes");
ZXV_PCF_ASSERT(sizeof(KWCFBS) == KWCFBS_STRUC_LENGTH_FIXED, "KWCFBS fixed part is 16 bytes");
ZXV_PCF_ASSERT(sizeof(KWCFIF) == KWCFIF_STRUC_LENGTH, "KWCFIF is 20 bytes");
ZXV_PCF_ASSERT(sizeof(KWCFSF) == KWCFSF_STRUC_LENGTH_FIXED, "KWCFSF fixed part is 24 bytes");
ZXV_PCF_ASSERT(sizeof(KWCFBF) == KWCFBF_STRUC_LENGTH_FIXED, "KWCFBF fixed part is 20 bytes");
ZXV_PCF_ASSERT(sizeof(KWCFGR) == KWCFGR_STRUC_LENGTH, "KWCFGR is 16 bytes");
ZXV_PCF_ASSERT(sizeof(KWCFIN64) == KWCFIN64_STRUC_LENGTH, "KWCFIN64 is 24 bytes");
ZXV_PCF_ASSERT(offsetof(KWCFIN64, Value) == 16, "KWCFIN64 Value at 16");
ZXV_PCF_ASSERT(sizeof(KWCFIL64) == KWCFIL64_STRUC_LENGTH_FIXED, "KWCFIL64 fixed part is 16 bytes");
#undef ZXV_PCF_ASSERT

ZXV_EXTERN_C_END

#endif
