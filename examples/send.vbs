' Sends one message and says what became of it.
'   cscript //nologo send.vbs PROFILE NUMBER TEXT [SENDER]
' Exit code: 0 accepted, 1 failed, 75 failed but a retry makes sense, 2 wrong usage.
Option Explicit
Dim arguments, sender, recipient, originator, message, service, accepted

Set arguments = WScript.Arguments
If arguments.Count < 3 Then
  WScript.Echo "usage: send.vbs PROFILE NUMBER TEXT [SENDER]"
  WScript.Quit 2
End If
recipient = arguments(1)
message = arguments(2)
originator = ""
If arguments.Count > 3 Then originator = arguments(3)
service = ""  ' the route of the number decides

Set sender = CreateObject("mvSMS.Sender")
sender.HostAppName = arguments(0)
accepted = sender.SendMessage(recipient, originator, message, service)

' All four texts may have come back changed.
WScript.Echo "recipient=" & recipient
WScript.Echo "service=" & service
WScript.Echo "retry=" & CStr(sender.RetrySuggested)
WScript.Echo sender.Status
If accepted Then
  WScript.Echo "accepted"
  WScript.Quit 0
End If
WScript.Echo "failed"
If sender.RetrySuggested Then WScript.Quit 75
WScript.Quit 1
