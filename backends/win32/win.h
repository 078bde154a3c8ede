// The one way to <windows.h>: included by the sources of backends/win32/, cli/win32/ and com/ only,
// before any other header of the tree. It takes back the macros that would rename operations of
// ours.
#pragma once

#ifndef NOMINMAX
#define NOMINMAX
#endif
// The others need the first.
// clang-format off
#include <windows.h>
#include <commctrl.h>
#include <ocidl.h>
#include <ole2.h>
#include <olectl.h>
#include <shellapi.h>
#include <uxtheme.h>
// clang-format on

#undef SendMessage
#undef CreateFile
#undef GetMessage
#undef PeekMessage
#undef GetObject
#undef Yield
