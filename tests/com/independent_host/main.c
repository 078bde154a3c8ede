/* The program: its checks in their order, and the count of them. */
#include <stdio.h>

#include "host.h"

static int checks = 0;
static int failures = 0;

void Check(int holds, int line, const char* file, const char* claim) {
  ++checks;
  if (holds) return;
  ++failures;
  printf("%s:%d: does not hold: %s\n", file, line, claim);
  fflush(stdout);
}

void CheckResult(HRESULT result, HRESULT expected, int line, const char* file, const char* call) {
  ++checks;
  if (result == expected) return;
  ++failures;
  printf("%s:%d: 0x%08lX instead of 0x%08lX: %s\n", file, line, (unsigned long)result,
         (unsigned long)expected, call);
  fflush(stdout);
}

int main(void) {
  static void (*const subjects[])(void) = {CheckStorage,  CheckLibrary, CheckObjects, CheckCalls,
                                           CheckDispatch, CheckEvents,  CheckLifetime};
  CoInitializeEx(NULL, COINIT_APARTMENTTHREADED);
  if (!SenderClass() || !ConfigClass()) {
    printf("[  FAILED  ] the component is not registered\n");
    return 1;
  }
  for (size_t i = 0; i < sizeof subjects / sizeof *subjects; ++i) subjects[i]();
  CoUninitialize();
  if (failures != 0) {
    printf("[  FAILED  ] %d of %d checks\n", failures, checks);
    return 1;
  }
  printf("[  PASSED  ] %d checks, %u bits\n", checks, (unsigned)(8 * sizeof(void*)));
  return 0;
}
