; What the installer says, in both languages.
!macro Text NAME ENGLISH GERMAN
  LangString ${NAME} ${LANG_ENGLISH} "${ENGLISH}"
  LangString ${NAME} ${LANG_GERMAN} "${GERMAN}"
!macroend

!insertmacro Text ComponentName "mvSMS" "mvSMS"
!insertmacro Text ComponentText \
    "mvSMS.dll for 64-bit and 32-bit programs, and mvsms.exe." \
    "mvSMS.dll für 64-Bit- und 32-Bit-Programme sowie mvsms.exe."
!insertmacro Text ExamplesName "Examples" "Beispiele"
!insertmacro Text ExamplesText \
    "One program for each language that sends a message." \
    "Für jede Sprache ein Programm, das eine Nachricht sendet."
!insertmacro Text GuidesName "Guides" "Anleitungen"
!insertmacro Text GuidesText "For users, administrators and programmers." \
    "Für Benutzer, Administratoren und Programmierer."
!insertmacro Text ToolsName "Administration" "Administration"
!insertmacro Text ToolsText \
    "PowerShell module, templates for group policies, and sample settings." \
    "PowerShell-Modul, Vorlagen für Gruppenrichtlinien und Beispieleinstellungen."
!insertmacro Text PathName "Command on the path" "Kommando im Suchpfad"
!insertmacro Text PathText "mvsms is found in every command prompt." \
    "mvsms wird in jeder Eingabeaufforderung gefunden."
!insertmacro Text GroupName "Rights for a group" "Rechte für eine Gruppe"
!insertmacro Text GroupText "The members of a group may change the settings." \
    "Die Mitglieder einer Gruppe dürfen die Einstellungen ändern."
!insertmacro Text StartMenuName "Start menu" "Startmenü"
!insertmacro Text StartMenuText "Configuration, test tool and guides." \
    "Konfiguration, Testprogramm und Anleitungen."

!insertmacro Text GroupTitle "Rights for a group" "Rechte für eine Gruppe"
!insertmacro Text GroupSubtitle "Who else may change the settings?" \
    "Wer darf die Einstellungen noch ändern?"
!insertmacro Text GroupExplanation \
    "The members of this group get full control of the settings. Whoever sends messages by routes \
needs it. They may also read the passwords of the services and send the messages elsewhere, so choose \
a group with no more people than needed." \
    "Die Mitglieder dieser Gruppe erhalten Vollzugriff auf die Einstellungen. Wer Nachrichten über \
Routing-Einträge sendet, braucht ihn. Sie können damit auch die Kennwörter der Dienste lesen und die \
Nachrichten umleiten. Wählen Sie daher eine Gruppe mit nicht mehr Personen als nötig."
!insertmacro Text GroupLabel "Group, such as Paging or DOMAIN\Paging:" \
    "Gruppe, zum Beispiel Paging oder DOMÄNE\Paging:"

!insertmacro Text ConfigurationLink "Configuration" "Konfiguration"
!insertmacro Text TestToolLink "Test tool" "Testprogramm"
!insertmacro Text GuidesLink "Guides" "Anleitungen"
!insertmacro Text OpenDialogText "Open the configuration" "Konfiguration öffnen"

!insertmacro Text Unsupported "mvSMS needs Windows 7 or later." "mvSMS benötigt Windows 7 oder neuer."
!insertmacro Text NeedsAdministrator \
    "Only an administrator can do that for all users of this computer. Start the program as \
administrator, or with /CURRENTUSER." \
    "Für alle Benutzer dieses Computers kann das nur ein Administrator. Starten Sie das Programm als \
Administrator oder mit /CURRENTUSER."
!insertmacro Text NewerInstalled \
    "Version $Earlier is installed, which is newer than ${VERSION}. Uninstall it first; the settings stay." \
    "Installiert ist die Version $Earlier, neuer als ${VERSION}. Deinstallieren Sie sie zuerst; die \
Einstellungen bleiben erhalten."
!insertmacro Text NoSuchGroup "There is no group of the name '$Group'." \
    "Es gibt keine Gruppe mit dem Namen '$Group'."
!insertmacro Text NotGranted "The group '$Group' could not be given rights to the settings." \
    "Der Gruppe '$Group' konnten keine Rechte an den Einstellungen gegeben werden."
!insertmacro Text InUse \
    "$INSTDIR\$0 cannot be replaced. Close the programs that use it, and try again. The installation is \
as it was before." \
    "$INSTDIR\$0 kann nicht ersetzt werden. Schließen Sie die Programme, die die Datei benutzen, und \
versuchen Sie es noch einmal. Die Installation ist wie zuvor."
!insertmacro Text Stopped \
    "The files could not be written; is there room on the disk? What was installed before is as it was." \
    "Die Dateien konnten nicht geschrieben werden; ist auf dem Datenträger noch Platz? Was vorher \
installiert war, ist wie zuvor."
!insertmacro Text NotRegistered \
    "The component could not be registered. The installation is as it was before." \
    "Die Komponente konnte nicht registriert werden. Die Installation ist wie zuvor."
!insertmacro Text RestartLater \
    "Programs that are running now go on with the earlier version until they end. What is left of it is \
removed when Windows is started next." \
    "Programme, die gerade laufen, benutzen bis zu ihrem Ende die bisherige Version. Was von ihr übrig \
ist, wird beim nächsten Start von Windows gelöscht."

!insertmacro Text RemoveTitle "Uninstall mvSMS" "mvSMS deinstallieren"
!insertmacro Text RemoveSubtitle "Remove mvSMS from this computer." \
    "mvSMS von diesem Computer entfernen."
!insertmacro Text RemoveText \
    "Component, command and guides are removed. Modems belong to Windows, and stay." \
    "Komponente, Kommando und Anleitungen werden entfernt. Die Modems gehören zu Windows und bleiben."
!insertmacro Text PurgeText "Delete all settings, catalogues and send logs, too" \
    "Auch alle Einstellungen, Kataloge und Sendeprotokolle löschen"
!insertmacro Text GuideFile "user-guide.html" "user-guide.de.html"
