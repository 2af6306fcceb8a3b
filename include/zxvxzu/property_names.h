/* zxvxzu: property names.
 *
 * Every property name passed to set, inquire or delete, and every name taken
 * out of a property header, is checked here: its characters against the
 * character table of its CCSID, the reserved words, and the name families the
 * system defines itself. Names of those families are known names: each has a
 * name identifier below, and a name in a reserved family that is not on the
 * family's list is refused.
 *
 * Names are byte strings in the encoding of their CCSID with an explicit
 * length, never NUL-terminated. The functions are stateless, take no locks and
 * allocate nothing.
 *
 *   KWLONG cc, rc;
 *   zrfValidatePropertyName("Root.KWMD.Priority", 18, 1208, ZRF_CCSIDTYPE_UTF8, &cc, &rc);
 *   // cc 0, rc 0
 *   KWLONG id = zrfCheckForKnownUTF8Name("JMSPriority", 11, &cc, &rc);
 *   // id ZRF_NAME_JMS_PRIORITY
 *
 * Rules that are this library's own choice:
 *  - The message-selector words (NULL, TRUE, FALSE, NOT, AND, OR, BETWEEN,
 *    LIKE, IN, IS, ESCAPE) are refused in any mix of upper and lower case, as
 *    selectors read them; the Java keywords only as written (lower case).
 *  - A name beginning "Properties." is refused like one beginning "Body.".
 *  - The reserved families are, in the order tried: "Root.KWMD.", "Root.",
 *    "JMS_ZOL", "JMS", "KW" and "AMQP" (all case-sensitive). A name in one of
 *    them that is not on its list is refused; no "AMQP" names are defined, so
 *    every name beginning "AMQP" is refused.
 *  - "kwpsc." is compared without regard to case: a name beginning with it is
 *    refused, with the long-form message when the name begins with upper-case
 *    "KW". A name beginning "psc." that is not one of the psc. names below is
 *    refused.
 *  - The full stop of the name's family may stand anywhere after the first
 *    character except at the end; every other character must be in the start
 *    set (first) or the part set (later) of the CCSID.
 */
#ifndef ZXVXZU_PROPERTY_NAMES_H
#define ZXVXZU_PROPERTY_NAMES_H

#include "zxvxzu_types.h"

ZXV_EXTERN_C_BEGIN

/* Encoding families (the CCSIDType of a property list). */
#define ZRF_CCSIDTYPE_UNKNOWN 0
#define ZRF_CCSIDTYPE_ASCII 1  /* ASCII-based single byte, full stop 0x2E */
#define ZRF_CCSIDTYPE_EBCDIC 2 /* EBCDIC single byte, full stop 0x4B */
#define ZRF_CCSIDTYPE_UTF8 3   /* full stop 0x2E */
#define ZRF_CCSIDTYPE_LUCS2 4  /* UCS-2 least significant byte first, full stop 2E 00 */
#define ZRF_CCSIDTYPE_BUCS2 5  /* UCS-2 most significant byte first, full stop 00 2E */

/* Name identifiers. 0 is an ordinary (not known) name; the hundreds give the
 * family (ZRF_NAME_FAMILY). */
#define ZRF_NAME_NONE 0
#define ZRF_NAME_FAMILY(id) ((id) / 100)
#define ZRF_NAME_FAMILY_KWMD 1      /* "Root.KWMD.<field>" */
#define ZRF_NAME_FAMILY_JMS 2       /* JMS header names */
#define ZRF_NAME_FAMILY_JMS_SHORT 3 /* "jms." folder names */
#define ZRF_NAME_FAMILY_MCD 4       /* message content descriptor names and domains */
#define ZRF_NAME_FAMILY_JMS_ZOL 5   /* provider-specific JMS names */
#define ZRF_NAME_FAMILY_QMGR 6      /* queue-manager internal names */
#define ZRF_NAME_FAMILY_PUBSUB 7    /* publish/subscribe names */
#define ZRF_NAME_FAMILY_LONG 8      /* long-form "KW" names */
#define ZRF_NAME_FAMILY_PSC 9       /* older publish/subscribe command folder */

