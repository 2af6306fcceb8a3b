// The dispatch table of the built-in formats, by their 8-character names.
#include <cstring>

#include "dataconv/converter.h"
#include "dataconv/header_converters.h"
#include "zxvxzu/dataconv.h"
#include "zxvxzu/kwrfh2.h"

namespace zxv::dataconv {

// "KWXMIT  " is not here: the engine converts the transmission header itself
// before it looks a format up.
const ConverterEntry kConverterTable[] = {
    {{' ', ' ', ' ', ' ', ' ', ' ', ' ', ' '}, CopyWithoutConversion},
    {{'K', 'W', 'A', 'D', 'M', 'I', 'N', ' '}, vwb_admin},
    {{'K', 'W', 'E', 'V', 'E', 'N', 'T', ' '}, vwb_admin},
    {{'K', 'W', 'P', 'C', 'F', ' ', ' ', ' '}, vwb_admin},
    {{'K', 'W', 'C', 'M', 'D', '1', ' ', ' '}, ConvertWholeText},
    {{'K', 'W', 'C', 'M', 'D', '2', ' ', ' '}, ConvertWholeText},
    {{'K', 'W', 'S', 'T', 'R', ' ', ' ', ' '}, ConvertWholeText},
    {{'K', 'W', 'T', 'R', 'I', 'G', ' ', ' '}, ConvertTrigger},
    {{'K', 'W', 'H', 'R', 'E', 'F', ' ', ' '}, ConvertRMH},
    {{'K', 'W', 'D', 'E', 'A', 'D', ' ', ' '}, ConvertDLH},
    {{'K', 'W', 'H', 'M', 'D', 'E', ' ', ' '}, ConvertMDE},
    {{'K', 'W', 'T', 'R', 'X', ' ', ' ', ' '}, ConvertTIH},
    {{'K', 'W', 'T', 'R', 'X', 'V', 'S', ' '}, ConvertTrxVarString},
    {{'K', 'W', 'H', 'S', 'A', 'P', ' ', ' '}, ConvertSAPH},
    {{'K', 'W', 'H', 'R', 'F', ' ', ' ', ' '}, ConvertRFH},
    {{'K', 'W', 'H', 'R', 'F', '2', ' ', ' '}, ConvertRFH2},
    {{'K', 'W', 'H', 'E', 'P', 'C', 'F', ' '}, ConvertEPH},
    {{'K', 'W', 'A', 'M', 'Q', 'P', ' ', ' '}, CopyWithoutConversion},
};
const size_t kConverterTableSize = sizeof kConverterTable / sizeof kConverterTable[0];

ConverterFn FindConverter(const char* format) {
  for (size_t i = 0; i < kConverterTableSize; ++i) {
    if (std::memcmp(kConverterTable[i].format, format, KW_FORMAT_LENGTH) == 0) {
      return kConverterTable[i].convert;
    }
  }
  return nullptr;
}

}  // namespace zxv::dataconv
