; The installer: both bitnesses of the component, the command, and what an administrator expects
; beside them. Made by scripts/package-windows.sh, which defines
;   VERSION   the version, three numbers
;   FILES     folder with a sub-folder for each section that has files
;   LISTS     folder with files.nsh, the names of these files, and side.bmp
;   OUTPUT    the installer to be made
;   SIGN      a command that signs a file (optional)
;
; What is installed is unpacked aside first, then put in place by renaming, so that a disk that fills up
; and a component that a program has loaded leave a whole installation: the new one or the one before.
Unicode true
Target x86-unicode
SetCompressor /SOLID lzma
CRCCheck force
ManifestDPIAware true

!define PUBLISHER "the mvSMS authors"
!define UNINSTALL_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\mvSMS"
!define SETTINGS_PARENT "Software\MIRVALEN"
!define SETTINGS_KEY "${SETTINGS_PARENT}\PAGOREX"
!define REMEMBERED_PARENT "Software\VB and VBA Program Settings"

; Exit codes of a silent run. Those below 3 are the installer system's own: 1 cancelled, 2 stopped, as
; when the disk is full.
!define EXIT_NEEDS_ADMINISTRATOR 3
!define EXIT_UNSUPPORTED 4
!define EXIT_NOT_REGISTERED 5
!define EXIT_NO_SUCH_GROUP 6
!define EXIT_NEWER_INSTALLED 7
!define EXIT_RESTART 3010

Name "mvSMS"
OutFile "${OUTPUT}"
BrandingText "mvSMS ${VERSION}"
VIProductVersion "${VERSION}.0"
!macro VersionText LANGUAGE DESCRIPTION AUTHORS
  VIAddVersionKey /LANG=${LANGUAGE} ProductName "mvSMS"
  VIAddVersionKey /LANG=${LANGUAGE} ProductVersion "${VERSION}"
  VIAddVersionKey /LANG=${LANGUAGE} FileVersion "${VERSION}"
  VIAddVersionKey /LANG=${LANGUAGE} FileDescription "${DESCRIPTION}"
  VIAddVersionKey /LANG=${LANGUAGE} CompanyName "${AUTHORS}"
  VIAddVersionKey /LANG=${LANGUAGE} LegalCopyright "Copyright (c) 2026 ${AUTHORS}"
!macroend

!define MULTIUSER_EXECUTIONLEVEL Highest
!define MULTIUSER_MUI
!define MULTIUSER_USE_PROGRAMFILES64
!define MULTIUSER_INSTALLMODE_COMMANDLINE
!define MULTIUSER_INSTALLMODE_INSTDIR "mvSMS"
!define MULTIUSER_INSTALLMODE_INSTDIR_REGISTRY_KEY "${UNINSTALL_KEY}"
!define MULTIUSER_INSTALLMODE_INSTDIR_REGISTRY_VALUENAME "InstallLocation"
!define MULTIUSER_INSTALLMODE_DEFAULT_REGISTRY_KEY "${UNINSTALL_KEY}"
!define MULTIUSER_INSTALLMODE_DEFAULT_REGISTRY_VALUENAME "UninstallString"
!include MultiUser.nsh
!include Sections.nsh
!include TextFunc.nsh
!include WordFunc.nsh
!include x64.nsh
!include "${LISTS}\files.nsh"

!define MUI_ICON "..\..\com\mvsms.ico"
!define MUI_UNICON "..\..\com\mvsms.ico"
!define MUI_WELCOMEFINISHPAGE_BITMAP "${LISTS}\side.bmp"
!define MUI_UNWELCOMEFINISHPAGE_BITMAP "${LISTS}\side.bmp"
!define MUI_ABORTWARNING
!define MUI_FINISHPAGE_REBOOTLATER_DEFAULT
!define MUI_FINISHPAGE_RUN
!define MUI_FINISHPAGE_RUN_FUNCTION OpenDialog
!define MUI_FINISHPAGE_RUN_NOTCHECKED
!define MUI_FINISHPAGE_RUN_TEXT $(OpenDialogText)

