// The index of a handle's property list: node offsets by name.
#include "props/message_handle.h"
#include "zxvxcs2/xcs_memory.h"

namespace zxv::props {

bool IndexLookup(MsgHandle*, const uint8_t*, uint32_t, uint32_t*) { return false; }

void FreeIndex(MsgHandle* handle) {
  xcsFreeMemFn(handle->Work.pIndex);
  handle->Work.pIndex = nullptr;
}

}  // namespace zxv::props
