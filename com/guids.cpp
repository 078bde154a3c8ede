// Definitions of the component's identifiers, which every other file only declares.
#include <initguid.h>

#include "backends/win32/win.h"
#include "mvSMS.h"
