"""What regsvr32 lets the component write, for installers that register by tables. A test compares the
two (tests/packaging/windows/msi_test.sh). Identifiers are read from the interfaces' source.
"""
import pathlib
import re

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
BY_TYPE_LIBRARY = "{00020424-0000-0000-C000-000000000046}"
BY_DISPATCH = "{00020420-0000-0000-C000-000000000046}"
CLASSES = {"Sender": "mvSMS message sender", "Config": "mvSMS configuration"}
INTERFACES = {"_Sender": BY_TYPE_LIBRARY, "__Sender": BY_DISPATCH, "_Config": BY_TYPE_LIBRARY}
TITLE = "mvSMS: sends short text messages by modem"


def identifiers():
    """Name of library, class or interface -> its identifier."""
    text = (ROOT / "resources/mvSMS.idl").read_text()
    found = re.findall(r"uuid\(([^)]*)\)[^]]*\]\s*(?:library|interface|dispinterface|coclass) (\w+)", text)
    return {name: "{" + guid + "}" for guid, name in found}


IDS = identifiers()
LIBRARY = IDS["mvSMS"]


def own_values(bits, dll):
    """Key below the classes, name or None, and text: what each bitness has of its own."""
    for name, description in CLASSES.items():
        key = "CLSID\\" + IDS[name]
        yield key, None, description
        yield key + "\\InprocServer32", None, dll
        yield key + "\\InprocServer32", "ThreadingModel", "Apartment"
        yield key + "\\ProgID", None, "mvSMS." + name
        yield key + "\\TypeLib", None, LIBRARY
        yield key + "\\Version", None, "1.0"
        yield key + "\\Programmable", None, ""
    for name, marshaller in INTERFACES.items():
        key = "Interface\\" + IDS[name]
        yield key, None, name
        yield key + "\\ProxyStubClsid32", None, marshaller
        yield key + "\\TypeLib", None, LIBRARY
        yield key + "\\TypeLib", "Version", "1.0"
    yield f"TypeLib\\{LIBRARY}\\1.0\\0\\win{bits}", None, dll


def shared_values(folder):
    """The same for what both have together."""
    for name, description in CLASSES.items():
        yield "mvSMS." + name, None, description
        yield f"mvSMS.{name}\\CLSID", None, IDS[name]
    version = f"TypeLib\\{LIBRARY}\\1.0"
    yield version, None, TITLE
    yield version + "\\FLAGS", None, "0"
    yield version + "\\HELPDIR", None, folder
