// Validity rules for object, queue-manager and installation names and for
// generic security profiles. Each check judges a fixed-width blank-padded
// field byte by byte against a class table (name_char_classes.h) and answers
// only valid (ZXVRC_OK) or invalid (ZXVRC_INVALID_NAME); it never says which
// byte was wrong and writes no failure record. A null name is invalid.
//
//   int32_t star;
//   CheckObjectName(field, ZUT_NAME_ALLOW_GENERIC, &star);  // "AB*" -> OK, star 2
#pragma once

#include <cstdint>

#include "base/result.h"

namespace zxv::base {

// A 48-byte object name under the ZUT_NAME_* option bits. With
// ZUT_NAME_ALLOW_GENERIC, a valid name and a non-null `asteriskPos`, the
// position of the trailing '*' (or -1 when there is none) is stored.
Rc CheckObjectName(const char* name, int32_t options, int32_t* asteriskPos);

// A 48-byte queue-manager name: '.' and '/' accepted, '-' and '*' refused,
// all blank valid (the default queue manager).
Rc CheckQueueManagerName(const char* name);

// A 16-byte installation name: alphanumerics, ended by NUL or by trailing
// blanks. Empty and all-blank names pass; callers test emptiness themselves.
Rc CheckInstallationName(const char* name);

// A 48-byte generic profile: profile characters then trailing blanks, not
// empty, at most one "**", which must stand between dots (or at an end).
Rc CheckProfile(const char* profile);

}  // namespace zxv::base
