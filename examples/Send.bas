Attribute VB_Name = "Send"
' VB6 and VBA, late bound: no reference to the type library is needed. Not run by the project's tests.
Option Explicit

' True when the message centre has accepted the message. RetrySuggested tells whether a later attempt
' may succeed.
Public Function SendPage(ByVal Profile As String, ByVal Number As String, ByVal Text As String, _
                         Optional ByRef RetrySuggested As Boolean) As Boolean
    Dim Sender As Object
    Dim Originator As String, Service As String

    Set Sender = CreateObject("mvSMS.Sender")
    Sender.HostAppName = Profile
    SendPage = Sender.SendMessage(Number, Originator, Text, Service)
    RetrySuggested = Sender.RetrySuggested
    Debug.Print Sender.Status
End Function

' The configuration dialog, in front of the window with the handle Owner.
Public Sub ConfigurePages(ByVal Profile As String, ByVal Owner As Long)
    Dim Config As Object
    Set Config = CreateObject("mvSMS.Config")
    Config.ShowConfigDialog Profile, Owner, True
End Sub
