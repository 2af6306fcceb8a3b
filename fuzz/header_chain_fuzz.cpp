// Fuzzes the conversion engine over whole messages: the first four bytes
// choose the source form (encoding, CCSID; both byte orders), the target
// form, the format of the first structure and the options (output room,
// truncation, in place, through vxKWXDX); the rest is the message. Checks
// what always holds: a known reason, the length within the buffer, and a
// failure that leaves the data as given.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "zxvxcs2/xcs_env.h"
#include "zxvxzu/dataconv.h"

namespace {

struct FormChoice {
  int32_t encoding;
  int32_t ccsid;
};
constexpr FormChoice kForms[] = {
    {273, 37},  {546, 850},   {546, 1208}, {273, 500}, {546, 1200}, {273, 1200},
    {785, 819}, {546, 13488}, {273, 1047}, {546, 819}, {0, 850},    {546, 425},
};
constexpr size_t kFormCount = sizeof kForms / sizeof kForms[0];

// The formats of the dispatch table, the transmission header, and names
// that are not built in.
constexpr const char* kFormats[] = {
    "KWXMIT  ", "KWDEAD  ", "KWHMDE  ", "KWHRF2  ", "KWHRF   ", "KWHREF  ", "KWTRX   ",
    "KWHSAP  ", "KWHEPCF ", "KWTRIG  ", "KWTRXVS ", "KWSTR   ", "KWCMD1  ", "KWCMD2  ",
    "KWPCF   ", "KWADMIN ", "KWEVENT ", "KWAMQP  ", "        ", "MYFMT   ", "KWSTR\0\0\0",
};
constexpr size_t kFormatCount = sizeof kFormats / sizeof kFormats[0];

constexpr size_t kPrefix = 4;

bool KnownReason(KWLONG reason) {
  switch (reason) {
    case KWRC_NONE:
    case KWRC_TRUNCATED_MSG_ACCEPTED:
    case KWRC_FORMAT_ERROR:
    case KWRC_SOURCE_INTEGER_ENC_ERROR:
    case KWRC_TARGET_CCSID_ERROR:
    case KWRC_TARGET_INTEGER_ENC_ERROR:
    case KWRC_NOT_CONVERTED:
    case KWRC_CONVERTED_MSG_TOO_BIG:
    case KWRC_DBCS_ERROR:
    case KWRC_CONVERTED_STRING_TOO_BIG:
      return true;
    default:
      return false;
  }
}

void Check(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool no_exits = [] {
    // Formats that are not built in stay as they are: no module loading.
    setenv("ZXV_NO_USER_DATACONV", "1", 1);
    xcsClearEnvCache();
    return true;
  }();
  (void)no_exits;
  if (size < kPrefix) return 0;
  const FormChoice& from = kForms[data[0] % kFormCount];
  const FormChoice& to = kForms[data[1] % kFormCount];
  const char* format = kFormats[data[2] % kFormatCount];
  const uint8_t options = data[3];
  const uint8_t* message = data + kPrefix;
  const size_t length = size - kPrefix;

  // Output room from half the input to four times it, exactly sized so that
  // any write past it is caught.
  static constexpr size_t kRoomPercent[] = {50, 100, 200, 400};
  const size_t room = length * kRoomPercent[options & 3] / 100;
  const bool truncation = (options & 4) != 0;
  const bool in_place = (options & 8) != 0 && room >= length;
  const bool through_exit = (options & 16) != 0;

  std::vector<uint8_t> in(message, message + length);
  std::vector<uint8_t> out(in_place ? 0 : room);
  std::vector<uint8_t> place;
  if (in_place) {
    place.assign(message, message + length);
    place.resize(room);
  }
  uint8_t* out_buffer = in_place ? place.data() : out.data();
  const uint8_t* in_buffer = in_place ? place.data() : in.data();

  KWLONG reason, comp_code, data_length;
  if (through_exit) {
    KWDXP dxp{};
    std::memcpy(dxp.StrucId, KWDXP_STRUC_ID, 4);
    dxp.Version = KWDXP_VERSION_1;
    dxp.AppOptions = truncation ? KWGMO_ACCEPT_TRUNCATED_MSG : 0;
    dxp.Encoding = to.encoding;
    dxp.CodedCharSetId = to.ccsid;
    KWMD md{};
    md.Encoding = from.encoding;
    md.CodedCharSetId = from.ccsid;
    std::memcpy(md.Format, format, 8);
    reason = vxKWXDX(&dxp, &md, static_cast<KWLONG>(length), const_cast<uint8_t*>(in_buffer),
                     static_cast<KWLONG>(room), out_buffer);
    comp_code = dxp.CompCode;
    data_length = dxp.DataLength;
  } else {
    VPICONVERTREQ req{};
    req.SourceEncoding = from.encoding;
    req.SourceCCSID = from.ccsid;
    req.TargetEncoding = to.encoding;
    req.TargetCCSID = to.ccsid;
    std::memcpy(req.Format, format, 8);
    req.Options = truncation ? KWGMO_ACCEPT_TRUNCATED_MSG : 0;
    req.DataLength = req.AvailableLength = static_cast<KWLONG>(length);
    req.InBuffer = in_buffer;
    req.BufferLength = static_cast<KWLONG>(room);
    req.OutBuffer = out_buffer;
    reason = vpiConvertData(&req);
    comp_code = req.CompCode;
    data_length = req.DataLength;
  }
  Check(KnownReason(reason));
  Check(data_length >= 0 && static_cast<size_t>(data_length) <= room);
  if (comp_code != KWCC_OK && reason != KWRC_TRUNCATED_MSG_ACCEPTED) {
    // Left as given.
    const size_t kept = length < room ? length : room;
    Check(static_cast<size_t>(data_length) == kept);
    Check(kept == 0 || std::memcmp(out_buffer, message, kept) == 0);
  }
  return 0;
}
