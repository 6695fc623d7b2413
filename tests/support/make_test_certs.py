#!/usr/bin/python3
"""Makes the TLS material of the network tests with the openssl tool, in FOLDER:

  ca.pem                the test CA, to be trusted through SSL_CERT_FILE
  <name>.pem <name>.key a server certificate and its key, for each name below

  good        localhost, 127.0.0.1 and ::1, from the test CA, valid now
  expired     as good, valid only in 2020
  notyet      as good, valid only from 2090
  selfsigned  localhost, signed by itself (not by a trusted CA)
  wronghost   for wrong.example.net only
  weakkey     as good, with a 1024-bit RSA key
  sha1        as good, signed with SHA-1
  untrusted   as good, from a CA nobody trusts
  clientonly  as good, but for client authentication only

Nothing here is secret: the keys exist for one test run.

  make_test_certs.py FOLDER
"""

import os
import subprocess
import sys

CONFIG = """[ca]
default_ca = test_ca
[test_ca]
dir = .
database = index.txt
new_certs_dir = .
serial = serial
default_md = sha256
policy = any
unique_subject = no
copy_extensions = none
[any]
commonName = supplied
"""

GOOD_NAMES = "DNS:localhost,IP:127.0.0.1,IP:::1"
NOW = ("20000101000000Z", "20991231235959Z")
EC_KEY = ["-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256"]

# name: (subject names, validity, key, digest, issuing CA, extended key usage)
SERVERS = {
    "good": (GOOD_NAMES, NOW, EC_KEY, "sha256", "ca", "serverAuth"),
    "expired": (GOOD_NAMES, ("20200101000000Z", "20210101000000Z"), EC_KEY, "sha256", "ca",
                "serverAuth"),
    "notyet": (GOOD_NAMES, ("20900101000000Z", "20910101000000Z"), EC_KEY, "sha256", "ca",
               "serverAuth"),
    "wronghost": ("DNS:wrong.example.net", NOW, EC_KEY, "sha256", "ca", "serverAuth"),
    "weakkey": (GOOD_NAMES, NOW, ["-newkey", "rsa:1024"], "sha256", "ca", "serverAuth"),
    "sha1": (GOOD_NAMES, NOW, EC_KEY, "sha1", "ca", "serverAuth"),
    "untrusted": (GOOD_NAMES, NOW, EC_KEY, "sha256", "rogue", "serverAuth"),
    "clientonly": (GOOD_NAMES, NOW, EC_KEY, "sha256", "ca", "clientAuth"),
}


def run(folder, *args):
    result = subprocess.run(["openssl"] + list(args), cwd=folder, stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT)
    if result.returncode != 0:
        sys.exit("openssl %s failed:\n%s" % (args[0], result.stdout.decode(errors="replace")))


def make_ca(folder, name, subject):
    run(folder, "req", "-x509", *EC_KEY, "-nodes", "-keyout", name + ".key", "-out",
        name + ".pem", "-subj", "/CN=" + subject, "-days", "30", "-addext",
        "basicConstraints=critical,CA:TRUE", "-addext", "keyUsage=critical,keyCertSign,cRLSign")


def make_server(folder, name, names, validity, key, digest, issuer, usage):
    with open(os.path.join(folder, name + ".ext"), "w") as ext:
        ext.write("subjectAltName=%s\nbasicConstraints=CA:FALSE\nextendedKeyUsage=%s\n"
                  % (names, usage))
    run(folder, "req", "-new", *key, "-nodes", "-keyout", name + ".key", "-out", name + ".csr",
        "-subj", "/CN=" + names.split(",")[0].split(":")[1])
    run(folder, "ca", "-batch", "-config", "ca.cnf", "-cert", issuer + ".pem", "-keyfile",
        issuer + ".key", "-in", name + ".csr", "-out", name + ".pem", "-startdate", validity[0],
        "-enddate", validity[1], "-extfile", name + ".ext", "-notext", "-md", digest)


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    folder = sys.argv[1]
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, "ca.cnf"), "w") as config:
        config.write(CONFIG)
    open(os.path.join(folder, "index.txt"), "w").close()
    with open(os.path.join(folder, "serial"), "w") as serial:
        serial.write("1000\n")
    make_ca(folder, "ca", "Vocarta Test CA")
    make_ca(folder, "rogue", "Rogue Test CA")
    for name, details in SERVERS.items():
        make_server(folder, name, *details)
    run(folder, "req", "-x509", *EC_KEY, "-nodes", "-keyout", "selfsigned.key", "-out",
        "selfsigned.pem", "-subj", "/CN=localhost", "-days", "30", "-addext",
        "subjectAltName=" + GOOD_NAMES)


if __name__ == "__main__":
    main()