!insertmacro MUI_PAGE_WELCOME
!define MULTIUSER_PAGE_CUSTOMFUNCTION_LEAVE OfferSections
!insertmacro MULTIUSER_PAGE_INSTALLMODE
!define MUI_PAGE_CUSTOMFUNCTION_PRE CheckEarlier
!insertmacro MUI_PAGE_COMPONENTS
Page custom AskForGroup TakeGroup
!define MUI_PAGE_CUSTOMFUNCTION_PRE SkipUnlessFirst
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_PAGE_FINISH
UninstPage custom un.AskForPurge un.TakePurge
!insertmacro MUI_UNPAGE_INSTFILES

; The language is that of Windows; the first is for all that are neither.
!insertmacro MUI_LANGUAGE English
!insertmacro MUI_LANGUAGE German
!insertmacro VersionText ${LANG_ENGLISH} "mvSMS: installer" "the mvSMS authors"
!insertmacro VersionText ${LANG_GERMAN} "mvSMS: Installationsprogramm" "die Autoren von mvSMS"
!include texts.nsh

Var Native     ; the folder of the bitness that Windows has itself, x64 or x86
Var Aside      ; folder for what was in a file's place
Var Earlier    ; version that is installed already, or empty
Var Group
Var GroupSid   ; its address in memory
Var Field
Var Purge
Var Changed
Var Said

!include registry.nsh

!ifdef SIGN
  !uninstfinalize '${SIGN} "%1"'
!endif

; Says what went wrong: in a box, or on the standard output of a silent run.
!macro SayFunction UN
  Function ${UN}Say
    Exch $0
    StrCpy $Said yes
    DetailPrint $0
    ${If} ${Silent}
      Push $1
      System::Call 'kernel32::AttachConsole(i -1)'
      System::Call 'kernel32::GetStdHandle(i -11) p .r1'
      FileWrite $1 "mvSMS: $0$\r$\n"
      Pop $1
    ${Else}
      MessageBox MB_OK|MB_ICONSTOP "$0"
    ${EndIf}
    Pop $0
  FunctionEnd
!macroend
!insertmacro SayFunction ""
!insertmacro SayFunction "un."

!macro Refuse UN CODE TEXT
  Push "${TEXT}"
  Call ${UN}Say
  SetErrorLevel ${CODE}
  Quit
!macroend

; ---- the state before ------------------------------------------------------------------------------

!macro PrepareFunction UN
  Function ${UN}Prepare
    SetRegView 64
    StrCpy $Native x86
    ${If} ${IsNativeAMD64}
      StrCpy $Native x64
    ${EndIf}
    ${${UN}GetParameters} $0
    UserInfo::GetAccountType
    Pop $1
    ClearErrors
    ${${UN}GetOptions} $0 "/ALLUSERS" $2
    ${IfNot} ${Errors}
    ${AndIf} $1 != "Admin"
      !insertmacro Refuse "${UN}" ${EXIT_NEEDS_ADMINISTRATOR} "$(NeedsAdministrator)"
    ${EndIf}
  FunctionEnd
!macroend
!insertmacro PrepareFunction ""
!insertmacro PrepareFunction "un."

; /NOPATH and the like. The section stays as it is without the option.
!macro Without OPTION SECTION
  ClearErrors
  ${GetOptions} $0 "${OPTION}" $1
  ${IfNot} ${Errors}
    !insertmacro UnselectSection ${SECTION}
  ${EndIf}
!macroend

Function .onInit
  ${IfNot} ${AtLeastWin7}
    !insertmacro Refuse "" ${EXIT_UNSUPPORTED} "$(Unsupported)"
  ${EndIf}
  Call Prepare
  StrCpy $9 $INSTDIR  ; of /D=
  !insertmacro MULTIUSER_INIT
  ${If} $9 != ""
    StrCpy $INSTDIR $9
  ${EndIf}
  Call ReadOptions
  Call OfferSections
  ${If} ${Silent}
    Call CheckEarlier
    Call CheckGroup
  ${EndIf}
FunctionEnd

