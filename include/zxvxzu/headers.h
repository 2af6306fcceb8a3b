/* zxvxzu: the built-in message headers.
 *
 * Headers sit in a chain at the front of message data: each structure names
 * the format, encoding and CCSID of what follows it. Integer fields are in
 * the encoding of the structure in front of the header; character fields
 * (char arrays) are blank padded in that structure's CCSID; byte fields
 * (uint8_t arrays: identifiers, tokens) are never converted. The property
 * header KWRFH2 and its older form are in kwrfh2.h, the PCF header in
 * pcf.h, the message descriptor in kwmd.h.
 *
 *   const KWDLH* dlh = (const KWDLH*)data;      // format "KWDEAD  "
 *   // what follows: dlh->Format, dlh->Encoding, dlh->CodedCharSetId
 */
#ifndef ZXVXZU_HEADERS_H
#define ZXVXZU_HEADERS_H

#include "kwmd.h"
#include "zxvxzu_types.h"

ZXV_EXTERN_C_BEGIN

#if defined(__cplusplus)
#define ZXV_HEADER_ASSERT(cond, text) static_assert(cond, text)
#else
#define ZXV_HEADER_ASSERT(cond, text) _Static_assert(cond, text)
#endif

/* ------------------------------------------------------------------------
 * Version-1 message descriptor (324 bytes), as embedded in the transmission
 * header. Field for field the first 324 bytes of KWMD.
 * ------------------------------------------------------------------------ */
typedef struct KWMD1 {
  char StrucId[4];                                     /*   0 "MD  " */
  KWLONG Version;                                      /*   4 1 */
  KWLONG Report;                                       /*   8 */
  KWLONG MsgType;                                      /*  12 */
  KWLONG Expiry;                                       /*  16 */
  KWLONG Feedback;                                     /*  20 */
  KWLONG Encoding;                                     /*  24 */
  KWLONG CodedCharSetId;                               /*  28 */
  char Format[KW_FORMAT_LENGTH];                       /*  32 */
  KWLONG Priority;                                     /*  40 */
  KWLONG Persistence;                                  /*  44 */
  uint8_t MsgId[KW_MSG_ID_LENGTH];                     /*  48 */
  uint8_t CorrelId[KW_CORREL_ID_LENGTH];               /*  72 */
  KWLONG BackoutCount;                                 /*  96 */
  char ReplyToQ[KW_OBJECT_NAME_LENGTH];                /* 100 */
  char ReplyToQMgr[KW_Q_MGR_NAME_LENGTH];              /* 148 */
  char UserIdentifier[KW_USER_ID_LENGTH];              /* 196 */
  uint8_t AccountingToken[KW_ACCOUNTING_TOKEN_LENGTH]; /* 208 */
  char ApplIdentityData[KW_APPL_IDENTITY_DATA_LENGTH]; /* 240 */
  KWLONG PutApplType;                                  /* 272 */
  char PutApplName[KW_PUT_APPL_NAME_LENGTH];           /* 276 */
  char PutDate[KW_PUT_DATE_LENGTH];                    /* 304 */
  char PutTime[KW_PUT_TIME_LENGTH];                    /* 312 */
  char ApplOriginData[KW_APPL_ORIGIN_DATA_LENGTH];     /* 320 */
} KWMD1;
ZXV_HEADER_ASSERT(sizeof(KWMD1) == KWMD_LENGTH_1, "KWMD1 is 324 bytes");

/* ------------------------------------------------------------------------
 * Transmission-queue header (format "KWXMIT  ", 428 bytes): where a message
 * on a transmission queue is going, and its own descriptor. What follows is
 * described by the embedded descriptor (Encoding 128, CCSID 132, Format 136).
 * ------------------------------------------------------------------------ */
#define KWXQH_STRUC_ID "XQH "
#define KWXQH_VERSION_1 1
#define KWXQH_LENGTH 428

