' Opens the configuration dialog of a profile and waits until it has been closed.
'   cscript //nologo config.vbs [PROFILE]
Option Explicit
Dim config, profile

If WScript.Arguments.Count > 0 Then profile = WScript.Arguments(0)
Set config = CreateObject("mvSMS.Config")
config.ShowConfigDialog profile, 0, True
WScript.Echo "closed"