; An upgrade goes where the earlier version is.
Function CheckEarlier
  ReadRegStr $0 SHCTX "${UNINSTALL_KEY}" InstallLocation
  ${If} $0 != ""
    StrCpy $INSTDIR $0
  ${EndIf}
  ReadRegStr $Earlier SHCTX "${UNINSTALL_KEY}" DisplayVersion
  ${VersionCompare} "$Earlier" "${VERSION}" $0
  ${If} $Earlier != ""
  ${AndIf} $0 == 1
    !insertmacro Refuse "" ${EXIT_NEWER_INSTALLED} "$(NewerInstalled)"
  ${EndIf}
FunctionEnd

Function SkipUnlessFirst
  ${If} $Earlier != ""
    Abort
  ${EndIf}
FunctionEnd

Function CheckGroup
  ${If} $Group != ""
    Call FindGroup
    ${If} $MultiUser.InstallMode != AllUsers
      !insertmacro Refuse "" ${EXIT_NEEDS_ADMINISTRATOR} "$(NeedsAdministrator)"
    ${ElseIf} $GroupSid == 0
      !insertmacro Refuse "" ${EXIT_NO_SUCH_GROUP} "$(NoSuchGroup)"
    ${EndIf}
  ${EndIf}
FunctionEnd

; ---- files -----------------------------------------------------------------------------------------

!macro Unpack SECTION
  !insertmacro Unpack_${SECTION}
  SetOutPath "$INSTDIR"
!macroend

; The catalogue is there to be replaced by one's own, which then stays. Ours is the one that is like its
; copy, which comes last among the files.
!macro CatalogueFunctions UN
  Function ${UN}Differs
    StrCpy $Changed yes
    Push StopTextCompare
  FunctionEnd
  ; In $0 the name of a file: empty if it is a catalogue that somebody has changed.
  Function ${UN}SpareOwnCatalogue
    StrCpy $1 $0 "" -17
    ${If} $1 != "smstransports.inf"
    ${OrIfNot} ${FileExists} "$INSTDIR\$0"
      Return
    ${EndIf}
    StrCpy $1 "$INSTDIR\catalogue\smstransports.inf"
    StrCpy $Changed no
    ${If} ${FileExists} $1
      ${${UN}TextCompareS} "$INSTDIR\$0" $1 FastDiff ${UN}Differs
      ${${UN}TextCompareS} $1 "$INSTDIR\$0" FastDiff ${UN}Differs
    ${Else}
      StrCpy $Changed yes
    ${EndIf}
    ${If} $Changed == yes
      StrCpy $0 ""
    ${EndIf}
  FunctionEnd
!macroend
!insertmacro CatalogueFunctions ""
!insertmacro CatalogueFunctions "un."

; In $0 the name of a file that was unpacked, or was not, for its section is not wanted.
Function PutInPlace
  ${IfNot} ${FileExists} "$INSTDIR\incoming\$0"
    Return
  ${EndIf}
  Call SpareOwnCatalogue
  ${If} $0 == ""
    Return
  ${EndIf}
  ${GetParent} "$INSTDIR\$0" $1
  ${GetParent} "$Aside\$0" $2
  CreateDirectory $1
  ClearErrors
  ${If} ${FileExists} "$INSTDIR\$0"
    CreateDirectory $2
    Rename "$INSTDIR\$0" "$Aside\$0"
  ${EndIf}
  Rename "$INSTDIR\incoming\$0" "$INSTDIR\$0"
  ${If} ${Errors}
    Push "$(InUse)"
    Call Say
    Call PutBack
    Abort
  ${EndIf}
FunctionEnd

Function PutBackFile
  ${If} ${FileExists} "$Aside\$0"
    Delete "$INSTDIR\$0"
    Rename "$Aside\$0" "$INSTDIR\$0"
  ${ElseIf} $Earlier == ""
    Delete "$INSTDIR\$0"
  ${EndIf}
FunctionEnd

!macro DoWithFile FUNCTION FILE
  StrCpy $0 "${FILE}"
  Call ${FUNCTION}
!macroend
!macro RemoveFolder UNUSED FOLDER
  RMDir "$INSTDIR\${FOLDER}"
!macroend
; A new name for what a running program keeps from being deleted.
!macro NameAside
  System::Call 'kernel32::GetTickCount() i .r0'
  StrCpy $Aside "$INSTDIR\previous-$0"
