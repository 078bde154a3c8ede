// Sends one message and says what became of it.
//   cscript //nologo send.js PROFILE NUMBER TEXT [SENDER]
// Exit code: 0 accepted, 1 failed, 75 failed but a retry makes sense, 2 wrong usage.
// JScript passes texts by value: what SendMessage changes does not come back.
var args = WScript.Arguments;
if (args.length < 3) {
  WScript.Echo("usage: send.js PROFILE NUMBER TEXT [SENDER]");
  WScript.Quit(2);
}
var sender = new ActiveXObject("mvSMS.Sender");
sender.HostAppName = args(0);
var accepted = sender.SendMessage(args(1), args.length > 3 ? args(3) : "", args(2));
WScript.Echo(sender.Status);
WScript.Echo(accepted ? "accepted" : "failed");
WScript.Quit(accepted ? 0 : sender.RetrySuggested ? 75 : 1);