typedef struct KWXQH {
  char StrucId[4];                           /*   0 "XQH " */
  KWLONG Version;                            /*   4 1 */
  char RemoteQName[KW_OBJECT_NAME_LENGTH];   /*   8 */
  char RemoteQMgrName[KW_Q_MGR_NAME_LENGTH]; /*  56 */
  KWMD1 MsgDesc;                             /* 104 the message's descriptor */
} KWXQH;
ZXV_HEADER_ASSERT(sizeof(KWXQH) == KWXQH_LENGTH, "KWXQH is 428 bytes");
ZXV_HEADER_ASSERT(offsetof(KWXQH, MsgDesc) + offsetof(KWMD1, Encoding) == 128, "next at 128");
ZXV_HEADER_ASSERT(offsetof(KWXQH, MsgDesc) + offsetof(KWMD1, CodedCharSetId) == 132, "at 132");
ZXV_HEADER_ASSERT(offsetof(KWXQH, MsgDesc) + offsetof(KWMD1, Format) == 136, "at 136");

/* ------------------------------------------------------------------------
 * Dead-letter header (format "KWDEAD  ", 172 bytes).
 * ------------------------------------------------------------------------ */
#define KWDLH_STRUC_ID "DLH "
#define KWDLH_VERSION_1 1
#define KWDLH_LENGTH 172

typedef struct KWDLH {
  char StrucId[4];                           /*   0 "DLH " */
  KWLONG Version;                            /*   4 1 */
  KWLONG Reason;                             /*   8 why the message is here */
  char DestQName[KW_OBJECT_NAME_LENGTH];     /*  12 */
  char DestQMgrName[KW_Q_MGR_NAME_LENGTH];   /*  60 */
  KWLONG Encoding;                           /* 108 of what follows */
  KWLONG CodedCharSetId;                     /* 112 of what follows */
  char Format[KW_FORMAT_LENGTH];             /* 116 of what follows */
  KWLONG PutApplType;                        /* 124 */
  char PutApplName[KW_PUT_APPL_NAME_LENGTH]; /* 128 */
  char PutDate[KW_PUT_DATE_LENGTH];          /* 156 */
  char PutTime[KW_PUT_TIME_LENGTH];          /* 164 */
} KWDLH;
ZXV_HEADER_ASSERT(sizeof(KWDLH) == KWDLH_LENGTH, "KWDLH is 172 bytes");
ZXV_HEADER_ASSERT(offsetof(KWDLH, Encoding) == 108, "Encoding at 108");
ZXV_HEADER_ASSERT(offsetof(KWDLH, CodedCharSetId) == 112, "CCSID at 112");
ZXV_HEADER_ASSERT(offsetof(KWDLH, Format) == 116, "Format at 116");

/* ------------------------------------------------------------------------
 * Headers with the standard prefix: StrucId, Version, StrucLength at 8,
 * Encoding at 12, CodedCharSetId at 16, Format at 20, Flags at 28.
 * ------------------------------------------------------------------------ */

/* Message descriptor extension (format "KWHMDE  ", 72 bytes): the version 2
 * descriptor fields for a version 1 descriptor. */
#define KWMDE_STRUC_ID "MDE "
#define KWMDE_VERSION_2 2
#define KWMDE_LENGTH 72

typedef struct KWMDE {
  char StrucId[4];                     /*  0 "MDE " */
  KWLONG Version;                      /*  4 2 */
  KWLONG StrucLength;                  /*  8 72 */
  KWLONG Encoding;                     /* 12 */
  KWLONG CodedCharSetId;               /* 16 */
  char Format[KW_FORMAT_LENGTH];       /* 20 */
  KWLONG Flags;                        /* 28 */
  uint8_t GroupId[KW_GROUP_ID_LENGTH]; /* 32 */
  KWLONG MsgSeqNumber;                 /* 56 */
  KWLONG Offset;                       /* 60 */
  KWLONG MsgFlags;                     /* 64 */
  KWLONG OriginalLength;               /* 68 */
} KWMDE;
ZXV_HEADER_ASSERT(sizeof(KWMDE) == KWMDE_LENGTH, "KWMDE is 72 bytes");

/* Embedded PCF header (format "KWHEPCF ", at least 68 bytes): a standard
 * prefix and then a 36-byte PCF header (KWCFH of pcf.h, spelt out here so
 * this header stands alone) whose parameters follow within StrucLength. */
#define KWEPH_STRUC_ID "EPH "
#define KWEPH_VERSION_1 1
#define KWEPH_LENGTH_FIXED 68

