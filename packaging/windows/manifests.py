#!/usr/bin/env python3
"""manifests.py VERSION FOLDER: manifests for hosts that bring the component along without registering it.

    x64, x86/mvSMS.Component.manifest   lies beside mvSMS.dll of that bitness, in the host's folder
    host.exe.manifest                   lies beside host.exe, under the name of that program
"""
import pathlib
import sys

import registration

HEAD = """<?xml version="1.0" encoding="UTF-8" standalone="yes"?>
<assembly xmlns="urn:schemas-microsoft-com:asm.v1" manifestVersion="1.0">
"""


def identity(version, architecture):
    return (f'<assemblyIdentity type="win32" name="mvSMS.Component" version="{version}.0" '
            f'processorArchitecture="{architecture}"/>')


def classes():
    for name, description in registration.CLASSES.items():
        yield (f'    <comClass clsid="{registration.IDS[name]}" progid="mvSMS.{name}" threadingModel="Apartment"\n'
               f'              tlbid="{registration.LIBRARY}" description="{description}"/>\n')


def interfaces():
    for name, marshaller in registration.INTERFACES.items():
        yield (f'  <comInterfaceExternalProxyStub name="{name}" iid="{registration.IDS[name]}"\n'
               f'      proxyStubClsid32="{marshaller}" tlbid="{registration.LIBRARY}"/>\n')


def component(version, architecture):
    return (f'{HEAD}  {identity(version, architecture)}\n  <file name="mvSMS.dll">\n{"".join(classes())}'
            f'    <typelib tlbid="{registration.LIBRARY}" version="1.0" helpdir="" resourceid="1"/>\n  </file>\n'
            f'{"".join(interfaces())}</assembly>\n')


def host(version):
    return (f'{HEAD}  <dependency>\n    <dependentAssembly>\n      {identity(version, "*")}\n'
            f'    </dependentAssembly>\n  </dependency>\n</assembly>\n')


def main():
    version, folder = sys.argv[1], pathlib.Path(sys.argv[2])
    for bits, architecture in (("x64", "amd64"), ("x86", "x86")):
        (folder / bits).mkdir(parents=True)
        (folder / bits / "mvSMS.Component.manifest").write_text(component(version, architecture))
    (folder / "host.exe.manifest").write_text(host(version))


main()
