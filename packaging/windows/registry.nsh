; What the installer does in the registry by the system's own functions, for its language cannot: the
; path of programs, which may be longer than its texts, and rights.

!define HKLM_HANDLE 0x80000002
!define HKCU_HANDLE 0x80000001

; ---- the path --------------------------------------------------------------------------------------
; In a buffer at $7 it has a semicolon before and behind, so that each folder has one on both sides.

!macro PathFunctions UN
  ; Opens it: $3 key, $4 type, $7 buffer with room for ";$0" more, $8 the place of ";$0;" in it or 0.
  ; $R0 is 0 when it could be read, or there is none yet.
  Function ${UN}OpenPath
    ${If} $MultiUser.InstallMode == AllUsers
      StrCpy $1 ${HKLM_HANDLE}
      StrCpy $2 "SYSTEM\CurrentControlSet\Control\Session Manager\Environment"
    ${Else}
      StrCpy $1 ${HKCU_HANDLE}
      StrCpy $2 "Environment"
    ${EndIf}
    StrCpy $3 0
    System::Call 'advapi32::RegOpenKeyExW(p r1, w r2, i 0, i 3, *p .r3)'
    System::Call 'advapi32::RegQueryValueExW(p r3, w "Path", p 0, *i .r4, p 0, *i .r5) i .R0'
    ${If} $R0 = 2  ; ERROR_FILE_NOT_FOUND
      StrCpy $R0 0
      StrCpy $4 2  ; REG_EXPAND_SZ
      StrCpy $5 0
    ${EndIf}
    StrLen $6 $0
    IntOp $6 $6 * 2
    IntOp $6 $6 + $5
    IntOp $6 $6 + 16
    System::Alloc $6
    Pop $7
    System::Call 'kernel32::lstrcpyW(p r7, w ";")'
    ${If} $5 <> 0
      IntOp $6 $7 + 2
      System::Call 'advapi32::RegQueryValueExW(p r3, w "Path", p 0, p 0, p r6, *i r5) i .R0'
    ${EndIf}
    System::Call 'kernel32::lstrcatW(p r7, w ";")'
    System::Call 'shlwapi::StrStrIW(p r7, w ";$0;") p .r8'
  FunctionEnd
  ; Writes what stands in the buffer, without the semicolons, and tells the running programs.
  Function ${UN}WritePath
    System::Call 'shlwapi::StrTrimW(p r7, w ";")'
    System::Call 'kernel32::lstrlenW(p r7) i .r5'
    ${If} $5 = 0
      System::Call 'advapi32::RegDeleteValueW(p r3, w "Path")'
    ${Else}
      IntOp $5 $5 * 2
      IntOp $5 $5 + 2
      System::Call 'advapi32::RegSetValueExW(p r3, w "Path", i 0, i r4, p r7, i r5)'
    ${EndIf}
    SendMessage ${HWND_BROADCAST} ${WM_SETTINGCHANGE} 0 "STR:Environment" /TIMEOUT=1000
  FunctionEnd
  Function ${UN}ClosePath
    System::Call 'advapi32::RegCloseKey(p r3)'
    System::Free $7
  FunctionEnd
!macroend
!insertmacro PathFunctions ""
!insertmacro PathFunctions "un."

Function AddToPath  ; $0: the folder
  Call OpenPath
  ${If} $R0 = 0
  ${AndIf} $8 = 0
    System::Call 'shlwapi::StrTrimW(p r7, w ";")'
    System::Call 'kernel32::lstrcatW(p r7, w ";$0")'
    Call WritePath
  ${EndIf}
  Call ClosePath
FunctionEnd

Function un.RemoveFromPath  ; $0: the folder
  Call un.OpenPath
  ${If} $R0 = 0
  ${AndIf} $8 <> 0
    StrLen $1 ";$0"
    IntOp $1 $1 * 2
    IntOp $1 $1 + $8
    System::Call 'kernel32::lstrlenW(p r1) i .r2'
    IntOp $2 $2 * 2
    IntOp $2 $2 + 2
    System::Call 'ntdll::memmove(p r8, p r1, p r2)'
    Call un.WritePath
  ${EndIf}
  Call un.ClosePath
FunctionEnd

; ---- rights ----------------------------------------------------------------------------------------

; $GroupSid of $Group, which is a name, or an identifier such as S-1-5-32-545; 0 when there is none.
Function FindGroup
  StrCpy $GroupSid 0
  ${If} $Group == ""
    Return
  ${EndIf}
  System::Call 'advapi32::ConvertStringSidToSidW(w "$Group", *p .r1) i .r0'
  ${If} $0 = 0
    System::Alloc 128
    Pop $1
    System::Call 'advapi32::LookupAccountNameW(p 0, w "$Group", p r1, *i 128, w .r3, *i ${NSIS_MAX_STRLEN}, *i .r2) i .r0'
  ${EndIf}
  ${If} $0 <> 0
    StrCpy $GroupSid $1
  ${EndIf}
FunctionEnd

; Full control of the settings for $GroupSid, beside the rights that others have: the dialogs write
; there, and whoever sends by routes needs it, too.
Function GrantGroup
  ; KEY_READ, READ_CONTROL, WRITE_DAC, KEY_WOW64_64KEY
  System::Call 'advapi32::RegCreateKeyExW(p ${HKLM_HANDLE}, w "${SETTINGS_KEY}", i 0, p 0, i 0, i 0x60119, p 0, *p .r1, p 0) i .r0'
  ; SE_REGISTRY_KEY, DACL_SECURITY_INFORMATION
  System::Call 'advapi32::GetSecurityInfo(p r1, i 4, i 4, p 0, p 0, *p .r2, p 0, *p .r3) i .r4'
  ; KEY_ALL_ACCESS, GRANT_ACCESS, CONTAINER_INHERIT_ACE; a group by its identifier
  System::Call '*(i 0xF003F, i 1, i 2, p 0, i 0, i 0, i 2, p $GroupSid) p .r5'
  System::Call 'advapi32::SetEntriesInAclW(i 1, p r5, p r2, *p .r6) i .r7'
  System::Call 'advapi32::SetSecurityInfo(p r1, i 4, i 4, p 0, p 0, p r6, p 0) i .r8'
  IntOp $0 $0 | $4
  IntOp $0 $0 | $7
  IntOp $0 $0 | $8
  System::Call 'advapi32::RegCloseKey(p r1)'
  System::Call 'kernel32::LocalFree(p r3)'
  System::Call 'kernel32::LocalFree(p r6)'
  System::Free $5
  ${If} $0 <> 0
    Push "$(NotGranted)"
    Call Say
  ${EndIf}
FunctionEnd