typedef struct KWEPH {
  char StrucId[4];               /*  0 "EPH " */
  KWLONG Version;                /*  4 1 */
  KWLONG StrucLength;            /*  8 68 plus the parameters */
  KWLONG Encoding;               /* 12 */
  KWLONG CodedCharSetId;         /* 16 */
  char Format[KW_FORMAT_LENGTH]; /* 20 */
  KWLONG Flags;                  /* 28 */
  /* The PCF header. */
  KWLONG Type;           /* 32 the command type */
  KWLONG CfhStrucLength; /* 36 36 */
  KWLONG CfhVersion;     /* 40 */
  KWLONG Command;        /* 44 */
  KWLONG MsgSeqNumber;   /* 48 */
  KWLONG Control;        /* 52 */
  KWLONG CompCode;       /* 56 */
  KWLONG Reason;         /* 60 */
  KWLONG ParameterCount; /* 64 */
} KWEPH;
ZXV_HEADER_ASSERT(sizeof(KWEPH) == KWEPH_LENGTH_FIXED, "KWEPH is 68 bytes");
ZXV_HEADER_ASSERT(offsetof(KWEPH, Type) == 32, "command type at 32");

/* Work information header (format "KWHWIH  ", 120 bytes). */
#define KWWIH_STRUC_ID "WIH "
#define KWWIH_VERSION_1 1
#define KWWIH_LENGTH 120

typedef struct KWWIH {
  char StrucId[4];               /*   0 "WIH " */
  KWLONG Version;                /*   4 1 */
  KWLONG StrucLength;            /*   8 120 */
  KWLONG Encoding;               /*  12 */
  KWLONG CodedCharSetId;         /*  16 */
  char Format[KW_FORMAT_LENGTH]; /*  20 */
  KWLONG Flags;                  /*  28 */
  char ServiceName[32];          /*  32 */
  char ServiceStep[8];           /*  64 */
  uint8_t MsgToken[16];          /*  72 */
  char Reserved[32];             /*  88 blanks */
} KWWIH;
ZXV_HEADER_ASSERT(sizeof(KWWIH) == KWWIH_LENGTH, "KWWIH is 120 bytes");

/* Reference message header (format "KWHREF  ", 108 bytes and then the
 * source and destination environment and name strings, each placed by a
 * length and an offset from the header's start, within StrucLength). */
#define KWRMH_STRUC_ID "RMH "
#define KWRMH_VERSION_1 1
#define KWRMH_LENGTH_FIXED 108

typedef struct KWRMH {
  char StrucId[4];               /*   0 "RMH " */
  KWLONG Version;                /*   4 1 */
  KWLONG StrucLength;            /*   8 108 plus the strings */
  KWLONG Encoding;               /*  12 */
  KWLONG CodedCharSetId;         /*  16 */
  char Format[KW_FORMAT_LENGTH]; /*  20 */
  KWLONG Flags;                  /*  28 */
  char ObjectType[8];            /*  32 */
  uint8_t ObjectInstanceId[24];  /*  40 */
  KWLONG SrcEnvLength;           /*  64 */
  KWLONG SrcEnvOffset;           /*  68 */
  KWLONG SrcNameLength;          /*  72 */
  KWLONG SrcNameOffset;          /*  76 */
  KWLONG DestEnvLength;          /*  80 */
  KWLONG DestEnvOffset;          /*  84 */
  KWLONG DestNameLength;         /*  88 */
  KWLONG DestNameOffset;         /*  92 */
  KWLONG DataLogicalLength;      /*  96 */
  KWLONG DataLogicalOffset;      /* 100 */
  KWLONG DataLogicalOffset2;     /* 104 high part of the offset */
} KWRMH;
ZXV_HEADER_ASSERT(sizeof(KWRMH) == KWRMH_LENGTH_FIXED, "KWRMH is 108 bytes");

/* TRX bridge information header (format "KWTRX   ", 84 bytes). */
#define KWTIH_STRUC_ID "TIH "
#define KWTIH_VERSION_1 1
#define KWTIH_LENGTH 84

typedef struct KWTIH {
  char StrucId[4];               /*  0 "TIH " */
  KWLONG Version;                /*  4 1 */
  KWLONG StrucLength;            /*  8 84 */
  KWLONG Encoding;               /* 12 */
  KWLONG CodedCharSetId;         /* 16 */
  char Format[KW_FORMAT_LENGTH]; /* 20 */
  KWLONG Flags;                  /* 28 */
  char LTermOverride[8];         /* 32 */
  char MapName[8];               /* 40 */
  char ReplyToFormat[8];         /* 48 */
  char Authenticator[8];         /* 56 */
  uint8_t TranInstanceId[16];    /* 64 */
  char TranState;                /* 80 */
  char CommitMode;               /* 81 */
  char SecurityScope;            /* 82 */
  char Reserved;                 /* 83 */
} KWTIH;
ZXV_HEADER_ASSERT(sizeof(KWTIH) == KWTIH_LENGTH, "KWTIH is 84 bytes");

