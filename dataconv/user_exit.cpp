// Loading and calling user data-conversion exits.
#include "dataconv/user_exit.h"

#include <cstring>

#include "dataconv/fn_numbers.h"
#include "zxvxcs2/xcs_erdp.h"
#include "zxvxcs2/xcs_guard.h"
#include "zxvxcs2/xcs_memory.h"
#include "zxvxcs2/xcs_module.h"
#include "zxvxcs2/xcs_trace.h"
#include "zxvxzu/dataconv.h"
#include "zxvxzu/kwmd.h"

namespace zxv::dataconv {
namespace {

constexpr uint32_t kProbeUnexpectedAllocCode = 20;

// The module name: the format without its trailing blanks. Only names of
// printable characters other than '/' name a module: the loader would take a
// name with '/' as a path.
bool ModuleName(const char* format, char (&name)[KW_FORMAT_LENGTH + 1]) {
  size_t length = KW_FORMAT_LENGTH;
  while (length > 0 && format[length - 1] == ' ') --length;
  if (length == 0) return false;
  for (size_t i = 0; i < length; ++i) {
    const unsigned char c = static_cast<unsigned char>(format[i]);
    if (c <= ' ' || c >= 0x7F || c == '/') return false;
  }
  std::memcpy(name, format, length);
  name[length] = '\0';
  return true;
}

// Unloads a module when the call ends.
class LoadedModule {
 public:
  LoadedModule() = default;
  LoadedModule(const LoadedModule&) = delete;
  LoadedModule& operator=(const LoadedModule&) = delete;
  ~LoadedModule() {
    if (handle_ != nullptr) xcsFreeLibrary(handle_);
  }
  void** slot() { return &handle_; }
  void* handle() const { return handle_; }

 private:
  void* handle_ = nullptr;
};

// Frees a platform block when the call ends.
class OwnedBlock {
 public:
  OwnedBlock() = default;
  OwnedBlock(const OwnedBlock&) = delete;
  OwnedBlock& operator=(const OwnedBlock&) = delete;
  ~OwnedBlock() {
    if (block_ != nullptr) xcsFreeMemFn(block_);
  }
  void** slot() { return &block_; }
  uint8_t* data() const { return static_cast<uint8_t*>(block_); }

 private:
  void* block_ = nullptr;
};

// What the guarded call needs.
struct ExitCall {
  KW_DATACONV_EXIT exit;
  KWDXP* dxp;
  KWMD* md;
  KWLONG in_length;
  void* in;
  KWLONG out_length;
  void* out;
};

void CallExit(void* argument) {
  const ExitCall* call = static_cast<const ExitCall*>(argument);
  call->exit(call->dxp, call->md, call->in_length, call->in, call->out_length, call->out);
}

int32_t StorageReason(xcsRC rc) {
  const int32_t reason = xcsStorageReason(rc);
  if (reason == KWRC_UNEXPECTED_ERROR) {
    xcsERDPFn(kComponent, __FILE__, kProbeUnexpectedAllocCode, rc, "Unexpected allocator code",
              nullptr, 0);
  }
  return reason;
}

}  // namespace

int32_t CallUserExit(Step& step, int32_t pending_comp_code, int32_t pending_reason) {
  char name[KW_FORMAT_LENGTH + 1];
  if (!ModuleName(step.format, name)) {
    xtr_text_detail(kComponent, kFnUserExit, "No exit module name in format '%.8s'", step.format);
    return kExitNotFound;
  }
  LoadedModule module;
  xcsRC rc = xcsLoadFunction(name, XCS_LOAD_EXIT_SEARCH, module.slot());
  void* entry = nullptr;
  if (rc == xcsRC_OK) rc = xcsQueryProcAddr(module.handle(), KW_DATACONV_EXIT_ENTRY, &entry);
  if (rc == xcsRC_MODULE_NOT_FOUND || rc == xcsRC_ENTRY_POINT_NOT_FOUND) {
    xtr_text_detail(kComponent, kFnUserExit, "Data-conversion exit %s not found: rc %x", name,
                    static_cast<unsigned>(rc));
    return kExitNotFound;
  }
  if (rc != xcsRC_OK) return StorageReason(rc);

  // The exit works on a private copy of its input: the caller's data must be
  // there, unchanged, should the exit fail.
  if (step.in_length > 0x7FFFFFFF || step.out_length > 0x7FFFFFFF) {
    return KWRC_CONVERTED_MSG_TOO_BIG;
  }
  OwnedBlock input;
  rc = xcsGetMemFn(step.in_length, input.slot());
  if (rc != xcsRC_OK) return StorageReason(rc);
  if (step.in_length > 0) std::memcpy(input.data(), step.in, step.in_length);

  KWDXP dxp;
  std::memset(&dxp, 0, sizeof dxp);
  std::memcpy(dxp.StrucId, KWDXP_STRUC_ID, sizeof dxp.StrucId);
  dxp.Version = KWDXP_VERSION_1;
  dxp.AppOptions = step.accept_truncation ? KWGMO_ACCEPT_TRUNCATED_MSG : 0;
  dxp.Encoding = step.target_encoding;
  dxp.CodedCharSetId = step.target_ccsid;
  dxp.DataLength = static_cast<KWLONG>(step.in_length);
  dxp.CompCode = pending_comp_code;
  dxp.Reason = pending_reason;
  dxp.ExitResponse = KWXDR_OK;

  KWMD md;
  std::memset(&md, 0, sizeof md);
  std::memcpy(md.StrucId, KWMD_STRUC_ID, sizeof md.StrucId);
  md.Version = KWMD_VERSION_2;
  md.Encoding = step.source_encoding;
  md.CodedCharSetId = step.source_ccsid;
  std::memcpy(md.Format, step.format, KW_FORMAT_LENGTH);

  ExitCall call{reinterpret_cast<KW_DATACONV_EXIT>(entry),
                &dxp,
                &md,
                static_cast<KWLONG>(step.in_length),
                input.data(),
                static_cast<KWLONG>(step.out_length),
                step.out};
  int signal_number = 0;
  rc = xcsCallGuarded(CallExit, &call, &signal_number);
  if (rc != xcsRC_OK) {
    xtr_text_detail(kComponent, kFnUserExit, "Data-conversion exit %s faulted: signal %d", name,
                    signal_number);
    return KWRC_API_EXIT_ERROR;
  }
  xtr_text_detail(kComponent, kFnUserExit,
                  "Data-conversion exit %s: CompCode %d Reason %d Response %d DataLength %d", name,
                  static_cast<int>(dxp.CompCode), static_cast<int>(dxp.Reason),
                  static_cast<int>(dxp.ExitResponse), static_cast<int>(dxp.DataLength));
  const bool converted = dxp.CompCode == KWCC_OK && dxp.ExitResponse == KWXDR_OK;
  const bool truncated = dxp.CompCode == KWCC_WARNING &&
                         dxp.Reason == KWRC_TRUNCATED_MSG_ACCEPTED && step.accept_truncation &&
                         dxp.ExitResponse == KWXDR_OK;
  if (!converted && !truncated) {
    return dxp.Reason != KWRC_NONE ? dxp.Reason : KWRC_NOT_CONVERTED;
  }
  if (dxp.DataLength < 0 || static_cast<size_t>(dxp.DataLength) > step.out_length) {
    return KWRC_NOT_CONVERTED;
  }
  step.in_used = step.in_length;
  step.out_used = static_cast<size_t>(dxp.DataLength);
  return truncated ? KWRC_TRUNCATED_MSG_ACCEPTED : KWRC_NONE;
}

}  // namespace zxv::dataconv