/* "Root.KWMD." followed by the field name. */
#define ZRF_NAME_KWMD_REPORT 101
#define ZRF_NAME_KWMD_MSGTYPE 102
#define ZRF_NAME_KWMD_EXPIRY 103
#define ZRF_NAME_KWMD_FEEDBACK 104
#define ZRF_NAME_KWMD_ENCODING 105
#define ZRF_NAME_KWMD_CODEDCHARSETID 106
#define ZRF_NAME_KWMD_FORMAT 107
#define ZRF_NAME_KWMD_PRIORITY 108
#define ZRF_NAME_KWMD_PERSISTENCE 109
#define ZRF_NAME_KWMD_MSGID 110
#define ZRF_NAME_KWMD_CORRELID 111
#define ZRF_NAME_KWMD_BACKOUTCOUNT 112
#define ZRF_NAME_KWMD_REPLYTOQ 113
#define ZRF_NAME_KWMD_REPLYTOQMGR 114
#define ZRF_NAME_KWMD_USERIDENTIFIER 115
#define ZRF_NAME_KWMD_ACCOUNTINGTOKEN 116
#define ZRF_NAME_KWMD_APPLIDENTITYDATA 117
#define ZRF_NAME_KWMD_PUTAPPLTYPE 118
#define ZRF_NAME_KWMD_PUTAPPLNAME 119
#define ZRF_NAME_KWMD_PUTDATE 120
#define ZRF_NAME_KWMD_PUTTIME 121
#define ZRF_NAME_KWMD_APPLORIGINDATA 122
#define ZRF_NAME_KWMD_GROUPID 123
#define ZRF_NAME_KWMD_MSGSEQNUMBER 124
#define ZRF_NAME_KWMD_OFFSET 125
#define ZRF_NAME_KWMD_MSGFLAGS 126
#define ZRF_NAME_KWMD_ORIGINALLENGTH 127

/* JMS header names. */
#define ZRF_NAME_JMS_CORRELATIONID 201  /* "JMSCorrelationID" */
#define ZRF_NAME_JMSX_DELIVERYCOUNT 202 /* "JMSXDeliveryCount" */
#define ZRF_NAME_JMS_TYPE 203           /* "JMSType" */
#define ZRF_NAME_JMSX_APPID 204         /* "JMSXAppID" */
#define ZRF_NAME_JMS_REPLYTO 205        /* "JMSReplyTo" */
#define ZRF_NAME_JMSX_USERID 206        /* "JMSXUserID" */
#define ZRF_NAME_JMS_PRIORITY 207       /* "JMSPriority" */
#define ZRF_NAME_JMSX_GROUPID 208       /* "JMSXGroupID" */
#define ZRF_NAME_JMS_MESSAGEID 209      /* "JMSMessageID" */
#define ZRF_NAME_JMS_TIMESTAMP 210      /* "JMSTimestamp" */
#define ZRF_NAME_JMSX_GROUPSEQ 211      /* "JMSXGroupSeq" */

/* "jms." folder names. */
#define ZRF_NAME_JMS_DST 301
#define ZRF_NAME_JMS_EXP 302
#define ZRF_NAME_JMS_PRI 303
#define ZRF_NAME_JMS_DLV 304
#define ZRF_NAME_JMS_CID 305
#define ZRF_NAME_JMS_RTO 306
#define ZRF_NAME_JMS_TMS 307
#define ZRF_NAME_JMS_GID 308
#define ZRF_NAME_JMS_SEQ 309

/* Message content descriptor: "mcd." names and the message-domain values. */
#define ZRF_NAME_MCD_MSD 401
#define ZRF_NAME_MCD_TYPE 402
#define ZRF_NAME_MCD_SET 403
#define ZRF_NAME_MCD_FMT 404
#define ZRF_NAME_MCD_JMS_BYTES 411 /* "jms_bytes" */
#define ZRF_NAME_MCD_JMS_MAP 412
#define ZRF_NAME_MCD_JMS_NONE 413
#define ZRF_NAME_MCD_JMS_OBJECT 414
#define ZRF_NAME_MCD_JMS_STREAM 415
#define ZRF_NAME_MCD_JMS_TEXT 416