!macroend

; The installation before, as it was; or none.
Function PutBack
  ${If} $Earlier == ""
    Call UnregisterAll
  ${EndIf}
  !insertmacro EachFile DoWithFile PutBackFile
  ${If} $Earlier == ""
    !insertmacro EachFolder RemoveFolder ""
  ${Else}
    Call RegisterAll
  ${EndIf}
FunctionEnd

Function .onInstFailed
  SetOutPath "$TEMP"
  RMDir /r "$INSTDIR\incoming"
  ${If} $Aside != ""
    RMDir /r "$Aside"
  ${EndIf}
  RMDir "$INSTDIR"
  ${If} $Said == ""
    Push "$(Stopped)"
    Call Say
  ${EndIf}
FunctionEnd

; ---- registration ----------------------------------------------------------------------------------

; $1: the options; $2: the exit code, 0 when all went well.
!macro RegisterFunctions UN
  Function ${UN}RunRegsvr
    StrCpy $2 0
    ${If} $MultiUser.InstallMode != AllUsers
      StrCpy $1 "$1 /n /i:user"
    ${EndIf}
    ${If} $Native == x64
      ${DisableX64FSRedirection}
      ExecWait '"$SYSDIR\regsvr32.exe" /s $1 "$INSTDIR\x64\mvSMS.dll"' $2
      ${EnableX64FSRedirection}
    ${EndIf}
    ExecWait '"$SYSDIR\regsvr32.exe" /s $1 "$INSTDIR\x86\mvSMS.dll"' $3
    IntOp $2 $2 | $3
  FunctionEnd
  Function ${UN}UnregisterAll
    StrCpy $1 "/u"
    Call ${UN}RunRegsvr
  FunctionEnd
!macroend
!insertmacro RegisterFunctions ""
!insertmacro RegisterFunctions "un."

Function RegisterAll
  StrCpy $1 ""
  Call RunRegsvr
FunctionEnd

; ---- sections --------------------------------------------------------------------------------------

Section "$(ComponentName)" SecComponent
  SectionIn RO
  RMDir /r "$INSTDIR\incoming"
  !insertmacro Unpack component
SectionEnd

Section "$(ExamplesName)" SecExamples
  !insertmacro Unpack examples
SectionEnd

Section "$(GuidesName)" SecGuides
  !insertmacro Unpack guides
SectionEnd

Section "$(ToolsName)" SecTools
  !insertmacro Unpack tools
SectionEnd

Section "-in place"
  !insertmacro NameAside
  !insertmacro EachFile DoWithFile PutInPlace
  Call RegisterAll
  ${If} $2 != 0
    Push "$(NotRegistered)"
    Call Say
    SetErrorLevel ${EXIT_NOT_REGISTERED}
    Call PutBack
    Abort
  ${EndIf}
  RMDir /r "$INSTDIR\incoming"
  Call RemovePrevious
  WriteUninstaller "$INSTDIR\uninstall.exe"
  Call WriteUninstallEntry
SectionEnd

Section "$(PathName)" SecPath
  StrCpy $0 "$INSTDIR\$Native"
  Call AddToPath
SectionEnd

Section /o "$(GroupName)" SecGroup
  Call GrantGroup
SectionEnd

!define SHORTCUTS "$SMPROGRAMS\mvSMS"
Section "$(StartMenuName)" SecStartMenu
  CreateDirectory "${SHORTCUTS}"
  StrCpy $0 "$INSTDIR\$Native\mvsms.exe"
  CreateShortcut "${SHORTCUTS}\$(ConfigurationLink).lnk" $0 "dialog" $0 0 SW_SHOWMINIMIZED
  CreateShortcut "${SHORTCUTS}\$(TestToolLink).lnk" $0 "dialog --test-tool" $0 0 SW_SHOWMINIMIZED
  ${If} ${FileExists} "$INSTDIR\guides\$(GuideFile)"
    CreateShortcut "${SHORTCUTS}\$(GuidesLink).lnk" "$INSTDIR\guides\$(GuideFile)"
  ${EndIf}
SectionEnd

