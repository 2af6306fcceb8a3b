// Table-driven conversion of the fixed parts of headers.
#include "dataconv/header_fields.h"

#include <cstring>

#include "zxvxcs2/xcs_ccsid.h"

namespace zxv::dataconv {
namespace {

// CCSID values that mean "as the structure before".
bool InheritsCcsid(int32_t ccsid) { return ccsid == 0 || ccsid == -1 || ccsid == -2; }

size_t CharWidth(int32_t ccsid) { return xcsIsTwoByteCCSID(ccsid) ? 2 : 1; }

}  // namespace

int32_t CheckRoom(const Step& step, size_t length, size_t out_length) {
  if (step.in_length < length) return KWRC_NOT_CONVERTED;
  if (step.out_length < out_length) return KWRC_CONVERTED_MSG_TOO_BIG;
  return KWRC_NONE;
}

int32_t CheckStrucId(const Step& step, const char* struc_id) {
  char local[4];
  if (step.in_length < sizeof local) return KWRC_NOT_CONVERTED;
  if (!NameToLocal(step.in, sizeof local, step.source_ccsid, local) ||
      std::memcmp(local, struc_id, sizeof local) != 0) {
    return KWRC_FORMAT_ERROR;
  }
  return KWRC_NONE;
}

int32_t ConvertFields(const Step& step, const Field* fields, size_t count, size_t length) {
  std::memcpy(step.out, step.in, length);
  for (size_t i = 0; i < count; ++i) {
    const Field& f = fields[i];
    const uint8_t* in = step.in + f.offset;
    uint8_t* out = step.out + f.offset;
    int32_t reason = KWRC_NONE;
    switch (f.kind) {
      case FieldKind::kInt16:
        reason = ConvertShorts(step.source_encoding, step.target_encoding, in, out, 1);
        break;
      case FieldKind::kInt32:
        reason = ConvertLongs(step.source_encoding, step.target_encoding, in, out, 1);
        break;
      case FieldKind::kChars: {
        size_t used = 0;
        const Outcome o =
            ConvertChars(step.source_ccsid, step.source_encoding, step.target_ccsid,
                         step.target_encoding, in, f.length, out, f.length, VXT_CHARS_FIELD, &used);
        // A field of odd length in a two-byte set converts with a warning; the
        // field is still whole.
        if (o.comp_code == KWCC_FAILED) reason = o.reason;
        break;
      }
      case FieldKind::kCharInt: {
        const size_t in_chars = f.length / CharWidth(step.source_ccsid);
        const size_t out_width = CharWidth(step.target_ccsid);
        const size_t out_chars = f.length / out_width;
        reason = ConvertCharIntField(step.source_ccsid, step.source_encoding, step.target_ccsid,
                                     step.target_encoding, in, in_chars, out, out_chars);
        if (reason == KWRC_NONE && out_chars * out_width < f.length) {
          FillBlanks(out + out_chars * out_width, f.length - out_chars * out_width,
                     step.target_ccsid, step.target_encoding);
        }
        break;
      }
      case FieldKind::kBytes:
        break;
    }
    if (reason != KWRC_NONE) return reason;
  }
  return KWRC_NONE;
}

int32_t DescribeNext(Step& step, const HeaderLayout& layout) {
  if (!NameToLocal(step.in + layout.next_format_at, KW_FORMAT_LENGTH, step.source_ccsid,
                   step.next_format)) {
    return KWRC_FORMAT_ERROR;
  }
  step.chain_ends = false;
  step.next_encoding = LoadI32(step.in + layout.next_encoding_at, step.source_encoding);
  step.next_ccsid = LoadI32(step.in + layout.next_ccsid_at, step.source_encoding);
  // What follows is converted too: the header now describes the target form.
  StoreI32(step.out + layout.next_encoding_at, step.target_encoding, step.target_encoding);
  step.next_encoding_at = layout.next_encoding_at;
  if (InheritsCcsid(step.next_ccsid)) {
    step.next_ccsid_at = Step::kNoOffset;
  } else {
    StoreI32(step.out + layout.next_ccsid_at, step.target_ccsid, step.target_encoding);
    step.next_ccsid_at = layout.next_ccsid_at;
  }
  return KWRC_NONE;
}

int32_t ConvertFixedHeader(Step& step, const HeaderLayout& layout, bool variable,
                           size_t* struc_length) {
  if (step.in_length < layout.fixed_length) return KWRC_NOT_CONVERTED;
  int32_t reason = CheckStrucId(step, layout.struc_id);
  if (reason != KWRC_NONE) return reason;
  reason = CheckEncodings(step.source_encoding, step.target_encoding);
  if (reason != KWRC_NONE) return reason;
  size_t length = layout.fixed_length;
  if (layout.struc_length_at != HeaderLayout::kNone) {
    const int32_t claimed = LoadI32(step.in + layout.struc_length_at, step.source_encoding);
    if (claimed < 0) return KWRC_NOT_CONVERTED;
    const size_t claimed_length = static_cast<size_t>(claimed);
    if (variable ? (claimed_length < layout.fixed_length || claimed_length > step.in_length)
                 : claimed_length != layout.fixed_length) {
      return KWRC_NOT_CONVERTED;
    }
    length = claimed_length;
  }
  if (step.out_length < layout.fixed_length) return KWRC_CONVERTED_MSG_TOO_BIG;
  reason = ConvertFields(step, layout.fields, layout.field_count, layout.fixed_length);
  if (reason != KWRC_NONE) return reason;
  reason = DescribeNext(step, layout);
  if (reason != KWRC_NONE) return reason;
  step.in_used = layout.fixed_length;
  step.out_used = layout.fixed_length;
  if (struc_length != nullptr) *struc_length = length;
  return KWRC_NONE;
}

}  // namespace zxv::dataconv
