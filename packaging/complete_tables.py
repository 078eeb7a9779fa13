#!/usr/bin/python3
"""complete_tables.py MSI PRODUCT FILE_VERSION TIME: what wixl 0.101 cannot say, added to the package's tables.

FILE_VERSION is the executables', TIME the seconds since 1970 that stand for the time of the build. Afterwards equal
contents make equal packages: the package code is derived from everything else.
"""

import hashlib
import pathlib
import subprocess
import sys
import tempfile
import time
import uuid

COMPONENT = "Service"
EXECUTABLE = "KelvaneExe"
COMMAND_COMPONENT = "Command"
COMMAND = "KelvanectlExe"
NAMESPACE = uuid.UUID("b7c05b6e-3a3c-4f60-9d5c-5b1f8e1f0a6d")
SERVICES = r"SYSTEM\CurrentControlSet\Services"

# Three restarts after a minute each, then none; the count starts anew after a day without a failure. A record of
# SERVICE_FAILURE_ACTIONS as the service control manager keeps it: little-endian numbers of four bytes.
RESTART, NOTHING = 1, 0
RECOVERY = (24 * 60 * 60, 0, 0, 4, 20, RESTART, 60_000, RESTART, 60_000, RESTART, 60_000, NOTHING, 0)

# What is made at run time, removed by an uninstallation that is not part of an upgrade and that is not told to keep it.
# The rows of a folder stand before the row of the folder around it: a folder goes when it is empty.
FULL_UNINSTALL = 'REMOVE="ALL" AND NOT UPGRADINGPRODUCTCODE AND KEEPLOGS<>"1"'
SERVICE_ROAMING = "[System64Folder]config\\systemprofile\\AppData\\Roaming\\"
LOG_FILE = "KVAPP.LOG|KelvanneApp.log"
DATA_FILE = "KVDATA.TXT|KVServicedata.txt"
MADE_AT_RUN_TIME = (
    # property     folder                                    file, or none: the folder itself
    ("KVLOGS",     SERVICE_ROAMING + "KelvanneApp\\logs\\",  LOG_FILE),
    ("KVLOGS",     SERVICE_ROAMING + "KelvanneApp\\logs\\",  None),
    ("KVAPP",      SERVICE_ROAMING + "KelvanneApp\\",        None),
    # Somebody who starts the program by hand gets an empty log; Wine runs services as the user.
    ("KVUSERLOGS", "[AppDataFolder]KelvanneApp\\logs\\",     LOG_FILE),
    ("KVUSERLOGS", "[AppDataFolder]KelvanneApp\\logs\\",     None),
    ("KVUSERAPP",  "[AppDataFolder]KelvanneApp\\",           None),
    # The current directory of a service: Windows's, and Wine's.
    ("KVDATA",     "[System64Folder]",                       DATA_FILE),
    ("KVWINEDATA", "[WindowsFolder]",                        DATA_FILE),
)
ON_UNINSTALL = 2


def registry_values(product):
    """(row, key, name, value in Windows Installer's notation: #n number, #x binary, #% expandable)."""
    service = rf"{SERVICES}\{product}"
    source = rf"{SERVICES}\EventLog\Application\{product}"
    recovery = b"".join(number.to_bytes(4, "little") for number in RECOVERY).hex().upper()
    return (
        ("ImagePath", service, "ImagePath", f'#%"[#{EXECUTABLE}]"'),
        ("RecoveryActions", service, "FailureActions", f"#x{recovery}"),
        ("RecoveryOnErrorCode", service, "FailureActionsOnNonCrashFailures", "#1"),
        ("EventWording", source, "EventMessageFile", f"#%[#{EXECUTABLE}]"),
        ("EventTypes", source, "TypesSupported", "#7"),
        # The key alone, which goes with everything in it; the service writes the value.
        ("CapabilityKey", r"SOFTWARE\Tarvo\KV", "*", None),
    )


def braced(code):
    return f"{{{str(code).upper()}}}"


def literal(value):
    if value is None:
        return "''"
    return str(value) if isinstance(value, int) else "'" + value + "'"


def insert(table, **columns):
    names = ", ".join(f"`{name}`" for name in columns)
    return f"INSERT INTO `{table}` ({names}) VALUES ({', '.join(map(literal, columns.values()))})"


def action(name, sequence, condition=""):
    return insert("InstallExecuteSequence", Action=name, Condition=condition or None, Sequence=sequence)


