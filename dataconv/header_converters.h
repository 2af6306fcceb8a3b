// The converters of the built-in formats other than PCF, one per format of
// the dispatch table (and the transmission header, which the engine calls
// before the table). Each has the ConverterFn contract of converter.h.
#pragma once

#include "dataconv/converter.h"

namespace zxv::dataconv {

// Headers that chain: each describes what follows it in step.next_*.
int32_t ConvertXQH(Step& step);   // "KWXMIT  " transmission header, 428 bytes
int32_t ConvertDLH(Step& step);   // "KWDEAD  " dead-letter header, 172 bytes
int32_t ConvertMDE(Step& step);   // "KWHMDE  " descriptor extension, 72 bytes
int32_t ConvertTIH(Step& step);   // "KWTRX   " TRX bridge header, 84 bytes
int32_t ConvertSAPH(Step& step);  // "KWHSAP  " SAP header, 96 bytes
int32_t ConvertRMH(Step& step);   // "KWHREF  " reference header, 108 + strings
int32_t ConvertRFH(Step& step);   // "KWHRF   " older name/value header
int32_t ConvertRFH2(Step& step);  // "KWHRF2  " property header
int32_t ConvertEPH(Step& step);   // "KWHEPCF " embedded PCF header

// Formats that end the chain.
int32_t ConvertTrigger(Step& step);         // "KWTRIG  " trigger message
int32_t ConvertTrxVarString(Step& step);    // "KWTRXVS " LLZZ segments
int32_t ConvertWholeText(Step& step);       // "KWSTR   ", "KWCMD1  ", "KWCMD2  "
int32_t CopyWithoutConversion(Step& step);  // "        ", "KWAMQP  "

}  // namespace zxv::dataconv
