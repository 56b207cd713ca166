"""A small certificate world made by the openssl command, once a session: two authorities and what they signed."""

import ssl
import subprocess
import tempfile

import pytest

LOCAL = "subjectAltName=DNS:localhost,IP:127.0.0.1,IP:::1"


class Certs:
    def __init__(self, directory):
        self.directory = directory
        for authority in ("ca", "stranger"):
            self.make(authority, "-x509", "-days", "9", "-addext", "basicConstraints=critical,CA:TRUE")
        self.signed("server", "ca", LOCAL)
        self.signed("client", "ca", LOCAL)
        self.signed("misnamed", "ca", "subjectAltName=DNS:elsewhere.example")
        self.signed("foreign", "stranger", LOCAL)
        self.signed("expired", "ca", LOCAL, "-days", "-1")
        self.openssl("pkey", "-aes256", "-passout", "pass:x", "-in", "server.key", "-out", "encrypted.key")

    def __getitem__(self, name):
        return f"{self.directory}/{name}"

    def openssl(self, *args):
        subprocess.run(["openssl", *args], cwd=self.directory, check=True, capture_output=True)

    def make(self, name, *options):
        self.openssl("req", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-keyout", f"{name}.key",
                     "-out", f"{name}.pem", "-subj", f"/CN={name}", *options)

    def signed(self, name, authority, names, *options):
        self.make(name, "-addext", names)
        self.openssl("x509", "-req", "-in", f"{name}.pem", "-out", f"{name}.pem", "-copy_extensions", "copyall",
                     "-CA", f"{authority}.pem", "-CAkey", f"{authority}.key", *(options or ("-days", "9")))

    def options(self, name, role):
        """The daemon's options that present certificate `name` and trust our authority."""
        prefix = "tls-certificate" if role == "listener" else "tls-client-certificate=on tls-client-certificate"
        return (f" tls=on tls-validate=on tls-validate-ca-file={self['ca.pem']}"
                f" {prefix}-cert-file={self[name]}.pem {prefix.split()[-1]}-key-file={self[name]}.key")

    def context(self, name=None, server=False, verify=True, trusted="ca",
                newest=ssl.TLSVersion.MAXIMUM_SUPPORTED):
        """A peer's context with certificate `name`."""
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER if server else ssl.PROTOCOL_TLS_CLIENT)
        context.maximum_version = newest
        context.options &= ~ssl.OP_IGNORE_UNEXPECTED_EOF  # an end without a close notification must show
        context.load_verify_locations(self[trusted + ".pem"])
        context.check_hostname = verify and not server
        context.verify_mode = ssl.CERT_REQUIRED if verify else ssl.CERT_NONE
        if name:
            context.load_cert_chain(self[name] + ".pem", self[name] + ".key")
        return context


@pytest.fixture(scope="session")
def certs():
    with tempfile.TemporaryDirectory() as directory:
        yield Certs(directory)
