// The umbrella header: every public header of the library.
#pragma once

#include "kvdutu/platform/export.h"
#include "kvdutu/platform/win_types.h"
#include "kvdutu/platform/os/error.h"
#include "kvdutu/platform/os/registry.h"

#include "kvdutu/frame/api_display_mode.h"
#include "kvdutu/frame/exported_switches.h"
