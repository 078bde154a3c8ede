# Sends one message and says what became of it. Not run by the project's tests.
#   powershell -File send.ps1 -ProfileName Standard -Number 01721234567 -Text "Pump 3 has stopped"
# Windows PowerShell runs in a single-threaded apartment, as the component wants it; start PowerShell 7
# with -STA. Texts go by value here: what SendMessage changes does not come back.
param(
    [string]$ProfileName = "Standard",
    [Parameter(Mandatory)][string]$Number,
    [Parameter(Mandatory)][string]$Text,
    [string]$Sender = ""
)
$object = New-Object -ComObject mvSMS.Sender
$object.HostAppName = $ProfileName
$accepted = $object.SendMessage($Number, $Sender, $Text, "")
$object.Status
if ($accepted) { "accepted"; exit 0 }
"failed"
if ($object.RetrySuggested) { exit 75 }
exit 1
