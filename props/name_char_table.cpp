// Lookup in the generated property-name character table.
#include "props/name_char_table.h"

namespace zxv::props {

const NameCharRow* FindNameCharRow(int32_t ccsid) {
  // CCSID 0 ends the table and is never a row of its own.
  if (ccsid == 0) return nullptr;
  for (const NameCharRow* row = kNameCharTable; row->ccsid != 0; ++row) {
    if (row->ccsid == ccsid) return row;
  }
  return nullptr;
}

}  // namespace zxv::props
