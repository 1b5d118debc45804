// zel/zel.h - every public header of libzelutil.
//
// Include this one header to use any public name of the library; include the
// family headers directly to keep compile times down.
//
// All but one: zel/format.h, the fmt formatters, is opt-in, since the library
// itself does not depend on fmt; include it where fmt or spdlog is used.

#ifndef ZEL_ZEL_H_
#define ZEL_ZEL_H_

// zel/arm.h brings zel/arm4.h, the ARM 4.0 C binding, with it: its names
// (arm_*, ARM_*) are global, as the standard has them.
#include "zel/arm.h"
#include "zel/credentials.h"
#include "zel/critsec.h"
#include "zel/critsec_lock.h"
#include "zel/davtime.h"
#include "zel/exception.h"
#include "zel/fileutl.h"
#include "zel/logadaptor.h"
#include "zel/oid.h"
#include "zel/pname.h"
#include "zel/qrpexception.h"
#include "zel/resource.h"
#include "zel/selector.h"
#include "zel/thread_annotations.h"
#include "zel/umessage.h"
#include "zel/ustring.h"
#include "zel/version.h"
#include "zel/xmltag.h"

#endif  // ZEL_ZEL_H_
