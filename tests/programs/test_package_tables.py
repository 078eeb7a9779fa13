"""The installer as a file: what its tables say will be done, in which order, and that its making is repeatable."""

import pathlib
import re
import subprocess

import pytest
from conftest import PRODUCT, ROOT, VERSION, run_command, run_package

OUT = ROOT / "build/package-tests"
SERVICE_KEY = r"SYSTEM\CurrentControlSet\Services\Tarvo(R) Kelvane"
SOURCE_KEY = r"SYSTEM\CurrentControlSet\Services\EventLog\Application\Tarvo(R) Kelvane"
FULL_UNINSTALL = 'REMOVE="ALL" AND NOT UPGRADINGPRODUCTCODE AND KEEPLOGS<>"1"'


def made(version, folder, **environment):
    result = run_package(version, OUT / folder, **environment)
    assert result.returncode == 0, result.stderr
    return OUT / folder / f"kelvane-{version}-x64.msi"


class Package:
    def __init__(self, path):
        self.path = path

    def tell(self, what, *arguments):
        told = run_command("msiinfo", what, self.path, *arguments)
        assert told.returncode == 0, told.stderr
        return told.stdout

    def tables(self):
        return [name for name in self.tell("tables").split() if name != "_ForceCodepage"]

    def rows(self, table):
        """The rows as dictionaries by column."""
        text = self.tell("export", table)
        heads, _, _, *rows = [line.split("\t") for line in text.splitlines()]
        return [dict(zip(heads, row)) for row in rows]

    def row(self, table, **key):
        """The only row with these columns."""
        found = [row for row in self.rows(table) if key.items() <= row.items()]
        assert len(found) == 1, f"{table} {key}: {found}"
        return found[0]

    def properties(self):
        return {row["Property"]: row["Value"] for row in self.rows("Property")}

    def summary(self):
        return {row["PropertyId"]: row["Value"] for row in self.rows("_SummaryInformation")}

    def sequence(self):
        """The actions of an installation in their order."""
        rows = sorted(self.rows("InstallExecuteSequence"), key=lambda row: int(row["Sequence"]))
        return [row["Action"] for row in rows]


@pytest.fixture(scope="module", name="package")
def built_package():
    return Package(made(VERSION, "tables"))


def test_the_package_is_for_the_whole_machine_and_64_bit(package):
    assert package.summary()["7"] == "x64;1033"
    assert package.properties()["ALLUSERS"] == "1"
    assert [(row["Component"], row["Attributes"]) for row in package.rows("Component")] == [
        ("Service", "256"), ("Command", "256"), ("Notices", "256")]


def test_the_package_bears_the_names_and_the_version_of_the_build(package):
    names = {name: package.properties()[name] for name in ("ProductName", "ProductVersion", "Manufacturer")}
    assert names == {"ProductName": PRODUCT, "ProductVersion": VERSION, "Manufacturer": "Tarvo"}
    assert package.path.name == f"kelvane-{VERSION}-x64.msi"


def test_the_executable_goes_below_program_files_and_has_its_version(package):
    assert package.row("File", File="KelvaneExe") == {
        "File": "KelvaneExe", "Component_": "Service", "FileName": "kelvane.exe",
        "FileSize": str((ROOT / "build/release/kelvane.exe").stat().st_size),
        "Version": VERSION, "Language": "1033", "Attributes": "512", "Sequence": "1"}
    assert [row["File_"] for row in package.rows("MsiFileHash")] == ["Notices"]
    folders = {row["Directory"]: (row["Directory_Parent"], row["DefaultDir"]) for row in package.rows("Directory")}
    assert folders["INSTALLFOLDER"] == ("COMPANYFOLDER", "KELVANE|Tarvo(R) Kelvane")
    assert folders["COMPANYFOLDER"] == ("ProgramFiles64Folder", "Tarvo")


def test_the_command_goes_beside_it_and_its_folder_on_the_machines_path(package):
    assert package.row("File", File="KelvanectlExe") == {
        "File": "KelvanectlExe", "Component_": "Command", "FileName": "KELVCTL.EXE|kelvanectl.exe",
        "FileSize": str((ROOT / "build/release/kelvanectl.exe").stat().st_size),
        "Version": VERSION, "Language": "1033", "Attributes": "512", "Sequence": "2"}
    # Set, removed at uninstallation, for the machine; the value that is there stays in front.
    assert package.rows("Environment") == [{"Environment": "CommandFolder", "Name": "=-*PATH",
                                            "Value": "[~];[INSTALLFOLDER]", "Component_": "Command"}]


