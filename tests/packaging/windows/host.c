// A host of the component, for the tests of what installs it. It says which file the component came
// from.
//
//     host [FILE]       makes a sender; with FILE it makes that file, too, and lives until somebody
//                       deletes it, with the component loaded
//     host close TITLE  closes the window of that title, once it is there
//     host rights KEY   says who has which rights to a key of HKEY_LOCAL_MACHINE, as 64-bit Windows
//     has it
#define COBJMACROS
#include <aclapi.h>
#include <ole2.h>
#include <sddl.h>
#include <stdio.h>
#include <string.h>
#include <windows.h>

static int Rights(const char* path) {
  HKEY key = NULL;
  PSECURITY_DESCRIPTOR rights = NULL;
  char* text = NULL;
  if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, path, 0, READ_CONTROL | KEY_WOW64_64KEY, &key) ||
      GetSecurityInfo(key, SE_REGISTRY_KEY, DACL_SECURITY_INFORMATION, NULL, NULL, NULL, NULL,
                      &rights) ||
      !ConvertSecurityDescriptorToStringSecurityDescriptorA(
          rights, SDDL_REVISION_1, DACL_SECURITY_INFORMATION, &text, NULL)) {
    return 1;
  }
  puts(text);
  return 0;
}

static int Close(const char* title) {
  HWND window = NULL;
  int tries;
  for (tries = 0; !window && tries < 200; ++tries) {
    Sleep(50);
    window = FindWindowA(NULL, title);
  }
  return window && PostMessageA(window, WM_CLOSE, 0, 0) ? 0 : 1;
}

static void LiveUntilDeleted(const char* file) {
  CloseHandle(CreateFileA(file, GENERIC_WRITE, 0, NULL, CREATE_ALWAYS, 0, NULL));
  while (GetFileAttributesA(file) != INVALID_FILE_ATTRIBUTES) Sleep(50);
}

int main(int argc, char** argv) {
  CLSID clsid;
  IDispatch* sender = NULL;
  HRESULT result;
  char path[MAX_PATH] = "";
  if (argc == 3 && !strcmp(argv[1], "rights")) return Rights(argv[2]);
  if (argc == 3 && !strcmp(argv[1], "close")) return Close(argv[2]);
  CoInitialize(NULL);
  result = CLSIDFromProgID(L"mvSMS.Sender", &clsid);
  if (SUCCEEDED(result)) {
    result = CoCreateInstance(&clsid, NULL, CLSCTX_INPROC_SERVER, &IID_IDispatch, (void**)&sender);
  }
  if (FAILED(result)) {
    printf("no sender: %08lx\n", (unsigned long)result);
    return 1;
  }
  GetModuleFileNameA(GetModuleHandleA("mvSMS.dll"), path, MAX_PATH);
  printf("%s\n", path);
  fflush(stdout);
  if (argc > 1) LiveUntilDeleted(argv[1]);
  IDispatch_Release(sender);
  CoUninitialize();
  return 0;
}