/* Provider-specific JMS names ("JMS_ZOL_" followed by the part named). */
#define ZRF_NAME_JMS_ZOL_CHARACTER_SET 501
#define ZRF_NAME_JMS_ZOL_ENCODING 502
#define ZRF_NAME_JMS_ZOL_FEEDBACK 503
#define ZRF_NAME_JMS_ZOL_FORMAT 504
#define ZRF_NAME_JMS_ZOL_LAST_MSG_IN_GROUP 505
#define ZRF_NAME_JMS_ZOL_MSGTYPE 506
#define ZRF_NAME_JMS_ZOL_PUTAPPLTYPE 507
#define ZRF_NAME_JMS_ZOL_PUTDATE 508
#define ZRF_NAME_JMS_ZOL_PUTTIME 509
#define ZRF_NAME_JMS_ZOL_REPORT_COA 510
#define ZRF_NAME_JMS_ZOL_REPORT_COD 511
#define ZRF_NAME_JMS_ZOL_REPORT_DISCARD_MSG 512
#define ZRF_NAME_JMS_ZOL_REPORT_EXCEPTION 513
#define ZRF_NAME_JMS_ZOL_REPORT_EXPIRATION 514
#define ZRF_NAME_JMS_ZOL_REPORT_NAN 515
#define ZRF_NAME_JMS_ZOL_REPORT_PAN 516
#define ZRF_NAME_JMS_ZOL_REPORT_PASS_CORREL_ID 517
#define ZRF_NAME_JMS_ZOL_REPORT_PASS_MSG_ID 518

/* Queue-manager internal names. */
#define ZRF_NAME_KWI_FMT 601
#define ZRF_NAME_KWI_CCS 602
#define ZRF_NAME_KWI_ENC 603
#define ZRF_NAME_KWI_RETPUTCID 604
#define ZRF_NAME_KWI_RETPUTOPTS 605
#define ZRF_NAME_KWI_RETPUTPRTY 606
#define ZRF_NAME_KWI_RETPUTQMGR 607
#define ZRF_NAME_KWI_RETBCOLLID 608
#define ZRF_NAME_KWI_RETPIDQMGR 609
#define ZRF_NAME_KWI_RETPIDQNAME 610
#define ZRF_NAME_KWI_RETHDRSTR 611
#define ZRF_NAME_KW_AUI 621
#define ZRF_NAME_KW_AUIT 622

/* Publish/subscribe names. */
#define ZRF_NAME_KWPS_TOP 701
#define ZRF_NAME_KWPS_SUD 702
#define ZRF_NAME_KWPS_RET 703
#define ZRF_NAME_KWPS_STN 704
#define ZRF_NAME_KWPS_PUB 705
#define ZRF_NAME_KWPS_PBL 706
#define ZRF_NAME_KWPS_PFLGS 707
#define ZRF_NAME_KWPS_PTN 708
#define ZRF_NAME_KWPS_POQM 709
#define ZRF_NAME_KWPSE 721
#define ZRF_NAME_KWPSE_PTS 722
#define ZRF_NAME_KWPSE_SEQ 723
#define ZRF_NAME_KWPSE_PFMT 724
#define ZRF_NAME_KWPSE_SID 725
#define ZRF_NAME_KWPSI_STN 741
#define ZRF_NAME_KWPSI_RFH 742
#define ZRF_NAME_KWPSI_CCSID 743
#define ZRF_NAME_KWPSI_OTH 744
#define ZRF_NAME_KWPSI_PSC 745
#define ZRF_NAME_KWPSI_PSCO 746
#define ZRF_NAME_ZOL_RFP 761
#define ZRF_NAME_ZOL_RFP_ID 762