def removal():
    """The folders' properties are set only when their contents are to go; a row without its folder does nothing."""
    folders = {name: folder for name, folder, _ in MADE_AT_RUN_TIME}
    for number, (name, folder) in enumerate(folders.items()):
        yield insert("CustomAction", Action=f"Set{name}", Type=51, Source=name, Target=folder)
        yield action(f"Set{name}", 701 + number, FULL_UNINSTALL)
    for number, (name, _, file) in enumerate(MADE_AT_RUN_TIME):
        yield insert("RemoveFile", FileKey=f"MadeAtRunTime{number}", Component_=COMPONENT, FileName=file,
                     DirProperty=name, InstallMode=ON_UNINSTALL)


def search_path():
    """The machine's PATH gets the command's folder at its end, and loses it with an uninstallation."""
    yield ("CREATE TABLE `Environment` (`Environment` CHAR(72) NOT NULL, `Name` CHAR(255) NOT NULL LOCALIZABLE, "
           "`Value` CHAR(255) LOCALIZABLE, `Component_` CHAR(72) NOT NULL PRIMARY KEY `Environment`)")
    yield insert("Environment", Environment="CommandFolder", Name="=-*PATH", Value="[~];[INSTALLFOLDER]",
                 Component_=COMMAND_COMPONENT)
    yield action("RemoveEnvironmentStrings", 3300)
    yield action("WriteEnvironmentStrings", 5200)


def statements(product, file_version):
    yield ("UPDATE `Property` SET `Value`='OTHERVERSION;NEWERVERSION;NOSTART;KEEPLOGS' "
           "WHERE `Property`='SecureCustomProperties'")

    # A file without a version would be taken for a document, which an upgrade leaves alone once it was changed.
    for file in (EXECUTABLE, COMMAND):
        yield f"UPDATE `File` SET `Version`='{file_version}', `Language`='1033' WHERE `File`='{file}'"
        yield f"DELETE FROM `MsiFileHash` WHERE `File_`='{file}'"
    yield f"UPDATE `File` SET `FileName`='KELVCTL.EXE|kelvanectl.exe' WHERE `File`='{COMMAND}'"

    # Without its service the installation has failed.
    yield "UPDATE `ServiceInstall` SET `ErrorControl`=32769"

    yield f"UPDATE `Directory` SET `DefaultDir`='KELVANE|{product}' WHERE `Directory`='INSTALLFOLDER'"
    # The company's folder goes too, unless something else lies in it.
    yield insert("CreateFolder", Directory_="COMPANYFOLDER", Component_=COMPONENT)
    for row, key, name, value in registry_values(product):
        yield insert("Registry", Registry=row, Root=2, Key=key, Name=name, Value=value, Component_=COMPONENT)

    yield from search_path()
    yield from removal()


def msi_tool(*arguments):
    done = subprocess.run([str(argument) for argument in arguments], capture_output=True, text=True, check=False)
    if done.returncode != 0 or done.stderr.strip():
        sys.exit(f"{' '.join(map(str, arguments))}\n{done.stdout}{done.stderr}")
    return done.stdout


def set_summary(msi, code, seconds):
    """The package code and the two times, in which alone packages of the same contents would differ."""
    stamp = time.strftime("%Y/%m/%d %H:%M:%S", time.gmtime(seconds))
    new = {"9": braced(code), "12": stamp, "13": stamp}
    lines = msi_tool("msiinfo", "export", msi, "_SummaryInformation").splitlines()
    rows = [line.split("\t", 1) for line in lines]
    text = "".join("\t".join([row[0], *([new[row[0]]] if row[0] in new else row[1:])]) + "\r\n" for row in rows)
    with tempfile.TemporaryDirectory() as folder:
        table = pathlib.Path(folder) / "_SummaryInformation.idt"
        table.write_text(text, encoding="ascii", newline="")
        msi_tool("msibuild", msi, "-i", table)


def main():
    if len(sys.argv) != 5:
        sys.exit("usage: complete_tables.py MSI PRODUCT FILE_VERSION TIME")
    msi, product, file_version, seconds = pathlib.Path(sys.argv[1]), sys.argv[2], sys.argv[3], int(sys.argv[4])
    for statement in statements(product, file_version):
        msi_tool("msibuild", msi, "-q", statement)
    set_summary(msi, uuid.UUID(int=0), seconds)
    set_summary(msi, uuid.uuid5(NAMESPACE, hashlib.sha256(msi.read_bytes()).hexdigest()), seconds)


if __name__ == "__main__":
    main()
