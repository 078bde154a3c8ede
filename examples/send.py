"""Sends one message, late bound, and says what became of it. Not run by the project's tests.

    py -m pip install pywin32
    py send.py PROFILE NUMBER TEXT [SENDER]

Exit code: 0 accepted, 1 failed, 75 failed but a retry makes sense, 2 wrong usage.
"""
import sys

import pythoncom
import win32com.client


def by_reference(text):
    return win32com.client.VARIANT(pythoncom.VT_BYREF | pythoncom.VT_BSTR, text)


def main(arguments):
    if len(arguments) < 3:
        print(__doc__, file=sys.stderr)
        return 2
    profile, number, text = arguments[:3]
    recipient, message = by_reference(number), by_reference(text)
    originator = by_reference(arguments[3] if len(arguments) > 3 else "")
    service = by_reference("")

    sender = win32com.client.dynamic.Dispatch("mvSMS.Sender")
    sender.HostAppName = profile
    accepted = sender.SendMessage(recipient, originator, message, service)

    print(sender.Status)
    print(f"recipient={recipient.value} service={service.value}")
    print("accepted" if accepted else "failed")
    return 0 if accepted else 75 if sender.RetrySuggested else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