/* TPMN bridge header (format "KWTPMN  ", 180 bytes). */
#define KWPIH_STRUC_ID "PIH "
#define KWPIH_VERSION_1 1
#define KWPIH_LENGTH 180

typedef struct KWPIH {
  char StrucId[4];               /*   0 "PIH " */
  KWLONG Version;                /*   4 1 */
  KWLONG StrucLength;            /*   8 180 */
  KWLONG Encoding;               /*  12 */
  KWLONG CodedCharSetId;         /*  16 */
  char Format[KW_FORMAT_LENGTH]; /*  20 */
  KWLONG Flags;                  /*  28 */
  KWLONG RequestType;            /*  32 */
  char ServiceName[32];          /*  36 */
  char ServiceStep[8];           /*  68 */
  char ReplyToFormat[8];         /*  76 */
  char UserData[64];             /*  84 */
  uint8_t CorrelToken[16];       /* 148 */
  uint8_t Reserved[16];          /* 164 zeros */
} KWPIH;
ZXV_HEADER_ASSERT(sizeof(KWPIH) == KWPIH_LENGTH, "KWPIH is 180 bytes");

/* SAP header (format "KWHSAP  ", 96 bytes). Client and SystemNumber hold
 * integers written as characters. */
#define KWSAPH_STRUC_ID "SAPH"
#define KWSAPH_VERSION_1 1
#define KWSAPH_LENGTH 96

typedef struct KWSAPH {
  char StrucId[4];               /*  0 "SAPH" */
  KWLONG Version;                /*  4 1 */
  KWLONG StrucLength;            /*  8 96 */
  KWLONG Encoding;               /* 12 */
  KWLONG CodedCharSetId;         /* 16 */
  char Format[KW_FORMAT_LENGTH]; /* 20 */
  KWLONG Flags;                  /* 28 */
  char Client[3];                /* 32 digits */
  char Language[2];              /* 35 */
  char HostName[32];             /* 37 */
  char UserId[12];               /* 69 */
  char Password[8];              /* 81 */
  char SystemNumber[2];          /* 89 digits */
  uint8_t Reserved[5];           /* 91 zeros */
} KWSAPH;
ZXV_HEADER_ASSERT(sizeof(KWSAPH) == KWSAPH_LENGTH, "KWSAPH is 96 bytes");

/* ------------------------------------------------------------------------
 * Formats that end the chain.
 * ------------------------------------------------------------------------ */

/* Trigger message (format "KWTRIG  ", 684 bytes). */
#define KWTM_STRUC_ID "TM  "
#define KWTM_VERSION_1 1
#define KWTM_LENGTH 684

typedef struct KWTM {
  char StrucId[4];                         /*   0 "TM  " */
  KWLONG Version;                          /*   4 1 */
  char QName[KW_OBJECT_NAME_LENGTH];       /*   8 */
  char ProcessName[KW_OBJECT_NAME_LENGTH]; /*  56 */
  char TriggerData[64];                    /* 104 */
  KWLONG ApplType;                         /* 168 */
  char ApplId[256];                        /* 172 */
  char EnvData[128];                       /* 428 */
  char UserData[128];                      /* 556 */
} KWTM;
ZXV_HEADER_ASSERT(sizeof(KWTM) == KWTM_LENGTH, "KWTM is 684 bytes");

/* TRX bridge variable string (format "KWTRXVS "): segments to the end of
 * the data, each a 16-bit length LL (the whole segment, this prefix
 * included, at least 4), 16-bit flags ZZ, and LL - 4 bytes of text. */
#define KWLLZZ_LENGTH 4

typedef struct KWLLZZ {
  int16_t LL; /* 0 */
  int16_t ZZ; /* 2 */
} KWLLZZ;
ZXV_HEADER_ASSERT(sizeof(KWLLZZ) == KWLLZZ_LENGTH, "KWLLZZ is 4 bytes");

#undef ZXV_HEADER_ASSERT

ZXV_EXTERN_C_END

#endif
