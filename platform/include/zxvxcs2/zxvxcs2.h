/* Common-services layer: everything the library may call. */
#ifndef ZXVXCS2_ZXVXCS2_H
#define ZXVXCS2_ZXVXCS2_H

#include "xcs_base.h"
#include "xcs_ccsid.h"
#include "xcs_env.h"
#include "xcs_erdp.h"
#include "xcs_guard.h"
#include "xcs_ini.h"
#include "xcs_memory.h"
#include "xcs_message.h"
#include "xcs_module.h"
#include "xcs_mutex.h"
#include "xcs_thread.h"
#include "xcs_trace.h"

#endif
