// The umbrella header: every public header of the library.
#pragma once

#include "kvdutu/platform/export.h"
#include "kvdutu/platform/win_types.h"
#include "kvdutu/platform/os/error.h"

#include "kvdutu/frame/api_display_mode.h"
#include "kvdutu/frame/exported_switches.h"
#include "kvdutu/platform/os/text.h"
#include "kvdutu/platform/os/resources.h"
#include "kvdutu/platform/framework/afx_throw.h"
#include "kvdutu/platform/framework/format.h"
#include "kvdutu/platform/framework/cstring.h"