; What a running program still uses is deleted when Windows starts next.
!macro RemovePreviousFunction UN
  Function ${UN}RemovePrevious
    FindFirst $0 $1 "$INSTDIR\previous-*"
    ${DoWhile} $1 != ""
      RMDir /r /REBOOTOK "$INSTDIR\$1"
      FindNext $0 $1
    ${Loop}
    FindClose $0
    ${If} ${RebootFlag}
      SetErrorLevel ${EXIT_RESTART}
      Push "$(RestartLater)"
      Call ${UN}Tell
    ${EndIf}
  FunctionEnd
  ; As Say, without a box.
  Function ${UN}Tell
    Exch $0
    ${If} ${Silent}
      Push $0
      Call ${UN}Say
    ${Else}
      DetailPrint $0
    ${EndIf}
    Pop $0
  FunctionEnd
!macroend
!insertmacro RemovePreviousFunction ""
!insertmacro RemovePreviousFunction "un."

Function WriteUninstallEntry
  !define ENTRY 'SHCTX "${UNINSTALL_KEY}"'
  ${GetSize} "$INSTDIR" "/S=0K" $0 $1 $2
  WriteRegStr ${ENTRY} DisplayName "mvSMS"
  WriteRegStr ${ENTRY} DisplayVersion "${VERSION}"
  WriteRegStr ${ENTRY} DisplayIcon "$INSTDIR\$Native\mvsms.exe,0"
  WriteRegStr ${ENTRY} Publisher "${PUBLISHER}"
  WriteRegStr ${ENTRY} InstallLocation "$INSTDIR"
  WriteRegStr ${ENTRY} UninstallString '"$INSTDIR\uninstall.exe" /$MultiUser.InstallMode'
  WriteRegStr ${ENTRY} QuietUninstallString '"$INSTDIR\uninstall.exe" /$MultiUser.InstallMode /S'
  WriteRegDWORD ${ENTRY} EstimatedSize $0
  WriteRegDWORD ${ENTRY} NoModify 1
  WriteRegDWORD ${ENTRY} NoRepair 1
FunctionEnd

; ---- choices ---------------------------------------------------------------------------------------

Function ReadOptions
  ${GetParameters} $0
  !insertmacro Without "/NOEXAMPLES" ${SecExamples}
  !insertmacro Without "/NOGUIDES" ${SecGuides}
  !insertmacro Without "/NOTOOLS" ${SecTools}
  !insertmacro Without "/NOPATH" ${SecPath}
  !insertmacro Without "/NOSTARTMENU" ${SecStartMenu}
  ClearErrors
  ${GetOptions} $0 "/GROUP=" $Group
  ${If} $Group != ""
    !insertmacro SelectSection ${SecGroup}
  ${EndIf}
FunctionEnd

; Rights to the settings of the machine are the administrator's to grant.
Function OfferSections
  ${If} $MultiUser.InstallMode == AllUsers
    SectionSetText ${SecGroup} "$(GroupName)"
  ${Else}
    !insertmacro UnselectSection ${SecGroup}
    SectionSetText ${SecGroup} ""
  ${EndIf}
FunctionEnd

Function AskForGroup
  ${IfNot} ${SectionIsSelected} ${SecGroup}
    Abort
  ${EndIf}
  !insertmacro MUI_HEADER_TEXT "$(GroupTitle)" "$(GroupSubtitle)"
  nsDialogs::Create 1018
  Pop $0
  ${NSD_CreateLabel} 0 0 100% 48u "$(GroupExplanation)"
  Pop $0
  ${NSD_CreateLabel} 0 56u 100% 10u "$(GroupLabel)"
  Pop $0
  ${NSD_CreateText} 0 68u 60% 12u "$Group"
  Pop $Field
  ${NSD_SetFocus} $Field
  nsDialogs::Show
FunctionEnd

Function TakeGroup
  ${NSD_GetText} $Field $Group
  Call FindGroup
  ${If} $GroupSid == 0
    Push "$(NoSuchGroup)"
    Call Say
    Abort
  ${EndIf}
FunctionEnd

Function OpenDialog
  ExecShell "" "$INSTDIR\$Native\mvsms.exe" "dialog" SW_SHOWMINIMIZED
FunctionEnd