def test_what_the_linked_libraries_ask_for_is_installed_beside_the_executable(package, tmp_path):
    subprocess.run(["msiextract", "-C", tmp_path, package.path], capture_output=True, check=True)

    [notices] = tmp_path.rglob("NOTICES.txt")

    assert (notices.parent / "kelvane.exe").exists()
    installed = notices.read_bytes()
    assert installed.replace(b"\r\n", b"\n") == (ROOT / "packaging/NOTICES.txt").read_bytes()
    assert installed.count(b"\r\n") == installed.count(b"\n") > 100


def licence_of(package):
    """The licence that stands first in what Debian says of the package."""
    text = pathlib.Path(f"/usr/share/doc/{package}/copyright").read_text(encoding="utf-8")
    lines = re.search(r"\n\nLicense: .*\n((?: .*\n)+)", text)[1]
    return re.sub(r"(?m)^ \.?", "", lines)


def test_the_notices_are_those_of_the_libraries_that_are_linked():
    words = " ".join((ROOT / "packaging/NOTICES.txt").read_text(encoding="ascii").split())
    threads = pathlib.Path("/usr/x86_64-w64-mingw32/include/pthread.h").read_text(encoding="utf-8")
    ours, lockless = re.findall(r"/\*(.*?)\*/", threads, re.DOTALL)[:2]
    compiler = pathlib.Path("/usr/share/doc/gcc-mingw-w64-base/copyright").read_text(encoding="utf-8")
    exception = re.search(r"GCC RUNTIME LIBRARY EXCEPTION\n.*?of the license of GCC\.", compiler, re.DOTALL)[0]
    command_line, json = map(licence_of, ("libcli11-dev", "nlohmann-json3-dev"))
    for notice in (ours, re.sub(r"\n \*", "\n", lockless), exception, command_line, json):
        assert len(notice) > 1000
        assert " ".join(notice.lstrip("* \n").split()) in words


def test_the_service_is_its_own_process_and_starts_with_the_machine_as_local_system(package):
    # Service type 16, start type 2; error control 1, and 32768: without the service the installation fails.
    assert {name: value for name, value in package.row("ServiceInstall").items() if value} == {
        "ServiceInstall": "InstallService", "Name": PRODUCT, "DisplayName": PRODUCT, "ServiceType": "16",
        "StartType": "2", "ErrorControl": "32769", "Component_": "Service",
        "Description": "Tunes the performance ceiling and the power limit of the processor to the work at hand."}


def test_the_service_is_started_stopped_and_removed_and_waited_for(package):
    # 1 start at install, 2 and 32 stop at install and uninstall, 128 delete at uninstall.
    assert package.row("ServiceControl") == {"ServiceControl": "ControlService", "Name": PRODUCT, "Event": "163",
                                             "Arguments": "", "Wait": "1", "Component_": "Service"}
    assert package.row("InstallExecuteSequence", Action="StartServices")["Condition"] == 'NOSTART<>"1"'


def test_the_registry_gets_these_values_and_no_others(package):
    # Seconds of a day, no message, no command, four actions from byte 20 on: three restarts after 60000 ms, then none.
    head = "80510100" "00000000" "00000000" "04000000" "14000000"
    recovery = "#x" + head + "01000000" "60EA0000" * 3 + "00000000" * 2
    assert {(row["Root"], row["Key"], row["Name"], row["Value"]) for row in package.rows("Registry")} == {
        ("2", SERVICE_KEY, "ImagePath", '#%"[#KelvaneExe]"'),
        ("2", SERVICE_KEY, "FailureActions", recovery),
        ("2", SERVICE_KEY, "FailureActionsOnNonCrashFailures", "#1"),
        ("2", SOURCE_KEY, "EventMessageFile", "#%[#KelvaneExe]"),
        ("2", SOURCE_KEY, "TypesSupported", "#7"),
        ("2", r"SOFTWARE\Tarvo\KV", "*", ""),
    }


def test_the_companions_control_key_is_never_touched(package):
    assert "Registry" in package.tables()
    assert [row for table in package.tables() for row in package.rows(table) if "LITSSVC" in str(row)] == []


def test_files_made_at_run_time_go_with_a_full_uninstallation_only(package):
    folders = {row["Source"]: row["Target"] for row in package.rows("CustomAction")}
    service = "[System64Folder]config\\systemprofile\\AppData\\Roaming\\KelvanneApp\\"
    by_hand = "[AppDataFolder]KelvanneApp\\"
    assert [(folders[row["DirProperty"]], row["FileName"].split("|")[-1]) for row in package.rows("RemoveFile")] == [
        (service + "logs\\", "KelvanneApp.log"), (service + "logs\\", ""), (service, ""),
        (by_hand + "logs\\", "KelvanneApp.log"), (by_hand + "logs\\", ""), (by_hand, ""),
        ("[System64Folder]", "KVServicedata.txt"), ("[WindowsFolder]", "KVServicedata.txt")]
    assert {row["InstallMode"] for row in package.rows("RemoveFile")} == {"2"}
    assert {row["Type"] for row in package.rows("CustomAction")} == {"51"}
    for action in package.rows("CustomAction"):
        step = package.row("InstallExecuteSequence", Action=action["Action"])
        assert step["Condition"] == FULL_UNINSTALL
        assert int(step["Sequence"]) < 800  # the costs of files are counted from there on