/* Long-form names ("KW" followed by the part named). */
#define ZRF_NAME_KW_APPLICATIONUSERID 801
#define ZRF_NAME_KW_APPLICATIONUSERIDTYPE 802
#define ZRF_NAME_KW_TOPICSTRING 803
#define ZRF_NAME_KW_SUBUSERDATA 804
#define ZRF_NAME_KW_ISRETAINED 805
#define ZRF_NAME_KW_STREAMNAME 806
#define ZRF_NAME_KW_PUBOPTIONS 807
#define ZRF_NAME_KW_PUBLEVEL 808
#define ZRF_NAME_KW_PUBTIME 809
#define ZRF_NAME_KW_PUBSEQNUM 810
#define ZRF_NAME_KW_PUBSTRINTDATA 811
#define ZRF_NAME_KW_PUBFORMAT 812
#define ZRF_NAME_KW_PUBFLAGS 813
#define ZRF_NAME_KW_PUBORIGQMGRNAME 814
#define ZRF_NAME_KW_PUBTOPICNAME 815

/* Older publish/subscribe command folder. */
#define ZRF_NAME_PSC_COMMAND 901
#define ZRF_NAME_PSC_TOPIC 902
#define ZRF_NAME_PSC_SUBPOINT 903
#define ZRF_NAME_PSC_QMGRNAME 904
#define ZRF_NAME_PSC_QNAME 905
#define ZRF_NAME_PSC_PUBOPT 906
#define ZRF_NAME_PSC_PUBTIME 907
#define ZRF_NAME_PSC_SEQNUM 908

/* Checks a property name of `nameLength` bytes written in `ccsid`.
 *
 * The CCSID decides how the name is read: 1208 as UTF-8, 1200, 13488 and
 * 17584 as UCS-2, every other row byte by byte with the full stop of its code
 * page (0x2E, or 0x4B for EBCDIC). `ccsidType` (ZRF_CCSIDTYPE_*) only gives
 * the byte order of a UCS-2 name: BUCS2 most significant byte first, any
 * other value least significant byte first (the machine's order).
 *
 * The characters are checked first (UTF-8 names are decoded to UCS-2; four-byte
 * forms, malformed and overlong sequences are refused), then the reserved
 * words, then the known-name families as by zrfCheckForKnown*Name.
 *
 * Returns the reason code and sets *compCode / *reason (both required):
 *   0 / 0       the name may be used;
 *   2 / 2111    `ccsid` has no row in the character table (a failure record is
 *               written);
 *   2 / 2442    the name is refused (a null name, a length below 1, a bad
 *               character, a trailing full stop, a reserved word, an unknown
 *               member of a reserved family); the reason is traced. */
ZXV_API KWLONG zrfValidatePropertyName(const void* name, KWLONG nameLength, KWLONG ccsid,
                                       KWLONG ccsidType, KWLONG* compCode, KWLONG* reason);

/* Looks a name up among the known names, comparing in the name's own
 * encoding: one function per encoding family (ASCII-based single byte,
 * EBCDIC single byte, UTF-8, UCS-2 most significant byte first, UCS-2 least
 * significant byte first).
 *
 * Returns the name identifier (ZRF_NAME_*), or ZRF_NAME_NONE for a name that
 * is not known. *compCode / *reason (both required) are 0 / 0 unless the name
 * begins with the prefix of a reserved family but is not on that family's
 * list, or breaks a "kwpsc." / "psc." prefix rule: then 2 / 2442 and
 * ZRF_NAME_NONE. Reserved words and characters are not checked here. A null
 * name or a length below 1 is an ordinary name (ZRF_NAME_NONE, 0 / 0). */
ZXV_API KWLONG zrfCheckForKnownASCIIName(const void* name, KWLONG nameLength, KWLONG* compCode,
                                         KWLONG* reason);
ZXV_API KWLONG zrfCheckForKnownEBCDICName(const void* name, KWLONG nameLength, KWLONG* compCode,
                                          KWLONG* reason);
ZXV_API KWLONG zrfCheckForKnownUTF8Name(const void* name, KWLONG nameLength, KWLONG* compCode,
                                        KWLONG* reason);
ZXV_API KWLONG zrfCheckForKnownBUCS2Name(const void* name, KWLONG nameLength, KWLONG* compCode,
                                         KWLONG* reason);
ZXV_API KWLONG zrfCheckForKnownLUCS2Name(const void* name, KWLONG nameLength, KWLONG* compCode,
                                         KWLONG* reason);

ZXV_EXTERN_C_END

#endif
