"""The signing step of scripts/package.sh, with a certificate that is made for the test and trusted by nobody else."""

import http.server
import shutil
import subprocess
import threading

import pytest
from conftest import ROOT, VERSION, run_command, run_package

OUT = ROOT / "build/package-tests/signed"
NAME = f"kelvane-{VERSION}-x64.msi"
PASS_PHRASE = "correct horse"


def verification(file, certificate, *options):
    """What the verification says, and whether it trusts the file."""
    done = run_command("osslsigncode", "verify", "-CAfile", certificate, *options, "-in", file, timeout=60)
    return done.stdout + done.stderr, done.returncode == 0


@pytest.fixture(scope="module", name="signing")
def environment_for_signing(tmp_path_factory):
    folder = tmp_path_factory.mktemp("certificate")
    subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-days", "2", "-subj", "/O=Tarvo/CN=Test signer",
                    "-addext", "extendedKeyUsage=codeSigning", "-passout", f"pass:{PASS_PHRASE}",
                    "-keyout", folder / "key.pem", "-out", folder / "certificate.pem"], capture_output=True, check=True)
    (folder / "pass").write_text(PASS_PHRASE)
    return {"KELVANE_SIGN_CERT": str(folder / "certificate.pem"), "KELVANE_SIGN_KEY": str(folder / "key.pem"),
            "KELVANE_SIGN_PASS_FILE": str(folder / "pass")}


@pytest.fixture(scope="module", name="signed")
def signed_package(signing):
    shutil.rmtree(OUT, ignore_errors=True)
    result = run_package(VERSION, OUT, **signing)
    assert result.returncode == 0, result.stderr
    return result.stdout


def test_the_summary_names_the_signer(signed):
    lines = dict(line.split(maxsplit=1) for line in signed.splitlines())

    assert lines["package"] == f"build/package-tests/signed/{NAME}"
    assert lines["signature"] == "CN=Test signer,O=Tarvo"


def test_the_package_is_signed(signed, signing):
    said, trusted = verification(OUT / NAME, signing["KELVANE_SIGN_CERT"])

    assert trusted, said
    assert "CN=Test signer" in said


@pytest.mark.parametrize("name", ["kelvane.exe", "kelvanectl.exe"])
def test_the_programs_in_the_package_are_signed_too(signed, signing, tmp_path, name):
    subprocess.run(["msiextract", "-C", tmp_path, OUT / NAME], capture_output=True, check=True)
    [executable] = tmp_path.rglob(name)

    said, trusted = verification(executable, signing["KELVANE_SIGN_CERT"])

    assert trusted, said


def test_a_changed_package_is_not_trusted(signed, signing, tmp_path):
    changed = bytearray((OUT / NAME).read_bytes())
    changed[200_000] ^= 1  # in the middle of the compressed executable
    (tmp_path / NAME).write_bytes(changed)

    assert not verification(tmp_path / NAME, signing["KELVANE_SIGN_CERT"])[1]


TIME_STAMPING = """[tsa]
default_tsa = clock
[clock]
serial = serial
default_policy = 1.2.3.4
digests = sha256
signer_digest = sha256
"""


@pytest.fixture(name="clock")
def time_stamp_service(tmp_path):
    """A time stamp service on this machine: its address, and its own certificate."""
    (tmp_path / "tsa.cnf").write_text(TIME_STAMPING)
    subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-noenc", "-days", "2", "-subj", "/CN=Test clock",
                    "-addext", "extendedKeyUsage=critical,timeStamping", "-keyout", tmp_path / "key.pem",
                    "-out", tmp_path / "clock.pem"], capture_output=True, check=True)

    class Clock(http.server.BaseHTTPRequestHandler):
        def do_POST(self):
            (tmp_path / "query").write_bytes(self.rfile.read(int(self.headers["Content-Length"])))
            reply = subprocess.run(["openssl", "ts", "-reply", "-config", "tsa.cnf", "-queryfile", "query",
                                    "-inkey", "key.pem", "-signer", "clock.pem"], cwd=tmp_path, capture_output=True,
                                   check=True).stdout
            self.send_response(200)
            self.send_header("Content-Type", "application/timestamp-reply")
            self.send_header("Content-Length", str(len(reply)))
            self.end_headers()
            self.wfile.write(reply)

        def log_message(self, *_):
            pass

    with http.server.HTTPServer(("127.0.0.1", 0), Clock) as server:
        threading.Thread(target=server.serve_forever, daemon=True).start()
        yield f"http://127.0.0.1:{server.server_port}", tmp_path / "clock.pem"
        server.shutdown()


def test_a_time_stamp_service_vouches_for_the_time_of_signing(signing, clock, tmp_path):
    address, certificate = clock

    result = run_package(VERSION, tmp_path, **signing, KELVANE_SIGN_TIME_URL=address)

    assert result.returncode == 0, result.stderr
    said = verification(tmp_path / NAME, signing["KELVANE_SIGN_CERT"], "-TSA-CAfile", certificate)[0]
    assert "CN=Test clock" in said


def test_without_a_certificate_the_summary_says_unsigned(signing, tmp_path):
    result = run_package(VERSION, tmp_path)

    assert "signature   unsigned\n" in result.stdout
    assert not verification(tmp_path / NAME, signing["KELVANE_SIGN_CERT"])[1]


def test_a_key_that_does_not_open_makes_no_package(signing, tmp_path):
    wrong = tmp_path / "pass"
    wrong.write_text("battery staple")

    result = run_package(VERSION, tmp_path / "out", **{**signing, "KELVANE_SIGN_PASS_FILE": str(wrong)})

    assert result.returncode == 1
    assert "signing kelvane.exe failed" in result.stderr
    assert list((tmp_path / "out").iterdir()) == []


@pytest.mark.parametrize("given, fault", [
    ({"KELVANE_SIGN_CERT": "nowhere.pem"}, "KELVANE_SIGN_CERT and KELVANE_SIGN_KEY are needed together"),
    ({"KELVANE_SIGN_KEY": "nowhere.pem"}, "KELVANE_SIGN_CERT and KELVANE_SIGN_KEY are needed together"),
    ({"KELVANE_SIGN_CERT": "nowhere.pem", "KELVANE_SIGN_KEY": "nowhere.pem"}, "cannot be read: nowhere.pem")])
def test_half_a_signature_is_refused_before_anything_is_built(given, fault, tmp_path):
    result = run_package(VERSION, tmp_path / "out", **given)

    assert result.returncode == 2
    assert fault in result.stderr
    assert not (tmp_path / "out").exists()
