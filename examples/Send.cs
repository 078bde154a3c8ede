// Sends one message, late bound, and says what became of it. Not run by the project's tests.
//   csc /platform:x64 Send.cs         (or x86, for the 32-bit component)
//   Send PROFILE NUMBER TEXT [SENDER]
// With a reference to the type library "mvSMS 1.0" the class mvSMS.SenderClass has the events too.
using System;
using System.Reflection;

static class Program
{
    [STAThread]  // the component belongs to a single-threaded apartment
    static int Main(string[] args)
    {
        if (args.Length < 3)
        {
            Console.Error.WriteLine("usage: Send PROFILE NUMBER TEXT [SENDER]");
            return 2;
        }
        Type type = Type.GetTypeFromProgID("mvSMS.Sender");
        if (type == null)
        {
            Console.Error.WriteLine("mvSMS.Sender is not registered for this kind of process");
            return 1;
        }
        object sender = Activator.CreateInstance(type);
        type.InvokeMember("HostAppName", BindingFlags.SetProperty, null, sender, new object[] { args[0] });

        object[] texts = { args[1], args.Length > 3 ? args[3] : "", args[2], "" };
        var byReference = new ParameterModifier(4);
        for (int i = 0; i < 4; i++) byReference[i] = true;
        bool accepted = (bool)type.InvokeMember("SendMessage", BindingFlags.InvokeMethod, null, sender,
            texts, new[] { byReference }, null, null);

        Console.WriteLine(Get(type, sender, "Status"));
        Console.WriteLine("recipient={0} service={1}", texts[0], texts[3]);
        Console.WriteLine(accepted ? "accepted" : "failed");
        if (accepted) return 0;
        return (bool)Get(type, sender, "RetrySuggested") ? 75 : 1;
    }

    static object Get(Type type, object sender, string property)
    {
        return type.InvokeMember(property, BindingFlags.GetProperty, null, sender, null);
    }
}