!insertmacro MUI_FUNCTION_DESCRIPTION_BEGIN
  !insertmacro MUI_DESCRIPTION_TEXT ${SecComponent} "$(ComponentText)"
  !insertmacro MUI_DESCRIPTION_TEXT ${SecExamples} "$(ExamplesText)"
  !insertmacro MUI_DESCRIPTION_TEXT ${SecGuides} "$(GuidesText)"
  !insertmacro MUI_DESCRIPTION_TEXT ${SecTools} "$(ToolsText)"
  !insertmacro MUI_DESCRIPTION_TEXT ${SecPath} "$(PathText)"
  !insertmacro MUI_DESCRIPTION_TEXT ${SecGroup} "$(GroupText)"
  !insertmacro MUI_DESCRIPTION_TEXT ${SecStartMenu} "$(StartMenuText)"
!insertmacro MUI_FUNCTION_DESCRIPTION_END

; ---- uninstaller -----------------------------------------------------------------------------------

Function un.onInit
  Call un.Prepare
  !insertmacro MULTIUSER_UNINIT
  ${un.GetParameters} $0
  ClearErrors
  ${un.GetOptions} $0 "/PURGE" $1
  ${IfNot} ${Errors}
    StrCpy $Purge ${BST_CHECKED}
  ${EndIf}
FunctionEnd

Function un.AskForPurge
  !insertmacro MUI_HEADER_TEXT "$(RemoveTitle)" "$(RemoveSubtitle)"
  nsDialogs::Create 1018
  Pop $0
  ${NSD_CreateLabel} 0 0 100% 36u "$(RemoveText)"
  Pop $0
  ${NSD_CreateCheckbox} 0 48u 100% 12u "$(PurgeText)"
  Pop $Field
  ${NSD_SetState} $Field $Purge
  nsDialogs::Show
FunctionEnd

Function un.TakePurge
  ${NSD_GetState} $Field $Purge
FunctionEnd

Function un.RemoveFile
  ${If} $Purge != ${BST_CHECKED}
    Call un.SpareOwnCatalogue
  ${EndIf}
  ${If} $0 == ""
    Return
  ${EndIf}
  ClearErrors
  Delete "$INSTDIR\$0"
  ${If} ${Errors}
    ${un.GetParent} "$Aside\$0" $1
    CreateDirectory $1
    Rename "$INSTDIR\$0" "$Aside\$0"
  ${EndIf}
FunctionEnd

Function un.PurgeAll
  Delete "$INSTDIR\x64\SMSLog.txt"
  Delete "$INSTDIR\x86\SMSLog.txt"
  ; What the test tool remembers, of this user.
  DeleteRegKey HKCU "${REMEMBERED_PARENT}\mvSMS"
  DeleteRegKey /ifempty HKCU "${REMEMBERED_PARENT}"
  ${If} $MultiUser.InstallMode == AllUsers
    DeleteRegKey HKLM "${SETTINGS_KEY}"
    DeleteRegKey /ifempty HKLM "${SETTINGS_PARENT}"
    ; Profiles that 32-bit programs once had for themselves.
    SetRegView 32
    DeleteRegKey HKLM "${SETTINGS_KEY}"
    DeleteRegKey /ifempty HKLM "${SETTINGS_PARENT}"
    SetRegView 64
  ${EndIf}
FunctionEnd

Section Uninstall
  SetOutPath "$TEMP"
  Call un.UnregisterAll
  StrCpy $0 "$INSTDIR\$Native"
  Call un.RemoveFromPath
  !insertmacro NameAside
  !insertmacro EachFile DoWithFile un.RemoveFile
  ${If} $Purge == ${BST_CHECKED}
    Call un.PurgeAll
  ${EndIf}
  Call un.RemovePrevious
  Delete "$INSTDIR\uninstall.exe"
  !insertmacro EachFolder RemoveFolder ""
  RMDir "$INSTDIR"
  ${If} ${RebootFlag}
    RMDir /REBOOTOK "$INSTDIR"
  ${EndIf}
  RMDir /r "${SHORTCUTS}"
  DeleteRegKey SHCTX "${UNINSTALL_KEY}"
SectionEnd
