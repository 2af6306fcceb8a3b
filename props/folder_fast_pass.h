// The folder parser's fused pass: one loop over the bytes of a UTF-8 folder
// of the common shape (a folder start tag without attributes, elements
// whose start tags carry nothing or a lone dt attribute, text with the
// predefined entities, groups where the folder allows them) that reads each
// tag name through one class table while checking its characters, types
// the value, and writes the node at the end of the list without going
// through the session, as long as the name is new to the list and belongs
// behind its last node.
//
// Whatever the pass does not handle itself it either hands to the session
// for that one property (a name the descriptor takes, a name the list
// already holds or whose group lies further up) or, for anything else in
// the markup or the names (other attributes, a name refused, a syntax
// error, a trace that is switched on), gives up on the whole folder: the
// caller then rolls the session back to the folder's start and runs the
// general grammar, so that what the caller sees is always exactly what the
// general grammar gives.
//
//   KWLONG reason = KWRC_NONE;
//   switch (ParseFolderFast(text, length, &session, &action, &reason)) {
//     case FastPass::kDone: return reason;
//     case FastPass::kGaveUp: session.RollbackFolder(); session.BeginFolder(); break;
//     case FastPass::kDeclined: break;
//   }
//   ... the general grammar ...
#pragma once

#include <cstdint>

#include "props/folder_session.h"
#include "zxvxzu/zxvxzu_types.h"

namespace zxv::props {

enum class FastPass : uint8_t {
  kDone,      // the folder is parsed; *reason and *action say how it went
  kGaveUp,    // the general grammar must parse the folder, after a rollback
  kDeclined,  // the general grammar must parse the folder; nothing was changed
};

// Runs the fused pass over one folder of UTF-8 text through `session`
// (which must have had BeginFolder and SetFolderEncoding). kDone with
// *reason KWRC_NONE, or with the reason the session or the list gave when
// a property could not be added (the caller rolls back as for the general
// grammar); kGaveUp when the folder needs the general grammar, with the
// list and descriptor possibly changed (the caller rolls them back);
// kDeclined when it needs the general grammar and nothing was changed.
FastPass ParseFolderFast(const uint8_t* text, uint32_t length, FolderSession* session,
                         uint32_t* action, KWLONG* reason);

}  // namespace zxv::props
