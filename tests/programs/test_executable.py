"""kelvane.exe of the release build as a file: what it tells of itself, what guards it, and what it says by hand."""

import re
import shutil
import struct
import xml.etree.ElementTree

import pefile
import pytest
from conftest import PRODUCT, ROOT, VERSION, run_command

EXECUTABLE = ROOT / "build/release/kelvane.exe"
COMMAND = ROOT / "build/release/kelvanectl.exe"


@pytest.fixture(scope="module", name="image")
def parsed_executable():
    with pefile.PE(str(EXECUTABLE)) as image:
        yield image


def resource(image, kind):
    """The only resource of a kind, and its language."""
    kinds = [entry for entry in image.DIRECTORY_ENTRY_RESOURCE.entries if entry.id == pefile.RESOURCE_TYPE[kind]]
    assert [len(kind.directory.entries) for kind in kinds] == [1]
    languages = kinds[0].directory.entries[0].directory.entries
    assert len(languages) == 1
    place = languages[0].data.struct
    return image.get_data(place.OffsetToData, place.Size), languages[0].id


def texts_of(image):
    return {key.decode(): value.decode() for info in image.FileInfo[0] if info.Key == b"StringFileInfo"
            for table in info.StringTable for key, value in table.entries.items()}


def test_the_version_resource_names_company_product_and_version(image):
    fixed = image.VS_FIXEDFILEINFO[0]

    assert texts_of(image) == {
        "CompanyName": "Tarvo", "FileDescription": "Tarvo(R) Kelvane service", "FileVersion": VERSION,
        "InternalName": "kelvane", "OriginalFilename": "kelvane.exe", "ProductName": PRODUCT,
        "ProductVersion": VERSION}
    numbers = (1 << 16 | 0, 11406 << 16 | 42226)
    assert (fixed.FileVersionMS, fixed.FileVersionLS) == numbers
    assert (fixed.ProductVersionMS, fixed.ProductVersionLS) == numbers


def test_the_command_names_itself_asks_for_no_rights_and_is_small():
    with pefile.PE(str(COMMAND)) as image:
        assert texts_of(image) == {
            "CompanyName": "Tarvo", "FileDescription": "Tarvo(R) Kelvane command", "FileVersion": VERSION,
            "InternalName": "kelvanectl", "OriginalFilename": "kelvanectl.exe", "ProductName": PRODUCT,
            "ProductVersion": VERSION}
        assert b'requestedExecutionLevel level="asInvoker"' in resource(image, "RT_MANIFEST")[0]
        libraries = {entry.dll.decode().lower() for entry in image.DIRECTORY_ENTRY_IMPORT}
    assert libraries == {"advapi32.dll", "cfgmgr32.dll", "kernel32.dll", "msvcrt.dll", "ole32.dll", "shell32.dll",
                         "version.dll"}
    content = COMMAND.read_bytes()
    assert str(ROOT).encode() not in content
    assert len(content) < 2_000_000


def test_the_manifest_asks_for_no_rights_and_names_windows_10(image):
    manifest = xml.etree.ElementTree.fromstring(resource(image, "RT_MANIFEST")[0])
    attributes = {element.tag.split("}")[1]: element.attrib for element in manifest.iter()}

    assert attributes["requestedExecutionLevel"] == {"level": "asInvoker", "uiAccess": "false"}
    assert attributes["supportedOS"] == {"Id": "{8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a}"}
    assert attributes["assemblyIdentity"]["version"] == VERSION


def test_the_message_table_words_the_one_event_in_english(image):
    table, language = resource(image, "RT_MESSAGETABLE")

    blocks, lowest, highest, offset = struct.unpack_from("<4I", table)
    length, is_utf16 = struct.unpack_from("<2H", table, offset)

    assert (blocks, lowest, highest, is_utf16, language) == (1, 0, 0, 1, 0x409)
    assert table[offset + 4:offset + length].decode("utf-16-le").rstrip("\0\r\n") == "%1 reports: %2"


def test_addresses_are_random_with_high_entropy_and_data_is_not_executed(image):
    flags = image.OPTIONAL_HEADER
    assert flags.IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA
    assert flags.IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE
    assert flags.IMAGE_DLLCHARACTERISTICS_NX_COMPAT
    assert image.DIRECTORY_ENTRY_BASERELOC != []
    both = [section.Name for section in image.sections
            if section.IMAGE_SCN_MEM_WRITE and section.IMAGE_SCN_MEM_EXECUTE]
    assert both == []


def test_the_stack_is_guarded_and_branch_targets_are_marked(image):
    code = image.sections[0].get_data()
    assert b"stack smashing detected" in EXECUTABLE.read_bytes()
    # endbr64, once for each function of ours that can be called through a pointer; the run-time libraries have none.
    assert code.count(bytes.fromhex("f30f1efa")) > 200


def test_nothing_tells_where_it_was_built_and_symbols_are_gone(image):
    content = EXECUTABLE.read_bytes()
    assert str(ROOT).encode() not in content
    assert b"/build/" not in content
    assert image.FILE_HEADER.PointerToSymbolTable == 0
    assert image.FILE_HEADER.TimeDateStamp == 0
    assert len(content) < 1_300_000


def test_only_libraries_of_windows_are_loaded_at_start(image):
    libraries = {entry.dll.decode().lower() for entry in image.DIRECTORY_ENTRY_IMPORT}
    assert libraries == {"advapi32.dll", "cfgmgr32.dll", "kernel32.dll", "msvcrt.dll", "ole32.dll", "oleaut32.dll",
                         "shell32.dll", "wevtapi.dll"}


@pytest.mark.parametrize("arguments", [[], ["--help"]])
def test_started_by_hand_it_says_on_one_line_what_it_is_and_fails(arguments):
    by_hand = run_command(ROOT / "cmake/wine-run.sh", EXECUTABLE, *arguments, timeout=180)

    # 1063, "could not connect to the service controller", of which Linux sees the low eight bits.
    assert by_hand.returncode == 1063 & 0xFF
    assert by_hand.stdout == ""
    assert by_hand.stderr == (
        f'kelvane.exe is the Windows service "{PRODUCT}": install it by kelvane-{VERSION}-x64.msi and start it by '
        f'net start "{PRODUCT}".\n')


def test_a_build_in_another_folder_gives_the_same_bytes():
    copy = ROOT / "build/another folder/source"
    shutil.rmtree(copy.parent, ignore_errors=True)
    listed = run_command("git", "ls-files", "-co", "--exclude-standard").stdout.splitlines()
    for name in filter(lambda name: (ROOT / name).is_file(), listed):
        (copy / name).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(ROOT / name, copy / name)

    for command in (["cmake", "--preset", "release"],
                    ["cmake", "--build", "--preset", "release", "--parallel", "2", "--target", "kelvane"]):
        built = run_command(*command, cwd=copy)
        assert built.returncode == 0, built.stdout + built.stderr

    assert (copy / "build/release/kelvane.exe").read_bytes() == EXECUTABLE.read_bytes()


def test_the_version_is_the_same_everywhere_it_stands():
    first = {name: re.search(pattern, (ROOT / name).read_text()).group(1) for name, pattern in {
        "CMakeLists.txt": r"project\(Kelvane VERSION ([\d.]+)", "README.md": r"Version (\d+(?:\.\d+){3})\.",
        "NEWS.md": r"\n## ([\d.]+)"}.items()}
    assert set(first.values()) == {VERSION}