def test_the_switches_reach_the_elevated_half_of_the_installation(package):
    assert set(package.properties()["SecureCustomProperties"].split(";")) == {
        "OTHERVERSION", "NEWERVERSION", "NOSTART", "KEEPLOGS"}


def test_the_steps_have_this_order(package):
    steps = ["FindRelatedProducts", "LaunchConditions", "CostInitialize", "FileCost", "CostFinalize", "InstallValidate",
             "InstallInitialize", "ProcessComponents", "StopServices", "DeleteServices", "RemoveRegistryValues",
             "RemoveEnvironmentStrings", "RemoveFiles", "RemoveFolders", "CreateFolders", "InstallFiles",
             "WriteEnvironmentStrings", "InstallServices", "WriteRegistryValues", "StartServices", "InstallExecute",
             "RemoveExistingProducts", "RegisterProduct", "PublishFeatures", "PublishProduct", "InstallFinalize"]
    assert [action for action in package.sequence() if action in steps] == steps


def test_any_version_below_the_next_three_numbers_is_replaced_and_a_newer_one_refused(package):
    # 2 looks only, 256 the lowest version is meant too.
    rows = {row["ActionProperty"]: (row["VersionMin"], row["VersionMax"], row["Attributes"])
            for row in package.rows("Upgrade")}
    assert rows == {"OTHERVERSION": ("0.0.0", "1.0.11407", "256"), "NEWERVERSION": ("1.0.11407", "", "258")}
    assert package.row("LaunchCondition") == {
        "Condition": "NOT NEWERVERSION",
        "Description": "A newer version of Tarvo(R) Kelvane is installed. To go back, uninstall it first."}
    assert package.properties()["REINSTALLMODE"] == "amus"


def test_the_installer_never_restarts_the_machine(package):
    assert package.properties()["REBOOT"] == "ReallySuppress"
    pages = "".join((ROOT / page).read_text(encoding="utf-8") for page in ("README.md", "docs/deploy.md"))
    commands = re.findall(r"msiexec /[ix] (?!\.)[^`\n]+", pages)
    assert len(commands) > 8
    assert [command for command in commands if "/norestart" not in command] == []


def test_the_codes_are_printed_and_stand_on_the_page(package):
    printed = dict(line.split(maxsplit=1) for line in run_package(VERSION, OUT / "tables").stdout.splitlines())

    codes = [package.properties()[name] for name in ("ProductCode", "UpgradeCode")]
    assert [printed["ProductCode"], printed["UpgradeCode"]] == codes
    page = (ROOT / "docs/deploy.md").read_text(encoding="utf-8")
    assert [code for code in codes if f"`{code}`" not in page] == []


def test_versions_are_products_of_their_own_under_one_upgrade_code_with_the_same_component(package):
    older = Package(made("1.0.11405.1", "tables"))

    assert older.properties()["ProductVersion"] == "1.0.11405.1"
    assert older.properties()["ProductCode"] != package.properties()["ProductCode"]
    assert older.summary()["9"] != package.summary()["9"]
    assert older.properties()["UpgradeCode"] == package.properties()["UpgradeCode"]
    assert older.rows("Component") == package.rows("Component")


def test_the_package_made_again_is_the_same_to_the_last_byte(package):
    again = made(VERSION, "again", TZ="America/Los_Angeles")

    assert again.read_bytes() == package.path.read_bytes()


def test_the_time_of_the_build_is_the_given_one():
    package = Package(made(VERSION, "dated", SOURCE_DATE_EPOCH="1700000000"))

    assert (package.summary()["12"], package.summary()["13"]) == ("2023/11/14 22:13:20",) * 2


@pytest.mark.parametrize("version, following", [("255.255.65535.65535", "256.0.0"), ("1.2.65535.0", "1.3.0")])
def test_the_next_version_is_that_which_windows_installer_takes_for_it(version, following):
    package = Package(made(version, "last"))

    assert package.properties()["ProductVersion"] == version
    assert package.row("Upgrade", ActionProperty="NEWERVERSION")["VersionMin"] == following
