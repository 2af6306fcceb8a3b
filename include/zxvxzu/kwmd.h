/* zxvxzu: the message descriptor KWMD.
 *
 * The descriptor travels with every message. It is recognised by its version
 * only: version 1 is 324 bytes, version 2 (which adds the group and segment
 * fields) 364 bytes. Integer fields are in the machine's encoding; character
 * fields are blank-padded and not NUL-terminated; identifiers are bytes.
 *
 *   KWMD md;
 *   memcpy(md.StrucId, KWMD_STRUC_ID, 4);
 *   md.Version = KWMD_VERSION_2;
 */
#ifndef ZXVXZU_KWMD_H
#define ZXVXZU_KWMD_H

#include "zxvxzu_types.h"

ZXV_EXTERN_C_BEGIN

#define KWMD_STRUC_ID "MD  "
#define KWMD_VERSION_1 1
#define KWMD_VERSION_2 2
#define KWMD_LENGTH_1 324
#define KWMD_LENGTH_2 364

#define KW_MSG_ID_LENGTH 24
#define KW_CORREL_ID_LENGTH 24
#define KW_GROUP_ID_LENGTH 24
#define KW_ACCOUNTING_TOKEN_LENGTH 32
#define KW_APPL_IDENTITY_DATA_LENGTH 32
#define KW_PUT_APPL_NAME_LENGTH 28
#define KW_PUT_DATE_LENGTH 8
#define KW_PUT_TIME_LENGTH 8
#define KW_APPL_ORIGIN_DATA_LENGTH 4

/* Message types, persistence and priority values the library sets. */
#define KWMT_DATAGRAM 8
#define KWEI_UNLIMITED (-1)
#define KWPRI_PRIORITY_AS_Q_DEF (-1)
#define KWPER_PERSISTENCE_AS_Q_DEF 2
#define KWOL_UNDEFINED (-1)

typedef struct KWMD {
  char StrucId[4];                 /*   0 "MD  " */
  KWLONG Version;                  /*   4 */
  KWLONG Report;                   /*   8 */
  KWLONG MsgType;                  /*  12 */
  KWLONG Expiry;                   /*  16 */
  KWLONG Feedback;                 /*  20 */
  KWLONG Encoding;                 /*  24 */
  KWLONG CodedCharSetId;           /*  28 */
  char Format[KW_FORMAT_LENGTH];   /*  32 */
  KWLONG Priority;                 /*  40 */
  KWLONG Persistence;              /*  44 */
  uint8_t MsgId[KW_MSG_ID_LENGTH]; /*  48 */
  uint8_t CorrelId[KW_CORREL_ID_LENGTH];                 /*  72 */
  KWLONG BackoutCount;                                   /*  96 */
  char ReplyToQ[KW_OBJECT_NAME_LENGTH];                  /* 100 */
  char ReplyToQMgr[KW_Q_MGR_NAME_LENGTH];                /* 148 */
  char UserIdentifier[KW_USER_ID_LENGTH];                /* 196 */
  uint8_t AccountingToken[KW_ACCOUNTING_TOKEN_LENGTH];   /* 208 */
  char ApplIdentityData[KW_APPL_IDENTITY_DATA_LENGTH];   /* 240 */
  KWLONG PutApplType;                                    /* 272 */
  char PutApplName[KW_PUT_APPL_NAME_LENGTH];             /* 276 */
  char PutDate[KW_PUT_DATE_LENGTH];                      /* 304 */
  char PutTime[KW_PUT_TIME_LENGTH];                      /* 312 */
  char ApplOriginData[KW_APPL_ORIGIN_DATA_LENGTH];       /* 320 */
  /* Version 2 fields. */
  uint8_t GroupId[KW_GROUP_ID_LENGTH]; /* 324 */
  KWLONG MsgSeqNumber;                 /* 348 */
  KWLONG Offset;                       /* 352 */
  KWLONG MsgFlags;                     /* 356 */
  KWLONG OriginalLength;               /* 360 */
} KWMD;

#if defined(__cplusplus)
static_assert(sizeof(KWMD) == KWMD_LENGTH_2, "KWMD version 2 is 364 bytes");
static_assert(offsetof(KWMD, GroupId) == KWMD_LENGTH_1, "version 2 fields start at 324");
#else
_Static_assert(sizeof(KWMD) == KWMD_LENGTH_2, "KWMD version 2 is 364 bytes");
_Static_assert(offsetof(KWMD, GroupId) == KWMD_LENGTH_1, "version 2 fields start at 324");
#endif

ZXV_EXTERN_C_END

#endif
