#include "cuadrante/runtime/formatsettings.h"

TFormatSettings FormatSettings;
