// The growable output of the header converters and their scratch space,
// both from the platform allocator so that every failure path can be
// driven by failure injection.
#include <cstring>

#include "props/props_writer.h"
#include "zxvxcs2/xcs_memory.h"

namespace zxv::props {
namespace {

constexpr uint32_t kProbeScratch = 1;
constexpr uint32_t kMinOutSize = 256;

}  // namespace

KWLONG ReserveOut(ZRFHDRBUF* out, uint64_t more, const char* file, uint32_t probe) {
  const uint64_t need = uint64_t{out->Length} + more;
  if (need <= out->Size) return KWRC_NONE;
  // Headers travel with 32-bit lengths.
  if (need > kMaxListSize) return KWRC_STORAGE_NOT_AVAILABLE;
  uint64_t size = uint64_t{out->Size} * 2;
  if (size < need) size = need;
  if (size < kMinOutSize) size = kMinOutSize;
  if (size > kMaxListSize) size = kMaxListSize;
  void* block = nullptr;
  const xcsRC rc = out->pBuffer == nullptr ? xcsGetMemFn(size, &block)
                                           : xcsReallocMemFn(out->pBuffer, size, &block);
  if (rc != xcsRC_OK) return StorageReason(rc, file, probe);
  out->pBuffer = static_cast<uint8_t*>(block);
  out->Size = static_cast<KWULONG>(size);
  return KWRC_NONE;
}

ScratchBytes::~ScratchBytes() {
  if (data_ != inline_) xcsFreeMemFn(data_);
}

KWLONG ScratchBytes::Reserve(uint64_t size) {
  if (size <= capacity_) return KWRC_NONE;
  if (size > kMaxListSize) return KWRC_STORAGE_NOT_AVAILABLE;
  uint64_t grown = uint64_t{capacity_} * 2;
  if (grown < size) grown = size;
  if (grown > kMaxListSize) grown = kMaxListSize;
  void* block = nullptr;
  const xcsRC rc = xcsGetMemFn(grown, &block);
  if (rc != xcsRC_OK) return StorageReason(rc, __FILE__, kProbeScratch);
  if (data_ != inline_) xcsFreeMemFn(data_);
  data_ = static_cast<uint8_t*>(block);
  capacity_ = static_cast<uint32_t>(grown);
  return KWRC_NONE;
}

}  // namespace zxv::props
