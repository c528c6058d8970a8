// Umbrella header: everything a host of the library may call.
#pragma once

#include "cuadrante/library.h"
#include "cuadrante/runtime/dateformat.h"
#include "cuadrante/points/basicpointmgr.h"
#include "cuadrante/runtime/datetime.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/formatsettings.h"
#include "cuadrante/runtime/sysutils.h"
#include "cuadrante/services/translate.h"
#include "cuadrante/text/rutinasnumbers.h"
#include "cuadrante/text/rutinastext.h"
#include "cuadrante/time/basicpoint.h"
#include "cuadrante/time/fecha.h"
#include "cuadrante/vocabulary/basicdefines.h"
